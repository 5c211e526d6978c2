// A Windows program whose stack is guarded as the DLL's is. It runs itself: to overflow a buffer,
// which must end it at once with the system's own status, and to see that the guard is another one
// each time.
#include <windows.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

extern "C" std::uintptr_t __stack_chk_guard;

namespace {

// As it is written: a compiler that sees the overflow may do anything with it.
[[gnu::noinline, gnu::optimize(0)]] void Overflow(int size) {
  char room[16];
  char* volatile at = room;
  for (int i = 0; i < size; ++i) at[i] = 'x';
}

// Runs this program with an argument; how it ended.
DWORD Run(const char* argument) {
  char path[MAX_PATH];
  GetModuleFileNameA(nullptr, path, sizeof path);
  std::string command = "\"" + std::string(path) + "\" " + argument;
  STARTUPINFOA start = {};
  start.cb = sizeof start;
  PROCESS_INFORMATION process;
  DWORD status = 1;
  if (!CreateProcessA(path, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &start,
                      &process)) {
    return status;
  }
  WaitForSingleObject(process.hProcess, 60000);
  GetExitCodeProcess(process.hProcess, &status);
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc > 1 && std::strcmp(argv[1], "guard") == 0) {
    return static_cast<int>(__stack_chk_guard >> 8 & 0x3fffffff);
  }
  if (argc > 1) {
    Overflow(32);  // the guard and no more: Wine reads the stack as it ends a process
    return 0;
  }
  const DWORD overflowed = Run("overflow");
  const DWORD first = Run("guard");
  const DWORD second = Run("guard");
  std::printf("stack_guard: overflow ends with %lx, guards %lx and %lx\n", overflowed, first,
              second);
  constexpr DWORD kStackBufferOverrun = 0xc0000409;
  return overflowed == kStackBufferOverrun && first != second && first != 0 ? 0 : 1;
}
