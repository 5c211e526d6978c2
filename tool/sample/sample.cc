#include "sample/sample.h"

#include "json/printer.h"
#include "sample/sampler.h"
#include "terminal/output.h"
#include "wire/delimited.h"
#include "wire/messages.h"

namespace ovix::tool {

void Sample(const Contracts& contracts, const Sampling& options) {
  Sampler sampler(contracts, options.seed);
  Messages messages(contracts);
  JsonPrinter printer(true);
  Output output(options.output);
  std::string text;
  for (uint64_t number = 0; number < options.count; ++number) {
    auto& message = messages.Empty(options.type);
    sampler.Fill(message, number);
    if (options.delimited) {
      text = message.SerializeAsString();
      output.Write(LengthPrefix(text.size()));
    } else {
      text.clear();
      printer.Print(message, text);
      text += '\n';
    }
    output.Write(text);
  }
  output.Finish();
}

}  // namespace ovix::tool
