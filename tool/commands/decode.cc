// decode: the binary encoding to JSON or text format.
#include "convert/decode.h"

#include <memory>

#include "commands/conversion.h"
#include "convert/decode_raw.h"
#include "terminal/error.h"

namespace ovix::tool {
namespace {

struct Options : Decoding {
  Release release;
  SubjectWords words;
  bool raw = false;
};

// The one input of messages; empty for standard input.
std::string OneOf(const std::vector<std::string>& inputs) {
  if (inputs.size() > 1) {
    throw Error(inputs[1] + ": is a second input; decode one after the other");
  }
  return inputs.empty() ? "" : inputs.front();
}

bool Run(Options& options) {
  if (options.skip_bad && !options.delimited) {
    throw Error("--skip-bad: one message cannot be skipped; it is for streams (--delimited)");
  }
  if (options.raw) {
    std::vector<std::string> inputs = options.words.inputs;
    if (!options.words.name.empty()) inputs.insert(inputs.begin(), options.words.name);
    options.input = OneOf(inputs);
    return DecodeRaw(options);
  }
  const Contracts& contracts = options.release.contracts();
  Subject subject = ReadSubject(contracts, options.words);
  if (subject.type != nullptr) {
    options.type = subject.type;
    options.input = OneOf(subject.inputs);
    return Decode(contracts, options);
  }
  if (options.delimited || options.encoding != Encoding::kBinary) {
    throw Error(
        subject.labelled.front() +
        ": is the metadata file of a payload or an outbox; --delimited and --input-encoding are "
        "for messages of a type that is named");
  }
  options.labelled = std::move(subject.labelled);
  return DecodeLabelled(contracts, options);
}

}  // namespace

void AddDecode(CLI::App& app, int& exit_code) {
  CLI::App* command =
      app.add_subcommand("decode", "Turn the binary encoding into JSON or text format");
  const auto options = std::make_shared<Options>();
  AddSubject(*command, options->words);
  AddConversion(*command, *options);
  AddInputEncoding(*command, options->encoding);
  command->add_flag("--delimited", options->delimited,
                    "Read many messages, each after its length, and write one a line");
  command->add_flag("--skip-bad", options->skip_bad,
                    "With --delimited: go on after a bad message, and say how many there were");
  CLI::Option* redact =
      command
          ->add_option("--redact", options->redact,
                       "Take out the values of these privacy classes, separated by commas: "
                       "identifier, location, content, interaction or all")
          ->delimiter(',')
          ->allow_extra_args(false)
          ->type_name("CLASS");
  CLI::Option* key = command
                         ->add_option("--key", options->key_file,
                                      "With --redact: replace strings by their HMAC-SHA-256 under "
                                      "the key in this file")
                         ->type_name("FILE");
  AddContracts(*command, options->release);
  command
      ->add_flag("--raw", options->raw,
                 "Print fields by number without a contract; values are guessed")
      ->excludes(redact)
      ->excludes(key)
      ->excludes(command->get_option("--gun"))
      ->excludes(command->get_option("--contracts"))
      ->excludes(command->get_option("--format"));
  command->footer(
      "Examples:\n"
      "  ovix-contracts decode HwBatteryHealthLogAsCDM payload.binpb\n"
      "  ovix-contracts decode outbox\n"
      "  ovix-contracts decode outbox/NAME.json\n"
      "  ovix-contracts decode BatteryHealthLog --delimited <log.binpb >log.jsonl\n"
      "  ovix-contracts decode IdentityAsCDM payload.binpb --redact all --key secret\n"
      "  echo 0a0531322e3030 | ovix-contracts decode --raw --input-encoding hex\n"
      "Exit code 1: something is missing in the output, and standard error says what:\n"
      "fields that these contracts do not know (--format text shows them), payloads\n"
      "that differ from their metadata files, messages that --skip-bad left out.");
  command->callback([options, &exit_code] { exit_code = Run(*options) ? kFound : kDone; });
}

}  // namespace ovix::tool
