#include "check/wire_ranges.h"

#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/unknown_field_set.h>

#include <cstdint>
#include <limits>
#include <map>

namespace ovix::tool {
namespace {

using google::protobuf::UnknownField;
using google::protobuf::UnknownFieldSet;

bool Fits(const FieldDescriptor* field, uint64_t value) {
  switch (field->type()) {
    case FieldDescriptor::TYPE_UINT32:
    case FieldDescriptor::TYPE_SINT32:
      return value <= std::numeric_limits<uint32_t>::max();
    case FieldDescriptor::TYPE_INT32:
    case FieldDescriptor::TYPE_ENUM: {
      // A negative number takes ten bytes; some writers leave out the upper half.
      const auto number = static_cast<int64_t>(value);
      return value <= std::numeric_limits<uint32_t>::max() ||
             (number < 0 && number >= std::numeric_limits<int32_t>::min());
    }
    default:
      return true;
  }
}

bool IsVarint32(const FieldDescriptor* field) {
  return field->type() == FieldDescriptor::TYPE_UINT32 ||
         field->type() == FieldDescriptor::TYPE_SINT32 ||
         field->type() == FieldDescriptor::TYPE_INT32 ||
         field->type() == FieldDescriptor::TYPE_ENUM;
}

}  // namespace

void FindLostBits(std::string_view encoded, const Descriptor* message, const std::string& path,
                  const std::function<void(const std::string& path, const FieldDescriptor* field,
                                           const std::string& value)>& found) {
  UnknownFieldSet fields;
  fields.ParseFromArray(encoded.data(), static_cast<int>(encoded.size()));
  std::map<const FieldDescriptor*, size_t> counts;
  for (int i = 0; i < fields.field_count(); ++i) {
    const UnknownField& value = fields.field(i);
    const FieldDescriptor* field = message->FindFieldByNumber(value.number());
    if (field == nullptr) continue;
    const auto place = [&] {
      const size_t index = counts[field]++;
      return path + "." + field->name() +
             (field->is_repeated() ? "[" + std::to_string(index) + "]" : "");
    };
    const auto judge = [&](uint64_t number) {
      const std::string here = place();
      if (!Fits(field, number)) found(here, field, std::to_string(number));
    };
    if (value.type() == UnknownField::TYPE_VARINT && IsVarint32(field)) {
      judge(value.varint());
    } else if (value.type() == UnknownField::TYPE_LENGTH_DELIMITED) {
      const std::string& bytes = value.length_delimited();
      if (field->message_type() != nullptr) {
        FindLostBits(bytes, field->message_type(), place(), found);
      } else if (field->is_repeated() && IsVarint32(field)) {
        google::protobuf::io::CodedInputStream packed(
            reinterpret_cast<const uint8_t*>(bytes.data()), static_cast<int>(bytes.size()));
        for (uint64_t number = 0; packed.ReadVarint64(&number);) judge(number);
      }
    }
  }
}

}  // namespace ovix::tool
