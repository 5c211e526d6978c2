#include "contracts/personal.h"

#include <algorithm>
#include <set>

#include "terminal/error.h"

namespace ovix::tool {

PersonalData::PersonalData(const Contracts& contracts) {
  for (const Descriptor* message : contracts.messages()) {
    for (int i = 0; i < message->field_count(); ++i) {
      const FieldDescriptor* field = message->field(i);
      const Privacy privacy = FactsOf(contracts, field).privacy;
      if (privacy != Privacy::kNone) fields_[field] = {"", field, privacy, {}, {}};
    }
  }
  for (const Descriptor* message : contracts.messages()) {
    for (int i = 0; i < message->field_count(); ++i) {
      const FieldDescriptor* field = message->field(i);
      for (const Origin& origin : contracts.OriginsOf(field)) {
        if (origin.field == nullptr) continue;
        const auto target = fields_.find(field);
        if (target != fields_.end()) target->second.from.push_back(origin.field);
        const auto source = fields_.find(origin.field);
        if (source != fields_.end()) source->second.to.push_back(field);
      }
    }
  }
}

std::vector<PersonalField> PersonalData::In(const Descriptor* message) const {
  std::vector<PersonalField> found;
  std::vector<const Descriptor*> holders;
  Collect(message, "", holders, found);
  return found;
}

void PersonalData::Collect(const Descriptor* message, const std::string& path,
                           std::vector<const Descriptor*>& holders,
                           std::vector<PersonalField>& found) const {
  if (std::find(holders.begin(), holders.end(), message) != holders.end()) return;
  holders.push_back(message);
  for (int i = 0; i < message->field_count(); ++i) {
    const FieldDescriptor* field = message->field(i);
    const auto known = fields_.find(field);
    if (known != fields_.end()) {
      found.push_back(known->second);
      found.back().path = path + field->name();
    }
    if (field->message_type() != nullptr) {
      Collect(field->message_type(), path + field->name() + ".", holders, found);
    }
  }
  holders.pop_back();
}

bool StatesPrivacy(const Contracts& contracts) {
  for (const Descriptor* message : contracts.messages()) {
    for (int i = 0; i < message->field_count(); ++i) {
      if (FactsOf(contracts, message->field(i)).privacy != Privacy::kNone) return true;
    }
  }
  return false;
}

const FileDescriptor* SchemaWithoutComments(const Contracts& contracts, const Descriptor* message) {
  std::set<const Descriptor*> reached = {message};
  std::vector<const Descriptor*> queue = {message};
  while (!queue.empty()) {
    const Descriptor* next = queue.back();
    queue.pop_back();
    // Protobuf's own schemas state no class.
    if (next->file()->package() == "google.protobuf") continue;
    // A file without a line has no source information, and so no comments.
    if (contracts.LineOf(next->file()) == 0) return next->file();
    for (int i = 0; i < next->field_count(); ++i) {
      const Descriptor* inner = next->field(i)->message_type();
      if (inner != nullptr && reached.insert(inner).second) queue.push_back(inner);
    }
  }
  return nullptr;
}

void RequirePrivacy(const Contracts& contracts) {
  if (StatesPrivacy(contracts)) return;
  throw Error(contracts.source() +
              ": its comments state no privacy class, so what is personal is not known; name a set "
              "with comments (protoc --include_source_info) of a release that states them");
}

void RequirePrivacy(const Contracts& contracts, const Descriptor* message) {
  const FileDescriptor* schema = SchemaWithoutComments(contracts, message);
  if (schema == nullptr) return;
  throw Error(contracts.source() + ": it has no comments of " + schema->name() +
              ", so what is personal in " + message->name() +
              " is not known; make the set with protoc --include_source_info");
}

}  // namespace ovix::tool
