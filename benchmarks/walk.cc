// Iterates the collection and reads every option of every prototype and of its fields, once as the
// first thing that a process does, then again and again. Prints time, memory and allocations of
// both as JSON.
#include <google/protobuf/descriptor.h>
#include <malloc.h>
#include <time.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "ovix/telemetry/contract/contracts_collection.h"
#include "ovix/telemetry/contract/storage/storage_options.pb.h"
#include "ovix/telemetry/contract/upload/upload_options.pb.h"

// Every allocation of the process is counted: these call the C library's own functions.
extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* block, size_t size);
}
static long allocations = 0;
void* malloc(size_t size) {
  ++allocations;
  return __libc_malloc(size);
}
void* calloc(size_t count, size_t size) {
  ++allocations;
  return __libc_calloc(count, size);
}
void* realloc(void* block, size_t size) {
  ++allocations;
  return __libc_realloc(block, size);
}

namespace {

namespace storage = ovix::telemetry::contract::storage;
namespace upload = ovix::telemetry::contract::upload;

struct Cost {
  double microseconds;
  long allocations;
  long bytes;
  int steps;
};

double ProcessorMicroseconds() {
  timespec now{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) * 1e6 + static_cast<double>(now.tv_nsec) / 1e3;
}

Cost Walk() {
  const long allocated_before = allocations;
  const auto bytes_before = mallinfo2().uordblks;
  const double start = ProcessorMicroseconds();
  int steps = 0;
  size_t read = 0;
  ovix::telemetry::contract::ContractsCollection contracts;
  while (const google::protobuf::Message* prototype = contracts.Next()) {
    const auto* descriptor = prototype->GetDescriptor();
    const auto& options = descriptor->options();
    read += options.GetExtension(storage::persistance).database().name().size();
    read += options.GetExtension(upload::cdm).gun().size();
    for (int i = 0; i < descriptor->field_count(); ++i) {
      read += descriptor->field(i)->options().GetExtension(storage::column).constraint().pk();
    }
    ++steps;
  }
  const double taken = ProcessorMicroseconds() - start;
  if (read == 0) std::abort();
  return {taken, allocations - allocated_before,
          static_cast<long>(mallinfo2().uordblks) - static_cast<long>(bytes_before), steps};
}

}  // namespace

int main() {
  const Cost first = Walk();
  std::vector<Cost> later;
  for (int i = 0; i < 101; ++i) later.push_back(Walk());
  long later_allocations = 0;
  for (const Cost& cost : later) later_allocations += cost.allocations;
  std::nth_element(later.begin(), later.begin() + 50, later.end(),
                   [](const Cost& a, const Cost& b) { return a.microseconds < b.microseconds; });
  std::printf(
      "{\"steps\": %d, \"first_us\": %.1f, \"first_allocations\": %ld, \"first_bytes\": %ld, "
      "\"later_us\": %.2f, \"later_allocations\": %ld}\n",
      first.steps, first.microseconds, first.allocations, first.bytes, later[50].microseconds,
      later_allocations);
  return 0;
}
