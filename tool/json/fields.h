// How the values of a field are written as JSON.
#ifndef OVIX_TOOL_JSON_FIELDS_H_
#define OVIX_TOOL_JSON_FIELDS_H_

#include <google/protobuf/descriptor.h>

#include <string>
#include <string_view>

namespace ovix::tool {

// For an error: "write true or false". Of a list or map the form of an element.
std::string JsonForm(const google::protobuf::FieldDescriptor* field);

// What an error says of a value that is not of the field's type, after that: "; write true or
// false". `form` says how a value is written. Where the value comes near the name of a value of the
// enumeration, that is suggested first.
std::string Fix(const google::protobuf::FieldDescriptor* field, const std::string& value,
                const std::string& form);

// What an error says of a name that no field of the message has, after that: "; is it age?".
std::string FieldSuggestion(const google::protobuf::Descriptor* message, const std::string& name);

// "uint32", or the full name of a message or enumeration.
std::string JsonTypeName(const google::protobuf::FieldDescriptor* field);

// Base64 of either alphabet, with its padding or without; false where it is not.
bool ReadBase64(std::string_view text, std::string& bytes);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_JSON_FIELDS_H_
