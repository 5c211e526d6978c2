// One message, field or enumeration whole, with every message and enumeration in it.
#ifndef OVIX_TOOL_SHOW_SHOW_H_
#define OVIX_TOOL_SHOW_SHOW_H_

#include <string>

#include "contracts/contracts.h"

namespace ovix::tool {

// For a terminal, in its width and colours.
std::string ShownAsText(const Contracts& contracts, const Descriptor* message);
std::string ShownAsText(const Contracts& contracts, const FieldDescriptor* field);
std::string ShownAsText(const Contracts& contracts, const EnumDescriptor* enumeration);

// For programs; docs/tool.md describes it.
std::string ShownAsJson(const Contracts& contracts, const Descriptor* message);
std::string ShownAsJson(const Contracts& contracts, const FieldDescriptor* field);
std::string ShownAsJson(const Contracts& contracts, const EnumDescriptor* enumeration);

// One line a field, of the message and of every message in it; one line a value.
std::string ShownAsCsv(const Contracts& contracts, const Descriptor* message);
std::string ShownAsCsv(const Contracts& contracts, const FieldDescriptor* field);
std::string ShownAsCsv(const Contracts& contracts, const EnumDescriptor* enumeration);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_SHOW_SHOW_H_
