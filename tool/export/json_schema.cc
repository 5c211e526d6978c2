#include "export/json_schema.h"

#include <google/protobuf/descriptor.pb.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <utility>
#include <vector>

#include "contracts/facts.h"
#include "export/listed.h"
#include "export/patterns.h"
#include "export/urn.h"
#include "terminal/error.h"
#include "terminal/format.h"

namespace ovix::tool {
namespace {

class SchemaWriter {
 public:
  SchemaWriter(const Contracts& contracts, const Descriptor* root, bool allows_unknown)
      : contracts_(contracts), root_(root), allows_unknown_(allows_unknown) {}

  std::string Write() {
    json_.BeginObject().Add("$schema", "https://json-schema.org/draft/2020-12/schema");
    AddIdentity();
    AddMessage(root_);
    // Each can name more of them.
    if (!messages_.empty() || !enums_.empty() || !scalars_.empty()) {
      json_.Key("$defs").BeginObject();
      for (size_t i = 0; i < messages_.size(); ++i) {
        json_.Key(messages_[i]->full_name()).BeginObject();
        AddMessage(messages_[i]);
        json_.EndObject();
      }
      for (const EnumDescriptor* enumeration : enums_) AddEnum(enumeration);
      for (const FieldDescriptor* field : scalars_) AddScalar(field);
      json_.EndObject();
    }
    return json_.EndObject().Text();
  }

 private:
  void AddIdentity() {
    switch (KindOf(root_)) {
      case Kind::kPayload: {
        const PayloadOptions payload = PayloadOptionsOf(root_);
        json_.Add("$id", Urn(payload.gun + ":" + payload.version))
            .Add("x-gun", payload.gun)
            .Add("x-version", payload.version);
        break;
      }
      case Kind::kTable: {
        const TableOptions table = TableOptionsOf(root_);
        json_.Add("$id", Urn(root_->full_name()))
            .Add("x-database", table.database)
            .Add("x-table", table.table);
        break;
      }
      default:
        json_.Add("$id", Urn(root_->full_name()));
    }
  }

  void AddMessage(const Descriptor* message) {
    json_.Add("title", ShortName(message));
    AddDescription(contracts_.CommentOf(message));
    json_.Add("type", "object").Key("properties").BeginObject();
    for (int i = 0; i < message->field_count(); ++i) AddField(message->field(i));
    json_.EndObject();
    if (!allows_unknown_) json_.Add("additionalProperties", false);
    AddOneofs(message);
  }

  // With one field of a oneof there is no other of it.
  void AddOneofs(const Descriptor* message) {
    if (message->real_oneof_decl_count() == 0) return;
    json_.Key("dependentSchemas").BeginObject();
    for (int i = 0; i < message->real_oneof_decl_count(); ++i) {
      const google::protobuf::OneofDescriptor* oneof = message->oneof_decl(i);
      for (int j = 0; j < oneof->field_count(); ++j) {
        json_.Key(oneof->field(j)->name()).BeginObject().Key("properties").BeginObject();
        for (int other = 0; other < oneof->field_count(); ++other) {
          if (other != j) json_.Add(oneof->field(other)->name(), false);
        }
        json_.EndObject().EndObject();
      }
    }
    json_.EndObject();
  }

  void AddField(const FieldDescriptor* field) {
    const FieldFacts facts = FactsOf(contracts_, field);
    json_.Key(field->name()).BeginObject();
    AddDescription(contracts_.CommentOf(field));
    AddAnnotations(field, facts);
    if (field->is_map()) {
      const Descriptor* entry = field->message_type();
      json_.Add("type", "object").Key("propertyNames").BeginObject();
      AddKey(entry->map_key());
      json_.EndObject().Key("additionalProperties").BeginObject();
      AddValue(entry->map_value(), {});
      json_.EndObject();
    } else if (field->is_repeated()) {
      json_.Add("type", "array").Key("items").BeginObject();
      AddValue(field, facts);
      json_.EndObject();
    } else {
      AddValue(field, facts);
    }
    json_.EndObject();
  }

  void AddDescription(const Comment& comment) {
    if (!comment.text.empty()) json_.Add("description", Reflowed(comment.text));
  }

