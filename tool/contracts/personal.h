// The personal data that messages hold: by the privacy classes of the fields, parts included.
#ifndef OVIX_TOOL_CONTRACTS_PERSONAL_H_
#define OVIX_TOOL_CONTRACTS_PERSONAL_H_

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "contracts/contracts.h"
#include "contracts/facts.h"

namespace ovix::tool {

// A field with a privacy class, as a message holds it.
struct PersonalField {
  std::string path;  // from the message to the field: "summaries.app_inventory.install_folder"
  const FieldDescriptor* field;
  Privacy privacy;
  std::vector<const FieldDescriptor*> from;  // fields of records that it comes from
  std::vector<const FieldDescriptor*> to;    // fields of payloads that it goes to
};

// Reads the comments of all schemas once. As long-lived as the contracts; not for use by two
// threads at once.
class PersonalData {
 public:
  explicit PersonalData(const Contracts& contracts);

  // Those of a message and of all in it, in the order of the fields; a message that holds itself is
  // entered once.
  std::vector<PersonalField> In(const Descriptor* message) const;
  // How many fields of all messages have a class.
  size_t size() const { return fields_.size(); }

 private:
  void Collect(const Descriptor* message, const std::string& path,
               std::vector<const Descriptor*>& holders, std::vector<PersonalField>& found) const;

  std::map<const FieldDescriptor*, PersonalField> fields_;  // with an empty path
};

// Whether the comments state any privacy class: not those of a release that does not classify its
// fields, nor a set without comments.
bool StatesPrivacy(const Contracts& contracts);

// The schema of a message, or of one in it, of which the set has no comments; null where it has
// those of all.
const FileDescriptor* SchemaWithoutComments(const Contracts& contracts, const Descriptor* message);

// Throw Error if what is personal is not known, which is easily taken for nothing: in any message,
// as no privacy class is stated, or in this one, as a schema has no comments.
void RequirePrivacy(const Contracts& contracts);
void RequirePrivacy(const Contracts& contracts, const Descriptor* message);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_CONTRACTS_PERSONAL_H_
