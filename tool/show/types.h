// What a message is made of and where its values come from, for every notation.
#ifndef OVIX_TOOL_SHOW_TYPES_H_
#define OVIX_TOOL_SHOW_TYPES_H_

#include <string>
#include <vector>

#include "contracts/contracts.h"

namespace ovix::tool {

// The messages and enumerations that a message is made of, itself first, each once: by its fields'
// types and by what is declared in it.
struct Types {
  std::vector<const Descriptor*> messages;
  std::vector<const EnumDescriptor*> enums;

  void Collect(const Descriptor* message);
  // What the field's type is made of, itself included.
  void Collect(const FieldDescriptor* field);
};

// "from BatteryHealthLog.ct_number: renamed"; "from no record: set by the uploader".
std::string OriginText(const Origin& origin);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_SHOW_TYPES_H_
