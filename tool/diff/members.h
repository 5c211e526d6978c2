// What messages and enumerations are made of: fields, values and what is reserved.
#ifndef OVIX_TOOL_DIFF_MEMBERS_H_
#define OVIX_TOOL_DIFF_MEMBERS_H_

#include <string>

#include "contracts/contracts.h"
#include "diff/differences.h"
#include "diff/tables.h"

namespace ovix::tool {

class MemberComparison {
 public:
  // `stored` is what the older release stores.
  MemberComparison(const Stored& stored, Differences& differences);

  void Compare(const Descriptor* before, const Descriptor* after);
  void Compare(const EnumDescriptor* before, const EnumDescriptor* after);

 private:
  void CompareField(const FieldDescriptor* was, const FieldDescriptor* is,
                    const Descriptor* holder);
  void CompareValue(const EnumValueDescriptor* was, const EnumDescriptor* after);

  const Stored& stored_;
  Differences& differences_;
};

// The type with the full names of what is declared elsewhere.
std::string FullType(const FieldDescriptor* field);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_DIFF_MEMBERS_H_
