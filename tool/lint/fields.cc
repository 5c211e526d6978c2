#include "lint/fields.h"

namespace ovix::tool::lint {

std::vector<const FieldDescriptor*> FieldsOf(const Contracts& contracts) {
  std::vector<const FieldDescriptor*> fields;
  for (const FileDescriptor* file : FilesOf(contracts)) {
    for (int i = 0; i < file->extension_count(); ++i) fields.push_back(file->extension(i));
  }
  for (const Descriptor* message : MessagesOf(contracts)) {
    for (int i = 0; i < message->field_count(); ++i) fields.push_back(message->field(i));
  }
  return fields;
}

int LineOfFact(const Contracts& contracts, const FieldDescriptor* field, std::string_view key) {
  for (const Fact& fact : contracts.CommentOf(field).facts) {
    if (fact.key == key) return contracts.LineOf(field) + fact.line;
  }
  return contracts.LineOf(field);
}

std::vector<const FieldDescriptor*> SourceFieldsOf(const Contracts& contracts,
                                                   const FieldDescriptor* field) {
  std::vector<const FieldDescriptor*> fields;
  if (field->is_extension() || !IsUpload(field->file())) return fields;
  for (const Origin& origin : contracts.OriginsOf(field)) {
    if (origin.field != nullptr) fields.push_back(origin.field);
  }
  return fields;
}

}  // namespace ovix::tool::lint
