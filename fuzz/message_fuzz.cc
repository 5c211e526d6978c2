// Arbitrary bytes as any contract: they parse or fail cleanly, and what parses survives serialize
// and parse unchanged, on the heap, in an arena and in a message that was used before.
#include <google/protobuf/arena.h>

#include "contracts.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace ovix::fuzz;
  const Input input = Choose(Prototypes(), data, size);
  const int length = static_cast<int>(input.content.size());
  const auto message = input.New();
  const bool parsed = message->ParseFromArray(input.content.data(), length);
  const std::string bytes = Encode(*message);
  Require(bytes.size() == message->ByteSizeLong(), input,
          "the reported size is not the written size");

  google::protobuf::Arena arena;
  google::protobuf::Message* in_arena = input.prototype->New(&arena);
  Require(in_arena->ParseFromArray(input.content.data(), length) == parsed, input,
          "an arena changes what is accepted");
  Require(Encode(*in_arena) == bytes, input, "an arena changes what is read");
  if (!parsed) return 0;

  // The message in the arena has content already, which parsing replaces.
  Require(in_arena->ParseFromString(bytes), input, "does not read what it wrote");
  Require(Encode(*in_arena) == bytes, input, "reads something else than it wrote");
  in_arena->CopyFrom(*message);
  Require(Encode(*in_arena) == bytes, input, "a copy differs");
  return 0;
}
