// Regular expressions for what JSON holds as text.
#ifndef OVIX_TOOL_EXPORT_PATTERNS_H_
#define OVIX_TOOL_EXPORT_PATTERNS_H_

#include <google/protobuf/descriptor.h>

#include <string>

namespace ovix::tool {

// Fits the decimal digits, as they are printed, of every number that an integer field can hold, and
// nothing else.
std::string IntegerPattern(const google::protobuf::FieldDescriptor* field);

// Fits base64 of the standard alphabet with its padding, and no bits after the last byte.
std::string Base64Pattern();

}  // namespace ovix::tool

#endif  // OVIX_TOOL_EXPORT_PATTERNS_H_
