// describe: the man page, written from the command line's own definitions, and the scripts of the
// completion.
#include <memory>

#include "commands/commands.h"
#include "commands/completion.h"
#include "ovix/telemetry/contract/version.h"
#include "terminal/output.h"

namespace ovix::tool {
namespace {

std::vector<const CLI::App*> CommandsOf(const CLI::App& app) {
  std::vector<const CLI::App*> commands;
  for (const CLI::App* command : app.get_subcommands(nullptr)) {
    if (!command->get_group().empty()) commands.push_back(command);
  }
  return commands;
}

// --- The man page

std::string Roff(const std::string& text) {
  std::string roff;
  for (char c : text) {
    if (c == '\\') {
      roff += "\\e";
    } else if (c == '-') {
      roff += "\\-";
    } else if ((c == '.' || c == '\'') && (roff.empty() || roff.back() == '\n')) {
      roff += "\\&";
      roff += c;
    } else {
      roff += c;
    }
  }
  return roff;
}

std::string Upper(std::string text) {
  for (char& c : text) c = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
  return text;
}

// "--format FORMAT", "-o, --output FILE", "NAME".
std::string OptionText(const CLI::Option& option, bool bold) {
  const std::string begin = bold ? "\\fB" : "", end = bold ? "\\fR" : "";
  if (option.get_positional()) return option.get_type_name();
  std::string text;
  for (const auto& name : option.get_snames()) text += begin + Roff("-" + name) + end;
  for (const auto& name : option.get_lnames()) {
    text += (text.empty() ? "" : ", ") + begin + Roff("--" + name) + end;
  }
  if (option.get_items_expected_max() > 0) text += " " + option.get_type_name();
  return text;
}

std::string Synopsis(const std::string& program, const CLI::App& command) {
  std::string text = ".B " + program + " " + command.get_name() + "\n.RI [ options ]";
  for (const CLI::Option* option : command.get_options()) {
    if (!option->get_positional()) continue;
    const std::string name = Roff(option->get_type_name());
    text += "\n.I " + (option->get_required() ? name : "[" + name + "]");
  }
  return text + "\n";
}

std::string OptionsSection(const CLI::App& app) {
  std::string text;
  for (const CLI::Option* option : app.get_options()) {
    std::string description = option->get_description();
    if (!option->get_default_str().empty()) {
      description += "; " + option->get_default_str() + " without it";
    }
    text += ".TP\n" + OptionText(*option, true) + "\n" + Roff(description) + "\n";
  }
  return text;
}

std::string ManPage(const CLI::App& app) {
  const std::string program = app.get_name();
  std::string text = ".TH " + Upper(program) + " 1 \"\" \"" + program + " " +
                     OVIX_TELEMETRY_DATA_CONTRACTS_VERSION + "\"\n.SH NAME\n" + Roff(program) +
                     " \\- shows, converts and compares telemetry data contracts\n.SH SYNOPSIS\n";
  for (const CLI::App* command : CommandsOf(app))
    text += Synopsis(Roff(program), *command) + ".br\n";
  text +=
      ".SH DESCRIPTION\n" + Roff(app.get_description()) + "\n.SH OPTIONS\n" + OptionsSection(app);
  for (const CLI::App* command : CommandsOf(app)) {
    text += ".SH " + Upper(command->get_name()) + "\n" + Roff(command->get_description()) + ".\n" +
            OptionsSection(*command) + ".PP\n.nf\n" + Roff(command->get_footer()) + "\n.fi\n";
  }
  return text + ".SH EXIT STATUS\n0 done, 1 something was found, 2 failed.\n" +
         ".SH ENVIRONMENT\n.TP\n.B NO_COLOR\nNo colour, whatever its value, unless it is empty.\n";
}

enum class What { kMan, kBash, kZsh, kFish };

std::string Described(const CLI::App& app, What what) {
  switch (what) {
    case What::kBash:
      return CompletionScript(Shell::kBash);
    case What::kZsh:
      return CompletionScript(Shell::kZsh);
    case What::kFish:
      return CompletionScript(Shell::kFish);
    default:
      return ManPage(app);
  }
}

}  // namespace

void AddDescribe(CLI::App& app, int&) {
  CLI::App* command = app.add_subcommand("describe", "Print the man page or a completion");
  command->group("");
  struct Options {
    What what = What::kMan;
    std::string output;
  };
  const auto options = std::make_shared<Options>();
  AddChoice(
      *command, "--as", options->what,
      {{"man", What::kMan}, {"bash", What::kBash}, {"zsh", What::kZsh}, {"fish", What::kFish}});
  command->add_option("-o,--output", options->output, "Where to write")
      ->check(NamesFile)
      ->type_name("FILE");
  command->callback([&app, options] { WriteAll(Described(app, options->what), options->output); });
}

}  // namespace ovix::tool
