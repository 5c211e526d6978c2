#include "json/fields.h"

#include <google/protobuf/stubs/strutil.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <vector>

#include "contracts/names.h"

namespace ovix::tool {

using google::protobuf::FieldDescriptor;

namespace {

template <typename Number>
std::string Range() {
  return "write a whole number from " + std::to_string(std::numeric_limits<Number>::min()) +
         " to " + std::to_string(std::numeric_limits<Number>::max());
}

// How much of their names all values of an enumeration have in common, up to an underscore.
size_t CommonPrefix(const google::protobuf::EnumDescriptor* type) {
  const std::string& first = type->value(0)->name();
  size_t common = type->value_count() == 1 ? 0 : first.size();
  for (int i = 1; i < type->value_count(); ++i) {
    const std::string& name = type->value(i)->name();
    const auto differ = std::mismatch(first.begin(), first.end(), name.begin(), name.end());
    common = std::min(common, static_cast<size_t>(differ.first - first.begin()));
  }
  return common == 0 ? 0 : first.rfind('_', common - 1) + 1;
}

}  // namespace

std::string JsonForm(const FieldDescriptor* field) {
  switch (field->cpp_type()) {
    case FieldDescriptor::CPPTYPE_INT32:
      return Range<int32_t>();
    case FieldDescriptor::CPPTYPE_INT64:
      return Range<int64_t>();
    case FieldDescriptor::CPPTYPE_UINT32:
      return Range<uint32_t>();
    case FieldDescriptor::CPPTYPE_UINT64:
      return Range<uint64_t>();
    case FieldDescriptor::CPPTYPE_FLOAT:
    case FieldDescriptor::CPPTYPE_DOUBLE:
      return R"(write a number of its range, "NaN", "Infinity" or "-Infinity")";
    case FieldDescriptor::CPPTYPE_BOOL:
      return "write true or false";
    case FieldDescriptor::CPPTYPE_ENUM: {
      std::string names;
      for (int i = 0; i < field->enum_type()->value_count(); ++i) {
        names += (i == 0 ? "" : ", ") + field->enum_type()->value(i)->name();
      }
      return "write the number or the name of a value: " + names;
    }
    case FieldDescriptor::CPPTYPE_STRING:
      return field->type() == FieldDescriptor::TYPE_BYTES ? "write base64 in double quotes"
                                                          : "write text in double quotes";
    case FieldDescriptor::CPPTYPE_MESSAGE:
      break;
  }
  return field->is_map() ? JsonForm(field->message_type()->map_value()) : "write { ... }";
}

std::string Fix(const FieldDescriptor* field, const std::string& value, const std::string& form) {
  if (field->enum_type() == nullptr) return "; " + form;
  // What all names begin with says nothing, and is often left out.
  const size_t common = CommonPrefix(field->enum_type());
  const std::string prefix = field->enum_type()->value(0)->name().substr(0, common);
  std::vector<std::string> rests;
  for (int i = 0; i < field->enum_type()->value_count(); ++i) {
    rests.push_back(field->enum_type()->value(i)->name().substr(common));
  }
  std::vector<std::string> near =
      Nearest(value.starts_with(prefix) ? value.substr(common) : value, rests);
  if (near.empty()) return "; " + form;
  for (std::string& name : near) name.insert(0, prefix);
  return "; is it " + Listed(near, "or") + "? W" + form.substr(1);
}

std::string FieldSuggestion(const google::protobuf::Descriptor* message, const std::string& name) {
  std::vector<std::string> known;
  for (int i = 0; i < message->field_count(); ++i) known.push_back(message->field(i)->name());
  const std::string suggestion = Suggestion(name, known);
  return suggestion.empty() ? "; ovix-contracts show lists those it has" : suggestion;
}

std::string JsonTypeName(const FieldDescriptor* field) {
  if (field->message_type() != nullptr) return field->message_type()->full_name();
  if (field->enum_type() != nullptr) return field->enum_type()->full_name();
  return field->type_name();
}

bool ReadBase64(std::string_view text, std::string& bytes) {
  if (text.ends_with('=')) {
    if (text.size() % 4 != 0) return false;
    text.remove_suffix(text.ends_with("==") ? 2 : 1);
  }
  std::string plain(text);
  std::replace(plain.begin(), plain.end(), '+', '-');
  std::replace(plain.begin(), plain.end(), '/', '_');
  const auto is_digit = [](char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' ||
           c == '_';
  };
  return std::all_of(plain.begin(), plain.end(), is_digit) &&
         google::protobuf::WebSafeBase64Unescape(plain, &bytes);
}

}  // namespace ovix::tool
