// ddl: the tables as SQL, and the migration from an older release.
#include <memory>
#include <set>

#include "commands/commands.h"
#include "contracts/contracts.h"
#include "contracts/names.h"
#include "ovix/telemetry/contract/tables.h"
#include "terminal/error.h"
#include "terminal/output.h"

namespace ovix::tool {
namespace {

namespace tables = telemetry::contract::tables;

struct Options {
  std::string database;
  std::string from;
};

// The databases in their order by name, or the one that is asked for.
std::set<std::string> DatabasesOf(const tables::Catalogue& catalogue, const std::string& only) {
  std::set<std::string> databases;
  for (const tables::Table& table : catalogue.tables()) databases.insert(table.database);
  if (only.empty()) return databases;
  if (!databases.contains(only)) {
    throw Error(only + ": no table is in a database of this name" +
                Suggestion(only, {databases.begin(), databases.end()}));
  }
  return {only};
}

std::string Heading(const tables::Catalogue& catalogue, const std::string& database) {
  const uint32_t limit = catalogue.MaxSizeMb(database);
  return "-- Database " + database + ", file " + database + ".db" +
         (limit == 0 ? "" : ", at most " + std::to_string(limit) + " MB") + "\n";
}

void AddStatements(std::string& sql, const std::vector<std::string>& statements) {
  for (const std::string& statement : statements) sql += statement + ";\n";
}

std::string NewDatabases(const tables::Catalogue& catalogue, const std::string& only) {
  std::string sql;
  for (const std::string& database : DatabasesOf(catalogue, only)) {
    sql += (sql.empty() ? "" : "\n") + Heading(catalogue, database);
    AddStatements(sql, {tables::NewDatabaseSql(), "BEGIN"});
    AddStatements(sql, tables::LayoutSql(true));
    for (const tables::Table& table : catalogue.tables()) {
      if (table.database == database) AddStatements(sql, CreateSql(table));
    }
    AddStatements(sql, {"COMMIT"});
  }
  return sql;
}

std::string Migration(const tables::Catalogue& older, const tables::Catalogue& newer,
                      const std::string& only) {
  std::string sql;
  std::string refused;
  for (const std::string& database : DatabasesOf(newer, only)) {
    std::vector<std::string> statements;
    bool is_new = true;
    for (const tables::Table& table : newer.tables()) {
      if (table.database != database) continue;
      const tables::Table* before = older.Find(database, table.name);
      try {
        for (std::string& statement :
             before == nullptr ? CreateSql(table) : MigrateSql(table, Standing(*before))) {
          statements.push_back(std::move(statement));
        }
      } catch (const tables::TableError& error) {
        refused += "; database " + database + ", " + error.what();
      }
    }
    std::string left;
    for (const tables::Table& table : older.tables()) {
      if (table.database != database) continue;
      is_new = false;
      if (newer.Find(database, table.name) == nullptr) {
        left += "-- Table " + table.name + " is no longer in the contracts; it stays as it is.\n";
      }
    }
    if (statements.empty() && left.empty()) continue;
    sql += (sql.empty() ? "" : "\n") + Heading(newer, database) + left;
    if (statements.empty()) continue;
    if (is_new) AddStatements(sql, {tables::NewDatabaseSql()});
    AddStatements(sql, {"BEGIN"});
    AddStatements(sql, tables::LayoutSql(is_new));
    AddStatements(sql, statements);
    AddStatements(sql, {"COMMIT"});
  }
  if (!refused.empty()) {
    throw Error("cannot be migrated" + refused.replace(0, 1, ":") +
                "; move these databases away and make them anew");
  }
  return sql;
}

std::unique_ptr<tables::Catalogue> CatalogueOf(const Contracts& contracts,
                                               const std::string& name) {
  try {
    return std::make_unique<tables::Catalogue>(contracts.messages());
  } catch (const tables::TableError& error) {
    throw Error(name + ": " + error.what());
  }
}

void Ddl(const Options& options) {
  const auto newer = CatalogueOf(Contracts::Installed(), "ovix-contracts");
  if (options.from.empty()) return WriteAll(NewDatabases(*newer, options.database));
  const auto before = Contracts::FromFile(options.from);
  const auto older = CatalogueOf(*before, options.from);
  WriteAll(Migration(*older, *newer, options.database));
}

}  // namespace

void AddDdl(CLI::App& app, int&) {
  CLI::App* command = app.add_subcommand("ddl", "Print the tables as SQL for SQLite");
  const auto options = std::make_shared<Options>();
  command->add_option("--database", options->database, "Only the tables of this database")
      ->type_name("NAME");
  command
      ->add_option("--from", options->from,
                   "Print what brings databases of this older descriptor set to these contracts")
      ->type_name("OLD.binpb");
  command->footer(
      "Examples:\n"
      "  ovix-contracts ddl --database HealthLog | sqlite3 HealthLog.db\n"
      "  ovix-contracts ddl --from old/contracts.binpb --database HealthLog");
  command->callback([options] { Ddl(*options); });
}

}  // namespace ovix::tool
