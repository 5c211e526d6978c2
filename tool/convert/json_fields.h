// How the values of a field are written as JSON.
#ifndef OVIX_TOOL_CONVERT_JSON_FIELDS_H_
#define OVIX_TOOL_CONVERT_JSON_FIELDS_H_

#include <google/protobuf/descriptor.h>

#include <string>
#include <string_view>

namespace ovix::tool {

// For an error: "write true or false". Of a list or map the form of an element.
std::string JsonForm(const google::protobuf::FieldDescriptor* field);

// "uint32", or the full name of a message or enumeration.
std::string JsonTypeName(const google::protobuf::FieldDescriptor* field);

// Base64 of either alphabet, with its padding or without; false where it is not.
bool ReadBase64(std::string_view text, std::string& bytes);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_CONVERT_JSON_FIELDS_H_
