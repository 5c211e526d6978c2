// check: payloads and records against their contracts.
#include "check/check.h"

#include <memory>

#include "commands/conversion.h"
#include "terminal/error.h"

namespace ovix::tool {
namespace {

struct Options : Checking {
  Release release;
  SubjectWords words;
};

ExitCode Run(Options& options) {
  const Contracts& contracts = options.release.contracts();
  Subject subject = ReadSubject(contracts, options.words);
  options.type = subject.type;
  options.inputs = std::move(subject.inputs);
  options.labelled = std::move(subject.labelled);
  if (options.type == nullptr && (options.delimited || options.encoding != Encoding::kBinary)) {
    throw Error(
        options.labelled.front() +
        ": is the metadata file of a payload or an outbox; --delimited and --input-encoding are "
        "for messages of a type that is named");
  }
  switch (Check(contracts, options)) {
    case Checked::kClean:
      return kDone;
    case Checked::kFindings:
      return kFound;
    default:
      return kFailed;
  }
}

}  // namespace

void AddCheck(CLI::App& app, int& exit_code) {
  CLI::App* command =
      app.add_subcommand("check", "Check whether payloads are what their contracts say");
  const auto options = std::make_shared<Options>();
  AddSubject(*command, options->words);
  AddInputEncoding(*command, options->encoding);
  AddChoice(*command, "--format", options->as_json, {{"text", false}, {"json", true}});
  command->add_flag("--delimited", options->delimited,
                    "Read many messages from each input, each after its length");
  AddContracts(*command, options->release);
  command->footer(
      "Examples:\n"
      "  ovix-contracts check outbox\n"
      "  ovix-contracts check outbox/*.json\n"
      "  ovix-contracts check HwBatteryHealthLogAsCDM one.binpb two.binpb\n"
      "  ovix-contracts check BatteryHealthLog --delimited <log.binpb\n"
      "  ovix-contracts check outbox --format json\n"
      "One line for each finding. Exit code 1: there are findings; 2: an input cannot\n"
      "be read.");
  command->callback([options, &exit_code] { exit_code = Run(*options); });
}

}  // namespace ovix::tool
