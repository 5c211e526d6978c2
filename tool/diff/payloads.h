// Compares guns and versions of payloads.
#ifndef OVIX_TOOL_DIFF_PAYLOADS_H_
#define OVIX_TOOL_DIFF_PAYLOADS_H_

#include <map>
#include <set>
#include <string>
#include <vector>

#include "diff/findings.h"

namespace ovix::tool {

class PayloadComparison {
 public:
  explicit PayloadComparison(Findings& findings) : findings_(findings) {}

  // What of the gun and the version of a message changed; nothing if it is a payload in neither.
  void Compare(const Descriptor* before, const Descriptor* after);
  // What a gun of the newer release must be, whatever it was before.
  void CheckGun(const Descriptor* payload);
  // Whether every payload whose content changed has raised its version far enough. A payload's
  // content is its own fields and those of everything in it: for after all other comparisons.
  void CheckVersions();

 private:
  // Whether a message or an enumeration is in a payload, however deep.
  bool Holds(const Descriptor* payload, const void* content);

  Findings& findings_;
  std::map<const Descriptor*, std::set<const void*>> contents_;
  std::map<std::string, std::vector<const Descriptor*>> guns_;
};

}  // namespace ovix::tool

#endif  // OVIX_TOOL_DIFF_PAYLOADS_H_
