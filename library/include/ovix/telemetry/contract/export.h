// OVIX_TELEMETRY_DATA_CONTRACTS_EXPORT marks what the shared library gives to its consumers: every
// generated class and ContractsCollection. The library's own build defines
// OVIX_TELEMETRY_DATA_CONTRACTS_BUILDING (CMake's DEFINE_SYMBOL of the target); a consumer defines
// nothing and gets the importing side.
#ifndef OVIX_TELEMETRY_CONTRACT_EXPORT_H_
#define OVIX_TELEMETRY_CONTRACT_EXPORT_H_

#if !defined(_WIN32)
#define OVIX_TELEMETRY_DATA_CONTRACTS_EXPORT __attribute__((visibility("default")))
#elif defined(OVIX_TELEMETRY_DATA_CONTRACTS_BUILDING)
#define OVIX_TELEMETRY_DATA_CONTRACTS_EXPORT __declspec(dllexport)
#else
#define OVIX_TELEMETRY_DATA_CONTRACTS_EXPORT __declspec(dllimport)
#endif

#endif  // OVIX_TELEMETRY_CONTRACT_EXPORT_H_
