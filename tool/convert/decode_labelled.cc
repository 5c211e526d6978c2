// Payloads by their labels, as an outbox holds them.
#include <optional>

#include "convert/decode.h"
#include "convert/printer.h"
#include "convert/redact.h"
#include "payload/labelled.h"
#include "terminal/error.h"
#include "terminal/format.h"
#include "terminal/output.h"
#include "terminal/path.h"
#include "terminal/report.h"
#include "wire/messages.h"

namespace ovix::tool {
namespace {

namespace fs = std::filesystem;

// The label on one line of JSON. What identifies the device, and what lets a guess at the content
// be tested, is left out where content is redacted. A sequence number identifies a device too: it
// begins at the milliseconds of the store's first upload, and the payload's name has it.
std::string LabelText(const Label& label, bool is_redacted) {
  std::string text;
  const auto add = [&](const char* key, const std::string& value) {
    text += (text.empty() ? "{\"" : ",\"") + std::string(key) + "\":" + value;
  };
  const auto add_number = [&](const char* key, const std::optional<uint64_t>& value) {
    if (value) add(key, std::to_string(*value));
  };
  add("gun", JsonText(label.gun));
  add("version", JsonText(label.version));
  add("message", JsonText(label.message));
  if (!is_redacted) {
    add("payload", JsonText(label.payload));
    add_number("bytes", label.bytes);
    add("sha256", JsonText(label.sha256));
    add("device", JsonText(label.device));
  }
  add("created", JsonText(label.created));
  if (!is_redacted) {
    add_number("sequence", label.sequence);
    add("id", JsonText(label.id));
  }
  return text + "}";
}

// What happens to each payload of one run.
class Decoder {
 public:
  Decoder(const Contracts& contracts, const Decoding& options, bool is_one)
      : contracts_(contracts),
        options_(options),
        is_one_(is_one),
        redactor_(contracts, options.redact, options.key_file),
        messages_(contracts),
        printer_(options.notation, !is_one && options.notation == Notation::kJson) {}

  // The payload as text; empty where a sender has taken it. Throws Error.
  std::string Decode(const LabelFile& file, uint64_t number) {
    const auto read = ReadLabelled(contracts_, file);
    if (!read) return "";
    const LabelledPayload& payload = *read;
    const std::string& name = file.name;
    const bool is_redacted = !options_.redact.empty();
    const auto said = [&](const LabelProblem& problem) {
      return name + ": " + (is_redacted ? problem.what : problem.WithValues());
    };
    if (const LabelProblem* problem = payload.Fatal()) throw Error(said(*problem));
    auto& message = messages_.Empty(payload.type);
    Parse(payload.bytes, 0, payload.file, message);
    for (const LabelProblem& problem : payload.problems) {
      has_remarks_ = true;
      Report(said(problem));
    }
    if (is_redacted) redactor_.Redact(message);
    if (options_.notation == Notation::kJson) unknown_.Look(message, number);
    const std::string& printed = printer_.Print(message);
    if (is_one_) return printed;
    const std::string label = LabelText(payload.label, is_redacted);
    if (options_.notation == Notation::kText) return "# " + label + "\n" + printed;
    return "{\"label\":" + label + ",\"message\":" + printed.substr(0, printed.size() - 1) + "}\n";
  }

  // Whether anything was found that was not fatal.
  bool has_remarks() const { return has_remarks_ || unknown_.any(); }
  void Say(const std::string& input) const {
    if (!options_.redact.empty()) redactor_.Say(input);
    if (unknown_.any()) unknown_.Say(input, is_one_);
  }

 private:
  const Contracts& contracts_;
  const Decoding& options_;
  const bool is_one_;
  Redactor redactor_;
  Messages messages_;
  Printer printer_;
  UnknownFields unknown_;
  bool has_remarks_ = false;
};

}  // namespace

bool DecodeLabelled(const Contracts& contracts, const Decoding& options) {
  std::error_code ignored;
  const bool is_one =
      options.labelled.size() == 1 && !fs::is_directory(PathOf(options.labelled.front()), ignored);
  Decoder decoder(contracts, options, is_one);
  const std::vector<LabelFile> labels = LabelsOf(options.labelled);
  Output output(options.output);
  uint64_t left_out = 0;
  for (size_t i = 0; i < labels.size(); ++i) {
    std::string text;
    try {
      text = decoder.Decode(labels[i], i + 1);
    } catch (const Error& error) {
      if (is_one) throw;
      ++left_out;
      Report(std::string(error.what()) + "; left out");
    }
    output.Write(text);
  }
  output.Finish();
  const std::string input = options.labelled.front();
  decoder.Say(input);
  if (labels.size() > 1 && left_out != 0) {
    Report(input + ": " + std::to_string(left_out) + " of " + std::to_string(labels.size()) +
           " payloads were left out");
  }
  return left_out != 0 || decoder.has_remarks();
}

}  // namespace ovix::tool
