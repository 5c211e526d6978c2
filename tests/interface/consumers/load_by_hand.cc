// A program that is not linked with the library: it loads it, iterates it, unloads it and loads it
// again, with the runtime there all the time, and uses what it has in between.
#include <dlfcn.h>
#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>

#include <cstdio>
#include <cstring>

namespace {

using google::protobuf::Message;

// The iteration by the names that the library exports; the last prototype, or null where a name is
// missing.
const Message* Walk(void* library, int* count) {
  void* construct = dlsym(library, "_ZN4ovix9telemetry8contract19ContractsCollectionC1Ev");
  void* next = dlsym(library, "_ZN4ovix9telemetry8contract19ContractsCollection4NextEv");
  if (construct == nullptr || next == nullptr) return nullptr;
  alignas(16) char contracts[64];  // a vtable pointer and a cursor, with room to spare
  reinterpret_cast<void (*)(void*)>(construct)(contracts);
  const Message* last = nullptr;
  *count = 0;
  while (const Message* prototype = reinterpret_cast<const Message* (*)(void*)>(next)(contracts)) {
    ++*count;
    last = prototype;
  }
  return last;
}

}  // namespace

int main(int, char** argv) {
  constexpr char kFile[] = "ovix/telemetry/contract/upload/upload_options.proto";
  const auto* pool = google::protobuf::DescriptorPool::generated_pool();
  int counts[2] = {};
  for (int& count : counts) {
    void* library = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
      std::printf("%s\n", dlerror());
      return 1;
    }
    const Message* last = Walk(library, &count);
    if (last == nullptr || dlclose(library) != 0) return 2;
    // After dlclose: the runtime knows the schemas still, and what it knows of them is there.
    const auto* file = pool->FindFileByName(kFile);
    if (file == nullptr || file->message_type(0) != last->GetDescriptor()) return 3;
    Message* made = last->New();
    if (!made->ParseFromString("\x0a\x01g") || made->SerializeAsString() != "\x0a\x01g") return 4;
    delete made;
  }
  std::printf("found %d, then %d\n", counts[0], counts[1]);
  return counts[0] > 0 && counts[0] == counts[1] ? 0 : 5;
}
