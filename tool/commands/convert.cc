// encode and decode: JSON or text format to the binary encoding and back.
#include <google/protobuf/io/tokenizer.h>
#include <google/protobuf/text_format.h>
#include <google/protobuf/util/json_util.h>

#include <algorithm>
#include <chrono>
#include <iostream>
#include <memory>
#include <optional>
#include <set>

#include "commands/commands.h"
#include "contracts/contracts.h"
#include "contracts/names.h"
#include "convert/json_places.h"
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

// Protobuf prints negative zero as -0 and reads that as the integer 0; -0.0 it reads as it was.
void KeepNegativeZeros(std::string& json) {
  if (json.find("-0") == std::string::npos) return;
  std::string kept;
  bool in_string = false;
  for (size_t i = 0; i < json.size(); ++i) {
    kept += json[i];
    if (in_string && json[i] == '\\') {
      kept += json[++i];
    } else if (json[i] == '"') {
      in_string = !in_string;
    } else if (!in_string && json[i] == '0' && i > 0 && json[i - 1] == '-' &&
               (i + 1 == json.size() || json.find_first_of(",]} \n", i + 1) == i + 1)) {
      kept += ".0";
    }
  }
  json = std::move(kept);
}

// Prints messages of one type, each ending in a line end; on one line where many follow each other.
class Printer {
 public:
  explicit Printer(const Options& options) : notation_(options.notation) {
    json_.preserve_proto_field_names = true;
    json_.add_whitespace = !options.delimited;
    text_.SetSingleLineMode(options.delimited);
    text_.SetUseUtf8StringEscaping(true);
  }

  const std::string& Print(const Message& message) {
    printed_.clear();
    if (notation_ == Notation::kText) {
      text_.PrintToString(message, &printed_);
      while (printed_.ends_with(' ')) printed_.pop_back();
    } else {
      const auto status = google::protobuf::util::MessageToJsonString(message, &printed_, json_);
      if (!status.ok()) {
        throw Error(message.GetDescriptor()->full_name() + ": cannot be written as JSON (" +
                    std::string(status.message()) + "); use --format text");
      }
      KeepNegativeZeros(printed_);
    }
    if (!printed_.ends_with('\n')) printed_ += '\n';
    return printed_;
  }

 private:
  const Notation notation_;
  google::protobuf::util::JsonPrintOptions json_;
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
  return unknown.any() ? kFound : kDone;
}

// --- Encoding

// "FILE:LINE:COLUMN: ", both from 1; columns are bytes.
std::string Place(const std::string& input, std::string_view text, size_t at, uint64_t first_line) {
  const std::string_view before = text.substr(0, at);
  const auto lines = static_cast<uint64_t>(std::count(before.begin(), before.end(), '\n'));
  const size_t line_begin =
      before.rfind('\n') == std::string_view::npos ? 0 : before.rfind('\n') + 1;
  return input + ":" + std::to_string(first_line + lines) + ":" +
         std::to_string(at - line_begin + 1) + ": ";
}

// "(a.b[1]): invalid value "x" for type TYPE_UINT32" and "(a) b: Cannot find field." taken apart.
struct JsonProblem {
  std::string path;
  std::string what;
};
JsonProblem TakeApart(const std::string& message) {
  JsonProblem problem;
  const size_t colon = message.find(": ");
  std::string where = colon == std::string::npos ? "" : message.substr(0, colon);
  problem.what = colon == std::string::npos ? message : message.substr(colon + 2);
  size_t close = where.find(')');
  if (where.starts_with("(") && close != std::string::npos) {
    problem.path = where.substr(1, close - 1);
    where = where.substr(std::min(close + 2, where.size()));
  }
  if (!where.empty()) problem.path += (problem.path.empty() ? "" : ".") + where;
  return problem;
}

[[noreturn]] void FailJson(const std::string& message, std::string_view text, uint64_t first_line,
                           const std::string& input, const Descriptor* descriptor) {
  const JsonPlaces places(text);
  // The runtime puts a piece of the text with a mark below into lines of its own.
  const size_t line_end = message.find('\n');
  JsonProblem problem{"", message.substr(0, line_end)};
  size_t at = 0;
  if (line_end != std::string::npos) {
    at = places.broken().value_or(text.size());
    problem.path = places.PathAt(at);
  } else {
    problem = TakeApart(message);
    at = places.Find(problem.path).value_or(0);
  }
  const size_t invalid = FindInvalidUtf8(text);
  if (invalid != std::string_view::npos) {
    at = invalid;
    problem = {places.PathAt(at), "text that is not UTF-8"};
  }
  while (problem.what.ends_with('.')) problem.what.pop_back();
  const auto* field = FieldAt(descriptor, problem.path);
  const std::string where = field == nullptr ? problem.path : field->full_name();
  if (problem.what == "Cannot find field") {
    const size_t dot = problem.path.rfind('.');
    const auto* holder =
        dot == std::string::npos ? nullptr : FieldAt(descriptor, problem.path.substr(0, dot));
    problem.what = (holder != nullptr && holder->message_type() != nullptr
                        ? holder->message_type()->full_name()
                        : descriptor->full_name()) +
                   " has no such field";
  }
  const std::string url = "type.googleapis.com/";
  if (const size_t found = problem.what.find(url); found != std::string::npos) {
    problem.what.erase(found, url.size());
  }
  throw Error(Place(input, text, at, first_line) + (where.empty() ? "" : where + ": ") +
              problem.what);
}

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

void ParseText(std::string_view text, uint64_t first_line, const std::string& input,
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
}

// The bytes of the message that a text says.
std::string Encoded(std::string_view text, uint64_t first_line, const std::string& input,
                    const Options& options, Message& message) {
  message.Clear();
  if (options.notation == Notation::kText) {
    ParseText(text, first_line, input, message);
  } else {
    const google::protobuf::StringPiece json(text.data(), text.size());
    const auto status = google::protobuf::util::JsonStringToMessage(json, &message);
    if (!status.ok()) {
      FailJson(std::string(status.message()), text, first_line, input, message.GetDescriptor());
    }
  }
  std::string bytes;
  if (!message.SerializeToString(&bytes)) {
    throw Error(input + ": is larger than a message can be (2 GiB)");
  }
  // What this tool writes, it and every other runtime reads.
  const WireProblem problem = FindWireProblem(bytes, message.GetDescriptor());
  if (!problem.what.empty()) {
    // Only text format can say such a thing; the line is that of the message.
    throw Error(input + (options.delimited ? ":" + std::to_string(first_line) : "") + ": " +
                problem.what);
  }
  return bytes;
}

int Encode(const Options& options) {
  const std::unique_ptr<Message> message = NewMessage(options);
  Input input(options.input);
  Output output(options.output, {options.input});
  if (!options.delimited) {
    output.Write(Encoded(input.PeekAll(), 1, input.name(), options, *message));
  } else {
    Progress progress(input, output);
    uint64_t line_number = 0;
    for (std::string_view line; input.TakeLine(line);) {
      ++line_number;
      if (line.find_first_not_of(" \t") == std::string_view::npos) continue;
      const std::string bytes = Encoded(line, line_number, input.name(), options, *message);
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
