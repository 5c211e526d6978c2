// privacy: which personal data each table keeps and each payload carries.
#include <map>
#include <memory>

#include "commands/commands.h"
#include "contracts/contracts.h"
#include "contracts/facts.h"
#include "contracts/names.h"
#include "contracts/personal.h"
#include "terminal/output.h"
#include "terminal/platform.h"

namespace ovix::tool {
namespace {

enum class PrivacyFormat { kTable, kJson, kCsv, kMarkdown };

struct Options {
  Release release;
  std::string name;
  std::string privacy;
  bool tables = false;
  bool payloads = false;
  PrivacyFormat format = PrivacyFormat::kTable;
};

std::vector<std::string> Names(const std::vector<const FieldDescriptor*>& fields) {
  std::vector<std::string> names;
  for (const FieldDescriptor* field : fields) names.push_back(QualifiedName(field));
  return names;
}

std::string Joined(const std::vector<std::string>& texts) {
  std::string joined;
  for (const std::string& text : texts) joined += (joined.empty() ? "" : ", ") + text;
  return joined;
}

struct Holder {
  const Descriptor* message;
  std::vector<PersonalField> fields;
};

std::string AsTable(const std::vector<Holder>& holders) {
  const bool colour = WantsColour();
  std::string text;
  std::map<Privacy, size_t> counts;
  std::vector<std::string> without;
  for (const Holder& holder : holders) {
    if (holder.fields.empty()) {
      without.push_back(ShortName(holder.message));
      continue;
    }
    text +=
        Styled(ShortName(holder.message), Style::kHeading, colour) +
        Styled(std::string(" (") + KindText(KindOf(holder.message)) + ")", Style::kQuiet, colour) +
        "\n";
    TextTable listing({"FIELD", "CLASS", "FROM", "TO"});
    for (const PersonalField& field : holder.fields) {
      ++counts[field.privacy];
      const std::string from = Joined(Names(field.from)), to = Joined(Names(field.to));
      listing.Add({field.path, PrivacyText(field.privacy), from.empty() ? "-" : from,
                   to.empty() ? "-" : to});
    }
    text += listing.Print(colour) + "\n";
  }
  if (!without.empty()) {
    text += Styled("No personal data", Style::kHeading, colour) + "\n" +
            Wrapped(Joined(without), 100, 2) + "\n";
  }
  std::string summary;
  for (const Privacy privacy : PrivacyClasses()) {
    summary += (summary.empty() ? "" : ", ") + std::to_string(counts[privacy]) + " " +
               PrivacyText(privacy);
  }
  return text + "Fields by path: " + summary + "\n";
}

std::string AsJson(const std::vector<Holder>& holders) {
  JsonWriter json;
  json.BeginObject().Key("contracts").BeginArray();
  for (const Holder& holder : holders) {
    json.BeginObject()
        .Add("name", holder.message->full_name())
        .Add("kind", KindText(KindOf(holder.message)));
    json.Key("fields").BeginArray();
    for (const PersonalField& field : holder.fields) {
      json.BeginObject()
          .Add("path", field.path)
          .Add("field", field.field->full_name())
          .Add("privacy", PrivacyText(field.privacy));
      std::vector<std::string> from, to;
      for (const FieldDescriptor* source : field.from) from.push_back(source->full_name());
      for (const FieldDescriptor* target : field.to) to.push_back(target->full_name());
      json.Add("from", from).Add("to", to).EndObject();
    }
    json.EndArray().EndObject();
  }
  return json.EndArray().EndObject().Text();
}

std::string AsCsv(const std::vector<Holder>& holders) {
  std::string csv = CsvLine({"contract", "kind", "path", "field", "privacy", "from", "to"});
  for (const Holder& holder : holders) {
    for (const PersonalField& field : holder.fields) {
      csv += CsvLine({holder.message->full_name(), KindText(KindOf(holder.message)), field.path,
                      field.field->full_name(), PrivacyText(field.privacy),
                      Joined(Names(field.from)), Joined(Names(field.to))});
    }
  }
  return csv;
}

// A table with a line for each message and class, as docs/privacy.md has it.
std::string AsMarkdown(const std::vector<Holder>& holders) {
  std::string text = "| Contract | Class | Fields |\n|---|---|---|\n";
  for (const Holder& holder : holders) {
    const std::string begin = "| `" + ShortName(holder.message) + "` | ";
    if (holder.fields.empty()) text += begin + "none | |\n";
    for (const Privacy privacy : PrivacyClasses()) {
      std::vector<std::string> paths;
      for (const PersonalField& field : holder.fields) {
        if (field.privacy == privacy) paths.push_back("`" + field.path + "`");
      }
      if (paths.empty()) continue;
      text += begin + PrivacyText(privacy) + " | " + Joined(paths) + " |\n";
    }
  }
  return text;
}

void Show(Options& options) {
  const Contracts& contracts = options.release.contracts();
  if (!options.tables && !options.payloads) options.tables = options.payloads = true;
  std::vector<const Descriptor*> messages;
  if (!options.name.empty()) {
    messages.push_back(FindMessage(contracts, options.name));
  } else {
    if (options.payloads) messages = contracts.payloads();
    const auto tables = contracts.tables();
    if (options.tables) messages.insert(messages.end(), tables.begin(), tables.end());
  }
  const auto only = ReadPrivacy(options.privacy);
  RequirePrivacy(contracts);
  const PersonalData data(contracts);
  std::vector<Holder> holders;
  for (const Descriptor* message : messages) {
    RequirePrivacy(contracts, message);
    Holder holder{message, data.In(message)};
    if (only) {
      std::erase_if(holder.fields, [&](const auto& field) { return field.privacy != *only; });
    }
    if (!holder.fields.empty() || !only) holders.push_back(std::move(holder));
  }
  switch (options.format) {
    case PrivacyFormat::kJson:
      return WriteAll(AsJson(holders));
    case PrivacyFormat::kCsv:
      return WriteAll(AsCsv(holders));
    case PrivacyFormat::kMarkdown:
      return WriteAll(AsMarkdown(holders));
    default:
      return WriteAll(AsTable(holders));
  }
}

}  // namespace

void AddPrivacy(CLI::App& app, int&) {
  CLI::App* command =
      app.add_subcommand("privacy", "List the personal data in tables and payloads");
  const auto options = std::make_shared<Options>();
  CLI::Option* name = command
                          ->add_option("name", options->name,
                                       "Only this message: its name, full or its end, a gun or the "
                                       "metadata file of a payload")
                          ->type_name("NAME");
  command->add_flag("--tables", options->tables, "Only the tables")->excludes(name);
  command->add_flag("--payloads", options->payloads, "Only the payloads")->excludes(name);
  command
      ->add_option("--class", options->privacy,
                   "Only this class: identifier, location, content or interaction")
      ->check([](const std::string& text) {
        return ReadPrivacy(text) ? ""
                                 : "'" + text +
                                       "' is not a privacy class; use identifier, location, "
                                       "content or interaction";
      })
      ->type_name("CLASS");
  AddChoice(*command, "--format", options->format,
            {{"table", PrivacyFormat::kTable},
             {"json", PrivacyFormat::kJson},
             {"csv", PrivacyFormat::kCsv},
             {"markdown", PrivacyFormat::kMarkdown}});
  AddContracts(*command, options->release);
  command->footer(
      "Examples:\n"
      "  ovix-contracts privacy HwBatteryHealthLogAsCDM\n"
      "  ovix-contracts privacy --payloads --class location\n"
      "  ovix-contracts privacy --format csv");
  command->callback([options] { Show(*options); });
}

}  // namespace ovix::tool
