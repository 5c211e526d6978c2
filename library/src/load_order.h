// The order in which the library is set up while it loads, whatever order it is linked in:
//
//   1. the default instances, which are constants and need no code;
//   2. each schema file is registered with the runtime: protoc gives that priority 102;
//   3. the extensions are registered, which refer to default instances of step 1;
//   4. the prototypes of ContractsCollection are made.
//
// GCC and clang run initialisers by ascending priority, and those without one at the end. MSVC has
// no numbers: protoc puts steps 2 and 3 into the segment "lib", file by file, which runs before the
// segment that step 4 is in by default.
#ifndef OVIX_TELEMETRY_CONTRACT_LOAD_ORDER_H_
#define OVIX_TELEMETRY_CONTRACT_LOAD_ORDER_H_

#if defined(__GNUC__)
#define OVIX_INIT_EXTENSION __attribute__((init_priority(103)))
#define OVIX_INIT_PROTOTYPES __attribute__((init_priority(104)))
#else
#define OVIX_INIT_EXTENSION
#define OVIX_INIT_PROTOTYPES
#endif

#endif  // OVIX_TELEMETRY_CONTRACT_LOAD_ORDER_H_
