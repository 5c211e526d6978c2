// lint: schemas against the rules for contracts, and against a release.
#include "lint/lint.h"

#include <memory>

#include "commands/commands.h"
#include "lint/report.h"
#include "terminal/error.h"
#include "terminal/output.h"
#include "terminal/report.h"

namespace ovix::tool {
namespace {

enum class LintFormat { kText, kJson, kGithub, kJunit };

struct Options {
  std::string root = ".";
  std::string against;
  LintFormat format = LintFormat::kText;
  bool rules = false;
};

std::string Print(const std::vector<lint::Finding>& findings, LintFormat format) {
  switch (format) {
    case LintFormat::kJson:
      return lint::AsJson(findings);
    case LintFormat::kGithub:
      return lint::AsGithub(findings);
    case LintFormat::kJunit:
      return lint::AsJunit(findings);
    default:
      return lint::AsText(findings);
  }
}

int PrintRules(LintFormat format) {
  if (format != LintFormat::kText && format != LintFormat::kJson) {
    throw Error("--rules: the rules are printed as text or json");
  }
  WriteAll(format == LintFormat::kJson ? lint::RulesAsJson() : lint::RulesAsText());
  return kDone;
}

int Run(const Options& options) {
  if (options.rules) return PrintRules(options.format);
  const auto older = options.against.empty() ? nullptr : Contracts::Read(options.against);
  if (older != nullptr) SayWithoutComments(*older, options.against);
  const lint::Linted linted = lint::Lint(options.root, older.get());
  WriteAll(Print(linted.findings, options.format));
  Report(Count(linted.schemas, "schema") + " checked, " + Count(linted.findings.size(), "finding"));
  return linted.findings.empty() ? kDone : kFound;
}

}  // namespace

void AddLint(CLI::App& app, int& exit_code) {
  CLI::App* command =
      app.add_subcommand("lint", "Check whether schemas keep to the rules for contracts");
  const auto options = std::make_shared<Options>();
  command
      ->add_option("root", options->root,
                   "The folder that has ovix/, the import root; without it the working folder")
      ->check(NamesFolder)
      ->type_name("DIR");
  command
      ->add_option("--against", options->against,
                   "Report also what breaks this release, a descriptor set or git:REVISION")
      ->check(NamesFile)
      ->type_name("FILE.binpb");
  AddChoice(*command, "--format", options->format,
            {{"text", LintFormat::kText},
             {"json", LintFormat::kJson},
             {"github", LintFormat::kGithub},
             {"junit", LintFormat::kJunit}});
  command->add_flag("--rules", options->rules, "Print the rules: what each asks for, and why");
  command->footer(
      "Examples:\n"
      "  ovix-contracts lint\n"
      "  ovix-contracts lint schemas --against git:HEAD~1\n"
      "  ovix-contracts lint --rules\n"
      "One line for each finding. Exit code 1: there are findings; 2: the check could\n"
      "not be made.");
  command->callback([options, &exit_code] { exit_code = Run(*options); });
}

}  // namespace ovix::tool
