// Where schemas declare what has changed.
#ifndef OVIX_TOOL_DIFF_PLACE_H_
#define OVIX_TOOL_DIFF_PLACE_H_

#include <string>

#include "contracts/contracts.h"
#include "diff/differences.h"

namespace ovix::tool {

struct Place {
  std::string file;  // empty where the subject has none
  int line = 0;      // 0 where it has none
};

// Where a release declares what has this full name or path.
Place PlaceIn(const Contracts& contracts, const std::string& subject);

// In the newer release; of what is gone what held it, or the file, as far as that is still there.
Place PlaceOf(const Difference& difference, const Contracts& older, const Contracts& newer);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_DIFF_PLACE_H_
