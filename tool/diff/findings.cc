#include "diff/findings.h"

#include <google/protobuf/descriptor.pb.h>

#include <algorithm>
#include <type_traits>

#include "ovix/telemetry/contract/storage/storage_options.pb.h"
#include "ovix/telemetry/contract/upload/upload_options.pb.h"

namespace ovix::tool {
namespace {

namespace storage = telemetry::contract::storage;
namespace upload = telemetry::contract::upload;

// The options without those that are compared one by one.
template <typename Options>
std::string OtherOptions(Options options) {
  if constexpr (std::is_same_v<Options, google::protobuf::MessageOptions>) {
    options.ClearExtension(storage::persistance);
    options.ClearExtension(upload::cdm);
    options.clear_map_entry();
  }
  if constexpr (std::is_same_v<Options, google::protobuf::FieldOptions>) {
    options.ClearExtension(storage::column);
  }
  return options.ShortDebugString();
}

}  // namespace

void Findings::Add(Change change, const std::string& subject, const std::string& what,
                   unsigned besides, const std::string& mend) {
  differences_.push_back({change, RuleOf(change).breaks | besides, subject, what, mend});
}

void Findings::AddContent(const void* holder, Change change, const std::string& subject,
                          const std::string& what, unsigned besides) {
  Add(change, subject, what, besides);
  Raise& raise = raises_[holder];
  raise = std::max(raise, RaiseFor(change));
}

std::string FromTo(const std::string& before, const std::string& after) {
  const auto shown = [](const std::string& text) { return text.empty() ? "nothing" : text; };
  return "from " + shown(before) + " to " + shown(after);
}

template <typename Options>
void CompareOtherOptions(Findings& findings, const std::string& subject, const Options& before,
                         const Options& after) {
  const std::string was = OtherOptions(before), is = OtherOptions(after);
  if (was != is) {
    findings.Add(Change::kOtherOptionChanged, subject, "other options changed " + FromTo(was, is));
  }
}

template void CompareOtherOptions(Findings&, const std::string&,
                                  const google::protobuf::FileOptions&,
                                  const google::protobuf::FileOptions&);
template void CompareOtherOptions(Findings&, const std::string&,
                                  const google::protobuf::MessageOptions&,
                                  const google::protobuf::MessageOptions&);
template void CompareOtherOptions(Findings&, const std::string&,
                                  const google::protobuf::FieldOptions&,
                                  const google::protobuf::FieldOptions&);
template void CompareOtherOptions(Findings&, const std::string&,
                                  const google::protobuf::EnumOptions&,
                                  const google::protobuf::EnumOptions&);

}  // namespace ovix::tool
