// help: what --help prints, of the program or of a command.
#include <memory>
#include <sstream>

#include "commands/commands.h"
#include "contracts/names.h"
#include "terminal/error.h"
#include "terminal/output.h"

namespace ovix::tool {
namespace {

// What is wrong with a word that begins as an option does.
std::string NotAnOption(const CLI::App& command, const std::string& word) {
  const std::string name = word.substr(0, word.find('='));
  std::vector<std::string> known;
  for (const CLI::Option* option : command.get_options()) {
    for (const std::string& known_name : option->get_lnames()) known.push_back("--" + known_name);
  }
  const std::string suggestion = Suggestion(name, known);
  const bool is_program = command.get_parent() == nullptr;
  return name + ": is not an option" + (is_program ? "" : " of " + command.get_name()) +
         (suggestion.empty()
              ? "; see ovix-contracts " + (is_program ? "" : command.get_name() + " ") + "--help"
              : suggestion);
}

// The descriptions begin at CLI11's column 30, which leaves these.
constexpr size_t kDescriptionWidth = 80 - 30;

std::string Wrapped(const std::string& text) {
  std::istringstream words(text);
  std::string wrapped;
  size_t column = 0;
  for (std::string word; words >> word;) {
    const bool breaks = column + 1 + word.size() > kDescriptionWidth;
    if (!wrapped.empty()) wrapped += breaks ? '\n' : ' ';
    column = breaks ? word.size() : column + 1 + word.size();
    wrapped += word;
  }
  return wrapped;
}

}  // namespace

std::string HelpFormatter::make_option_desc(const CLI::Option* option) const {
  return Wrapped(option->get_description());
}

std::string HelpFormatter::make_subcommand(const CLI::App* command) const {
  std::ostringstream line;
  CLI::detail::format_help(line, command->get_name(), Wrapped(command->get_description()),
                           get_column_width());
  return line.str();
}

std::string HelpOf(const CLI::App& app, const std::string& command) {
  // App::help() is that of the command that was chosen.
  if (command.empty()) {
    return app.get_formatter()->make_help(&app, app.get_name(), CLI::AppFormatMode::Normal);
  }
  return CommandOf(app, command)->help(app.get_name());
}

const CLI::App* CommandOf(const CLI::App& app, const std::string& name) {
  std::vector<std::string> known;
  for (const CLI::App* command : app.get_subcommands(nullptr)) {
    if (command->get_name() == name) return command;
    if (!command->get_group().empty()) known.push_back(command->get_name());
  }
  const std::string suggestion = Suggestion(name, known);
  throw Error(name + ": is not a command" +
              (suggestion.empty() ? "; see ovix-contracts --help" : suggestion));
}

void CheckFirst(const CLI::App& app, const std::string& word) {
  if (!word.starts_with('-')) {
    CommandOf(app, word);
  } else if (app.get_option_no_throw(word.substr(0, word.find('='))) == nullptr) {
    throw Error(NotAnOption(app, word));
  }
}

std::string UnexpectedWord(const CLI::App& app) {
  const CLI::App& command = *app.get_subcommands().front();
  // In the order of the line.
  const std::vector<std::string> words = command.remaining();
  for (const std::string& word : words) {
    if (word.size() > 1 && word.starts_with('-')) return NotAnOption(command, word);
  }
  return "'" + words.front() + "' is one word too many; see ovix-contracts " + command.get_name() +
         " --help";
}

void AddHelp(CLI::App& app, int&) {
  CLI::App* command = app.add_subcommand("help", "Print the help of the program or of a command");
  const auto name = std::make_shared<std::string>();
  command->add_option("command", *name, "The command; without it the program")
      ->type_name("COMMAND");
  command->footer(
      "Examples:\n"
      "  ovix-contracts help\n"
      "  ovix-contracts help decode");
  command->callback([&app, name] { WriteAll(HelpOf(app, *name)); });
}

}  // namespace ovix::tool
