// OVIX_TELEMETRY_DATA_CONTRACTS_EXPORT marks what the shared library gives to its consumers: every
// generated class and ContractsCollection. The library's own build defines
// OVIX_TELEMETRY_DATA_CONTRACTS_BUILDING (CMake's DEFINE_SYMBOL of the target); a consumer defines
// nothing and gets the importing side.
#ifndef OVIX_TELEMETRY_CONTRACT_EXPORT_H_
#define OVIX_TELEMETRY_CONTRACT_EXPORT_H_

#include "ovix/telemetry/contract/abi.h"

#if !defined(_WIN32)
#define OVIX_TELEMETRY_DATA_CONTRACTS_EXPORT __attribute__((visibility("default")))
#elif defined(OVIX_TELEMETRY_DATA_CONTRACTS_BUILDING)
#define OVIX_TELEMETRY_DATA_CONTRACTS_EXPORT __declspec(dllexport)
#else
#define OVIX_TELEMETRY_DATA_CONTRACTS_EXPORT __declspec(dllimport)
#endif

// These precede each function, and the constant, that is defined inside an exported
// class. GCC leaves such a function out of a DLL unless it is marked itself, and such a constant
// unless it is used; other compilers refuse the mark or do not need it.
#if defined(OVIX_TELEMETRY_DATA_CONTRACTS_BUILDING) && defined(__MINGW32__) && !defined(__clang__)
#define OVIX_TELEMETRY_DATA_CONTRACTS_EXPORT_MEMBER __declspec(dllexport)
#define OVIX_TELEMETRY_DATA_CONTRACTS_EXPORT_CONSTANT __attribute__((used))
#else
#define OVIX_TELEMETRY_DATA_CONTRACTS_EXPORT_MEMBER
#define OVIX_TELEMETRY_DATA_CONTRACTS_EXPORT_CONSTANT
#endif

#endif  // OVIX_TELEMETRY_CONTRACT_EXPORT_H_
