#include "convert/decode.h"

#include <google/protobuf/text_format.h>

#include <iostream>
#include <set>

#include "contracts/contracts.h"
#include "convert/json_printer.h"
#include "convert/progress.h"
#include "convert/redact.h"
#include "convert/wire.h"
#include "terminal/error.h"
#include "terminal/input.h"
#include "terminal/output.h"

namespace ovix::tool {
namespace {

using google::protobuf::Message;
using google::protobuf::TextFormat;

// Prints messages of one type, each ending in a line end; on one line where many follow each other.
class Printer {
 public:
  explicit Printer(const Conversion& options)
      : notation_(options.notation), json_(options.delimited) {
    text_.SetSingleLineMode(options.delimited);
    text_.SetUseUtf8StringEscaping(true);
  }

  const std::string& Print(const Message& message) {
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

 private:
  const Notation notation_;
  JsonPrinter json_;
  TextFormat::Printer text_;
  std::string printed_;
};

// What was seen of fields that the schemas do not know. JSON cannot hold them, so it is said.
class Unknown {
 public:
  void Look(const Message& message, uint64_t number) {
    const size_t before = seen_.size();
    std::set<std::string> here;
    CollectUnknown(message, here);
    if (here.empty()) return;
    ++messages_;
    if (first_ == 0) first_ = number;
    if (before < kMost) seen_.merge(here);
  }
  bool any() const { return messages_ != 0; }

  void Say(const std::string& input, bool delimited) const {
    std::cerr << "ovix-contracts: " << input << ": ";
    if (delimited) {
      std::cerr << messages_ << (messages_ == 1 ? " message holds" : " messages hold")
                << ", first number " << first_ << ", ";
    } else {
      std::cerr << "holds ";
    }
    std::cerr << "fields that these contracts do not know (";
    size_t said = 0;
    for (const std::string& field : seen_) {
      if (said == kMost) {
        std::cerr << ", ...";
        break;
      }
      std::cerr << (said++ == 0 ? "" : ", ") << field;
    }
    std::cerr << "); JSON left them out, --format text shows them\n";
  }

 private:
  static constexpr size_t kMost = 8;
  std::set<std::string> seen_;
  uint64_t messages_ = 0;
  uint64_t first_ = 0;
};

void Parse(std::string_view bytes, uint64_t offset, const std::string& input, Message& message) {
  if (message.ParseFromArray(bytes.data(), static_cast<int>(bytes.size()))) return;
  const WireProblem problem = FindWireProblem(bytes, message.GetDescriptor());
  throw Error(input + ": byte " + std::to_string(offset + problem.offset) + ": " +
              (problem.what.empty() ? "cannot be read" : problem.what) + "; it is no " +
              message.GetDescriptor()->full_name() + ", or it is damaged");
}

// Takes the length before a message; false at the end of the input.
bool TakeLength(Input& input, uint32_t& length) {
  const std::string_view prefix = input.Peek(5);
  if (prefix.empty()) return false;
  uint64_t value = 0;
  for (size_t i = 0; i < prefix.size(); ++i) {
    const auto byte = static_cast<unsigned char>(prefix[i]);
    value |= static_cast<uint64_t>(byte & 0x7f) << (7 * i);
    if (byte >= 0x80) continue;
    if (value > 0x7fffffff) break;
    length = static_cast<uint32_t>(value);
    input.Take(i + 1);
    return true;
  }
  throw Error(input.name() + ": byte " + std::to_string(input.offset()) + ": " +
              (prefix.size() < 5 ? "the input ends within the length of a message"
                                 : "a message cannot be that long; is the stream --delimited?"));
}

}  // namespace

bool Decode(const Decoding& options) {
  const std::unique_ptr<Message> message = NewMessage(options);
  if (options.redact.empty() && options.key_file) {
    throw Error("--key: there is nothing to hash; name the classes with --redact");
  }
  Redactor redactor(Contracts::Installed(), options.redact, options.key_file);
  Input input(options.input);
  Output output(options.output, {options.input, options.key_file.value_or(options.input)});
  Printer printer(options);
  Progress progress(input, output);
  Unknown unknown;
  const bool look = options.notation == Notation::kJson;
  if (!options.delimited) {
    Parse(input.PeekAll(), 0, input.name(), *message);
    if (!options.redact.empty()) redactor.Redact(*message);
    if (look) unknown.Look(*message, 1);
    output.Write(printer.Print(*message));
  } else {
    for (uint32_t length = 0; TakeLength(input, length); input.Take(length)) {
      const std::string_view bytes = input.Peek(length);
      if (bytes.size() < length) {
        throw Error(input.name() + ": byte " + std::to_string(input.offset()) +
                    ": message number " + std::to_string(progress.messages() + 1) + " needs " +
                    std::to_string(length) + " bytes, but " + std::to_string(bytes.size()) +
                    " are left");
      }
      Parse(bytes, input.offset(), input.name(), *message);
      progress.Count();
      if (!options.redact.empty()) redactor.Redact(*message);
      if (look) unknown.Look(*message, progress.messages());
      output.Write(printer.Print(*message));
    }
  }
  output.Finish();
  if (!options.redact.empty()) {
    std::cerr << "ovix-contracts: " << input.name()
              << ": values replaced by a hash: " << redactor.replaced()
              << ", dropped: " << redactor.dropped() << "\n";
  }
  if (unknown.any()) unknown.Say(input.name(), options.delimited);
  return unknown.any();
}

}  // namespace ovix::tool
