// encode and decode: JSON or text format to the binary encoding and back.
#include <google/protobuf/io/tokenizer.h>
#include <google/protobuf/text_format.h>

#include <chrono>
#include <iostream>
#include <memory>
#include <optional>
#include <set>

#include "commands/commands.h"
#include "contracts/contracts.h"
#include "contracts/names.h"
#include "convert/json_printer.h"
#include "convert/json_reader.h"
#include "convert/redact.h"
#include "convert/unknown_text.h"
#include "convert/wire.h"
#include "terminal/error.h"
#include "terminal/input.h"
#include "terminal/output.h"
#include "terminal/platform.h"

namespace ovix::tool {
namespace {

using google::protobuf::Message;
using google::protobuf::TextFormat;

enum class Notation { kJson, kText };

struct Options {
  std::string name;
  std::string input;
  std::string output;
  Notation notation = Notation::kJson;
  bool delimited = false;
  std::vector<std::string> redact;
  std::optional<std::string> key_file;
};

std::unique_ptr<Message> NewMessage(const Options& options) {
  const Descriptor* descriptor = FindMessage(Contracts::Installed(), options.name);
  return std::unique_ptr<Message>(
      google::protobuf::MessageFactory::generated_factory()->GetPrototype(descriptor)->New());
}

// Says on a terminal how far a long run is; nothing for the first second.
class Progress {
 public:
  Progress(const Input& input, const Output& output)
      : input_(input),
        shown_(IsTerminal(stderr) && !(output.is_standard() && IsTerminal(stdout))) {}
  ~Progress() {
    if (said_) std::cerr << "\r\x1b[K";
  }
  void Count() {
    if (++messages_ % 1024 != 0 || !shown_) return;
    const auto now = std::chrono::steady_clock::now();
    if (now < next_) return;
    next_ = now + std::chrono::milliseconds(500);
    said_ = true;
    std::cerr << "\r" << messages_ << " messages, " << (input_.offset() >> 20) << " MB read\x1b[K"
              << std::flush;
  }
  uint64_t messages() const { return messages_; }

