// Random numbers that are the same everywhere: the standard's distributions are not.
#ifndef OVIX_TOOL_SAMPLE_RANDOM_H_
#define OVIX_TOOL_SAMPLE_RANDOM_H_

#include <cstddef>
#include <cstdint>

namespace ovix::tool {

// SplitMix64. Copies go on alike.
class Random {
 public:
  explicit Random(uint64_t seed) : state_(seed) {}

  uint64_t Next() {
    state_ += 0x9e3779b97f4a7c15;
    return Mix(state_);
  }
  // From 0 to `count` - 1; the bias of a remainder of 64 bits is not seen. `count` is not 0.
  uint64_t Below(uint64_t count) { return Next() % count; }
  // From `least` to `most`, both included.
  int64_t Between(int64_t least, int64_t most) {
    return least + static_cast<int64_t>(Below(static_cast<uint64_t>(most - least) + 1));
  }
  bool Chance(uint64_t percent) { return Below(100) < percent; }
  template <typename List>
  const auto& OneOf(const List& list) {
    return list[static_cast<size_t>(Below(list.size()))];
  }

  // Numbers of their own for one of the parts: another part more or less does not change them.
  Random Part(uint64_t part) const { return Random(Mix(state_ ^ Mix(part + 1))); }

 private:
  static uint64_t Mix(uint64_t value) {
    value = (value ^ (value >> 30)) * 0xbf58476d1ce4e5b9;
    value = (value ^ (value >> 27)) * 0x94d049bb133111eb;
    return value ^ (value >> 31);
  }

  uint64_t state_;
};

}  // namespace ovix::tool

#endif  // OVIX_TOOL_SAMPLE_RANDOM_H_
