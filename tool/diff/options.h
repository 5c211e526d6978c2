// The options of files, messages, fields and enumerations, but for those that say what is stored
// and sent.
#ifndef OVIX_TOOL_DIFF_OPTIONS_H_
#define OVIX_TOOL_DIFF_OPTIONS_H_

#include <google/protobuf/descriptor.pb.h>

#include <string>

#include "diff/differences.h"

namespace ovix::tool {

// Options that change generated code, then all others.
void CompareOptions(const std::string& subject, const google::protobuf::FileOptions& before,
                    const google::protobuf::FileOptions& after, Differences& differences);
void CompareOptions(const std::string& subject, const google::protobuf::MessageOptions& before,
                    const google::protobuf::MessageOptions& after, Differences& differences);
void CompareOptions(const std::string& subject, const google::protobuf::FieldOptions& before,
                    const google::protobuf::FieldOptions& after, Differences& differences);
void CompareOptions(const std::string& subject, const google::protobuf::EnumOptions& before,
                    const google::protobuf::EnumOptions& after, Differences& differences);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_DIFF_OPTIONS_H_