 private:
  const Input& input_;
  const bool shown_;
  bool said_ = false;
  uint64_t messages_ = 0;
  std::chrono::steady_clock::time_point next_ =
      std::chrono::steady_clock::now() + std::chrono::seconds(1);
};

// --- Decoding

// Prints messages of one type, each ending in a line end; on one line where many follow each other.
class Printer {
 public:
  explicit Printer(const Options& options) : notation_(options.notation), json_(options.delimited) {
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

int Decode(const Options& options) {
  const std::unique_ptr<Message> message = NewMessage(options);
  if (options.redact.empty() && options.key_file) {
    throw Error("--key: there is nothing to hash; name the classes with --redact");
  }
  Redactor redactor(Contracts::Installed(), options.redact, options.key_file);
  Input input(options.input);
  Output output(options.output);
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
  return unknown.any() ? kFound : kDone;
}

// --- Encoding

class FirstTextError : public google::protobuf::io::ErrorCollector {
 public:
  void AddError(int line, google::protobuf::io::ColumnNumber column,
                const std::string& message) override {
    if (!what.empty()) return;
    this->line = static_cast<uint64_t>(line < 0 ? 0 : line);
    this->column = static_cast<uint64_t>(column < 0 ? 0 : column);
    what = message;
  }
  uint64_t line = 0;
  uint64_t column = 0;
  std::string what;
};

// Whether the text has fields by number.
bool ParseText(std::string_view text, uint64_t first_line, const std::string& input,
               Message& message) {
  std::string known(text);
  const UnknownText unknown(known, message.GetDescriptor());
  TextFormat::Parser parser;
  FirstTextError error;
  parser.RecordErrorsTo(&error);
  if (!parser.ParseFromString(known, &message)) {
    throw Error(input + ":" + std::to_string(first_line + error.line) + ":" +
                std::to_string(error.column + 1) + ": " + error.what);
  }
  unknown.AddTo(message);
  return unknown.any();
}

// Turns texts into the bytes of the messages that they say.
class Encoder {
 public:
  explicit Encoder(const Options& options) : options_(options), message_(NewMessage(options)) {}

  // Valid until the next call.
  const std::string& Encode(std::string_view text, uint64_t first_line, const std::string& input) {
    message_->Clear();
    bool has_unknown = false;
    if (options_.notation == Notation::kText) {
      has_unknown = ParseText(text, first_line, input, *message_);
    } else {
      json_.Read(text, input, first_line, *message_);
    }
    if (!message_->SerializeToString(&bytes_)) {
      throw Error(input + ": is larger than a message can be (2 GiB)");
    }
    if (options_.notation == Notation::kText) Check(first_line, input);
    if (has_unknown) bytes_ = InOrderOfNumbers(bytes_, message_->GetDescriptor());
    return bytes_;
  }

 private:
  // What this tool writes, it and every other runtime reads; text format can say other things.
  void Check(uint64_t first_line, const std::string& input) const {
    const WireProblem problem = FindWireProblem(bytes_, message_->GetDescriptor());
    if (problem.what.empty()) return;
    // The line is that of the message.
    throw Error(input + (options_.delimited ? ":" + std::to_string(first_line) : "") + ": " +
                problem.what);
  }

  const Options& options_;
  const std::unique_ptr<Message> message_;
  JsonReader json_;
  std::string bytes_;
};

int Encode(const Options& options) {
  Encoder encoder(options);
  Input input(options.input);
  Output output(options.output);
  if (!options.delimited) {
    output.Write(encoder.Encode(input.PeekAll(), 1, input.name()));
  } else {
    Progress progress(input, output);
    uint64_t line_number = 0;
    for (std::string_view line; input.TakeLine(line);) {
      ++line_number;
      if (line.find_first_not_of(" \t") == std::string_view::npos) continue;
      const std::string& bytes = encoder.Encode(line, line_number, input.name());
      std::string length;
      for (size_t rest = bytes.size(); length.empty() || rest != 0; rest >>= 7) {
        length += static_cast<char>((rest & 0x7f) | (rest > 0x7f ? 0x80 : 0));
      }
      output.Write(length);
      output.Write(bytes);
      progress.Count();
    }
  }
  output.Finish();
  return kDone;
}

std::shared_ptr<Options> AddOptions(CLI::App& command, const char* input, const char* output) {
  const auto options = std::make_shared<Options>();
  command
      .add_option("name", options->name,
                  "The message's full name, or the end of it where no other has the same")
      ->type_name("NAME")
      ->required();
  command.add_option("input", options->input, input)->type_name("FILE");
  command.add_option("-o,--output", options->output, output)->type_name("FILE");
  AddChoice(command, "--format", options->notation,
            {{"json", Notation::kJson}, {"text", Notation::kText}});
  return options;
}

}  // namespace

void AddEncode(CLI::App& app, int& exit_code) {
  CLI::App* command =
      app.add_subcommand("encode", "Turn JSON or text format into the binary encoding");
  const auto options =
      AddOptions(*command, "What to read; standard input without it and for -",
                 "Where to write, whole or not at all; standard output without it");
  command->add_flag("--delimited", options->delimited,
                    "Read many messages, one a line, and write each behind its length");
  command->footer(
      "Examples:\n"
      "  ovix-contracts encode IdentityAsCDM identity.json -o identity.binpb\n"
      "  ovix-contracts encode BatteryHealthLog --delimited <log.jsonl >log.binpb");
  command->callback([options, &exit_code] { exit_code = Encode(*options); });
}

void AddDecode(CLI::App& app, int& exit_code) {
  CLI::App* command =
      app.add_subcommand("decode", "Turn the binary encoding into JSON or text format");
  const auto options =
      AddOptions(*command, "What to read; standard input without it and for -",
                 "Where to write, whole or not at all; standard output without it");
  command->add_flag("--delimited", options->delimited,
                    "Read many messages, each behind its length, and write one a line");
  command
      ->add_option("--redact", options->redact,
                   "Take out the values of these privacy classes, separated by commas: "
                   "identifier, location, content, interaction or all")
      ->delimiter(',')
      ->allow_extra_args(false)
      ->type_name("CLASS");
  command
      ->add_option("--key", options->key_file,
                   "With --redact: replace texts by their HMAC-SHA-256 under the key in this file")
      ->type_name("FILE");
  command->footer(
      "Examples:\n"
      "  ovix-contracts decode HwBatteryHealthLogAsCDM payload.binpb\n"
      "  ovix-contracts decode BatteryHealthLog --delimited <log.binpb >log.jsonl\n"
      "  ovix-contracts decode IdentityAsCDM payload.binpb --redact identifier --key secret\n"
      "Exit code 1: the input holds fields that these contracts do not know. JSON leaves them "
      "out,\n"
      "--format text shows them, and encode takes them back.");
  command->callback([options, &exit_code] { exit_code = Decode(*options); });
}

}  // namespace ovix::tool
