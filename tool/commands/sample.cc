// sample: synthetic messages.
#include "sample/sample.h"

#include <charconv>
#include <cstdint>
#include <memory>
#include <string>

#include "commands/commands.h"
#include "contracts/names.h"

namespace ovix::tool {
namespace {

// CLI11 takes -1 for the largest number.
std::string CheckNumber(const std::string& text) {
  uint64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  const bool is_number = error == std::errc() && end == text.data() + text.size();
  return is_number ? "" : "'" + text + "' is not a whole number from 0 to 18446744073709551615";
}

}  // namespace

void AddSample(CLI::App& app, int&) {
  CLI::App* command = app.add_subcommand("sample", "Write synthetic messages that obey a contract");
  struct Options : Sampling {
    Release release;
    std::string name;
    std::string folder;
  };
  const auto options = std::make_shared<Options>();
  AddMessage(*command, options->name);
  CLI::Option* name = command->get_option("name")->required(false);
  command->add_option("-n,--count", options->count, "How many")
      ->check(CheckNumber)
      ->type_name("NUMBER")
      ->capture_default_str();
  command->add_option("--seed", options->seed, "The same number gives the same messages")
      ->check(CheckNumber)
      ->type_name("NUMBER")
      ->capture_default_str();
  command->add_flag("--delimited", options->delimited,
                    "Write the binary encoding, each message after its length, instead of JSON");
  CLI::Option* output =
      command
          ->add_option("-o,--output", options->output,
                       "Where to write, whole or not at all; standard output without it")
          ->check(NamesFile)
          ->type_name("FILE");
  CLI::Option* out = command
                         ->add_option("--out", options->folder,
                                      "Write every payload, each to a file of its own in this "
                                      "folder, instead of one message")
                         ->type_name("DIR")
                         ->excludes(name)
                         ->excludes(output);
  AddContracts(*command, options->release);
  command->footer(
      "Examples:\n"
      "  ovix-contracts sample HwBatteryHealthLogAsCDM\n"
      "  ovix-contracts sample BatteryHealthLog -n 1000 --seed 7 >log.jsonl\n"
      "  ovix-contracts sample BatteryHealthLog -n 1000 --delimited -o log.binpb");
  command->callback([options, name, out] {
    if (!out->empty()) {
      options->output = options->folder;
      return SamplePayloads(options->release.contracts(), *options);
    }
    if (name->empty()) throw CLI::RequiredError("name or --out");
    const Contracts& contracts = options->release.contracts();
    options->type = FindMessage(contracts, options->name);
    Sample(contracts, *options);
  });
}

}  // namespace ovix::tool
