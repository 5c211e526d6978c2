// diff: what changed between two releases.
#include <algorithm>
#include <iostream>
#include <memory>

#include "commands/commands.h"
#include "diff/comments.h"
#include "diff/compare.h"
#include "diff/report.h"
#include "terminal/output.h"

namespace ovix::tool {
namespace {

enum class DiffFormat { kText, kMarkdown, kJson };

struct Options {
  std::string older;
  std::string newer;
  DiffFormat format = DiffFormat::kText;
};

// Says that facts were not compared; that is easily taken for "they did not change".
void SayWithoutComments(const Contracts& contracts, const std::string& name) {
  const int schemas = SchemasWithoutComments(contracts);
  if (schemas == 0) return;
  std::cerr << "ovix-contracts: " << name << ": " << schemas << " of " << contracts.files().size()
            << " schemas are without comments, so their facts are not compared; protoc writes "
               "comments with --include_source_info\n";
}

int Diff(const Options& options) {
  const auto older = Contracts::FromFile(options.older);
  const auto read = options.newer.empty() ? nullptr : Contracts::FromFile(options.newer);
  const Contracts& newer = read == nullptr ? Contracts::Installed() : *read;
  std::vector<Difference> differences = Compare(*older, newer);
  // What breaks comes first.
  std::stable_partition(differences.begin(), differences.end(),
                        [](const Difference& d) { return d.breaks != kSafe; });
  SayWithoutComments(*older, options.older);
  if (read != nullptr) SayWithoutComments(newer, options.newer);
  WriteAll(options.format == DiffFormat::kJson       ? AsJson(differences)
           : options.format == DiffFormat::kMarkdown ? AsMarkdown(differences)
                                                     : AsText(differences));
  return !differences.empty() && differences.front().breaks != kSafe ? kFound : kDone;
}

}  // namespace

void AddDiff(CLI::App& app, int& exit_code) {
  CLI::App* command = app.add_subcommand("diff", "Show what changed between two releases");
  const auto options = std::make_shared<Options>();
  command->add_option("old", options->older, "Descriptor set of the older release")
      ->type_name("OLD.binpb")
      ->required();
  command
      ->add_option("new", options->newer,
                   "Descriptor set of the newer release; without it these contracts")
      ->type_name("NEW.binpb");
  AddChoice(*command, "--format", options->format,
            {{"text", DiffFormat::kText},
             {"markdown", DiffFormat::kMarkdown},
             {"json", DiffFormat::kJson}});
  command->footer(
      "Examples:\n"
      "  ovix-contracts diff old/contracts.binpb\n"
      "  ovix-contracts diff old/contracts.binpb new/contracts.binpb --format markdown\n"
      "Exit codes: 0 no change breaks anything, 1 one does, 2 failed.");
  command->callback([options, &exit_code] { exit_code = Diff(*options); });
}

}  // namespace ovix::tool
