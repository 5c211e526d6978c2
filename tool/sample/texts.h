// Values that the facts of a field ask for.
#ifndef OVIX_TOOL_SAMPLE_TEXTS_H_
#define OVIX_TOOL_SAMPLE_TEXTS_H_

#include <cstdint>
#include <string>
#include <string_view>

#include "sample/random.h"

namespace ovix::tool {

// A string of a format of docs/contracts.md; empty for "unspecified" and for what is not one.
std::string TextOfFormat(Random& random, std::string_view format);

// A time of 2026: RFC 3339 in UTC with milliseconds.
std::string Time(Random& random);

// What a quantity of this unit can plausibly be, both included.
struct Range {
  int64_t least = 0;
  int64_t most = 0;
};
// That of a count, where there is no unit.
Range RangeOfUnit(std::string_view unit);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_SAMPLE_TEXTS_H_
