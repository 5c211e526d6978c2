// Changes that a user has accepted: a file with one of them a line.
#ifndef OVIX_TOOL_DIFF_IGNORED_H_
#define OVIX_TOOL_DIFF_IGNORED_H_

#include <string>
#include <vector>

#include "diff/differences.h"

namespace ovix::tool {

class Ignored {
 public:
  // Reads lines "RULE SUBJECT"; what follows a # is a comment. Throws Error for any other line and
  // for a rule that there is not.
  explicit Ignored(const std::string& file);

  // Takes out the changes that the file names; gives how many.
  size_t TakeFrom(std::vector<Difference>& differences);
  // The lines that took out nothing, each as "FILE:LINE: RULE SUBJECT".
  std::vector<std::string> Unused() const;

 private:
  struct Entry {
    int line;
    std::string rule;
    std::string subject;
    bool is_used = false;
  };
  const std::string file_;
  std::vector<Entry> entries_;
};

}  // namespace ovix::tool

#endif  // OVIX_TOOL_DIFF_IGNORED_H_
