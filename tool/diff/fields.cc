#include "diff/fields.h"

#include <google/protobuf/descriptor.pb.h>

#include <algorithm>
#include <set>
#include <utility>

namespace ovix::tool {
namespace {

// Whether every value that was written as the old type reads as itself as the new one.
bool IsWidened(const FieldDescriptor* before, const FieldDescriptor* after) {
  using Type = FieldDescriptor::Type;
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
  return !before->is_map() && !after->is_map() && widened.contains({before->type(), after->type()});
}

std::string OneofOf(const FieldDescriptor* field) {
  const auto* oneof = field->real_containing_oneof();
  return oneof == nullptr ? "" : oneof->name();
}

void CompareField(Findings& findings, const FieldDescriptor* was, const FieldDescriptor* is,
                  const Descriptor* holder) {
  const std::string& name = was->full_name();
  const auto add = [&](Change change, const std::string& what, unsigned besides = kSafe) {
    findings.AddContent(holder, change, name, what, besides);
  };
  if (was->number() != is->number()) {
    add(Change::kFieldRenumbered,
        "number changed " + FromTo(std::to_string(was->number()), std::to_string(is->number())));
  }
  if (was->name() == is->name() && was->json_name() != is->json_name()) {
    add(Change::kJsonNameChanged, "JSON name changed " + FromTo(was->json_name(), is->json_name()));
  }
  const bool is_column = KindOf(was->containing_type()) == Kind::kTable;
  if (FullType(was) != FullType(is)) {
    const bool widened = IsWidened(was, is);
    const bool same_column = widened && was->type() != FieldDescriptor::TYPE_STRING;
    add(widened ? Change::kFieldTypeWidened : Change::kFieldTypeChanged,
        "type changed " + FromTo(FullType(was), FullType(is)),
        is_column && !same_column ? kStore : kSafe);
  }
  if (was->is_repeated() != is->is_repeated()) {
    add(Change::kFieldLabelChanged, was->is_repeated() ? "no longer repeated" : "repeated now",
        is_column ? kStore : kSafe);
  } else if (was->has_presence() != is->has_presence()) {
    add(Change::kFieldPresenceChanged,
        "presence changed " + FromTo(PresenceText(was), PresenceText(is)));
  }
  if (OneofOf(was) != OneofOf(is)) {
    add(Change::kFieldOneofChanged, "oneof changed " + FromTo(OneofOf(was), OneofOf(is)));
  }
  CompareOtherOptions(findings, name, was->options(), is->options());
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

void CompareFields(Findings& findings, const Descriptor* before, const Descriptor* after) {
  int last = -1;
  bool order_said = false;
  for (int i = 0; i < before->field_count(); ++i) {
    const FieldDescriptor* was = before->field(i);
    const FieldDescriptor* is = after->FindFieldByName(was->name());
    const FieldDescriptor* same_number = after->FindFieldByNumber(was->number());
    if (is == nullptr && same_number != nullptr &&
        before->FindFieldByName(same_number->name()) == nullptr) {
      is = same_number;
      findings.AddContent(after, Change::kFieldRenamed, was->full_name(),
                          "renamed to " + is->name(),
                          KindOf(before) == Kind::kTable ? kStore : kSafe);
    }
    if (is == nullptr) {
      const bool reserved = after->IsReservedNumber(was->number());
      findings.AddContent(after, reserved ? Change::kFieldRemovedReserved : Change::kFieldRemoved,
                          was->full_name(),
                          "removed, number " + std::to_string(was->number()) +
                              (reserved ? " is reserved" : " is not reserved"));
      continue;
    }
    CompareField(findings, was, is, after);
    if (is->index() < last && !order_said) {
      order_said = true;
      findings.Add(Change::kFieldOrderChanged, before->full_name(),
                   "its fields stand in another order from " + is->name() + " on");
    }
    last = std::max(last, is->index());
  }
  for (int i = 0; i < after->field_count(); ++i) {
    const FieldDescriptor* is = after->field(i);
    const FieldDescriptor* same_number = before->FindFieldByNumber(is->number());
    if (before->FindFieldByName(is->name()) != nullptr) continue;
    if (same_number != nullptr && after->FindFieldByName(same_number->name()) == nullptr) continue;
    findings.AddContent(after, Change::kFieldAdded, is->full_name(),
                        "added, number " + std::to_string(is->number()) + ", " + FullType(is));
  }
}

}  // namespace ovix::tool
