// Loads the library by hand and watches the order in which it sets itself up: every schema file is
// registered, then every extension, then the prototypes are made; and the default instances are
// there before anything else. For that it replaces three functions that the library calls.
// Usage: load_order LIBRARY
#include <google/protobuf/extension_set.h>
#include <google/protobuf/generated_message_reflection.h>

#ifdef _WIN32
#include <windows.h>
#else
#include <dlfcn.h>
#endif

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

namespace {

using google::protobuf::MessageLite;
using google::protobuf::internal::DescriptorTable;
using google::protobuf::internal::LazyEagerVerifyFnType;

// One letter for each thing that the library does: register a file or an extension, allocate.
constexpr int kMost = 4096;
char seen[kMost + 1];
int seen_count = 0;
bool watching = false;
int missing_default_instances = 0;

void See(char what) {
  if (watching && seen_count < kMost) seen[seen_count++] = what;
}

void SeeFile(const DescriptorTable* table) {
  See('f');
  for (int i = 0; i < table->num_messages; ++i) {
    // An object that was not made yet has no table of virtual functions.
    const void* first_word;
    std::memcpy(&first_word, table->default_instances[i], sizeof first_word);
    if (first_word == nullptr) ++missing_default_instances;
  }
}

// Whether the code at an address is the library's.
bool IsLibrary(void* address);

#ifdef _WIN32

constexpr char kLibrary[] = "ovix-telemetry-data-contracts.dll";

// Replaces a function of another DLL: its first bytes become a jump.
class Hook {
 public:
  void Set(const char* dll, const char* function, void* stand_in) {
    const HMODULE module = LoadLibraryA(dll);
    code_ = module == nullptr ? nullptr : reinterpret_cast<char*>(GetProcAddress(module, function));
    DWORD before;
    if (code_ == nullptr || !VirtualProtect(code_, sizeof jump_, PAGE_EXECUTE_READWRITE, &before)) {
      std::printf("load_order: no %s in %s\n", function, dll);
      std::exit(2);
    }
    std::memcpy(original_, code_, sizeof original_);
    std::memcpy(jump_ + 6, &stand_in, sizeof stand_in);
    Resume();
  }
  // Between the two, the function itself can be called.
  void Pause() { std::memcpy(code_, original_, sizeof original_); }
  void Resume() { std::memcpy(code_, jump_, sizeof jump_); }
  template <typename Function>
  Function* As() const {
    return reinterpret_cast<Function*>(code_);
  }

