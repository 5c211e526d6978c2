// list: the tables and the payloads.
#include <algorithm>
#include <iostream>
#include <memory>

#include "commands/commands.h"
#include "contracts/contracts.h"
#include "contracts/limits.h"
#include "contracts/names.h"
#include "terminal/error.h"
#include "terminal/output.h"
#include "terminal/platform.h"

namespace ovix::tool {
namespace {

struct Options {
  Release release;
  bool tables = false;
  bool payloads = false;
  std::string database;
  std::string match;
  Format format = Format::kTable;
};

std::vector<std::string> KeyNames(const TableOptions& table) {
  std::vector<std::string> names;
  for (const FieldDescriptor* field : table.key) names.push_back(field->name());
  return names;
}

std::string Joined(const std::vector<std::string>& texts, const char* separator) {
  std::string joined;
  for (const std::string& text : texts) joined += (joined.empty() ? "" : separator) + text;
  return joined;
}

void CheckDatabase(const Contracts& contracts, const std::string& database) {
  std::vector<std::string> known;
  for (const Descriptor* table : contracts.tables()) {
    known.push_back(TableOptionsOf(table).database);
  }
  if (std::find(known.begin(), known.end(), database) == known.end()) {
    throw Error(database + ": no table is in a database of this name" +
                Suggestion(database, known));
  }
}

std::string AsTable(const Contracts& contracts, const std::vector<const Descriptor*>& tables,
                    const std::vector<const Descriptor*>& payloads) {
  const bool colour = WantsColour();
  std::string text;
  if (!tables.empty()) {
    TextTable listing({"TABLE", "DATABASE", "TYPE", "LIMITS", "KEY"});
    for (const Descriptor* message : tables) {
      const TableOptions table = TableOptionsOf(message);
      const std::string key = Joined(KeyNames(table), ", ");
      listing.Add({ShortName(message), table.database, table.type,
                   LimitsText(table, contracts.MaxSizeMb(table.database)),
                   key.empty() ? "-" : key});
    }
    text += listing.Print(colour);
  }
  if (!payloads.empty()) {
    TextTable listing({"PAYLOAD", "VERSION", "GUN"});
    for (const Descriptor* message : payloads) {
      const PayloadOptions payload = PayloadOptionsOf(message);
      listing.Add({ShortName(message), payload.version, payload.gun});
    }
    text += (text.empty() ? "" : "\n") + listing.Print(colour);
  }
  return text;
}

std::string AsJson(const Contracts& contracts, const Options& options,
                   const std::vector<const Descriptor*>& tables,
                   const std::vector<const Descriptor*>& payloads) {
  JsonWriter json;
  json.BeginObject();
  if (options.tables) {
    json.Key("tables").BeginArray();
    for (const Descriptor* message : tables) {
      const TableOptions table = TableOptionsOf(message);
      json.BeginObject()
          .Add("name", message->full_name())
          .Add("table", table.table)
          .Add("database", table.database)
          .Add("type", table.type)
          .Add("max_rows", table.max_rows)
          .Add("max_time_days", table.max_time_days)
          .Add("database_max_size_mb", contracts.MaxSizeMb(table.database))
          .Add("key", KeyNames(table))
          .EndObject();
    }
    json.EndArray();
  }
  if (options.payloads) {
    json.Key("payloads").BeginArray();
    for (const Descriptor* message : payloads) {
      const PayloadOptions payload = PayloadOptionsOf(message);
      json.BeginObject()
          .Add("name", message->full_name())
          .Add("gun", payload.gun)
          .Add("version", payload.version)
          .EndObject();
    }
    json.EndArray();
  }
  return json.EndObject().Text();
}

std::string AsCsv(const Contracts& contracts, const std::vector<const Descriptor*>& tables,
                  const std::vector<const Descriptor*>& payloads) {
  std::string csv = CsvLine({"kind", "name", "table", "database", "type", "max_rows",
                             "max_time_days", "database_max_size_mb", "key", "gun", "version"});
  for (const Descriptor* message : tables) {
    const TableOptions table = TableOptionsOf(message);
    csv += CsvLine({"table", message->full_name(), table.table, table.database, table.type,
                    std::to_string(table.max_rows), std::to_string(table.max_time_days),
                    std::to_string(contracts.MaxSizeMb(table.database)),
                    Joined(KeyNames(table), " "), "", ""});
  }
  for (const Descriptor* message : payloads) {
    const PayloadOptions payload = PayloadOptionsOf(message);
    csv += CsvLine({"payload", message->full_name(), "", "", "", "", "", "", "", payload.gun,
                    payload.version});
  }
  return csv;
}

void List(Options& options) {
  const Contracts& contracts = options.release.contracts();
  if (!options.database.empty()) {
    CheckDatabase(contracts, options.database);
    if (!options.payloads) options.tables = true;
  }
  if (!options.tables && !options.payloads) options.tables = options.payloads = true;

  const Matcher matcher(contracts, options.match);
  const auto is_meant = [&](const Descriptor* message) {
    return options.match.empty() || matcher.Matches(message);
  };
  std::vector<const Descriptor*> tables, payloads;
  for (const Descriptor* table : contracts.tables()) {
    if (options.tables && is_meant(table) &&
        (options.database.empty() || TableOptionsOf(table).database == options.database)) {
      tables.push_back(table);
    }
  }
  for (const Descriptor* payload : contracts.payloads()) {
    if (options.payloads && is_meant(payload)) payloads.push_back(payload);
  }
  if (!options.match.empty() && tables.empty() && payloads.empty()) {
    std::cerr << "ovix-contracts: --match: no table or payload matches\n";
  }
  switch (options.format) {
    case Format::kJson:
      return WriteAll(AsJson(contracts, options, tables, payloads));
    case Format::kCsv:
      return WriteAll(AsCsv(contracts, tables, payloads));
    default:
      return WriteAll(AsTable(contracts, tables, payloads));
  }
}

}  // namespace

void AddList(CLI::App& app, int&) {
  CLI::App* command = app.add_subcommand("list", "List the tables and the payloads");
  const auto options = std::make_shared<Options>();
  command->add_flag("--tables", options->tables, "Only the tables");
  command->add_flag("--payloads", options->payloads, "Only the payloads");
  command->add_option("--database", options->database, "Only the tables of this database")
      ->type_name("NAME");
  command
      ->add_option("--match", options->match,
                   "Only those with this string in their name or gun; with * (any characters) or ? "
                   "(any character) the whole must match; case does not count")
      ->type_name("TEXT");
  AddFormat(*command, options->format);
  AddContracts(*command, options->release);
  command->footer(
      "Examples:\n"
      "  ovix-contracts list --database HealthLog\n"
      "  ovix-contracts list --match battery\n"
      "  ovix-contracts list --payloads --format csv");
  command->callback([options] { List(*options); });
}

}  // namespace ovix::tool
