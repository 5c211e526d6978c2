#include "uploader/convert.h"

#include <limits>
#include <optional>

namespace ovix::agent {
namespace {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::Reflection;

// An integer of any type of the schemas: its sign apart from its amount.
struct Integer {
  bool negative;
  uint64_t amount;
};

Integer FromSigned(int64_t value) {
  return {value < 0, value < 0 ? ~static_cast<uint64_t>(value) + 1 : static_cast<uint64_t>(value)};
}

std::optional<Integer> IntegerOf(const Message& record, const FieldDescriptor* field) {
  const Reflection* reflection = record.GetReflection();
  switch (field->cpp_type()) {
    case FieldDescriptor::CPPTYPE_INT32:
      return FromSigned(reflection->GetInt32(record, field));
    case FieldDescriptor::CPPTYPE_INT64:
      return FromSigned(reflection->GetInt64(record, field));
    case FieldDescriptor::CPPTYPE_UINT32:
      return Integer{false, reflection->GetUInt32(record, field)};
    case FieldDescriptor::CPPTYPE_UINT64:
      return Integer{false, reflection->GetUInt64(record, field)};
    case FieldDescriptor::CPPTYPE_BOOL:
      return Integer{false, reflection->GetBool(record, field) ? 1U : 0U};
    default:
      return std::nullopt;
  }
}

std::string Digits(const Integer& value) {
  return (value.negative ? "-" : "") + std::to_string(value.amount);
}

// False where the value does not fit the field's type.
bool SetInteger(const Integer& value, const FieldDescriptor* field, Message& payload) {
  const Reflection* reflection = payload.GetReflection();
  const auto is_within = [&](uint64_t most) {
    return value.amount <= most + (value.negative ? 1 : 0);
  };
  const auto as_signed = static_cast<int64_t>(value.negative ? ~value.amount + 1 : value.amount);
  switch (field->cpp_type()) {
    case FieldDescriptor::CPPTYPE_INT32:
      if (!is_within(std::numeric_limits<int32_t>::max())) return false;
      reflection->SetInt32(&payload, field, static_cast<int32_t>(as_signed));
      return true;
    case FieldDescriptor::CPPTYPE_INT64:
      if (!is_within(std::numeric_limits<int64_t>::max())) return false;
      reflection->SetInt64(&payload, field, as_signed);
      return true;
    case FieldDescriptor::CPPTYPE_UINT32:
      if (value.negative || value.amount > std::numeric_limits<uint32_t>::max()) return false;
      reflection->SetUInt32(&payload, field, static_cast<uint32_t>(value.amount));
      return true;
    case FieldDescriptor::CPPTYPE_UINT64:
      if (value.negative) return false;
      reflection->SetUInt64(&payload, field, value.amount);
      return true;
    case FieldDescriptor::CPPTYPE_BOOL:
      reflection->SetBool(&payload, field, value.amount != 0);
      return true;
    case FieldDescriptor::CPPTYPE_STRING:
      reflection->SetString(&payload, field, Digits(value));
      return true;
    default:
      return false;
  }
}

void CopyList(const Message& record, const FieldDescriptor* from, const FieldDescriptor* to,
              Message& payload) {
  const Reflection* reflection = record.GetReflection();
  for (int i = 0; i < reflection->FieldSize(record, from); ++i) {
    if (from->cpp_type() == FieldDescriptor::CPPTYPE_UINT32) {
      payload.GetReflection()->AddUInt32(&payload, to,
                                         reflection->GetRepeatedUInt32(record, from, i));
    } else {
      payload.GetReflection()->AddString(&payload, to,
                                         reflection->GetRepeatedString(record, from, i));
    }
  }
}

// Carries one field over; returns why it could not, empty where it could or where there is nothing
// to carry.
std::string Carry(const Message& record, const FieldDescriptor* from, const FieldDescriptor* to,
                  Message& payload) {
  const Reflection* reflection = record.GetReflection();
  if (from->is_repeated()) {
    CopyList(record, from, to, payload);
    return "";
  }
  if (from->has_presence() && !reflection->HasField(record, from)) return "";
  switch (from->cpp_type()) {
    case FieldDescriptor::CPPTYPE_STRING: {
      const std::string text = reflection->GetString(record, from);
      if (!text.empty()) payload.GetReflection()->SetString(&payload, to, text);
      return "";
    }
    case FieldDescriptor::CPPTYPE_FLOAT:
      payload.GetReflection()->SetFloat(&payload, to, reflection->GetFloat(record, from));
      return "";
    case FieldDescriptor::CPPTYPE_ENUM: {
      const int number = reflection->GetEnumValue(record, from);
      const auto* value = from->enum_type()->FindValueByNumber(number);
      if (value == nullptr) return std::to_string(number) + " has no name";
      payload.GetReflection()->SetString(&payload, to, value->name());
      return "";
    }
    default: {
      const std::optional<Integer> value = IntegerOf(record, from);
      return SetInteger(*value, to, payload) ? ""
                                             : Digits(*value) + " does not fit " + to->type_name();
    }
  }
}

// Whether Carry knows the way between the two types.
bool CanCarry(const FieldDescriptor* from, const FieldDescriptor* to) {
  if (from->is_repeated() || to->is_repeated()) {
    return from->is_repeated() && to->is_repeated() && from->type() == to->type() &&
           (from->type() == FieldDescriptor::TYPE_UINT32 ||
            from->type() == FieldDescriptor::TYPE_STRING);
  }
  const auto is_integer = [](const FieldDescriptor* field) {
    return field->cpp_type() <= FieldDescriptor::CPPTYPE_UINT64 ||
           field->cpp_type() == FieldDescriptor::CPPTYPE_BOOL;
  };
  const bool to_text = to->type() == FieldDescriptor::TYPE_STRING;
  switch (from->cpp_type()) {
    case FieldDescriptor::CPPTYPE_STRING:
    case FieldDescriptor::CPPTYPE_ENUM:
      return to_text;
    case FieldDescriptor::CPPTYPE_FLOAT:
      return to->type() == FieldDescriptor::TYPE_FLOAT;
    default:
      return is_integer(from) && (is_integer(to) || to_text);
  }
}

}  // namespace

void Fill(const Message& record, const Renamed& renamed, Message& payload,
          std::vector<std::string>& notes) {
  const auto* descriptor = payload.GetDescriptor();
  for (int i = 0; i < descriptor->field_count(); ++i) {
    const FieldDescriptor* to = descriptor->field(i);
    const auto other_name = renamed.find(to->name());
    const FieldDescriptor* from = record.GetDescriptor()->FindFieldByName(
        other_name == renamed.end() ? to->name() : other_name->second);
    if (from == nullptr || !CanCarry(from, to)) continue;
    const std::string why = Carry(record, from, to, payload);
    if (!why.empty()) {
      notes.push_back(from->full_name() + ": " + why + " of " + to->full_name() + "; left absent");
    }
  }
}

}  // namespace ovix::agent
