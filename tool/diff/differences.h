// The differences that a comparison finds.
#ifndef OVIX_TOOL_DIFF_DIFFERENCES_H_
#define OVIX_TOOL_DIFF_DIFFERENCES_H_

#include <map>
#include <string>
#include <vector>

#include "diff/rules.h"

namespace ovix::tool {

struct Difference {
  Change change;
  unsigned breaks;      // the rule's, and what it also breaks where it is
  std::string subject;  // full name of the message, field ...; a path for a file
  std::string what;     // in a reader's words: "renamed from a to b"
  std::string fix;      // what makes it no longer break; empty where nothing but undoing it does
};

// Collects them, and how far each change of a message's or an enumeration's content has to raise
// the version of the payloads that hold it.
class Differences {
 public:
  void Add(Change change, const std::string& subject, const std::string& what,
           unsigned besides = kSafe, const std::string& fix = "");
  // A change of the content of `holder`, a message or an enumeration of the newer release.
  void AddContent(const void* holder, Change change, const std::string& subject,
                  const std::string& what, unsigned besides = kSafe);

  // By the newer release's message or enumeration.
  const std::map<const void*, Raise>& raises() const { return raises_; }
  std::vector<Difference> Take() { return std::move(differences_); }

 private:
  std::vector<Difference> differences_;
  std::map<const void*, Raise> raises_;
};

// "from 1 to nothing": what is empty is nothing.
std::string FromTo(const std::string& before, const std::string& after);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_DIFF_DIFFERENCES_H_
