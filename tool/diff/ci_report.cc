#include "diff/ci_report.h"

#include "diff/place.h"
#include "diff/report.h"
#include "terminal/ci.h"

namespace ovix::tool {

std::string AsGithub(const std::vector<Difference>& differences, const Contracts& older,
                     const Contracts& newer) {
  std::string text;
  for (const Difference& difference : ForReaders(differences)) {
    const Place place = PlaceOf(difference, older, newer);
    text += GithubAnnotation({difference.breaks != kSafe, place.file, place.line,
                              RuleOf(difference.change).id,
                              difference.subject + ": " + WordsOf(difference)});
  }
  return text + CountOf(differences) + "\n";
}

std::string AsJunit(const std::vector<Difference>& differences, const Contracts& older,
                    const Contracts& newer) {
  std::vector<TestCase> cases;
  for (const Difference& difference : differences) {
    const Place place = PlaceOf(difference, older, newer);
    const bool fails = difference.breaks != kSafe;
    cases.push_back({RuleOf(difference.change).id, difference.subject, place.file, place.line,
                     fails ? BreaksText(difference.breaks) : "", fails ? WordsOf(difference) : ""});
  }
  return JunitReport("ovix-contracts diff", cases, "no change");
}

}  // namespace ovix::tool
