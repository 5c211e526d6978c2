#include "store/json.h"

#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/io/zero_copy_stream_impl_lite.h>
#include <google/protobuf/stubs/common.h>
#include <google/protobuf/util/json_util.h>

#include <memory>
#include <vector>

#include "store/sqlite.h"

namespace ovix::agent {
namespace {

using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::Reflection;

// Protobuf prints negative zero as -0 and reads that as the integer 0; -0.0 it reads as it was.
std::string KeepNegativeZeros(const std::string& json) {
  std::string kept;
  bool in_string = false;
  for (size_t i = 0; i < json.size(); ++i) {
    const char c = json[i];
    kept += c;
    if (in_string && c == '\\') {
      kept += json[++i];
    } else if (c == '"') {
      in_string = !in_string;
    } else if (!in_string && c == '0' && i > 0 && json[i - 1] == '-') {
      const char next = i + 1 < json.size() ? json[i + 1] : '}';
      if (next == ',' || next == ']' || next == '}') kept += ".0";
    }
  }
  return kept;
}

void WriteText(std::string_view text, std::string& json) {
  constexpr char kDigits[] = "0123456789abcdef";
  json += '"';
  for (const char c : text) {
    if (c == '"' || c == '\\') {
      json += {'\\', c};
    } else if (static_cast<unsigned char>(c) < 0x20) {
      json += {'\\', 'u', '0', '0', kDigits[c >> 4], kDigits[c & 15]};
    } else {
      json += c;
    }
  }
  json += '"';
}

bool WriteMessage(const Message& message, std::string& json);

// Appends a value as protobuf's JSON; `index` is the element's of a list, else -1. False for what
// is left to protobuf's own printer: reals and maps.
bool WriteValue(const Message& record, const FieldDescriptor* field, int index, std::string& json) {
  const Reflection* reflection = record.GetReflection();
  const bool in_list = index >= 0;
  switch (field->cpp_type()) {
    case FieldDescriptor::CPPTYPE_INT32:
      json += std::to_string(in_list ? reflection->GetRepeatedInt32(record, field, index)
                                     : reflection->GetInt32(record, field));
      return true;
    case FieldDescriptor::CPPTYPE_UINT32:
      json += std::to_string(in_list ? reflection->GetRepeatedUInt32(record, field, index)
                                     : reflection->GetUInt32(record, field));
      return true;
    case FieldDescriptor::CPPTYPE_INT64:
      json += '"' +
              std::to_string(in_list ? reflection->GetRepeatedInt64(record, field, index)
                                     : reflection->GetInt64(record, field)) +
              '"';
      return true;
    case FieldDescriptor::CPPTYPE_UINT64:
      json += '"' +
              std::to_string(in_list ? reflection->GetRepeatedUInt64(record, field, index)
                                     : reflection->GetUInt64(record, field)) +
              '"';
      return true;
    case FieldDescriptor::CPPTYPE_BOOL:
      json += (in_list ? reflection->GetRepeatedBool(record, field, index)
                       : reflection->GetBool(record, field))
                  ? "true"
                  : "false";
      return true;
    case FieldDescriptor::CPPTYPE_STRING: {
      if (field->type() == FieldDescriptor::TYPE_BYTES) return false;
      std::string scratch;
      WriteText(in_list ? reflection->GetRepeatedStringReference(record, field, index, &scratch)
                        : reflection->GetStringReference(record, field, &scratch),
                json);
      return true;
    }
    case FieldDescriptor::CPPTYPE_MESSAGE:
      return WriteMessage(in_list ? reflection->GetRepeatedMessage(record, field, index)
                                  : reflection->GetMessage(record, field),
                          json);
    default:
      return false;
  }
}

bool WriteField(const Message& record, const FieldDescriptor* field, std::string& json) {
  if (!field->is_repeated()) return WriteValue(record, field, -1, json);
  const int size = record.GetReflection()->FieldSize(record, field);
  if (field->is_map() && size > 0) return false;
  json += field->is_map() ? '{' : '[';
  for (int i = 0; i < size; ++i) {
    if (i > 0) json += ',';
    if (!WriteValue(record, field, i, json)) return false;
  }
  json += field->is_map() ? '}' : ']';
  return true;
}

bool WriteMessage(const Message& message, std::string& json) {
  std::vector<const FieldDescriptor*> fields;
  message.GetReflection()->ListFields(message, &fields);
  json += '{';
  for (const FieldDescriptor* field : fields) {
    if (field != fields.front()) json += ',';
    json += '"' + field->name() + "\":";
    if (!WriteField(message, field, json)) return false;
  }
  json += '}';
  return true;
}

// An empty message of the record's type that holds this one field.
std::unique_ptr<Message> Only(const Message& record, const FieldDescriptor* field) {
  std::unique_ptr<Message> copy(record.New());
  copy->CopyFrom(record);
  std::unique_ptr<Message> only(record.New());
  record.GetReflection()->SwapFields(copy.get(), only.get(), {field});
  return only;
}

}  // namespace

std::string MessageToJson(const Message& message) {
  // Protobuf's printer looks up the types of a message again each time; that is most of what
  // keeping a row would cost.
  if (std::string written; WriteMessage(message, written)) return written;
  google::protobuf::util::JsonPrintOptions options;
  options.preserve_proto_field_names = true;
  std::string json;
  const auto status = google::protobuf::util::MessageToJsonString(message, &json, options);
  if (!status.ok()) {
    throw StoreError(message.GetDescriptor()->full_name() + ": " + status.ToString());
  }
  return KeepNegativeZeros(json);
}

std::string FieldToJson(const Message& record, const FieldDescriptor* field) {
  // What holds no reals comes back the same.
  if (std::string written; WriteField(record, field, written)) return written;
  const std::unique_ptr<Message> only = Only(record, field);
  std::string json = MessageToJson(*only);
  // {"name":VALUE} to VALUE; {} is a list or map with nothing in it.
  const size_t prefix = std::string_view("{\"\":").size() + field->name().size();
  const char* nothing = field->is_map() ? "{}" : "[]";
  json = json == "{}" ? nothing : json.substr(prefix, json.size() - prefix - 1);

  std::unique_ptr<Message> back(record.New());
  if (!FieldFromJson(json, field, *back) || CanonicalBytes(*back) != CanonicalBytes(*only)) {
    throw StoreError(field->full_name() +
                     ": holds a value that JSON cannot give back the same; it was not stored");
  }
  return json;
}

bool FieldFromJson(std::string_view json, const FieldDescriptor* field, Message& record) {
  google::protobuf::util::JsonParseOptions options;
  options.ignore_unknown_fields = true;
  const std::string object = "{\"" + field->name() + "\":" + std::string(json) + "}";
  std::unique_ptr<Message> parsed(record.New());
  if (!google::protobuf::util::JsonStringToMessage(object, parsed.get(), options).ok())
    return false;
  // Only this field moves over, whatever else the text may hold.
  record.GetReflection()->SwapFields(parsed.get(), &record, {field});
  return true;
}

std::string CanonicalBytes(const Message& message) {
  std::string bytes;
  {
    google::protobuf::io::StringOutputStream stream(&bytes);
    google::protobuf::io::CodedOutputStream output(&stream);
    output.SetSerializationDeterministic(true);
    message.SerializePartialToCodedStream(&output);
  }
  return bytes;
}

bool IsUtf8(std::string_view text) {
  return google::protobuf::internal::IsStructurallyValidUTF8(text.data(),
                                                             static_cast<int>(text.size()));
}

std::string FindUnkeepable(const Message& record) {
  const Reflection* reflection = record.GetReflection();
  if (!reflection->GetUnknownFields(record).empty()) return record.GetDescriptor()->full_name();
  const Descriptor* type = record.GetDescriptor();
  // Looks only at strings and at what may contain one: listing the fields that are set costs more.
  for (int i = 0; i < type->field_count(); ++i) {
    const FieldDescriptor* field = type->field(i);
    const bool is_message = field->cpp_type() == FieldDescriptor::CPPTYPE_MESSAGE;
    if (!is_message && field->type() != FieldDescriptor::TYPE_STRING) continue;
    int count = 1;
    if (field->is_repeated()) {
      count = reflection->FieldSize(record, field);
    } else if (is_message) {
      count = reflection->HasField(record, field) ? 1 : 0;
    }
    for (int j = 0; j < count; ++j) {
      if (is_message) {
        const std::string nested =
            FindUnkeepable(field->is_repeated() ? reflection->GetRepeatedMessage(record, field, j)
                                                : reflection->GetMessage(record, field));
        if (!nested.empty()) return nested;
      } else {
        std::string scratch;
        const std::string& text =
            field->is_repeated()
                ? reflection->GetRepeatedStringReference(record, field, j, &scratch)
                : reflection->GetStringReference(record, field, &scratch);
        if (!IsUtf8(text)) return field->full_name();
      }
    }
  }
  return "";
}

}  // namespace ovix::agent
