// A Windows program that is not linked with the library: it loads the DLL by hand, iterates it,
// frees it and loads it again.
//   load_by_hand         the runtime comes and goes with the library: fails unless both iterations
//   see
//                        the same number of prototypes
//   load_by_hand keep    the program holds on to the runtime in between
#include <windows.h>

#include <cstdio>
#include <cstring>

namespace {

constexpr char kLibrary[] = "ovix-telemetry-data-contracts.dll";
constexpr char kRuntime[] = "libprotobuf.dll";

// The iteration by the names that the DLL exports; -1 where one is missing.
int Walk(HMODULE library) {
  using Constructor = void (*)(void*);
  using Next = const void* (*)(void*);
  const auto symbol = [&](const char* name) {
    return reinterpret_cast<void*>(GetProcAddress(library, name));
  };
  void* construct = symbol("_ZN4ovix9telemetry8contract19ContractsCollectionC1Ev");
  void* next = symbol("_ZN4ovix9telemetry8contract19ContractsCollection4NextEv");
  if (construct == nullptr || next == nullptr) return -1;
  alignas(16) char contracts[64];  // a vtable pointer and a cursor, with room to spare
  reinterpret_cast<Constructor>(construct)(contracts);
  int count = 0;
  while (reinterpret_cast<Next>(next)(contracts) != nullptr) ++count;
  return count;
}

}  // namespace

int main(int argc, char** argv) {
  // The runtime reports its error by an exception inside of the loader, where nobody can catch it:
  // the thread that loads may never come back. This one ends the program then.
  const HANDLE started = CreateEventA(nullptr, TRUE, FALSE, nullptr);
  CreateThread(
      nullptr, 0,
      [](void* event) -> DWORD {
        SetEvent(event);
        Sleep(5000);
        TerminateProcess(GetCurrentProcess(), 3);
        return 0;
      },
      started, 0, nullptr);
  WaitForSingleObject(started, INFINITE);  // a thread cannot start while another loads
  const bool keep_runtime = argc > 1 && std::strcmp(argv[1], "keep") == 0;
  if (keep_runtime && LoadLibraryA(kRuntime) == nullptr) return 2;
  int walked = 0;
  for (int round = 0; round < 2; ++round) {
    const HMODULE library = LoadLibraryA(kLibrary);
    if (library == nullptr) {
      std::printf("load %d failed, error %lu\n", round + 1, GetLastError());
      return 1;
    }
    const int count = Walk(library);
    std::printf("found %d\n", count);
    std::fflush(stdout);
    if (count <= 0 || (round == 1 && count != walked)) return 1;
    walked = count;
    if (!FreeLibrary(library) || GetModuleHandleA(kLibrary) != nullptr) {
      std::printf("the library is still loaded\n");
      return 1;
    }
    if (!keep_runtime && GetModuleHandleA(kRuntime) != nullptr) {
      std::printf("the runtime is still loaded\n");
      return 1;
    }
  }
  return 0;
}
