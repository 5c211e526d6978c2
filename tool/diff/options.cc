#include "diff/options.h"

#include <vector>

#include "ovix/telemetry/contract/storage/storage_options.pb.h"
#include "ovix/telemetry/contract/upload/upload_options.pb.h"

namespace ovix::tool {
namespace {

namespace storage = telemetry::contract::storage;
namespace upload = telemetry::contract::upload;
using google::protobuf::FieldDescriptor;
using google::protobuf::Message;

// Whether generated code depends on an option. All of a file's do, but for the mark of what should
// no longer be used; those of the contracts' own do not.
bool IsOfCode(const FieldDescriptor* option) {
  if (option->is_extension() || option->name() == "uninterpreted_option") return false;
  const std::string& holder = option->containing_type()->name();
  if (holder == "FileOptions") return option->name() != "deprecated";
  return option->name() == "ctype" || option->name() == "jstype" ||
         option->name() == "message_set_wire_format" ||
         option->name() == "no_standard_descriptor_accessor";
}

// The options that generated code depends on, or all others.
template <typename Options>
std::string Text(Options options, bool of_code) {
  std::vector<const FieldDescriptor*> set;
  options.GetReflection()->ListFields(options, &set);
  for (const FieldDescriptor* option : set) {
    if (IsOfCode(option) != of_code) options.GetReflection()->ClearField(&options, option);
  }
  if (of_code) options.GetReflection()->MutableUnknownFields(&options)->Clear();
  return options.ShortDebugString();
}

template <typename Options>
void Compare(const std::string& subject, const Options& before, const Options& after,
             Differences& differences) {
  for (const bool of_code : {true, false}) {
    const std::string was = Text(before, of_code), is = Text(after, of_code);
    if (was == is) continue;
    differences.Add(of_code ? Change::kCodeOptionChanged : Change::kOtherOptionChanged, subject,
                    (of_code ? "options of generated code changed " : "other options changed ") +
                        FromTo(was, is));
  }
}

}  // namespace

void CompareOptions(const std::string& subject, const google::protobuf::FileOptions& before,
                    const google::protobuf::FileOptions& after, Differences& differences) {
  Compare(subject, before, after, differences);
}

void CompareOptions(const std::string& subject, const google::protobuf::MessageOptions& before,
                    const google::protobuf::MessageOptions& after, Differences& differences) {
  const auto others = [](google::protobuf::MessageOptions options) {
    options.ClearExtension(storage::persistance);
    options.ClearExtension(upload::cdm);
    options.clear_map_entry();
    return options;
  };
  Compare(subject, others(before), others(after), differences);
}

void CompareOptions(const std::string& subject, const google::protobuf::FieldOptions& before,
                    const google::protobuf::FieldOptions& after, Differences& differences) {
  const auto others = [](google::protobuf::FieldOptions options) {
    options.ClearExtension(storage::column);
    return options;
  };
  Compare(subject, others(before), others(after), differences);
}

void CompareOptions(const std::string& subject, const google::protobuf::EnumOptions& before,
                    const google::protobuf::EnumOptions& after, Differences& differences) {
  Compare(subject, before, after, differences);
}

}  // namespace ovix::tool
