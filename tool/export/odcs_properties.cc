#include "export/odcs_properties.h"

#include <google/protobuf/descriptor.pb.h>

#include <algorithm>
#include <iterator>

#include "export/listed.h"
#include "show/types.h"

namespace ovix::tool {
namespace {

namespace tables = telemetry::contract::tables;

// The name in the standard's own words. `is_number` is whether an enumeration is its number.
const char* LogicalType(const FieldDescriptor* field, const FieldFacts& facts, bool is_number) {
  switch (field->cpp_type()) {
    case FieldDescriptor::CPPTYPE_MESSAGE:
      return "object";
    case FieldDescriptor::CPPTYPE_ENUM:
      return is_number ? "integer" : "string";
    case FieldDescriptor::CPPTYPE_BOOL:
      return "boolean";
    case FieldDescriptor::CPPTYPE_FLOAT:
    case FieldDescriptor::CPPTYPE_DOUBLE:
      return "number";
    case FieldDescriptor::CPPTYPE_STRING:
      return facts.format == "RFC 3339" ? "timestamp" : facts.format == "date" ? "date" : "string";
    default:
      return "integer";
  }
}

// How many bits a number has, in the standard's words; null for what is not a number.
const char* NumberFormat(const FieldDescriptor* field) {
  switch (field->cpp_type()) {
    case FieldDescriptor::CPPTYPE_INT32:
    case FieldDescriptor::CPPTYPE_ENUM:
      return "i32";
    case FieldDescriptor::CPPTYPE_INT64:
      return "i64";
    case FieldDescriptor::CPPTYPE_UINT32:
      return "u32";
    case FieldDescriptor::CPPTYPE_UINT64:
      return "u64";
    case FieldDescriptor::CPPTYPE_FLOAT:
      return "f32";
    case FieldDescriptor::CPPTYPE_DOUBLE:
      return "f64";
    default:
      return nullptr;
  }
}

}  // namespace

void WriteCustom(JsonWriter& json, const std::vector<CustomProperty>& custom) {
  if (custom.empty()) return;
  json.Key("customProperties").BeginArray();
  for (const CustomProperty& property : custom) {
    json.BeginObject().Add("property", property.name);
    if (property.is_list) {
      json.Add("value", property.values);
    } else {
      json.Add("value", property.values.front());
    }
    if (!property.description.empty()) json.Add("description", property.description);
    json.EndObject();
  }
  json.EndArray();
}

void WriteDescription(JsonWriter& json, const Comment& comment) {
  if (!comment.text.empty()) json.Add("description", Reflowed(comment.text));
}

void OdcsProperties::Write(const Descriptor* message) {
  holders_ = {message};
  json_.Key("properties").BeginArray();
  for (int i = 0; i < message->field_count(); ++i) WriteField(message->field(i));
  json_.EndArray();
}

void OdcsProperties::Write(const tables::Table& table) {
  holders_ = {table.record};
  json_.Key("properties").BeginArray();
  for (const tables::Column& column : table.columns) {
    const auto place =
        std::find_if(table.key.begin(), table.key.end(),
                     [&](const tables::Column& key) { return key.field == column.field; });
    WriteField(column.field, &column,
               column.key ? static_cast<int>(std::distance(table.key.begin(), place)) + 1 : 0);
  }
  json_.EndArray();
}

void OdcsProperties::WriteField(const FieldDescriptor* field, const Column* column, int key) {
  const FieldFacts facts = FactsOf(contracts_, field);
  json_.BeginObject().Add("name", field->name());
  WriteDescription(json_, contracts_.CommentOf(field));
  if (key != 0) json_.Add("primaryKey", true).Add("primaryKeyPosition", key);
  // A payload has its version always; anything else can be absent.
  const bool is_version = holders_.size() == 1 && field->number() == 1 &&
                          KindOf(field->containing_type()) == Kind::kPayload;
  if (key != 0 || is_version) json_.Add("required", true);
  if (facts.privacy != Privacy::kNone) json_.Add("classification", PrivacyText(facts.privacy));
  if (column != nullptr) {
    json_.Add("physicalType", column->Type());
  } else {
    json_.Add("physicalType",
              (field->is_repeated() && !field->is_map() ? "repeated " : "") + TypeText(field));
  }
  if (field->is_map()) {
    json_.Add("logicalType", "object");
  } else if (field->is_repeated()) {
    json_.Add("logicalType", "array").Key("items").BeginObject();
    WriteType(field, facts, nullptr);
    json_.EndObject();
  } else {
    WriteType(field, facts, column);
  }
  WriteOrigins(field);
  WriteCustom(json_, CustomOf(field, facts, column));
  json_.EndObject();
}

// Of a list the type of an element. An enumeration is its number in a column of its own, else the
// name of its value.
void OdcsProperties::WriteType(const FieldDescriptor* field, const FieldFacts& facts,
                               const Column* column) {
  const bool is_number = column != nullptr;
  json_.Add("logicalType", LogicalType(field, facts, is_number));
  if (field->message_type() != nullptr) return WriteParts(field->message_type());
  WriteOptions(field, facts, is_number);
  if (!facts.listed_values.empty() && !facts.is_closed) {
    json_.Key("examples").BeginArray();
    for (const std::string& value : facts.listed_values) WriteListed(json_, field, value);
    json_.EndArray();
  }
  WriteValidValues(field, facts, is_number);
}

void OdcsProperties::WriteOptions(const FieldDescriptor* field, const FieldFacts& facts,
                                  bool is_number_of_enum) {
  const std::string type = LogicalType(field, facts, is_number_of_enum);
  std::string format;
  if (type == "integer" || type == "number") {
    format = NumberFormat(field);
  } else if (field->type() == FieldDescriptor::TYPE_BYTES) {
    format = "binary";
  } else if (type == "string" && facts.format != "unspecified") {
    format = facts.format;
  } else if (type == "date") {
    format = "yyyy-MM-dd";
  }
  const bool are_flags = facts.is_closed && AreFlags(contracts_, field);
  if (format.empty() && type != "timestamp") return;
  json_.Key("logicalTypeOptions").BeginObject();
  if (!format.empty()) json_.Add("format", format);
  if (type == "timestamp") json_.Add("timezone", true);
  if (are_flags) json_.Add("minimum", 0).Key("maximum").Number(AllFlags(facts));
  json_.EndObject();
}

// A closed list is a rule that no value is another. What is made of flags has other values.
void OdcsProperties::WriteValidValues(const FieldDescriptor* field, const FieldFacts& facts,
                                      bool is_number_of_enum) {
  const EnumDescriptor* enumeration = field->enum_type();
  if (enumeration == nullptr && (!facts.is_closed || AreFlags(contracts_, field))) return;
  json_.Key("quality")
      .BeginArray()
      .BeginObject()
      .Add("type", "library")
      .Add("metric", "invalidValues")
      .Key("arguments")
      .BeginObject()
      .Key("validValues")
      .BeginArray();
  for (const std::string& value : facts.listed_values) {
    if (enumeration == nullptr) WriteListed(json_, field, value);
  }
  for (int i = 0; enumeration != nullptr && i < enumeration->value_count(); ++i) {
    if (is_number_of_enum) {
      json_.Value(enumeration->value(i)->number());
    } else {
      json_.Value(enumeration->value(i)->name());
    }
  }
  json_.EndArray().EndObject().Add("mustBe", 0).EndObject().EndArray();
}

void OdcsProperties::WriteOrigins(const FieldDescriptor* field) {
  std::vector<std::string> fields;
  std::string words;
  for (const Origin& origin : contracts_.OriginsOf(field)) {
    if (origin.field != nullptr) fields.push_back(origin.field->full_name());
    words += (words.empty() ? "" : "; ") + OriginText(origin);
  }
  if (!fields.empty()) json_.Add("transformSourceObjects", fields);
  if (!words.empty()) json_.Add("transformDescription", words);
}

// A message that holds itself ends there.
void OdcsProperties::WriteParts(const Descriptor* message) {
  if (std::find(holders_.begin(), holders_.end(), message) != holders_.end()) return;
  holders_.push_back(message);
  json_.Key("properties").BeginArray();
  for (int i = 0; i < message->field_count(); ++i) WriteField(message->field(i));
  json_.EndArray();
  holders_.pop_back();
}

std::vector<CustomProperty> OdcsProperties::CustomOf(const FieldDescriptor* field,
                                                     const FieldFacts& facts,
                                                     const Column* column) const {
  std::vector<CustomProperty> custom;
  const auto add = [&](const char* name, std::string value, const std::string& description = "") {
    if (!value.empty()) custom.push_back({name, {std::move(value)}, false, description});
  };
  add("unit", facts.unit, facts.unit_reason);
  if (facts.format == "unspecified") add("format", facts.format, facts.format_reason);
  if (facts.values == "unspecified") add("values", facts.values, facts.values_reason);
  std::vector<std::string> meanings;
  for (const auto& [value, meaning] : MeaningsOf(facts)) {
    meanings.push_back(value + " = " + meaning);
  }
  if (!meanings.empty()) custom.push_back({"meanings", meanings, true, ""});
  if (column != nullptr && column->kind == tables::ColumnKind::kJson) add("encoding", "JSON");
  if (field->options().deprecated()) add("deprecated", "true");
  const Descriptor* message = field->message_type();
  const EnumDescriptor* enumeration = field->enum_type();
  if (message != nullptr && !field->is_map()) add("message", message->full_name());
  if (enumeration != nullptr) {
    add("enumeration", enumeration->full_name());
    std::vector<std::string> numbers;
    for (int i = 0; i < enumeration->value_count(); ++i) {
      numbers.push_back(std::to_string(enumeration->value(i)->number()) + " = " +
                        enumeration->value(i)->name());
    }
    custom.push_back({"numbers", numbers, true, ""});
  }
  if (column == nullptr && !field->is_repeated()) add("presence", PresenceText(field));
  return custom;
}

}  // namespace ovix::tool
