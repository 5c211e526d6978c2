#include "check/checker.h"

#include <google/protobuf/unknown_field_set.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <utility>

#include "check/formats.h"
#include "check/wire_ranges.h"
#include "contracts/names.h"
#include "terminal/format.h"
#include "wire/wire.h"

namespace ovix::tool {
namespace {

using google::protobuf::Message;
using google::protobuf::UnknownField;

constexpr size_t kLongestShown = 60;

const char* WireTypeText(UnknownField::Type type) {
  switch (type) {
    case UnknownField::TYPE_VARINT:
      return "varint";
    case UnknownField::TYPE_FIXED32:
      return "i32";
    case UnknownField::TYPE_FIXED64:
      return "i64";
    case UnknownField::TYPE_GROUP:
      return "group";
    default:
      return "len";
  }
}

// As a list has it, where it is whole.
std::string NumberText(double value) {
  constexpr double kMostWhole = 1LL << 53;
  if (value == std::trunc(value) && std::abs(value) <= kMostWhole) {
    return std::to_string(static_cast<int64_t>(value));
  }
  char text[32];
  return {text, std::to_chars(text, text + sizeof text, value).ptr};
}

std::string Joined(const std::vector<std::string>& values, bool are_texts) {
  std::string joined;
  for (const std::string& value : values) {
    joined += (joined.empty() ? "" : ", ") + (are_texts ? JsonText(value) : value);
  }
  return joined;
}

}  // namespace

std::vector<Finding> Checker::Check(std::string_view encoded, const Descriptor* type,
                                    uint64_t offset) {
  findings_.clear();
  Message& message = messages_.Empty(type);
  if (!message.ParseFromArray(encoded.data(), static_cast<int>(encoded.size()))) {
    const WireProblem problem = FindWireProblem(encoded, type);
    Add("encoding", "byte " + std::to_string(offset + problem.offset),
        (problem.what.empty() ? "cannot be read" : problem.what) + "; it is not of type " +
            type->full_name() + ", or it is damaged");
    return std::exchange(findings_, {});
  }
  CheckVersion(message);
  CheckRowTime(message);
  CheckMessage(message, type->name());
  FindLostBits(
      encoded, type, type->name(),
      [&](const std::string& path, const FieldDescriptor* field, const std::string& value) {
        Add("range", path,
            Shown(value, field) + " does not fit " + field->type_name() +
                ": readers see its lowest 32 bits");
      });
  return std::exchange(findings_, {});
}

void Checker::Add(const char* rule, const std::string& place, const std::string& what) {
  findings_.push_back({rule, place, what});
}

// The first field of a payload is the version of its contract.
void Checker::CheckVersion(const Message& message) {
  const Descriptor* type = message.GetDescriptor();
  if (KindOf(type) != Kind::kPayload) return;
  const FieldDescriptor* field = type->FindFieldByNumber(1);
  if (field == nullptr || field->type() != FieldDescriptor::TYPE_STRING || field->is_repeated()) {
    return Add("version", type->name(), "the contract has no text with the number 1");
  }
  const std::string version = message.GetReflection()->GetString(message, field);
  const std::string& expected = PayloadOptionsOf(type).version;
  if (version == expected) return;
  Add("version", type->name() + "." + field->name(),
      (version.empty() ? "is empty" : "is " + Shown(version, field)) +
          "; these contracts have version " + expected);
}

// The store ages a row by its time, if it can read it.
void Checker::CheckRowTime(const Message& message) {
  const Descriptor* type = message.GetDescriptor();
  if (KindOf(type) != Kind::kTable || TableOptionsOf(type).max_time_days == 0) return;
  const FieldDescriptor* field = type->FindFieldByName("time");
  if (field == nullptr || field->type() != FieldDescriptor::TYPE_STRING || field->is_repeated()) {
    return;
  }
  const std::string time = message.GetReflection()->GetString(message, field);
  if (IsRowTime(time)) return;
  Add("time", type->name() + ".time",
      (time.empty() ? "is empty"
                    : Shown(time, field) +
                          " is not RFC 3339 in UTC with milliseconds and a second up to 59") +
          "; the store never removes this row for its age");
}

void Checker::CheckMessage(const Message& message, const std::string& path) {
  const auto* reflection = message.GetReflection();
  std::vector<const FieldDescriptor*> fields;
  reflection->ListFields(message, &fields);
  for (const FieldDescriptor* field : fields) {
    const std::string place = path + "." + field->name();
    if (!field->is_repeated()) {
      CheckValue(message, field, -1, place);
      continue;
    }
    for (int i = 0; i < reflection->FieldSize(message, field); ++i) {
      CheckValue(message, field, i, place + "[" + std::to_string(i) + "]");
    }
  }
  CheckUnknown(message, path);
}

void Checker::CheckUnknown(const Message& message, const std::string& path) {
  const Descriptor* type = message.GetDescriptor();
  const auto& unknown = message.GetReflection()->GetUnknownFields(message);
  for (int i = 0; i < unknown.field_count(); ++i) {
    const UnknownField& value = unknown.field(i);
    const std::string wire_type = WireTypeText(value.type());
    const FieldDescriptor* field = type->FindFieldByNumber(value.number());
    if (field == nullptr) {
      Add("unknown", path,
          "field " + std::to_string(value.number()) + " (" + wire_type + ") is not in " +
              type->full_name());
    } else {
      Add("unknown", path + "." + field->name(),
          "has the wire type " + wire_type + ", which is not that of " + TypeText(field));
    }
  }
}

void Checker::CheckValue(const Message& message, const FieldDescriptor* field, int index,
                         const std::string& path) {
  using google::protobuf::Reflection;
  const Reflection* reflection = message.GetReflection();
  const auto get = [&](auto one, auto element) {
    return index < 0 ? (reflection->*one)(message, field)
                     : (reflection->*element)(message, field, index);
  };
  const auto check_floating = [&](double value) {
    if (!std::isfinite(value) && !Of(field).facts.unit.empty()) {
      return Add("range", path, "is not a finite number, but a quantity has one");
    }
    CheckNumber(NumberText(value), field, path);
  };
  switch (field->cpp_type()) {
    case FieldDescriptor::CPPTYPE_MESSAGE:
      return CheckMessage(index < 0 ? reflection->GetMessage(message, field)
                                    : reflection->GetRepeatedMessage(message, field, index),
                          path);
    case FieldDescriptor::CPPTYPE_ENUM: {
      const int number = get(&Reflection::GetEnumValue, &Reflection::GetRepeatedEnumValue);
      if (field->enum_type()->FindValueByNumber(number) != nullptr) return;
      std::vector<std::string> names;
      for (int i = 0; i < field->enum_type()->value_count(); ++i) {
        const auto* value = field->enum_type()->value(i);
        names.push_back(std::to_string(value->number()) + " = " + value->name());
      }
      return Add("values", path,
                 Shown(std::to_string(number), field) + " is not a value of " +
                     field->enum_type()->full_name() + ": " + Joined(names, false));
    }
    case FieldDescriptor::CPPTYPE_STRING:
      if (field->type() == FieldDescriptor::TYPE_BYTES) return;
      return CheckText(get(&Reflection::GetString, &Reflection::GetRepeatedString), field, path);
    case FieldDescriptor::CPPTYPE_BOOL:
      return;
    case FieldDescriptor::CPPTYPE_FLOAT:
      return check_floating(get(&Reflection::GetFloat, &Reflection::GetRepeatedFloat));
    case FieldDescriptor::CPPTYPE_DOUBLE:
      return check_floating(get(&Reflection::GetDouble, &Reflection::GetRepeatedDouble));
    case FieldDescriptor::CPPTYPE_INT32:
      return CheckNumber(std::to_string(get(&Reflection::GetInt32, &Reflection::GetRepeatedInt32)),
                         field, path);
    case FieldDescriptor::CPPTYPE_INT64:
      return CheckNumber(std::to_string(get(&Reflection::GetInt64, &Reflection::GetRepeatedInt64)),
                         field, path);
    case FieldDescriptor::CPPTYPE_UINT32:
      return CheckNumber(
          std::to_string(get(&Reflection::GetUInt32, &Reflection::GetRepeatedUInt32)), field, path);
    case FieldDescriptor::CPPTYPE_UINT64:
      return CheckNumber(
          std::to_string(get(&Reflection::GetUInt64, &Reflection::GetRepeatedUInt64)), field, path);
  }
}

void Checker::CheckText(const std::string& text, const FieldDescriptor* field,
                        const std::string& path) {
  const Known& known = Of(field);
  const FieldFacts& facts = known.facts;
  if (facts.is_closed && !IsListed(text, known)) {
    Add("values", path,
        Shown(text, field) + " is not one of " + Joined(facts.listed_values, true) +
            (facts.privacy == Privacy::kNone ? Suggestion(text, facts.listed_values) : ""));
  }
  if (!HasFormat(text, facts.format)) {
    Add("format", path, Shown(text, field) + " is not of the format " + facts.format);
  }
}

void Checker::CheckNumber(const std::string& text, const FieldDescriptor* field,
                          const std::string& path) {
  const Known& known = Of(field);
  if (!known.facts.is_closed || IsListed(text, known)) return;
  Add("values", path,
      Shown(text, field) + " is not " + (known.is_flags ? "made of " : "one of ") +
          Joined(known.facts.listed_values, false));
}

bool Checker::IsListed(const std::string& value, const Known& known) const {
  const std::vector<std::string>& listed = known.facts.listed_values;
  if (std::find(listed.begin(), listed.end(), value) != listed.end()) return true;
  if (!known.is_flags) return false;
  const auto bits_of = [](const std::string& text) {
    uint64_t bits = 0;
    std::from_chars(text.data(), text.data() + text.size(), bits);
    return bits;
  };
  uint64_t all = 0;
  for (const std::string& flag : listed) all |= bits_of(flag);
  return (bits_of(value) & ~all) == 0;
}

// A value for people; not one that is about a person.
std::string Checker::Shown(const std::string& value, const FieldDescriptor* field) {
  const Privacy privacy = Of(field).facts.privacy;
  if (privacy != Privacy::kNone) return std::string("the value (") + PrivacyText(privacy) + ")";
  if (field->type() != FieldDescriptor::TYPE_STRING) return value;
  if (value.size() <= kLongestShown) return JsonText(value);
  size_t size = kLongestShown;
  while (size > 0 && (static_cast<unsigned char>(value[size]) & 0xc0) == 0x80) --size;
  return JsonText(value.substr(0, size)) + "...";
}

const Checker::Known& Checker::Of(const FieldDescriptor* field) {
  const auto [found, is_new] = known_.try_emplace(field);
  if (is_new) {
    found->second.facts = FactsOf(contracts_, field);
    found->second.is_flags = AreFlags(contracts_, field);
  }
  return found->second;
}

}  // namespace ovix::tool
