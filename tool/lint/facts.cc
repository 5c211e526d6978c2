// What the facts of a field state: values that the grammar allows, and a unit for each quantity.
#include "contracts/facts.h"

#include <algorithm>
#include <set>

#include "lint/checks.h"
#include "lint/fields.h"

namespace ovix::tool::lint {
namespace {

std::string FixOf(const std::string& key) {
  if (key == "Unit") return "use a code of docs/contracts.md, or unspecified";
  if (key == "Format") return "use a format of docs/contracts.md, or unspecified";
  if (key == "Privacy") return "use identifier, location, content or interaction";
  return "list \"words\" or numbers, separated by commas, with ... at the end of an open list, or "
         "write unspecified";
}

// Whether the prose says that a number is not a quantity.
bool SaysNoQuantity(std::string_view prose) {
  return BeginsWith(prose,
                    {"Number of", "Code", "Identifier", "Index", "Flags", "Version", "Ratio"});
}

void CheckField(const Contracts& contracts, const FieldDescriptor* field, Findings& findings) {
  const Comment comment = contracts.CommentOf(field);
  FieldFacts facts;
  std::set<std::string> keys;
  for (const Fact& fact : comment.facts) {
    keys.insert(fact.key);
    if (ReadFact(fact, facts)) continue;
    findings.AddAt(LineOfFact(contracts, field, fact.key), Rule::kComment, field,
                   "'" + fact.value + "' is not a value of " + fact.key, FixOf(fact.key));
  }
  const std::string by_name = UnitOfName(field->name());
  if (facts.unit_from == UnitFrom::kLine && facts.unit == by_name) {
    findings.AddAt(LineOfFact(contracts, field, "Unit"), Rule::kComment, field,
                   "the name gives the unit " + facts.unit + " already", "remove the line");
  }
  if (IsNumber(field) && !keys.contains("Unit") && by_name.empty() && facts.values.empty() &&
      !ShowsNoQuantity(field->name()) && !SaysNoQuantity(comment.text)) {
    findings.AddAt(contracts.LineOf(field), Rule::kComment, field, "is a number without a unit",
                   "add a line Unit, or begin the comment with 'Number of', 'Code', 'Identifier', "
                   "'Index', 'Flags', 'Version' or 'Ratio'");
  }
}

}  // namespace

void CheckFacts(const Checked& checked, Findings& findings) {
  for (const FieldDescriptor* field : FieldsOf(checked.contracts)) {
    CheckField(checked.contracts, field, findings);
  }
}

}  // namespace ovix::tool::lint
