// decode: the binary encoding to JSON or text format.
#include "convert/decode.h"

#include <memory>

#include "commands/conversion.h"

namespace ovix::tool {

void AddDecode(CLI::App& app, int& exit_code) {
  CLI::App* command =
      app.add_subcommand("decode", "Turn the binary encoding into JSON or text format");
  const auto options = std::make_shared<Decoding>();
  AddConversion(*command, *options);
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
  command->callback([options, &exit_code] { exit_code = Decode(*options) ? kFound : kDone; });
}

}  // namespace ovix::tool
