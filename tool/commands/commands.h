// The commands. Each file adds one to the command line: its options, its help and what it does.
#ifndef OVIX_TOOL_COMMANDS_COMMANDS_H_
#define OVIX_TOOL_COMMANDS_COMMANDS_H_

#include <CLI/CLI.hpp>
#include <string>
#include <utility>
#include <vector>

#include "contracts/release.h"
#include "terminal/format.h"

namespace ovix::tool {

enum ExitCode {
  kDone = 0,
  kFound = 1,  // a breaking change, or something that could not be shown
  kFailed = 2,
};

// Each takes the program's command line and where to leave the exit code, which its callback sets.
void AddList(CLI::App& app, int& exit_code);
void AddShow(CLI::App& app, int& exit_code);
void AddPrivacy(CLI::App& app, int& exit_code);
void AddDecode(CLI::App& app, int& exit_code);
void AddCheck(CLI::App& app, int& exit_code);
void AddEncode(CLI::App& app, int& exit_code);
void AddSample(CLI::App& app, int& exit_code);
void AddLint(CLI::App& app, int& exit_code);
void AddDiff(CLI::App& app, int& exit_code);
void AddDdl(CLI::App& app, int& exit_code);
void AddExport(CLI::App& app, int& exit_code);
void AddCatalogue(CLI::App& app, int& exit_code);
void AddHelp(CLI::App& app, int& exit_code);
// The man page and the completion of all of these; hidden, for the build.
void AddDescribe(CLI::App& app, int& exit_code);

// The command of this name. Throws Error, with what comes near it.
const CLI::App* CommandOf(const CLI::App& app, const std::string& name);
// Throws Error where the first word of a line is neither a command nor an option of the program.
void CheckFirst(const CLI::App& app, const std::string& word);
// What is wrong with the words that the chosen command does not take, after CLI::ExtrasError.
std::string UnexpectedWord(const CLI::App& app);
// Breaks the descriptions of commands and options, so that a line of help has at most 80 columns.
class HelpFormatter : public CLI::Formatter {
 public:
  std::string make_option_desc(const CLI::Option* option) const override;
  std::string make_subcommand(const CLI::App* command) const override;
};

// The help of a command; that of the program where the name is empty. Throws Error.
std::string HelpOf(const CLI::App& app, const std::string& command);

// An option that takes one of a few words; the first is what it is without.
template <typename Choice>
CLI::Option* AddChoice(CLI::App& command, const std::string& name, Choice& choice,
                       std::vector<std::pair<std::string, Choice>> choices) {
  std::string words;
  for (size_t i = 0; i < choices.size(); ++i) {
    words += (i == 0 ? "" : i + 1 == choices.size() ? " or " : ", ") + choices[i].first;
  }
  const auto set = [&choice, choices, words](const std::string& word) {
    for (const auto& [known, value] : choices) {
      if (word != known) continue;
      choice = value;
      return;
    }
    throw CLI::ValidationError("'" + word + "' is none of " + words);
  };
  choice = choices.front().second;
  return command.add_option_function<std::string>(name, set, words)
      ->type_name("FORMAT")
      ->default_str(choices.front().first);
}

// For Option::check(): what is wrong with the name of a file, "" where nothing is. An empty one,
// which a script writes whose variable is not set, is not standard input or output.
std::string NamesFile(const std::string& file);
std::string NamesFolder(const std::string& folder);

// The option -o of a command that writes one output, and --out of one that writes a folder; `what`
// says what is written to it. The strings must outlive the command.
CLI::Option* AddOutput(CLI::App& command, std::string& output);
CLI::Option* AddOut(CLI::App& command, std::string& out, const std::string& what);

// The name of the message that a command is about. `name` must outlive the command.
void AddMessage(CLI::App& command, std::string& name);

// The option --contracts of a command that reads contracts. `release` must outlive the command.
void AddContracts(CLI::App& command, Release& release);

// Says that facts were not compared, where schemas of the set have no comments; that is easily
// taken for "they did not change".
void SayWithoutComments(const Contracts& contracts, const std::string& name);

// The option --format of a listing.
void AddFormat(CLI::App& command, Format& format);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_COMMANDS_COMMANDS_H_