  void AddAnnotations(const FieldDescriptor* field, const FieldFacts& facts) {
    const auto add = [&](const char* key, const std::string& value) {
      if (!value.empty()) json_.Add(key, value);
    };
    if (field->options().deprecated()) json_.Add("deprecated", true);
    if (IsKey(field)) json_.Add("x-key", true);
    add("x-unit", facts.unit);
    add("x-format", facts.format);
    add("x-privacy", PrivacyText(facts.privacy));
    AddMeanings(MeaningsOf(facts));
  }

  // The name of a map's entry, which is the text of its key.
  void AddKey(const FieldDescriptor* field) {
    if (field->cpp_type() == FieldDescriptor::CPPTYPE_STRING) {
      json_.Add("type", "string");
    } else if (field->cpp_type() == FieldDescriptor::CPPTYPE_BOOL) {
      json_.Add("enum", std::vector<std::string>{"true", "false"});
    } else {
      json_.Add("pattern", IntegerPattern(field));
    }
  }

  // A value of the field, or an element of it.
  void AddValue(const FieldDescriptor* field, const FieldFacts& facts) {
    const bool are_flags = facts.is_closed && AreFlags(contracts_, field);
    switch (field->cpp_type()) {
      case FieldDescriptor::CPPTYPE_MESSAGE:
        return AddReference(field);
      case FieldDescriptor::CPPTYPE_ENUM:
        if (std::find(enums_.begin(), enums_.end(), field->enum_type()) == enums_.end()) {
          enums_.push_back(field->enum_type());
        }
        json_.Add("$ref", "#/$defs/" + field->enum_type()->full_name());
        return;
      case FieldDescriptor::CPPTYPE_BOOL:
        json_.Add("type", "boolean");
        return;
      case FieldDescriptor::CPPTYPE_INT32:
      case FieldDescriptor::CPPTYPE_UINT32:
        json_.Add("type", "integer");
        if (are_flags) {
          json_.Add("minimum", 0).Key("maximum").Number(AllFlags(facts));
        } else if (facts.is_closed) {
          // Its list says it all.
        } else if (field->cpp_type() == FieldDescriptor::CPPTYPE_INT32) {
          AddRange(std::numeric_limits<int32_t>::min(), kMostInt32);
        } else {
          AddRange(0, std::numeric_limits<uint32_t>::max());
        }
        break;
      case FieldDescriptor::CPPTYPE_STRING:
        if (field->type() == FieldDescriptor::TYPE_BYTES) return AddScalarReference(field);
        json_.Add("type", "string");
        AddFormat(facts.format);
        break;
      default:
        AddScalarReference(field);
    }
    if (!are_flags) AddListed(field, facts);
  }

  void AddRange(int64_t least, int64_t most) { json_.Add("minimum", least).Add("maximum", most); }

  // The formats that JSON Schema knows too.
  void AddFormat(const std::string& format) {
    if (format == "RFC 3339") json_.Add("format", "date-time");
    if (format == "date") json_.Add("format", "date");
  }

  void AddListed(const FieldDescriptor* field, const FieldFacts& facts) {
    if (facts.listed_values.empty()) return;
    const bool is_text = field->cpp_type() == FieldDescriptor::CPPTYPE_INT64 ||
                         field->cpp_type() == FieldDescriptor::CPPTYPE_UINT64;
    json_.Key(facts.is_closed ? "enum" : "examples").BeginArray();
    for (const std::string& value : facts.listed_values) WriteListed(json_, field, value, is_text);
    json_.EndArray();
  }

  void AddReference(const FieldDescriptor* field) {
    const Descriptor* message = field->message_type();
    if (message->well_known_type() != Descriptor::WELLKNOWNTYPE_UNSPECIFIED) {
      throw Error(field->full_name() + ": is of type " + message->full_name() +
                  ", which has a JSON form of its own that this tool does not write; export "
                  "another message");
    }
    if (message == root_) {
      json_.Add("$ref", "#");
      return;
    }
    if (std::find(messages_.begin(), messages_.end(), message) == messages_.end()) {
      messages_.push_back(message);
    }
    json_.Add("$ref", "#/$defs/" + message->full_name());
  }

