#include "convert/conversion.h"

#include "terminal/report.h"

namespace ovix::tool {
namespace {

constexpr uint64_t kMostNamed = 20;

}  // namespace

void Skipped::Add(const std::string& problem) {
  if (++count_ <= kMostNamed) Report(problem + "; skipped");
}

void Skipped::Say(const std::string& input) const {
  if (count_ == 0) return;
  Report(input + ": " + std::to_string(count_) +
         (count_ == 1 ? " bad message was" : " bad messages were") + " skipped");
}

}  // namespace ovix::tool
