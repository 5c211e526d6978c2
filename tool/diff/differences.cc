#include "diff/differences.h"

#include <algorithm>

namespace ovix::tool {

void Differences::Add(Change change, const std::string& subject, const std::string& what,
                      unsigned besides, const std::string& fix) {
  differences_.push_back({change, RuleOf(change).breaks | besides, subject, what, fix});
}

void Differences::AddContent(const void* holder, Change change, const std::string& subject,
                             const std::string& what, unsigned besides) {
  Add(change, subject, what, besides);
  Raise& raise = raises_[holder];
  raise = std::max(raise, RaiseFor(change));
}

std::string FromTo(const std::string& before, const std::string& after) {
  const auto shown = [](const std::string& text) { return text.empty() ? "nothing" : text; };
  return "from " + shown(before) + " to " + shown(after);
}

}  // namespace ovix::tool
