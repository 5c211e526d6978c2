// ddl: the tables as SQL, and the migration from an older release.
#include <algorithm>
#include <initializer_list>
#include <map>
#include <memory>
#include <set>
#include <vector>

#include "commands/commands.h"
#include "contracts/contracts.h"
#include "contracts/names.h"
#include "contracts/tables.h"
#include "diff/compare.h"
#include "diff/tables.h"
#include "terminal/error.h"
#include "terminal/file_names.h"
#include "terminal/folder.h"
#include "terminal/format.h"
#include "terminal/output.h"

namespace ovix::tool {
namespace {

namespace tables = telemetry::contract::tables;

struct Options {
  Release release;
  std::string database;
  std::string from;
  std::string out;
};

// The SQL of each database, by its name.
using Scripts = std::map<std::string, std::string>;

// The databases in their order by name, or the one that is asked for.
std::set<std::string> DatabasesOf(std::initializer_list<const tables::Catalogue*> catalogues,
                                  const std::string& only) {
  std::set<std::string> databases;
  for (const tables::Catalogue* catalogue : catalogues) {
    for (const tables::Table& table : catalogue->tables()) databases.insert(table.database);
  }
  if (only.empty()) return databases;
  if (!databases.contains(only)) {
    throw Error(only + ": no table is in a database of this name" +
                Suggestion(only, {databases.begin(), databases.end()}));
  }
  return {only};
}

// One line, whatever is in the names of an older release.
std::string Comment(std::string text) { return "-- " + OneLine(std::move(text)) + "\n"; }

std::string Heading(const tables::Catalogue& catalogue, const std::string& database) {
  const uint32_t limit = catalogue.MaxSizeMb(database);
  return Comment("Database " + database + ", file " + database + ".db" +
                 (limit == 0 ? "" : ", at most " + std::to_string(limit) + " MB"));
}

void AddStatements(std::string& sql, const std::vector<std::string>& statements) {
  for (const std::string& statement : statements) sql += statement + ";\n";
}

Scripts NewDatabases(const tables::Catalogue& catalogue, const std::string& only) {
  Scripts scripts;
  for (const std::string& database : DatabasesOf({&catalogue}, only)) {
    std::string& sql = scripts[database];
    sql = Heading(catalogue, database);
    AddStatements(sql, {tables::NewDatabaseSql(), "BEGIN"});
    AddStatements(sql, tables::LayoutSql(true));
    for (const tables::Table& table : catalogue.tables()) {
      if (table.database == database) AddStatements(sql, CreateSql(table));
    }
    AddStatements(sql, {"COMMIT"});
  }
  return scripts;
}

// The table of the same record; null where there is none.
const tables::Table* TableOfSame(const tables::Catalogue& catalogue, const tables::Table& table) {
  for (const tables::Table& other : catalogue.tables()) {
    if (other.record->full_name() == table.record->full_name()) return &other;
  }
  return nullptr;
}

constexpr char kSameForSqlite[] =
    " now, which is the same for SQLite: it ignores the case of names.";

// The column of this name, as SQLite compares names; null where there is none.
const tables::Column* ColumnOf(const tables::Table& table, const std::string& name) {
  for (const tables::Column& column : table.columns) {
    if (tables::IsSameName(column.name(), name)) return &column;
  }
  return nullptr;
}

// What no statement does: columns that the newer release does not have, which stay.
std::string ColumnNotes(const tables::Table& before, const tables::Table& after) {
  std::string notes;
  for (const tables::Column& column : before.columns) {
    const std::string subject = "Table " + before.name + ": column " + column.name();
    if (const tables::Column* found = ColumnOf(after, column.name())) {
      if (found->name() != column.name()) {
        notes += Comment(subject + " is " + found->name() + kSameForSqlite);
      }
      continue;
    }
    const FieldDescriptor* same = after.record->FindFieldByNumber(column.field->number());
    const bool renamed = same != nullptr && ColumnOf(before, same->name()) == nullptr;
    notes += Comment(subject + (renamed ? " is " + same->name() +
                                              " now, which is a new column; the values stay in " +
                                              column.name() + "."
                                        : " is no longer in the contracts; it stays as it is."));
  }
  return notes;
}

// What the rows of a table hold that the newer release reads in another way, or not at all.
std::string ValueNotes(const tables::Table& before, const std::vector<Difference>& differences) {
  const Stored kept({before.record});
  std::string notes;
  for (const Difference& difference : differences) {
    if (!kept.Keeps(difference, *before.record->file()->pool())) continue;
    // Of the table and its columns the notes above speak, or statements.
    const FieldDescriptor* field =
        before.record->file()->pool()->FindFieldByName(difference.subject);
    const bool is_column = field != nullptr && field->containing_type() == before.record;
    if (difference.subject == before.record->full_name() ||
        (is_column && (difference.change == Change::kFieldRenamed ||
                       difference.change == Change::kFieldRemoved ||
                       difference.change == Change::kFieldRemovedReserved))) {
      continue;
    }
    notes += Comment("Table " + before.name + ": " + difference.subject + ": " + difference.what +
                     "; the values stay as they are.");
  }
  return notes;
}

// What a column of text holds.
std::string ContentOf(const tables::Column& column) {
  if (column.kind == tables::ColumnKind::kText) return "text";
  if (column.kind != tables::ColumnKind::kJson) return column.Type();
  return column.field->is_map()        ? "a map in JSON"
         : column.field->is_repeated() ? "a list in JSON"
                                       : "a message in JSON";
}

// SQLite has one type for text and all JSON. Throws TableError where a column's values would have
// to be rewritten.
void CheckContent(const tables::Table& before, const tables::Table& after) {
  for (const tables::Column& column : before.columns) {
    const tables::Column* found = ColumnOf(after, column.name());
    if (found == nullptr || ContentOf(*found) == ContentOf(column)) continue;
    throw tables::TableError("table " + after.name + ": column " + found->name() + " is " +
                             ContentOf(column) + ", but the contract says " + ContentOf(*found));
  }
}

// The same of the tables of a database: what stays where it is, and is no longer read there.
std::string Notes(const tables::Catalogue& older, const tables::Catalogue& newer,
                  const std::vector<Difference>& differences, const std::string& database) {
  std::string notes;
  for (const tables::Table& table : older.tables()) {
    if (table.database != database) continue;
    const std::string subject = "Table " + table.name;
    const tables::Table* same = newer.Find(database, table.name);
    if (same != nullptr) {
      if (same->name != table.name)
        notes += Comment(subject + " is " + same->name + kSameForSqlite);
      notes += ColumnNotes(table, *same) + ValueNotes(table, differences);
    } else if (same = TableOfSame(newer, table); same == nullptr) {
      notes += Comment(subject + " is no longer in the contracts; it stays as it is.");
    } else if (same->database == database) {
      notes += Comment(subject + " is " + same->name +
                       " now, which is a new table; the rows stay in " + table.name + ".");
    } else {
      notes += Comment(subject + " is in database " + same->database +
                       " now, as a new table; the rows stay here.");
    }
  }
  for (const tables::Table& table : newer.tables()) {
    if (table.database != database || older.Find(database, table.name) != nullptr) continue;
    const tables::Table* same = TableOfSame(older, table);
    if (same == nullptr || same->database == database) continue;
    notes += Comment("Table " + table.name + " was in database " + same->database +
                     "; the rows stay there.");
  }
  return notes;
}

Scripts Migration(const tables::Catalogue& older, const tables::Catalogue& newer,
                  const std::vector<Difference>& differences, const std::string& only) {
  const auto has = [](const tables::Catalogue& catalogue, const std::string& database) {
    return std::any_of(catalogue.tables().begin(), catalogue.tables().end(),
                       [&](const tables::Table& table) { return table.database == database; });
  };
  Scripts scripts;
  std::string refused;
  for (const std::string& database : DatabasesOf({&older, &newer}, only)) {
    for (const tables::Table& table : newer.tables()) {
      if (!tables::IsSameName(table.database, database) || table.database == database) continue;
      throw Error("database " + database + " is " + table.database +
                  " now, which is the same file on Windows and another one elsewhere; keep the "
                  "name " +
                  database);
    }
    std::vector<std::string> statements;
    for (const tables::Table& table : newer.tables()) {
      if (table.database != database) continue;
      const tables::Table* before = older.Find(database, table.name);
      try {
        const std::vector<std::string> sql =
            before == nullptr ? CreateSql(table) : MigrateSql(table, Standing(*before));
        if (before != nullptr) CheckContent(*before, table);
        statements.insert(statements.end(), sql.begin(), sql.end());
      } catch (const tables::TableError& error) {
        refused += "; database " + database + ", " + error.what();
      }
    }
    const std::string notes = Notes(older, newer, differences, database);
    if (statements.empty() && notes.empty()) continue;
    std::string& sql = scripts[database];
    sql =
        (has(newer, database) ? Heading(newer, database)
                              : Comment("Database " + database + ", file " + database +
                                        ".db, is no longer in the contracts; it stays as it is.")) +
        notes;
    if (statements.empty()) continue;
    const bool is_new = !has(older, database);
    if (is_new) AddStatements(sql, {tables::NewDatabaseSql()});
    AddStatements(sql, {"BEGIN"});
    AddStatements(sql, tables::LayoutSql(is_new));
    AddStatements(sql, statements);
    AddStatements(sql, {"COMMIT"});
  }
  if (!refused.empty()) {
    throw Error("cannot be migrated" + refused.replace(0, 1, ":") +
                "; move these databases away and create them again");
  }
  return scripts;
}

Scripts ScriptsOf(const Options& options) {
  const tables::Catalogue newer = CatalogueOf(options.release.contracts());
  if (options.from.empty()) return NewDatabases(newer, options.database);
  const auto before = Contracts::Read(options.from);
  const tables::Catalogue older = CatalogueOf(*before);
  return Migration(older, newer, Compare(*before, options.release.contracts()), options.database);
}

// A database's name comes from a descriptor set, and must not lead out of the folder.
std::string ScriptName(const std::string& database) {
  if (!IsPlainFileName(database)) {
    throw Error("database \"" + database +
                "\": its name cannot be that of a file; print its SQL without --out");
  }
  return database + ".sql";
}

void Ddl(const Options& options) {
  const Scripts scripts = ScriptsOf(options);
  if (options.out.empty()) {
    std::string all;
    for (const auto& [database, sql] : scripts) all += (all.empty() ? "" : "\n") + sql;
    return WriteAll(all);
  }
  std::map<std::string, std::string> files;
  for (const auto& [database, sql] : scripts) files[ScriptName(database)] = sql;
  WriteFolder(files, options.out, "folder of SQL scripts");
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
      ->check(NamesFile)
      ->type_name("OLD.binpb");
  AddOut(*command, options->out, "Write a script for each database, DATABASE.sql, to this folder");
  AddContracts(*command, options->release);
  command->footer(
      "Examples:\n"
      "  ovix-contracts ddl --database HealthLog | sqlite3 HealthLog.db\n"
      "  ovix-contracts ddl --out sql\n"
      "  ovix-contracts ddl --from old/contracts.binpb --database HealthLog");
  command->callback([options] { Ddl(*options); });
}

}  // namespace ovix::tool
