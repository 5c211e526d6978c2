// The privacy classes of fields: by their names, and by the records that they come from.
#include "contracts/facts.h"
#include "lint/checks.h"
#include "lint/fields.h"

namespace ovix::tool::lint {
namespace {

// Whether the field itself holds a value of a contract: not one of an option, nor a message, whose
// fields have classes of their own.
bool HoldsValue(const FieldDescriptor* field) {
  const Descriptor* part = field->message_type();
  const bool is_part = part != nullptr && !field->is_map() && IsContract(part->file());
  return !field->is_extension() && field->file()->extension_count() == 0 && !is_part &&
         field->type() != FieldDescriptor::TYPE_BOOL;
}

}  // namespace

void CheckPrivacy(const Checked& checked, Findings& findings) {
  const Contracts& contracts = checked.contracts;
  for (const FieldDescriptor* field : FieldsOf(contracts)) {
    const Privacy privacy = FactsOf(contracts, field).privacy;
    if (privacy == Privacy::kNone && HoldsValue(field) && LooksPersonal(field->name())) {
      findings.AddAt(contracts.LineOf(field), Rule::kPrivacy, field, "its name looks personal",
                     "add a line Privacy");
      continue;
    }
    for (const FieldDescriptor* source : SourceFieldsOf(contracts, field)) {
      const Privacy needed = FactsOf(contracts, source).privacy;
      if (privacy >= needed) continue;
      findings.AddAt(LineOfFact(contracts, field, "Privacy"), Rule::kPrivacy, field,
                     "is less sensitive than " + source->full_name() + ", where it comes from",
                     std::string("set Privacy: ") + PrivacyText(needed));
    }
  }
}

}  // namespace ovix::tool::lint
