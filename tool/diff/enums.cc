#include "diff/enums.h"

#include <google/protobuf/descriptor.pb.h>

namespace ovix::tool {

void CompareEnums(Findings& findings) {
  for (const EnumDescriptor* before : findings.older().enums()) {
    const EnumDescriptor* after = findings.newer().pool().FindEnumTypeByName(before->full_name());
    if (after == nullptr) {
      findings.Add(Change::kEnumRemoved, before->full_name(), "enumeration removed");
      continue;
    }
    for (int i = 0; i < before->value_count(); ++i) {
      const EnumValueDescriptor* was = before->value(i);
      const EnumValueDescriptor* is = after->FindValueByNumber(was->number());
      const std::string number = std::to_string(was->number());
      if (is == nullptr) {
        findings.AddContent(after, Change::kEnumValueRemoved, before->full_name(),
                            "value " + was->name() + " = " + number + " removed");
      } else if (is->name() != was->name() &&
                 (after->FindValueByName(was->name()) == nullptr ||
                  after->FindValueByName(was->name())->number() != was->number())) {
        findings.AddContent(after, Change::kEnumValueRenamed, before->full_name(),
                            "value " + number + " renamed " + FromTo(was->name(), is->name()));
      }
    }
    for (int i = 0; i < after->value_count(); ++i) {
      const EnumValueDescriptor* is = after->value(i);
      if (before->FindValueByNumber(is->number()) == nullptr) {
        findings.AddContent(
            after, Change::kEnumValueAdded, before->full_name(),
            "value " + is->name() + " = " + std::to_string(is->number()) + " added");
      }
    }
    CompareOtherOptions(findings, before->full_name(), before->options(), after->options());
  }
  for (const EnumDescriptor* after : findings.newer().enums()) {
    if (findings.older().pool().FindEnumTypeByName(after->full_name()) == nullptr) {
      findings.Add(Change::kEnumAdded, after->full_name(), "enumeration added");
    }
  }
}

}  // namespace ovix::tool
