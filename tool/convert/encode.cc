#include "convert/encode.h"

#include <google/protobuf/io/tokenizer.h>
#include <google/protobuf/text_format.h>

#include <algorithm>
#include <string>

#include "convert/progress.h"
#include "convert/text_problem.h"
#include "convert/unknown_text.h"
#include "json/reader.h"
#include "terminal/error.h"
#include "terminal/input.h"
#include "terminal/output.h"
#include "wire/delimited.h"
#include "wire/messages.h"
#include "wire/wire.h"

namespace ovix::tool {
namespace {

using google::protobuf::Message;
using google::protobuf::TextFormat;

class FirstTextError : public google::protobuf::io::ErrorCollector {
 public:
  void AddError(int line, google::protobuf::io::ColumnNumber column,
                const std::string& message) override {
    if (!what.empty()) return;
    this->line = static_cast<size_t>(line < 0 ? 0 : line);
    this->column = static_cast<size_t>(column < 0 ? 0 : column);
    what = message;
  }
  size_t line = 0;
  size_t column = 0;
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
    const TextProblem problem = ExplainText(std::string(text), message.GetDescriptor(), error.line,
                                            error.column, error.what);
    throw Error(input + ":" + std::to_string(first_line + problem.line) + ":" +
                std::to_string(problem.column + 1) + ": " + problem.what);
  }
  if (const auto* field = unknown.field_of_bad_text()) {
    const std::string_view before = text.substr(0, unknown.bad_text());
    const auto line = static_cast<uint64_t>(std::count(before.begin(), before.end(), '\n'));
    const size_t line_begin = before.rfind('\n') + 1;  // 0 in the first line
    throw Error(input + ":" + std::to_string(first_line + line) + ":" +
                std::to_string(before.size() - line_begin + 1) + ": " + field->full_name() +
                " is text that is not UTF-8; write its characters as UTF-8");
  }
  unknown.AddTo(message);
  return unknown.any();
}

// Turns strings into the bytes of the messages that they state.
class Encoder {
 public:
  Encoder(const Contracts& contracts, const Conversion& options)
      : options_(options), messages_(contracts), message_(messages_.Empty(options.type)) {}

  // Valid until the next call.
  const std::string& Encode(std::string_view text, uint64_t first_line, const std::string& input) {
    message_.Clear();
    bool has_unknown = false;
    if (options_.notation == Notation::kText) {
      has_unknown = ParseText(text, first_line, input, message_);
    } else {
      json_.Read(text, input, first_line, message_);
    }
    if (!message_.SerializeToString(&bytes_)) {
      throw Error(input + ": is larger than a message can be (2 GiB)");
    }
    if (options_.notation == Notation::kText) Check(first_line, input);
    if (has_unknown) bytes_ = InOrderOfNumbers(bytes_, message_.GetDescriptor());
    return bytes_;
  }

 private:
  // What this tool writes, it and every other runtime reads; text format can say other things.
  void Check(uint64_t first_line, const std::string& input) const {
    const WireProblem problem = FindWireProblem(bytes_, message_.GetDescriptor());
    if (problem.what.empty()) return;
    // The line is that of the message.
    throw Error(input + (options_.delimited ? ":" + std::to_string(first_line) : "") + ": " +
                problem.what);
  }

  const Conversion& options_;
  Messages messages_;
  Message& message_;
  JsonReader json_;
  std::string bytes_;
};

}  // namespace

bool Encode(const Contracts& contracts, const Conversion& options) {
  Encoder encoder(contracts, options);
  Input input(options.input);
  Output output(options.output);
  Skipped skipped;
  if (!options.delimited) {
    output.Write(encoder.Encode(input.PeekAll(), 1, input.name()));
  } else {
    Progress progress(input, output);
    input.BeforeReading([&output] { output.Flush(); });
    uint64_t line_number = 0;
    for (std::string_view line; input.TakeLine(line);) {
      ++line_number;
      if (line.find_first_not_of(" \t") == std::string_view::npos) continue;
      const std::string* bytes = nullptr;
      try {
        bytes = &encoder.Encode(line, line_number, input.name());
      } catch (const Error& error) {
        if (!options.skip_bad) throw;
        skipped.Add(error.what());
        continue;
      }
      output.Write(LengthPrefix(bytes->size()));
      output.Write(*bytes);
      progress.Count();
    }
  }
  output.Finish();
  skipped.Say(input.name());
  return skipped.count() != 0;
}

}  // namespace ovix::tool
