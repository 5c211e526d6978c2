// Prints the processor time, in nanoseconds, that loading a library takes in a program that has the
// runtime: it is mapped and linked, and its initialisers run. One load for each process. Usage:
// load LIBRARY lazy|now
#include <dlfcn.h>
#include <google/protobuf/stubs/common.h>
#include <time.h>

#include <cstdio>
#include <cstring>

static long long Now() {
  timespec now{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return now.tv_sec * 1000000000LL + now.tv_nsec;
}

int main(int argc, char** argv) {
  GOOGLE_PROTOBUF_VERIFY_VERSION;  // the runtime is linked, and awake
  if (argc != 3) return 2;
  const int mode = std::strcmp(argv[2], "now") == 0 ? RTLD_NOW : RTLD_LAZY;
  const long long start = Now();
  void* library = dlopen(argv[1], mode | RTLD_LOCAL);
  const long long end = Now();
  if (library == nullptr) {
    std::fprintf(stderr, "load: %s\n", dlerror());
    return 1;
  }
  std::printf("%lld\n", end - start);
  return 0;
}
