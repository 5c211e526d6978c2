#include "convert/decode.h"

#include "convert/printer.h"
#include "convert/progress.h"
#include "convert/redact.h"
#include "terminal/error.h"
#include "terminal/input.h"
#include "terminal/output.h"
#include "wire/delimited.h"
#include "wire/messages.h"

namespace ovix::tool {
namespace {

using google::protobuf::Message;

// What happens to each message of one run.
class Decoder {
 public:
  Decoder(const Contracts& contracts, const Decoding& options)
      : options_(options),
        redactor_(contracts, options.redact, options.key_file),
        messages_(contracts),
        message_(messages_.Empty(options.type)),
        printer_(options.notation, options.delimited) {
    // Before anything is read: it is not a fault of a message, which can be skipped.
    if (!options.redact.empty()) redactor_.Require(options.type);
  }

  // The message as text; valid until the next call. Throws Error.
  const std::string& Decode(std::string_view bytes, uint64_t offset, const std::string& input,
                            uint64_t number) {
    Parse(bytes, offset, input, message_);
    if (!options_.redact.empty()) redactor_.Redact(message_);
    if (options_.notation == Notation::kJson) unknown_.Look(message_, number);
    return printer_.Print(message_);
  }

  bool has_unknown() const { return unknown_.any(); }
  void Say(const std::string& input) const {
    if (!options_.redact.empty()) redactor_.Say(input);
    if (unknown_.any()) unknown_.Say(input, !options_.delimited);
  }

 private:
  const Decoding& options_;
  Redactor redactor_;
  Messages messages_;
  Message& message_;
  Printer printer_;
  UnknownFields unknown_;
};

}  // namespace

bool Decode(const Contracts& contracts, const Decoding& options) {
  Decoder decoder(contracts, options);
  Input input(options.input, options.encoding);
  Output output(options.output);
  Skipped skipped;
  if (!options.delimited) {
    output.Write(decoder.Decode(input.PeekAll(), 0, input.name(), 1));
  } else {
    Progress progress(input, output);
    input.BeforeReading([&output] { output.Flush(); });
    DelimitedReader stream(input);
    for (std::string_view bytes; stream.Next(bytes); progress.Count()) {
      const std::string* text = nullptr;
      try {
        text = &decoder.Decode(bytes, stream.offset(), input.name(), stream.number());
      } catch (const Error& error) {
        if (!options.skip_bad) throw;
        skipped.Add(error.what());
        continue;
      }
      output.Write(*text);
    }
  }
  output.Finish();
  decoder.Say(input.name());
  skipped.Say(input.name());
  return decoder.has_unknown() || skipped.count() != 0;
}

}  // namespace ovix::tool
