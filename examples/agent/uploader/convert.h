// How the fields of a record become the fields of a payload.
#ifndef OVIX_AGENT_UPLOADER_CONVERT_H_
#define OVIX_AGENT_UPLOADER_CONVERT_H_

#include <google/protobuf/message.h>

#include <map>
#include <string>
#include <vector>

namespace ovix::agent {

// A payload's field to the field of the record that it comes from, where the names differ.
using Renamed = std::map<std::string, std::string>;

// Sets each field of the payload that has a field of its name in the record, or one that `renamed`
// gives, and leaves the others alone. Sub-messages are the caller's.
//
// Empty strings and absent values stay absent. A number or flag is carried unchanged, zero too: a
// record does not distinguish zero from unknown, and zero is what it says. Where the types differ
// an enumeration becomes the name of its value, a number its digits, and an integer another integer
// type by plain conversion: between int32 and uint32 the bits stay. A 64-bit value that does not
// fit 32 bits, or an enumeration number without a name, is left absent; `notes` gets a line.
void Fill(const google::protobuf::Message& record, const Renamed& renamed,
          google::protobuf::Message& payload, std::vector<std::string>& notes);

}  // namespace ovix::agent

#endif  // OVIX_AGENT_UPLOADER_CONVERT_H_
