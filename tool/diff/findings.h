// What the comparisons of one run have found so far.
#ifndef OVIX_TOOL_DIFF_FINDINGS_H_
#define OVIX_TOOL_DIFF_FINDINGS_H_

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "contracts/contracts.h"
#include "diff/compare.h"
#include "diff/rules.h"

namespace ovix::tool {

// Not for use by two threads at once.
class Findings {
 public:
  Findings(const Contracts& older, const Contracts& newer) : older_(older), newer_(newer) {}

  const Contracts& older() const { return older_; }
  const Contracts& newer() const { return newer_; }

  // `besides` is what the change breaks where it is, in addition to what its rule says.
  void Add(Change change, const std::string& subject, const std::string& what,
           unsigned besides = kSafe, const std::string& mend = "");
  // A change of the content of a message or an enumeration of the newer release, `holder`.
  void AddContent(const void* holder, Change change, const std::string& subject,
                  const std::string& what, unsigned besides = kSafe);

  // How far the changes of a holder's content have to raise versions, by holder.
  const std::map<const void*, Raise>& raises() const { return raises_; }
  // In the order in which they were added; ends the run.
  std::vector<Difference> Take() { return std::move(differences_); }

 private:
  const Contracts& older_;
  const Contracts& newer_;
  std::vector<Difference> differences_;
  std::map<const void*, Raise> raises_;
};

// "from a to b"; a text that is empty is "nothing".
std::string FromTo(const std::string& before, const std::string& after);

// Adds the change of the options that no other comparison looks at. Options are those of a file, a
// message, a field or an enumeration.
template <typename Options>
void CompareOtherOptions(Findings& findings, const std::string& subject, const Options& before,
                         const Options& after);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_DIFF_FINDINGS_H_
