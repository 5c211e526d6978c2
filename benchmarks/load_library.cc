// Windows: prints how long LoadLibrary takes for a DLL, in microseconds, with the runtime loaded
// before. Usage: load_library DLL
#include <windows.h>

#include <cstdio>

int main(int argc, char** argv) {
  if (argc != 2 || LoadLibraryA("libprotobuf.dll") == nullptr) return 2;
  LARGE_INTEGER frequency, start, end;
  QueryPerformanceFrequency(&frequency);
  QueryPerformanceCounter(&start);
  const HMODULE library = LoadLibraryA(argv[1]);
  QueryPerformanceCounter(&end);
  if (library == nullptr) return 1;
  std::printf("%.1f\n", 1e6 * static_cast<double>(end.QuadPart - start.QuadPart) /
                            static_cast<double>(frequency.QuadPart));
  return 0;
}
