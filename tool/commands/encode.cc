// encode: JSON or text format to the binary encoding.
#include "convert/encode.h"

#include <memory>

#include "commands/conversion.h"
#include "contracts/names.h"
#include "terminal/error.h"

namespace ovix::tool {

void AddEncode(CLI::App& app, int& exit_code) {
  CLI::App* command =
      app.add_subcommand("encode", "Turn JSON or text format into the binary encoding");
  struct Options : Conversion {
    Release release;
    std::string name;
  };
  const auto options = std::make_shared<Options>();
  AddMessage(*command, options->name);
  command->add_option("input", options->input, "What to read; standard input without it and for -")
      ->check(NamesFile)
      ->type_name("FILE");
  AddConversion(*command, *options);
  command->add_flag("--delimited", options->delimited,
                    "Read many messages, one a line, and write each after its length");
  command->add_flag("--skip-bad", options->skip_bad,
                    "With --delimited: go on after a bad message, and say how many there were");
  AddContracts(*command, options->release);
  command->footer(
      "Examples:\n"
      "  ovix-contracts encode IdentityAsCDM identity.json -o identity.binpb\n"
      "  ovix-contracts encode BatteryHealthLog --delimited <log.jsonl >log.binpb\n"
      "Exit code 1: messages were bad, and --skip-bad left them out.");
  command->callback([options, &exit_code] {
    if (options->skip_bad && !options->delimited) {
      throw Error("--skip-bad: one message cannot be skipped; it is for streams (--delimited)");
    }
    const Contracts& contracts = options->release.contracts();
    options->type = FindMessage(contracts, options->name);
    exit_code = Encode(contracts, *options) ? kFound : kDone;
  });
}

}  // namespace ovix::tool
