#include "uploader/convert.h"

#include <cstdint>
#include <optional>

namespace ovix::agent {
namespace {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::Reflection;

// An integer of any type of the schemas.
struct Integer {
  uint64_t bits;  // of its two's complement, in full width
  bool negative;
  bool wide;  // its type has 64 bits
};

Integer FromSigned(int64_t value, bool wide) {
  return {static_cast<uint64_t>(value), value < 0, wide};
}

std::optional<Integer> IntegerOf(const Message& record, const FieldDescriptor* field) {
  const Reflection* reflection = record.GetReflection();
  switch (field->cpp_type()) {
    case FieldDescriptor::CPPTYPE_INT32:
      return FromSigned(reflection->GetInt32(record, field), false);
    case FieldDescriptor::CPPTYPE_INT64:
      return FromSigned(reflection->GetInt64(record, field), true);
    case FieldDescriptor::CPPTYPE_UINT32:
      return Integer{reflection->GetUInt32(record, field), false, false};
    case FieldDescriptor::CPPTYPE_UINT64:
      return Integer{reflection->GetUInt64(record, field), false, true};
    case FieldDescriptor::CPPTYPE_BOOL:
      return Integer{reflection->GetBool(record, field) ? 1U : 0U, false, false};
    default:
      return std::nullopt;
  }
}

std::string Digits(const Integer& value) {
  return value.negative ? std::to_string(static_cast<int64_t>(value.bits))
                        : std::to_string(value.bits);
}

// The plain conversion between integer types: between signed and unsigned the bits stay. Nothing
// where a wider type's value does not fit.
template <typename To>
std::optional<To> Converted(const Integer& from) {
  const To to = static_cast<To>(from.bits);
  const bool fits = static_cast<uint64_t>(to) == from.bits && (to < 0) == from.negative;
  if (from.wide && sizeof(To) < sizeof(from.bits) && !fits) return std::nullopt;
  return to;
}

// False where the value does not fit the field's type.
bool SetInteger(const Integer& value, const FieldDescriptor* field, Message& payload) {
  const Reflection* reflection = payload.GetReflection();
  const auto set = [&](const auto& converted, auto setter) {
    if (converted) (reflection->*setter)(&payload, field, *converted);
    return converted.has_value();
  };
  switch (field->cpp_type()) {
    case FieldDescriptor::CPPTYPE_INT32:
      return set(Converted<int32_t>(value), &Reflection::SetInt32);
    case FieldDescriptor::CPPTYPE_INT64:
      return set(Converted<int64_t>(value), &Reflection::SetInt64);
    case FieldDescriptor::CPPTYPE_UINT32:
      return set(Converted<uint32_t>(value), &Reflection::SetUInt32);
    case FieldDescriptor::CPPTYPE_UINT64:
      return set(Converted<uint64_t>(value), &Reflection::SetUInt64);
    case FieldDescriptor::CPPTYPE_BOOL:
      reflection->SetBool(&payload, field, value.bits != 0);
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
  const auto copy = [&](auto get, auto add) {
    const Reflection* reflection = record.GetReflection();
    for (int i = 0; i < reflection->FieldSize(record, from); ++i) {
      (payload.GetReflection()->*add)(&payload, to, (reflection->*get)(record, from, i));
    }
  };
  switch (from->cpp_type()) {
    case FieldDescriptor::CPPTYPE_INT32:
      return copy(&Reflection::GetRepeatedInt32, &Reflection::AddInt32);
    case FieldDescriptor::CPPTYPE_INT64:
      return copy(&Reflection::GetRepeatedInt64, &Reflection::AddInt64);
    case FieldDescriptor::CPPTYPE_UINT32:
      return copy(&Reflection::GetRepeatedUInt32, &Reflection::AddUInt32);
    case FieldDescriptor::CPPTYPE_UINT64:
      return copy(&Reflection::GetRepeatedUInt64, &Reflection::AddUInt64);
    case FieldDescriptor::CPPTYPE_DOUBLE:
      return copy(&Reflection::GetRepeatedDouble, &Reflection::AddDouble);
    case FieldDescriptor::CPPTYPE_FLOAT:
      return copy(&Reflection::GetRepeatedFloat, &Reflection::AddFloat);
    case FieldDescriptor::CPPTYPE_BOOL:
      return copy(&Reflection::GetRepeatedBool, &Reflection::AddBool);
    default:
      return copy(&Reflection::GetRepeatedString, &Reflection::AddString);
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
    case FieldDescriptor::CPPTYPE_DOUBLE:
      payload.GetReflection()->SetDouble(&payload, to, reflection->GetDouble(record, from));
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
           from->cpp_type() != FieldDescriptor::CPPTYPE_ENUM &&
           from->cpp_type() != FieldDescriptor::CPPTYPE_MESSAGE;
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
    case FieldDescriptor::CPPTYPE_DOUBLE:
      return to->cpp_type() == from->cpp_type();
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
