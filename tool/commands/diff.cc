// diff: what changed between two releases.
#include <algorithm>
#include <iostream>
#include <memory>

#include "commands/commands.h"
#include "diff/ci_report.h"
#include "diff/compare.h"
#include "diff/ignored.h"
#include "diff/report.h"
#include "terminal/output.h"

namespace ovix::tool {
namespace {

enum class DiffFormat { kText, kMarkdown, kJson, kGithub, kJunit };

struct Options {
  std::string older;
  std::string newer;
  std::string ignored;
  DiffFormat format = DiffFormat::kText;
};

// Takes out the changes that the file names, and says how many and which of its lines name none.
void TakeOut(const std::string& file, std::vector<Difference>& differences) {
  Ignored ignored(file);
  if (const size_t taken = ignored.TakeFrom(differences); taken != 0) {
    std::cerr << "ovix-contracts: " << file << ": " << taken
              << (taken == 1 ? " change is" : " changes are") << " ignored\n";
  }
  for (const std::string& line : ignored.Unused()) {
    std::cerr << "ovix-contracts: " << line << ": matches no change; remove the line\n";
  }
}

std::string Report(DiffFormat format, const std::vector<Difference>& differences,
                   const Contracts& older, const Contracts& newer) {
  switch (format) {
    case DiffFormat::kMarkdown:
      return AsMarkdown(differences);
    case DiffFormat::kJson:
      return AsJson(differences);
    case DiffFormat::kGithub:
      return AsGithub(differences, older, newer);
    case DiffFormat::kJunit:
      return AsJunit(differences, older, newer);
    default:
      return AsText(differences);
  }
}

int Diff(const Options& options) {
  const auto older = Contracts::Read(options.older);
  const auto read = options.newer.empty() ? nullptr : Contracts::Read(options.newer);
  const Contracts& newer = read == nullptr ? Contracts::Installed() : *read;
  std::vector<Difference> differences = Compare(*older, newer);
  if (!options.ignored.empty()) TakeOut(options.ignored, differences);
  // What breaks comes first.
  std::stable_partition(differences.begin(), differences.end(),
                        [](const Difference& d) { return d.breaks != kSafe; });
  SayWithoutComments(*older, options.older);
  if (read != nullptr) SayWithoutComments(newer, options.newer);
  WriteAll(Report(options.format, differences, *older, newer));
  return !differences.empty() && differences.front().breaks != kSafe ? kFound : kDone;
}

}  // namespace

void AddDiff(CLI::App& app, int& exit_code) {
  CLI::App* command = app.add_subcommand("diff", "Show what changed between two releases");
  const auto options = std::make_shared<Options>();
  command
      ->add_option("old", options->older,
                   "The older release: a descriptor set (- is the standard input), or git:REVISION")
      ->check(NamesFile)
      ->type_name("OLD")
      ->required();
  command->add_option("new", options->newer, "The newer release; without it these contracts")
      ->check(NamesFile)
      ->type_name("NEW");
  command
      ->add_option("--ignore", options->ignored,
                   "Leave out the changes of this file, a rule and a subject a line")
      ->check(NamesFile)
      ->type_name("FILE");
  AddChoice(*command, "--format", options->format,
            {{"text", DiffFormat::kText},
             {"markdown", DiffFormat::kMarkdown},
             {"json", DiffFormat::kJson},
             {"github", DiffFormat::kGithub},
             {"junit", DiffFormat::kJunit}});
  command->footer(
      "Examples:\n"
      "  ovix-contracts diff old/contracts.binpb\n"
      "  ovix-contracts diff git:HEAD~1 git:HEAD\n"
      "  ovix-contracts diff old/contracts.binpb new/contracts.binpb --format markdown\n"
      "Exit codes: 0 no change breaks anything, 1 one does, 2 failed.");
  command->callback([options, &exit_code] { exit_code = Diff(*options); });
}

}  // namespace ovix::tool
