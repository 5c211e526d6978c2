#include "sample/sample.h"

#include <map>

#include "json/printer.h"
#include "sample/sampler.h"
#include "terminal/folder.h"
#include "terminal/output.h"
#include "wire/delimited.h"
#include "wire/messages.h"

namespace ovix::tool {

namespace {

// Hands the messages to `write`, piece by piece.
template <typename Write>
void Run(const Contracts& contracts, const Sampling& options, const Write& write) {
  Sampler sampler(contracts, options.seed);
  Messages messages(contracts);
  JsonPrinter printer(true);
  std::string text;
  for (uint64_t number = 0; number < options.count; ++number) {
    auto& message = messages.Empty(options.type);
    sampler.Fill(message, number);
    if (options.delimited) {
      text = message.SerializeAsString();
      write(LengthPrefix(text.size()));
    } else {
      text.clear();
      printer.Print(message, text);
      text += '\n';
    }
    write(text);
  }
}

}  // namespace

void Sample(const Contracts& contracts, const Sampling& options) {
  Output output(options.output);
  Run(contracts, options, [&](const std::string& piece) { output.Write(piece); });
  output.Finish();
}

void SamplePayloads(const Contracts& contracts, Sampling options) {
  std::map<std::string, std::string> files;
  for (const Descriptor* payload : contracts.payloads()) {
    std::string& file = files[payload->full_name() + (options.delimited ? ".binpb" : ".jsonl")];
    options.type = payload;
    Run(contracts, options, [&](const std::string& piece) { file += piece; });
  }
  WriteFolder(files, options.output, "folder of samples");
}

}  // namespace ovix::tool
