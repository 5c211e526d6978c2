// Input made to hurt: it fails cleanly, takes memory in proportion to its size, and leaves
// none.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <limits>
#include <memory>
#include <new>

#include "ovix/telemetry/contract/storage/device_profile/application.pb.h"
#include "support/contracts.h"

namespace {

#ifdef OVIX_TESTS_INSTRUMENTED
constexpr bool kInstrumented = true;
#else
constexpr bool kInstrumented = false;
#endif

// Bytes that are allocated, and the most that were at once.
std::atomic<size_t> held = 0;
std::atomic<size_t> most = 0;

// Before each block is its size.
constexpr size_t kBefore = alignof(std::max_align_t);

}  // namespace

// All forms that are called: a sanitizer has its own of each that is not replaced.
void* operator new(size_t size, const std::nothrow_t&) noexcept {
  void* block = std::malloc(size + kBefore);
  if (block == nullptr) return nullptr;
  *static_cast<size_t*>(block) = size;
  const size_t now = held += size;
  for (size_t before = most; before < now && !most.compare_exchange_weak(before, now);) {
  }
  return static_cast<char*>(block) + kBefore;
}

void* operator new(size_t size) {
  void* block = operator new(size, std::nothrow);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

void operator delete(void* block) noexcept {
  if (block == nullptr) return;
  void* whole = static_cast<char*>(block) - kBefore;
  held -= *static_cast<size_t*>(whole);
  std::free(whole);
}

void operator delete(void* block, size_t) noexcept { operator delete(block); }

namespace ovix::tests {
namespace {

using google::protobuf::Message;
using telemetry::contract::storage::device_profile::Application;

// The most that a parse holds at once beyond what was held before, in bytes; nothing is left of it.
size_t MemoryToParse(const Message& prototype, const std::string& bytes, bool accepted) {
  size_t needed = 0;
  const size_t before = held;
  {
    const std::unique_ptr<Message> message(prototype.New());
    most = held.load();
    const size_t start = held;
    EXPECT_EQ(message->ParseFromString(bytes), accepted);
    needed = most - start;
  }
  EXPECT_EQ(held, before) << "something is left";
  return needed;
}

TEST(Limits, LengthsThatPromiseMoreThanThereIsTakeNoMemory) {
  for (const Message* prototype : AllPrototypes()) {
    const auto* descriptor = prototype->GetDescriptor();
    for (int i = 0; i < descriptor->field_count(); ++i) {
      const auto* field = descriptor->field(i);
      // As text, bytes, sub-message or packed list, whichever the field is.
      for (const uint64_t length : {uint64_t{11}, uint64_t{1} << 20, uint64_t{0x7fffffef},
                                    uint64_t{0x7fffffff}, uint64_t{0x80000000}, ~uint64_t{0}}) {
        const std::string bytes = Tag(field->number(), 2) + Varint(length) + "ten bytes.";
        EXPECT_LT(MemoryToParse(*prototype, bytes, false), size_t{64 << 10})
            << field->full_name() << " with a length of " << length;
      }
    }
  }
}

TEST(Limits, AMillionElementsTakeMemoryInProportion) {
  // A million of one, fewer of the others: the code is the same.
  int elements = kInstrumented ? 20000 : 1000000;
  for (const Message* prototype : AllPrototypes()) {
    const auto* descriptor = prototype->GetDescriptor();
    for (int i = 0; i < descriptor->field_count(); ++i) {
      const auto* field = descriptor->field(i);
      if (!field->is_repeated() || field->is_packable()) continue;
      // Empty elements are the worst: two bytes each, and a whole object in memory.
      std::string bytes;
      for (int n = 0; n < elements; ++n) bytes += Tag(field->number(), 2) + Varint(0);
      size_t element = sizeof(std::string) + sizeof(void*);
      if (field->message_type() != nullptr) {
        element = google::protobuf::MessageFactory::generated_factory()
                      ->GetPrototype(field->message_type())
                      ->SpaceUsedLong() +
                  sizeof(void*);
      }
      // A list that grows is held twice for a moment.
      EXPECT_LT(MemoryToParse(*prototype, bytes, true), elements * (element + 32))
          << field->full_name();
      elements = 20000;
    }
  }
}

TEST(Limits, UnknownGroupsNestAsDeepAsTheRuntimeAllows) {
  for (const auto& [depth, accepted] : {std::pair(100, true), {101, false}, {1000000, false}}) {
    std::string bytes;
    for (int i = 0; i < depth; ++i) bytes += Tag(1000, 3);
    for (int i = 0; i < depth; ++i) bytes += Tag(1000, 4);
    EXPECT_LT(MemoryToParse(Application(), bytes, accepted), size_t{1 << 20}) << depth;
  }
}

TEST(Limits, AMessageOfTwoGigabytesIsRefused) {
  if (kInstrumented) GTEST_SKIP() << "needs more memory than an instrumented build should take";
  Application application;
  application.set_name(std::string((size_t{1} << 30) - 20, 'x'));
  application.set_vendor(std::string((size_t{1} << 30) - 20, 'x'));
  ASSERT_GT(application.ByteSizeLong(), size_t{std::numeric_limits<int>::max()} - 50);
  ASSERT_LE(application.ByteSizeLong(), size_t{std::numeric_limits<int>::max()});
  application.mutable_vendor()->append(50, 'x');
  ASSERT_GT(application.ByteSizeLong(), size_t{std::numeric_limits<int>::max()});
  const RuntimeLog log;
  std::string bytes;
  EXPECT_FALSE(application.SerializeToString(&bytes));
  EXPECT_NE(log.text().find("exceeded maximum protobuf size of 2GB"), std::string::npos);
}

}  // namespace
}  // namespace ovix::tests
