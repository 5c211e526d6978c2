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
  return "list \"words\" or integers with \", \" between them, and in no meaning, with ... at the "
         "end of an open list, or write unspecified";
}

// Whether the suffix of a name can mislead: "per second" is not a duration, and a reason can say
// why the field has another unit.
bool CanMislead(std::string_view field_name, const FieldFacts& facts) {
  const std::string last(field_name.substr(field_name.rfind('_') + 1));
  return field_name.ends_with("_per_" + last) || !facts.unit_reason.empty();
}

void CheckUnit(const Contracts& contracts, const FieldDescriptor* field, const FieldFacts& facts,
               Findings& findings) {
  const auto add = [&](const std::string& what, const std::string& fix) {
    findings.AddAt(LineOfFact(contracts, field, "Unit"), Rule::kComment, field, what, fix);
  };
  const std::string by_name = UnitOfName(field->name());
  const bool has_line = facts.unit_from == UnitFrom::kLine;
  if (has_line && facts.unit == by_name) {
    add("the name gives the unit " + facts.unit + " already", "remove the line");
  } else if (has_line && !by_name.empty() && !CanMislead(field->name(), facts)) {
    add("has the unit " + facts.unit + ", but its name gives " + by_name,
        "remove the line, or give the field another name");
  }
  const std::string unit = has_line ? facts.unit : by_name;
  if (field->type() == FieldDescriptor::TYPE_STRING && !unit.empty() &&
      !IsFormatOfNumber(facts.format)) {
    add("is a string with the unit " + unit + ", but its format is not that of a number",
        "add Format: decimal number, integer, hexadecimal or unspecified");
  }
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
  if (const auto wrong = FindWrongValues(field, comment.text, facts)) {
    findings.AddAt(LineOfFact(contracts, field, "Values"), Rule::kComment, field, wrong->what,
                   wrong->fix);
  }
  CheckUnit(contracts, field, facts, findings);
  if (IsNumber(field) && !keys.contains("Unit") && UnitOfName(field->name()).empty() &&
      !keys.contains("Values") && !ShowsNoQuantity(field->name()) &&
      !SaysNoQuantity(comment.text)) {
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
