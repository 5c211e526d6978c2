// describe: the man page and the completion, written from the command line's own definitions.
#include <memory>

#include "commands/commands.h"
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

// --- The completion of bash

std::string Words(const CLI::App& app) {
  std::string words;
  const auto add = [&](const std::string& word) { words += (words.empty() ? "" : " ") + word; };
  for (const CLI::App* command : CommandsOf(app)) add(command->get_name());
  for (const CLI::Option* option : app.get_options()) {
    for (const auto& name : option->get_snames()) add("-" + name);
    for (const auto& name : option->get_lnames()) add("--" + name);
  }
  return words;
}

// Whether an option takes words of a few, which its description names.
bool HasChoices(const CLI::Option& option) {
  return option.get_type_name() == "FORMAT" || option.get_type_name() == "CLASS";
}

// Those words: of "table, json or csv" and of "Only these: table, json or csv".
std::string Choices(const CLI::Option& option) {
  std::string description = option.get_description(), words;
  const size_t colon = description.find(": ");
  if (colon != std::string::npos) description.erase(0, colon + 2);
  for (char c : description) {
    if (c != ',') words += c;
  }
  for (size_t at; (at = words.find(" or ")) != std::string::npos;) words.replace(at, 4, " ");
  return words;
}

// With @WORDS@ for the first word's choices and @CASES@ for what each command takes.
constexpr char kCompletion[] = R"bash(# bash completion of ovix-contracts
_ovix_contracts() {
  local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]}
  local command=${COMP_WORDS[1]} words='' names=''
  COMPREPLY=()
  if [ "$COMP_CWORD" = 1 ]; then
    COMPREPLY=($(compgen -W '@WORDS@' -- "$word"))
    return
  fi
  case $command in
@CASES@  esac
  case $word in
    -*) COMPREPLY=($(compgen -W "$words" -- "$word")) ;;
    *)
      if [ "$names" = yes ] && [ "$COMP_CWORD" = 2 ]; then
        names=$(ovix-contracts list --format csv 2>/dev/null | cut -d, -f2 | sed '1d;s/.*[.]//')
        COMPREPLY=($(compgen -W "$names" -- "$word"))
      else
        COMPREPLY=($(compgen -f -- "$word"))
      fi
      ;;
  esac
}
complete -o filenames -F _ovix_contracts ovix-contracts
)bash";

constexpr char kDatabases[] =
    R"bash("$(ovix-contracts list --tables --format csv 2>/dev/null | cut -d, -f4 | sed 1d | sort -u)")bash";

std::string Replaced(std::string text, const std::string& mark, const std::string& by) {
  return text.replace(text.find(mark), mark.size(), by);
}

std::string Completion(const CLI::App& app) {
  std::string cases;
  for (const CLI::App* command : CommandsOf(app)) {
    cases += "    " + command->get_name() + ")\n      words='" + Words(*command) + "'\n";
    std::string values;
    bool takes_name = false;
    for (const CLI::Option* option : command->get_options()) {
      const bool is_name = option->get_type_name() == "NAME";
      takes_name = takes_name || (option->get_positional() && is_name);
      if (option->get_positional() || (!is_name && !HasChoices(*option))) continue;
      values += "        --" + option->get_lnames().front() + ") COMPREPLY=($(compgen -W " +
                (is_name ? kDatabases : "'" + Choices(*option) + "'") +
                " -- \"$word\")); return ;;\n";
    }
    if (!values.empty()) cases += "      case $before in\n" + values + "      esac\n";
    if (takes_name) cases += "      names=yes\n";
    cases += "      ;;\n";
  }
  return Replaced(Replaced(kCompletion, "@WORDS@", Words(app)), "@CASES@", cases);
}

enum class What { kMan, kBash };

}  // namespace

void AddDescribe(CLI::App& app, int&) {
  CLI::App* command = app.add_subcommand("describe", "Print the man page or the completion");
  command->group("");
  struct Options {
    What what = What::kMan;
    std::string output;
  };
  const auto options = std::make_shared<Options>();
  AddChoice(*command, "--as", options->what, {{"man", What::kMan}, {"bash", What::kBash}});
  command->add_option("-o,--output", options->output, "Where to write")->type_name("FILE");
  command->callback([&app, options] {
    WriteAll(options->what == What::kMan ? ManPage(app) : Completion(app), options->output);
  });
}

}  // namespace ovix::tool