  void AddScalarReference(const FieldDescriptor* field) {
    const auto is_same = [&](const FieldDescriptor* other) {
      return ScalarName(other) == ScalarName(field);
    };
    if (std::none_of(scalars_.begin(), scalars_.end(), is_same)) scalars_.push_back(field);
    json_.Add("$ref", std::string("#/$defs/") + ScalarName(field));
  }

  // Of the types whose JSON takes more than a line to describe: no message has such a name.
  static const char* ScalarName(const FieldDescriptor* field) {
    switch (field->cpp_type()) {
      case FieldDescriptor::CPPTYPE_INT64:
        return "int64";
      case FieldDescriptor::CPPTYPE_UINT64:
        return "uint64";
      case FieldDescriptor::CPPTYPE_FLOAT:
        return "float";
      case FieldDescriptor::CPPTYPE_DOUBLE:
        return "double";
      default:
        return "bytes";
    }
  }

  void AddScalar(const FieldDescriptor* field) {
    json_.Key(ScalarName(field)).BeginObject();
    switch (field->cpp_type()) {
      case FieldDescriptor::CPPTYPE_INT64:
      case FieldDescriptor::CPPTYPE_UINT64:
        json_.Add("description", "A whole number of 64 bits in decimal digits.")
            .Add("type", "string")
            .Add("pattern", IntegerPattern(field));
        break;
      case FieldDescriptor::CPPTYPE_FLOAT:
      case FieldDescriptor::CPPTYPE_DOUBLE:
        json_.Key("anyOf").BeginArray().BeginObject().Add("type", "number");
        if (field->cpp_type() == FieldDescriptor::CPPTYPE_FLOAT) {
          // The largest as it is printed, which is a little more than it is.
          json_.Key("minimum").Number("-3.4028235e+38").Key("maximum").Number("3.4028235e+38");
        }
        json_.EndObject()
            .BeginObject()
            .Add("enum", std::vector<std::string>{"NaN", "Infinity", "-Infinity"})
            .EndObject()
            .EndArray();
        break;
      default:
        json_.Add("description", "Bytes in base64.")
            .Add("type", "string")
            .Add("contentEncoding", "base64")
            .Add("pattern", Base64Pattern());
    }
    json_.EndObject();
  }

  // The name of a value, or the number of one that these contracts do not have.
  void AddEnum(const EnumDescriptor* enumeration) {
    json_.Key(enumeration->full_name()).BeginObject().Add("title", ShortName(enumeration));
    AddDescription(contracts_.CommentOf(enumeration));
    json_.Key("anyOf").BeginArray().BeginObject().Key("enum").BeginArray();
    for (int i = 0; i < enumeration->value_count(); ++i) json_.Value(enumeration->value(i)->name());
    json_.EndArray().EndObject().BeginObject().Add("type", "integer");
    AddRange(std::numeric_limits<int32_t>::min(), kMostInt32);
    json_.EndObject().EndArray().Key("x-numbers").BeginObject();
    std::vector<std::pair<std::string, std::string>> meanings;
    for (int i = 0; i < enumeration->value_count(); ++i) {
      const EnumValueDescriptor* value = enumeration->value(i);
      json_.Add(value->name(), value->number());
      const std::string& meaning = contracts_.CommentOf(value).text;
      if (!meaning.empty()) meanings.emplace_back(value->name(), Reflowed(meaning));
    }
    json_.EndObject();
    AddMeanings(meanings);
    json_.EndObject();
  }

  void AddMeanings(const std::vector<std::pair<std::string, std::string>>& meanings) {
    if (meanings.empty()) return;
    json_.Key("x-meanings").BeginObject();
    for (const auto& [value, meaning] : meanings) json_.Add(value, meaning);
    json_.EndObject();
  }

  static constexpr int64_t kMostInt32 = std::numeric_limits<int32_t>::max();

  const Contracts& contracts_;
  const Descriptor* const root_;
  const bool allows_unknown_;
  JsonWriter json_;
  // What the schema refers to, in that order.
  std::vector<const Descriptor*> messages_;
  std::vector<const EnumDescriptor*> enums_;
  std::vector<const FieldDescriptor*> scalars_;  // one of each type
};

}  // namespace

std::string JsonSchemaOf(const Contracts& contracts, const Descriptor* message,
                         bool allows_unknown) {
  return SchemaWriter(contracts, message, allows_unknown).Write();
}

}  // namespace ovix::tool
