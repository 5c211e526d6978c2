// What guarded stacks call (-fstack-protector-strong) where MinGW's C library does not have it.
// GCC's own library for it asks the system's cryptography for one number, which takes longer than
// all else that is done as the DLL loads. This makes the number of what MSVC makes its own (/GS)
// of: the time, to the processor's clock, and what distinguishes this process and thread from
// others.
#include <windows.h>

#include <cstdint>

extern "C" {

// Another one in each process. What is here until then is never compared with: no guarded function
// is running while the initialiser below sets it.
std::uintptr_t __stack_chk_guard = 0;

__attribute__((constructor(101))) static void SetGuard() {
  FILETIME time;
  LARGE_INTEGER counter;
  GetSystemTimeAsFileTime(&time);
  QueryPerformanceCounter(&counter);
  const std::uint64_t parts[] = {
      static_cast<std::uint64_t>(time.dwHighDateTime) << 32 | time.dwLowDateTime,
      static_cast<std::uint64_t>(counter.QuadPart),
      static_cast<std::uint64_t>(GetCurrentProcessId()) << 32 | GetCurrentThreadId(),
      reinterpret_cast<std::uint64_t>(&counter),
      reinterpret_cast<std::uint64_t>(&__stack_chk_guard),
      __builtin_ia32_rdtsc(),
  };
  std::uint64_t guard = 0;
  for (const std::uint64_t part : parts) {
    guard = (guard ^ part) * 0x9e3779b97f4a7c15;  // an odd number without a pattern
    guard ^= guard >> 32;
  }
  __stack_chk_guard = guard << 8;  // a zero byte first: text that overflows ends there
}

// Ends the process at once, with the status that Windows has for it (STATUS_STACK_BUFFER_OVERRUN).
[[noreturn]] void __stack_chk_fail() {
  __asm__ volatile("int $0x29" : : "c"(FAST_FAIL_STACK_COOKIE_CHECK_FAILURE));  // __fastfail
  __builtin_unreachable();
}
}
