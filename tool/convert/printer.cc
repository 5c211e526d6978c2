#include "convert/printer.h"

#include "terminal/report.h"
#include "wire/wire.h"

namespace ovix::tool {
namespace {

constexpr size_t kMostNamed = 8;

}  // namespace

Printer::Printer(Notation notation, bool is_one_line) : notation_(notation), json_(is_one_line) {
  text_.SetSingleLineMode(is_one_line);
  text_.SetUseUtf8StringEscaping(true);
}

const std::string& Printer::Print(const google::protobuf::Message& message) {
  printed_.clear();
  if (notation_ == Notation::kText) {
    text_.PrintToString(message, &printed_);
    while (printed_.ends_with(' ')) printed_.pop_back();
  } else {
    json_.Print(message, printed_);
  }
  if (!printed_.ends_with('\n')) printed_ += '\n';
  return printed_;
}

void UnknownFields::Look(const google::protobuf::Message& message, uint64_t number) {
  const size_t before = seen_.size();
  std::set<std::string> here;
  CollectUnknown(message, here);
  if (here.empty()) return;
  ++messages_;
  if (first_ == 0) first_ = number;
  if (before < kMostNamed) seen_.merge(here);
}

void UnknownFields::Say(const std::string& input, bool is_one) const {
  std::string what = "holds ";
  if (!is_one) {
    what = std::to_string(messages_) + (messages_ == 1 ? " message holds" : " messages hold") +
           ", first number " + std::to_string(first_) + ", ";
  }
  std::string fields;
  size_t named = 0;
  for (const std::string& field : seen_) {
    fields += (named == 0 ? "" : ", ") + (named == kMostNamed ? "..." : field);
    if (named++ == kMostNamed) break;
  }
  Report(input + ": " + what + "fields that these contracts do not know (" + fields +
         "); JSON left them out, --format text shows them");
}

}  // namespace ovix::tool
