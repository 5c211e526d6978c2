#include "commands/completion.h"

#include <algorithm>
#include <set>

#include "commands/commands.h"
#include "contracts/release.h"
#include "terminal/error.h"

namespace ovix::tool {
namespace {

constexpr char kFiles[] = "files\n";
constexpr char kFolders[] = "folders\n";

// The words that begin with what is typed, as Completions() gives them.
class Words {
 public:
  // `fixed` is typed before the words and stays: "--format=".
  Words(std::string fixed, std::string typed)
      : fixed_(std::move(fixed)), typed_(std::move(typed)) {}

  void Add(const std::string& word, const std::string& what = "") {
    if (!word.starts_with(typed_)) return;
    std::string line = fixed_ + word;
    if (!what.empty()) line += "\t" + what;
    found_.insert(line + "\n");
  }
  bool empty() const { return found_.empty(); }
  std::string Text() const {
    std::string text = "words\n";
    for (const std::string& line : found_) text += line;
    return text;
  }

 private:
  const std::string fixed_;
  const std::string typed_;
  std::set<std::string> found_;
};

// The words of which an option takes one: of "table, json or csv" and of "Only these: a, b or c".
std::vector<std::string> Choices(const CLI::Option& option) {
  std::string description = option.get_description();
  const size_t colon = description.rfind(": ");
  if (colon != std::string::npos) description.erase(0, colon + 2);
  std::vector<std::string> choices = {""};
  for (const char c : description) {
    if (c == ',') continue;
    if (c != ' ') {
      choices.back() += c;
    } else if (choices.back() == "or") {
      choices.back().clear();
    } else {
      choices.emplace_back();
    }
  }
  return choices;
}

void AddNames(Words& words, const std::string& typed, const Contracts& contracts) {
  for (const Descriptor* table : contracts.tables()) {
    words.Add(ShortName(table), "table of " + TableOptionsOf(table).database);
  }
  for (const Descriptor* payload : contracts.payloads()) {
    words.Add(ShortName(payload), "payload " + PayloadOptionsOf(payload).version);
  }
  // Longer than most lines, so only where one is begun.
  if (typed.empty() || !words.empty()) return;
  for (const Descriptor* payload : contracts.payloads()) {
    words.Add(PayloadOptionsOf(payload).gun, ShortName(payload));
  }
  for (const Descriptor* message : contracts.messages()) words.Add(message->full_name());
}

// As AddNames() has the names of messages.
void AddEnumerations(Words& words, const std::string& typed, const Contracts& contracts) {
  if (typed.empty()) return;
  const bool is_full = typed.find('.') != std::string::npos;
  for (const EnumDescriptor* type : contracts.enums()) {
    words.Add(is_full ? type->full_name() : type->name(), "enumeration");
  }
}

// The fields of a table or payload that is typed with a dot, or of a part of it.
void AddFields(Words& words, const std::string& typed, const Contracts& contracts) {
  const size_t dot = typed.rfind('.');
  if (dot == std::string::npos) return;
  const std::string path = typed.substr(0, dot);
  std::vector<const Descriptor*> messages = contracts.tables();
  for (const Descriptor* payload : contracts.payloads()) messages.push_back(payload);
  for (const Descriptor* message : messages) {
    const std::string name = ShortName(message);
    const Descriptor* holder = path == name ? message : nullptr;
    if (path.starts_with(name + ".")) {
      const FieldDescriptor* part = FindSourceField({message}, path.substr(name.size() + 1));
      if (part != nullptr) holder = part->message_type();
    }
    if (holder == nullptr) continue;
    for (int i = 0; i < holder->field_count(); ++i) {
      words.Add(path + "." + holder->field(i)->name(), TypeText(holder->field(i)));
    }
  }
}

// What a value can be, by its word in the help. `release` is that of the line.
std::string Values(const CLI::Option& option, const std::string& fixed, std::string typed,
                   const Release& release) {
  const std::string type = option.get_type_name();
  if (type == "DIR") return kFolders;
  if (type == "FORMAT" || type == "CLASS") {
    // The last of several, separated by commas.
    const size_t comma = option.get_delimiter() == ',' ? typed.rfind(',') : std::string::npos;
    const size_t begin = comma == std::string::npos ? 0 : comma + 1;
    Words words(fixed + typed.substr(0, begin), typed.substr(begin));
    const std::string before = "," + typed.substr(0, begin);
    for (const std::string& choice : Choices(option)) {
      if (before.find("," + choice + ",") == std::string::npos) words.Add(choice);
    }
    return words.Text();
  }
  Words words(fixed, typed);
  if (type.starts_with("NAME") || type == "GUN") {
    const Contracts& contracts = release.contracts();
    if (!option.get_positional() && type == "NAME") {
      for (const Descriptor* table : contracts.tables()) {
        words.Add(TableOptionsOf(table).database, "database");
      }
    } else if (type.starts_with("NAME")) {
      AddNames(words, typed, contracts);
      if (type == "NAME[.FIELD]") {
        AddEnumerations(words, typed, contracts);
        if (words.empty()) AddFields(words, typed, contracts);
      }
      if (words.empty()) return kFiles;  // a label
    } else {
      for (const Descriptor* payload : contracts.payloads()) {
        words.Add(PayloadOptionsOf(payload).gun, ShortName(payload));
      }
    }
    return words.Text();
  }
  return type.starts_with("FILE") || type.ends_with(".binpb") ? kFiles : words.Text();
}

void AddCommands(Words& words, const CLI::App& app) {
  for (const CLI::App* command : app.get_subcommands(nullptr)) {
    if (!command->get_group().empty()) words.Add(command->get_name(), command->get_description());
  }
}

void AddOptions(Words& words, const CLI::App& app) {
  for (const CLI::Option* option : app.get_options()) {
    for (const auto& name : option->get_snames()) words.Add("-" + name, option->get_description());
    for (const auto& name : option->get_lnames()) words.Add("--" + name, option->get_description());
  }
}

// The option of this name, "-o" or "--output"; null for any other word.
const CLI::Option* OptionOf(const CLI::App& command, const std::string& word) {
  for (const CLI::Option* option : command.get_options()) {
    for (const auto& name : option->get_snames()) {
      if (word == "-" + name) return option;
    }
    for (const auto& name : option->get_lnames()) {
      if (word == "--" + name) return option;
    }
  }
  return nullptr;
}

bool TakesValue(const CLI::Option* option) {
  return option != nullptr && option->get_items_expected_max() > 0;
}

// "--format=json" in two; no name where the word is not of this form.
std::pair<std::string, std::string> Split(const std::string& word) {
  const size_t equals = word.find('=');
  if (!word.starts_with("--") || equals == std::string::npos) return {"", word};
  return {word.substr(0, equals), word.substr(equals + 1)};
}

std::string InCommand(const CLI::App& app, const CLI::App& command,
                      const std::vector<std::string>& words) {
  Release release;
  const CLI::Option* awaited = nullptr;  // the option that the next word is a value of
  bool only_positionals = false;
  bool has_name = true;  // whether a message's name comes before the files
  size_t positionals = 0;
  for (size_t i = 0; i + 1 < words.size(); ++i) {
    const std::string& word = words[i];
    const auto [name, value] = Split(word);
    // These say what the files are, so that no name does.
    if (awaited == nullptr && !only_positionals &&
        (word == "--raw" || word == "--gun" || name == "--gun")) {
      has_name = false;
    }
    if (awaited != nullptr) {
      if (awaited->check_lname("contracts")) release.file = word;
      awaited = nullptr;
    } else if (only_positionals || word == "-" || !word.starts_with("-")) {
      ++positionals;
    } else if (word == "--") {
      only_positionals = true;
    } else if (name == "--contracts") {
      release.file = value;
    } else if (const CLI::Option* option = OptionOf(command, word); TakesValue(option)) {
      awaited = option;
    }
  }
  const std::string& typed = words.back();
  if (awaited != nullptr) return Values(*awaited, "", typed, release);
  if (!only_positionals) {
    const auto [name, value] = Split(typed);
    const CLI::Option* option = OptionOf(command, name);
    if (TakesValue(option)) return Values(*option, name + "=", value, release);
    if (typed.starts_with("-") && typed != "-") {
      Words options("", typed);
      AddOptions(options, command);
      return options.Text();
    }
  }
  for (const CLI::Option* option : command.get_options()) {
    if (!option->get_positional()) continue;
    if (!has_name && option->get_type_name() == "NAME") continue;
    // The last takes all that follow, if it takes several.
    if (positionals != 0 && option->get_items_expected_max() == 1) {
      --positionals;
      continue;
    }
    if (option->get_type_name() != "COMMAND") return Values(*option, "", typed, release);
    Words commands("", typed);
    AddCommands(commands, app);
    return commands.Text();
  }
  return Words("", typed).Text();
}

// bash has "--format", "=" and "json" as three words.
void JoinAtEquals(std::vector<std::string>& words) {
  for (size_t i = 1; i < words.size(); ++i) {
    if (words[i] != "=" || !words[i - 1].starts_with("--")) continue;
    // The value alone is what bash replaces.
    if (i + 1 == words.size()) {
      words[i].clear();
    } else {
      words.erase(words.begin() + static_cast<std::ptrdiff_t>(i));
    }
  }
}

}  // namespace

std::string Completions(const CLI::App& app, std::vector<std::string> words) {
  if (words.empty()) words.emplace_back();
  JoinAtEquals(words);
  if (words.size() == 1) {
    Words first("", words.front());
    AddCommands(first, app);
    if (words.front().starts_with("-")) AddOptions(first, app);
    return first.Text();
  }
  for (const CLI::App* command : app.get_subcommands(nullptr)) {
    if (command->get_name() != words.front()) continue;
    words.erase(words.begin());
    try {
      return InCommand(app, *command, words);
    } catch (const Error&) {  // contracts that cannot be read
      break;
    }
  }
  return Words("", "").Text();
}

}  // namespace ovix::tool
