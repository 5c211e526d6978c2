// help: what --help prints, of the program or of a command.
#include <memory>

#include "commands/commands.h"
#include "contracts/names.h"
#include "terminal/error.h"
#include "terminal/output.h"

namespace ovix::tool {

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
