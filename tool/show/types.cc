#include "show/types.h"

#include <google/protobuf/descriptor.pb.h>

#include <algorithm>

namespace ovix::tool {

void Types::Collect(const Descriptor* message) {
  if (std::find(messages.begin(), messages.end(), message) != messages.end()) return;
  messages.push_back(message);
  for (int i = 0; i < message->field_count(); ++i) Collect(message->field(i));
  for (int i = 0; i < message->nested_type_count(); ++i) {
    if (!message->nested_type(i)->options().map_entry()) Collect(message->nested_type(i));
  }
}

void Types::Collect(const FieldDescriptor* field) {
  if (field->is_map()) field = field->message_type()->map_value();
  const EnumDescriptor* type = field->enum_type();
  if (type != nullptr && std::find(enums.begin(), enums.end(), type) == enums.end()) {
    enums.push_back(type);
  }
  if (field->message_type() != nullptr) Collect(field->message_type());
}

std::string OriginText(const Origin& origin) {
  std::string text = "from ";
  if (origin.field != nullptr) {
    text += origin.field->containing_type()->name() + "." + origin.field->name();
  } else {
    text += origin.name == "none" ? "no record" : origin.name;
  }
  std::string words = origin.words;
  if (words.ends_with('.')) words.pop_back();
  return words.empty() ? text : text + ": " + words;
}

}  // namespace ovix::tool
