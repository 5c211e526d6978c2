// encode: JSON or text format to the binary encoding.
#include "convert/encode.h"

#include <memory>

#include "commands/conversion.h"

namespace ovix::tool {

void AddEncode(CLI::App& app, int&) {
  CLI::App* command =
      app.add_subcommand("encode", "Turn JSON or text format into the binary encoding");
  const auto options = std::make_shared<Conversion>();
  AddConversion(*command, *options);
  command->add_flag("--delimited", options->delimited,
                    "Read many messages, one a line, and write each behind its length");
  command->footer(
      "Examples:\n"
      "  ovix-contracts encode IdentityAsCDM identity.json -o identity.binpb\n"
      "  ovix-contracts encode BatteryHealthLog --delimited <log.jsonl >log.binpb");
  command->callback([options] { Encode(*options); });
}

}  // namespace ovix::tool