 private:
  char* code_;
  char original_[14];
  char jump_[14] = {'\xff', '\x25'};  // to the address that follows
};

Hook file_hook, extension_hook, allocation_hook;

using RegisterFile = void(void*, const DescriptorTable*);
void OnFile(void* runner, const DescriptorTable* table) {
  SeeFile(table);
  file_hook.Pause();
  file_hook.As<RegisterFile>()(runner, table);
  file_hook.Resume();
}

using RegisterExtension = void(const MessageLite*, int, unsigned char, bool, bool,
                               const MessageLite*, LazyEagerVerifyFnType);
void OnExtension(const MessageLite* extendee, int number, unsigned char type, bool is_repeated,
                 bool is_packed, const MessageLite* prototype, LazyEagerVerifyFnType verify) {
  See('e');
  extension_hook.Pause();
  extension_hook.As<RegisterExtension>()(extendee, number, type, is_repeated, is_packed, prototype,
                                         verify);
  extension_hook.Resume();
}

using Allocate = void*(size_t);
void* OnAllocation(size_t size) {
  if (IsLibrary(__builtin_return_address(0))) See('a');
  allocation_hook.Pause();
  void* memory = allocation_hook.As<Allocate>()(size);
  allocation_hook.Resume();
  return memory;
}

bool IsLibrary(void* address) {
  HMODULE module;
  return GetModuleHandleExA(
             GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
             static_cast<char*>(address), &module) &&
         module == GetModuleHandleA(kLibrary);
}

bool Load(const char* library) {
  file_hook.Set("libprotobuf.dll",
                "_ZN6google8protobuf8internal20AddDescriptorsRunnerC1EPKNS1_15DescriptorTableE",
                reinterpret_cast<void*>(OnFile));
  extension_hook.Set("libprotobuf.dll",
                     "_ZN6google8protobuf8internal12ExtensionSet24RegisterMessageExtensionEPKNS0_"
                     "11MessageLiteEihbb"
                     "S5_PFPKcS7_PNS1_12ParseContextEE",
                     reinterpret_cast<void*>(OnExtension));
  allocation_hook.Set("libstdc++-6.dll", "_Znwy", reinterpret_cast<void*>(OnAllocation));
  watching = true;
  const bool loaded = LoadLibraryA(library) != nullptr;
  watching = false;
  return loaded;
}

#else

// The executable's functions come before those of any library.
template <typename Function>
Function* Next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

bool IsLibrary(void* address) {
  Dl_info info;
  return dladdr(address, &info) != 0 &&
         std::strstr(info.dli_fname, "ovix-telemetry-data-contracts") != nullptr;
}

bool Load(const char* library) {
  watching = true;
  const bool loaded = dlopen(library, RTLD_NOW) != nullptr;
  watching = false;
  if (!loaded) std::puts(dlerror());
  return loaded;
}

#endif

// How often the library did a thing, or -1 if it did so after one of the later things.
int Count(char what, const char* later) {
  int count = 0;
  const char* const first_later = seen + std::strcspn(seen, later);
  for (const char* at = seen; *at != '\0'; ++at) {
    if (*at != what) continue;
    if (at > first_later) return -1;
    ++count;
  }
  return count;
}

}  // namespace

#ifndef _WIN32

namespace google::protobuf::internal {

AddDescriptorsRunner::AddDescriptorsRunner(const DescriptorTable* table) {
  if (watching) SeeFile(table);
  Next<void(void*, const DescriptorTable*)>(
      "_ZN6google8protobuf8internal20AddDescriptorsRunnerC1EPKNS1_15DescriptorTableE")(this, table);
}

void ExtensionSet::RegisterMessageExtension(const MessageLite* extendee, int number, FieldType type,
                                            bool is_repeated, bool is_packed,
                                            const MessageLite* prototype,
                                            LazyEagerVerifyFnType verify) {
  See('e');
  Next<void(const MessageLite*, int, FieldType, bool, bool, const MessageLite*,
            LazyEagerVerifyFnType)>(
      "_ZN6google8protobuf8internal12ExtensionSet24RegisterMessageExtensionEPKNS0_"
      "11MessageLiteEihbb"
      "S5_PFPKcS7_PNS1_12ParseContextEE")(extendee, number, type, is_repeated, is_packed, prototype,
                                          verify);
}

}  // namespace google::protobuf::internal

void* operator new(size_t size) {
  if (watching && IsLibrary(__builtin_return_address(0))) See('a');
  void* memory = std::malloc(size);
  if (memory == nullptr) std::abort();
  return memory;
}

void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, size_t) noexcept { std::free(memory); }

#endif

int main(int argc, char** argv) {
  if (argc != 2 || !Load(argv[1])) {
    std::puts("load_order: the library cannot be loaded");
    return 2;
  }
  const int files = Count('f', "ea");
  const int extensions = Count('e', "a");
  const int allocations = Count('a', "");
  std::printf(
      "load_order: %d files, %d extensions, %d allocations in their order (-1: not so), %d default "
      "instances too late\n%s\n",
      files, extensions, allocations, missing_default_instances, seen);
  std::fflush(stdout);
  const bool passed =
      files > 100 && extensions == 3 && allocations > 300 && missing_default_instances == 0;
  std::_Exit(passed ? 0 : 1);
}
