#include "convert/encode.h"

#include <google/protobuf/io/tokenizer.h>
#include <google/protobuf/text_format.h>
#include <google/protobuf/util/json_util.h>

#include <algorithm>

#include "contracts/contracts.h"
#include "convert/json_places.h"
#include "convert/progress.h"
#include "convert/unknown_text.h"
#include "convert/wire.h"
#include "terminal/error.h"
#include "terminal/input.h"
#include "terminal/output.h"

namespace ovix::tool {
namespace {

using google::protobuf::Message;
using google::protobuf::TextFormat;

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
                    const Conversion& options, Message& message) {
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

}  // namespace

void Encode(const Conversion& options) {
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
}

}  // namespace ovix::tool
