// What is wrong with schemas, and where.
#ifndef OVIX_TOOL_LINT_FINDINGS_H_
#define OVIX_TOOL_LINT_FINDINGS_H_

#include <compare>
#include <string>
#include <utility>
#include <vector>

#include "contracts/contracts.h"
#include "lint/rules.h"

namespace ovix::tool::lint {

// The fix of what changes a release.
constexpr char kUndo[] =
    "undo it: what was released never changes; what is new gets a new field, message or schema";

struct Finding {
  std::string file;  // from the import root
  int line = 1;
  std::string rule;
  std::string what;  // with the full name of what it is of, where it is not of the file
  std::string fix;

  friend auto operator<=>(const Finding&, const Finding&) = default;
};

class Findings {
 public:
  // `contracts` are those that the findings are of; they must outlive it.
  explicit Findings(const Contracts& contracts) : contracts_(contracts) {}

  // At the line of the declaration.
  template <typename AnyDescriptor>
  void Add(Rule rule, const AnyDescriptor* subject, const std::string& what,
           const std::string& fix) {
    AddAt(contracts_.DeclarationOf(subject), rule, subject, what, fix);
  }
  // At another line of its schema.
  template <typename AnyDescriptor>
  void AddAt(int line, Rule rule, const AnyDescriptor* subject, const std::string& what,
             const std::string& fix) {
    AddIn(subject->file()->name(), line, rule, subject->full_name() + ": " + what, fix);
  }
  void AddIn(const std::string& file, int line, Rule rule, const std::string& what,
             const std::string& fix) {
    all_.push_back({file, line, TextOf(rule).id, what, fix});
  }

  std::vector<Finding> Take() { return std::move(all_); }

 private:
  const Contracts& contracts_;
  std::vector<Finding> all_;
};

}  // namespace ovix::tool::lint

#endif  // OVIX_TOOL_LINT_FINDINGS_H_
