// The privacy classes of fields: by their names, and by the records that they come from.
#include <algorithm>

#include "contracts/facts.h"
#include "lint/checks.h"
#include "lint/fields.h"

namespace ovix::tool::lint {
namespace {

// A name is personal if it is one of these, or ends in one after an underscore.
constexpr std::string_view kPersonal[] = {"serial_number",
                                          "mac_address",
                                          "uuid",
                                          "unique_id",
                                          "user_id",
                                          "user_name",
                                          "latitude",
                                          "longitude",
                                          "geo_id",
                                          "ct_number",
                                          "c_t_number",
                                          "network_name",
                                          "network_name_hash",
                                          "w_lan_profile_name",
                                          "network_name_sha256_hash",
                                          "file_path",
                                          "file_name",
                                          "module_path",
                                          "install_path",
                                          "install_folder",
                                          "install_directory",
                                          "window_title",
                                          "host_name",
                                          "tenant_name",
                                          "tenant_id"};

bool LooksPersonal(std::string_view name) {
  return std::any_of(std::begin(kPersonal), std::end(kPersonal), [&](std::string_view personal) {
    return name.ends_with(personal) &&
           (name.size() == personal.size() || name[name.size() - personal.size() - 1] == '_');
  });
}

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
