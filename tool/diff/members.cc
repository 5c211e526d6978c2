#include "diff/members.h"

#include <google/protobuf/descriptor.pb.h>

#include <algorithm>
#include <set>
#include <utility>

#include "diff/options.h"
#include "diff/reserved.h"

namespace ovix::tool {
namespace {

using Type = FieldDescriptor::Type;

// Whether every value that was written as the old type reads as itself as the new one.
bool IsWidened(const FieldDescriptor* before, const FieldDescriptor* after) {
  static const std::set<std::pair<Type, Type>> widened = {
      {FieldDescriptor::TYPE_INT32, FieldDescriptor::TYPE_INT64},
      {FieldDescriptor::TYPE_UINT32, FieldDescriptor::TYPE_UINT64},
      {FieldDescriptor::TYPE_UINT32, FieldDescriptor::TYPE_INT64},
      {FieldDescriptor::TYPE_SINT32, FieldDescriptor::TYPE_SINT64},
      {FieldDescriptor::TYPE_BOOL, FieldDescriptor::TYPE_UINT32},
      {FieldDescriptor::TYPE_BOOL, FieldDescriptor::TYPE_UINT64},
      {FieldDescriptor::TYPE_BOOL, FieldDescriptor::TYPE_INT32},
      {FieldDescriptor::TYPE_BOOL, FieldDescriptor::TYPE_INT64},
      {FieldDescriptor::TYPE_ENUM, FieldDescriptor::TYPE_INT32},
      {FieldDescriptor::TYPE_ENUM, FieldDescriptor::TYPE_INT64},
      {FieldDescriptor::TYPE_STRING, FieldDescriptor::TYPE_BYTES},
  };
  if (before->is_map() != after->is_map()) return false;
  if (!before->is_map()) return widened.contains({before->type(), after->type()});
  const auto reads_alike = [](const FieldDescriptor* was, const FieldDescriptor* is) {
    return FullType(was) == FullType(is) || IsWidened(was, is);
  };
  const Descriptor *was = before->message_type(), *is = after->message_type();
  return reads_alike(was->map_key(), is->map_key()) &&
         reads_alike(was->map_value(), is->map_value());
}

// Whether the values of a type that was widened are stored as they will be read. A column has
// booleans and enumerations as numbers; JSON has words.
bool IsStoredAlike(const FieldDescriptor* was, const FieldDescriptor* is, bool in_json) {
  if (FullType(was) == FullType(is)) return true;
  if (was->is_map()) {
    const Descriptor *before = was->message_type(), *after = is->message_type();
    return IsStoredAlike(before->map_key(), after->map_key(), in_json) &&
           IsStoredAlike(before->map_value(), after->map_value(), in_json);
  }
  if (was->type() == FieldDescriptor::TYPE_STRING) return false;
  return !in_json ||
         (was->type() != FieldDescriptor::TYPE_BOOL && was->type() != FieldDescriptor::TYPE_ENUM);
}

// Whether a field that states no default would have the same.
bool IsPlainDefault(const FieldDescriptor* field) {
  switch (field->cpp_type()) {
    case FieldDescriptor::CPPTYPE_INT32:
      return field->default_value_int32() == 0;
    case FieldDescriptor::CPPTYPE_INT64:
      return field->default_value_int64() == 0;
    case FieldDescriptor::CPPTYPE_UINT32:
      return field->default_value_uint32() == 0;
    case FieldDescriptor::CPPTYPE_UINT64:
      return field->default_value_uint64() == 0;
    case FieldDescriptor::CPPTYPE_FLOAT:
      return field->default_value_float() == 0;
    case FieldDescriptor::CPPTYPE_DOUBLE:
      return field->default_value_double() == 0;
    case FieldDescriptor::CPPTYPE_BOOL:
      return !field->default_value_bool();
    case FieldDescriptor::CPPTYPE_ENUM:
      return field->default_value_enum()->index() == 0;
    case FieldDescriptor::CPPTYPE_STRING:
      return field->default_value_string().empty();
    default:
      return true;
  }
}

// The default that proto2 lets a schema state, empty where it is the one without; of an enumeration
// the first value is compared with the enumeration.
std::string DefaultOf(const FieldDescriptor* field) {
  if (!field->has_default_value() || IsPlainDefault(field)) return "";
  google::protobuf::FieldDescriptorProto proto;
  field->CopyTo(&proto);
  return proto.default_value();
}

std::string OneofOf(const FieldDescriptor* field) {
  const auto* oneof = field->real_containing_oneof();
  return oneof == nullptr ? "" : oneof->name();
}

}  // namespace

std::string FullType(const FieldDescriptor* field) {
  if (field->is_map()) {
    const Descriptor* entry = field->message_type();
    return "map<" + FullType(entry->map_key()) + ", " + FullType(entry->map_value()) + ">";
  }
  if (field->message_type() != nullptr) return field->message_type()->full_name();
  return field->enum_type() != nullptr ? field->enum_type()->full_name() : field->type_name();
}

MemberComparison::MemberComparison(const Stored& stored, Differences& differences)
    : stored_(stored), differences_(differences) {}

void MemberComparison::Compare(const Descriptor* before, const Descriptor* after) {
  const unsigned store = stored_.Keeps(before) ? kStore : kSafe;
  int last = -1;
  bool order_said = false;
  for (int i = 0; i < before->field_count(); ++i) {
    const FieldDescriptor* was = before->field(i);
    const FieldDescriptor* is = after->FindFieldByName(was->name());
    const FieldDescriptor* same_number = after->FindFieldByNumber(was->number());
    if (is == nullptr && same_number != nullptr &&
        before->FindFieldByName(same_number->name()) == nullptr) {
      is = same_number;
      differences_.AddContent(after, Change::kFieldRenamed, was->full_name(),
                              "renamed to " + is->name(), store);
    }
    if (is == nullptr) {
      const bool reserved = after->IsReservedNumber(was->number());
      differences_.AddContent(
          after, reserved ? Change::kFieldRemovedReserved : Change::kFieldRemoved, was->full_name(),
          "removed, number " + std::to_string(was->number()) +
              (reserved ? " is reserved" : " is not reserved"),
          store);
      continue;
    }
    CompareField(was, is, after);
    if (is->index() < last && !order_said) {
      order_said = true;
      differences_.Add(Change::kFieldOrderChanged, before->full_name(),
                       "its fields are in another order from " + is->name() + " on");
    }
    last = std::max(last, is->index());
  }
  for (int i = 0; i < after->field_count(); ++i) {
    const FieldDescriptor* is = after->field(i);
    const FieldDescriptor* same_number = before->FindFieldByNumber(is->number());
    if (before->FindFieldByName(is->name()) != nullptr) continue;
    if (same_number != nullptr && after->FindFieldByName(same_number->name()) == nullptr) continue;
    differences_.AddContent(after, Change::kFieldAdded, is->full_name(),
                            "added, number " + std::to_string(is->number()) + ", " + FullType(is));
    if (is->is_required()) {
      differences_.AddContent(after, Change::kFieldRequiredChanged, is->full_name(),
                              "required now, and old messages do not have it");
    }
  }
  CompareExtensionRanges(before, after, differences_);
  // Columns and keys of JSON are found by name, so that only a name's reuse meets old values.
  CompareReserved(before, after, kSafe, store, differences_);
}

void MemberComparison::CompareField(const FieldDescriptor* was, const FieldDescriptor* is,
                                    const Descriptor* holder) {
  const std::string& name = was->full_name();
  const auto add = [&](Change change, const std::string& what, unsigned besides = kSafe) {
    differences_.AddContent(holder, change, name, what, besides);
  };
  const bool in_json = stored_.IsInJson(was);
  const unsigned store = in_json || Stored::IsPlainColumn(was) ? kStore : kSafe;
  if (was->number() != is->number()) {
    add(Change::kFieldRenumbered,
        "number changed " + FromTo(std::to_string(was->number()), std::to_string(is->number())));
  }
  if (was->name() == is->name() && was->json_name() != is->json_name()) {
    add(Change::kJsonNameChanged, "JSON name changed " + FromTo(was->json_name(), is->json_name()));
  }
  if (FullType(was) != FullType(is) || was->type() != is->type()) {
    const bool widened = IsWidened(was, is);
    add(widened ? Change::kFieldTypeWidened : Change::kFieldTypeChanged,
        "type changed " + FromTo(FullType(was), FullType(is)),
        widened && IsStoredAlike(was, is, in_json) ? kSafe : store);
  }
  if (was->is_repeated() != is->is_repeated()) {
    add(Change::kFieldLabelChanged, was->is_repeated() ? "no longer repeated" : "repeated now",
        store);
  } else if (was->is_required() != is->is_required()) {
    add(Change::kFieldRequiredChanged, was->is_required() ? "no longer required" : "required now");
  } else if (was->has_presence() != is->has_presence()) {
    add(Change::kFieldPresenceChanged,
        "presence changed " + FromTo(PresenceText(was), PresenceText(is)));
  }
  if (DefaultOf(was) != DefaultOf(is)) {
    add(Change::kFieldDefaultChanged, "default changed " + FromTo(DefaultOf(was), DefaultOf(is)));
  }
  if (OneofOf(was) != OneofOf(is)) {
    // JSON with two fields of one oneof cannot be read.
    add(Change::kFieldOneofChanged, "oneof changed " + FromTo(OneofOf(was), OneofOf(is)),
        in_json && !OneofOf(is).empty() ? kStore : kSafe);
  }
  CompareOptions(name, was->options(), is->options(), differences_);
}

void MemberComparison::Compare(const EnumDescriptor* before, const EnumDescriptor* after) {
  for (int i = 0; i < before->value_count(); ++i) CompareValue(before->value(i), after);
  for (int i = 0; i < after->value_count(); ++i) {
    const EnumValueDescriptor* is = after->value(i);
    // A new name of a number whose old name is gone is a renaming.
    const EnumValueDescriptor* same_number = before->FindValueByNumber(is->number());
    if (before->FindValueByName(is->name()) != nullptr ||
        (same_number != nullptr && after->FindValueByName(same_number->name()) == nullptr)) {
      continue;
    }
    differences_.AddContent(
        after, Change::kEnumValueAdded, before->full_name(),
        "value " + is->name() + " = " + std::to_string(is->number()) + " added");
  }
  if (before->value(0)->number() != after->value(0)->number()) {
    differences_.AddContent(
        after, Change::kEnumFirstValueChanged, before->full_name(),
        "first value changed " + FromTo(before->value(0)->name(), after->value(0)->name()));
  }
  CompareReserved(before, after, stored_.KeepsNumbersOf(before) ? kStore : kSafe,
                  stored_.KeepsNamesOf(before) ? kStore : kSafe, differences_);
  CompareOptions(before->full_name(), before->options(), after->options(), differences_);
}

void MemberComparison::CompareValue(const EnumValueDescriptor* was, const EnumDescriptor* after) {
  const std::string& name = was->type()->full_name();
  const std::string number = std::to_string(was->number());
  const unsigned by_name = stored_.KeepsNamesOf(was->type()) ? kStore : kSafe;
  const unsigned by_number = stored_.KeepsNumbersOf(was->type()) ? kStore : kSafe;
  if (const EnumValueDescriptor* same_name = after->FindValueByName(was->name())) {
    if (same_name->number() == was->number()) return;
    differences_.AddContent(after, Change::kEnumValueRenumbered, name,
                            "number of value " + was->name() + " changed " +
                                FromTo(number, std::to_string(same_name->number())),
                            by_number);
    return;
  }
  const EnumValueDescriptor* is = after->FindValueByNumber(was->number());
  const EnumValueDescriptor* before_it =
      is == nullptr ? nullptr : was->type()->FindValueByName(is->name());
  // Renamed, unless the number has become that of another value.
  if (is != nullptr && (before_it == nullptr || before_it->number() == was->number())) {
    differences_.AddContent(after, Change::kEnumValueRenamed, name,
                            "value " + number + " renamed " + FromTo(was->name(), is->name()),
                            by_name);
    return;
  }
  const bool reserved = after->IsReservedNumber(was->number());
  differences_.AddContent(
      after, reserved ? Change::kEnumValueRemovedReserved : Change::kEnumValueRemoved, name,
      "value " + was->name() + " = " + number + " removed, its number is " +
          (reserved ? "reserved" : "not reserved"),
      by_name | by_number);
}

}  // namespace ovix::tool
