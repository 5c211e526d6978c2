#include "diff/ignored.h"

#include <algorithm>
#include <sstream>

#include "contracts/names.h"
#include "terminal/error.h"
#include "terminal/input.h"

namespace ovix::tool {
namespace {

void CheckRule(const std::string& rule, const std::string& place) {
  std::vector<std::string> known;
  for (int change = 0; change <= static_cast<int>(kLastChange); ++change) {
    known.push_back(RuleOf(static_cast<Change>(change)).id);
  }
  if (std::find(known.begin(), known.end(), rule) != known.end()) return;
  throw Error(place + ": " + rule + " is not a rule" + Suggestion(rule, known));
}

}  // namespace

Ignored::Ignored(const std::string& file) : file_(file) {
  Input input(file);
  std::string_view line;
  for (int number = 1; input.TakeLine(line); ++number) {
    const std::string place = file + ":" + std::to_string(number);
    std::istringstream words{std::string(line.substr(0, line.find('#')))};
    std::string rule, subject, more;
    if (!(words >> rule)) continue;
    if (!(words >> subject) || (words >> more)) {
      throw Error(place + ": is not a rule and a subject, as `diff --format json` gives them");
    }
    CheckRule(rule, place);
    entries_.push_back({number, rule, subject});
  }
}

size_t Ignored::TakeFrom(std::vector<Difference>& differences) {
  return std::erase_if(differences, [&](const Difference& difference) {
    bool is_ignored = false;
    for (Entry& entry : entries_) {
      if (entry.rule != RuleOf(difference.change).id || entry.subject != difference.subject) {
        continue;
      }
      entry.is_used = is_ignored = true;
    }
    return is_ignored;
  });
}

std::vector<std::string> Ignored::Unused() const {
  std::vector<std::string> unused;
  for (const Entry& entry : entries_) {
    if (entry.is_used) continue;
    unused.push_back(file_ + ":" + std::to_string(entry.line) + ": " + entry.rule + " " +
                     entry.subject);
  }
  return unused;
}

}  // namespace ovix::tool
