// Records as text and bytes: the JSON of a field that has no column type of its own (a message or a
// list), and what of a record could not be kept.
#ifndef OVIX_AGENT_STORE_JSON_H_
#define OVIX_AGENT_STORE_JSON_H_

#include <google/protobuf/message.h>

#include <string>
#include <string_view>

namespace ovix::agent {

// Protobuf's JSON of a whole message, with the schema's field names, on one line. Values print so
// that they come back the same; the sign of a zero too, which protobuf's own printing loses.
std::string MessageToJson(const google::protobuf::Message& message);

// The JSON value of one field: {...} of a message, [...] of a list. Throws StoreError naming the
// field where the text would not come back as the same value.
std::string FieldToJson(const google::protobuf::Message& record,
                        const google::protobuf::FieldDescriptor* field);

// Sets one field from its JSON value and touches no other; false where the text is not one. Names
// that a later version of the schema has added are skipped.
bool FieldFromJson(std::string_view json, const google::protobuf::FieldDescriptor* field,
                   google::protobuf::Message& record);

// The message's bytes, equal for equal content.
std::string CanonicalBytes(const google::protobuf::Message& message);

bool IsUtf8(std::string_view text);

// The full name of the first string field, nested ones included, that is not UTF-8, or of the first
// message that holds fields unknown to its schema; empty where the record is sound. Such a record
// could not be kept without loss.
std::string FindUnkeepable(const google::protobuf::Message& record);

}  // namespace ovix::agent

#endif  // OVIX_AGENT_STORE_JSON_H_
