// The databases that tables share, and the names of their tables.
#include <algorithm>
#include <map>
#include <set>
#include <utility>

#include "contracts/names.h"
#include "lint/checks.h"
#include "lint/options.h"
#include "terminal/file_names.h"

namespace ovix::tool::lint {
namespace {

std::vector<const Descriptor*> TablesOf(const Contracts& contracts) {
  std::vector<const Descriptor*> tables = MessagesOf(contracts);
  std::erase_if(tables, [](const Descriptor* message) { return !IsTable(message); });
  return tables;
}

std::map<std::string, const Descriptor*> MarkersOf(const Contracts& contracts) {
  std::map<std::string, const Descriptor*> markers;
  for (const Descriptor* message : MessagesOf(contracts)) {
    if (IsMarker(message)) markers[message->name()] = message;
  }
  return markers;
}

class Databases {
 public:
  Databases(const Checked& checked, Findings& findings)
      : contracts_(checked.contracts), findings_(findings), tables_(TablesOf(contracts_)) {
    markers_ = MarkersOf(contracts_);
    const auto released = MarkersOf(checked.released);
    for (const Descriptor* table : TablesOf(checked.released)) {
      const std::string& name = Persistance(table).database().name();
      if (!released.contains(name)) unmarked_.insert(name);
    }
    // What a release has under a name keeps it.
    std::vector<const Descriptor*> by_claim = tables_;
    std::stable_partition(by_claim.begin(), by_claim.end(), [&](const Descriptor* table) {
      return checked.released.pool().FindMessageTypeByName(table->full_name()) != nullptr;
    });
    for (const Descriptor* table : by_claim) claimed_.emplace(ClaimOf(table), table);
  }

  void Check() {
    for (const Descriptor* table : tables_) CheckTable(table);
    for (const auto& [name, marker] : markers_) CheckMarker(name, marker);
    CheckNames();
  }

 private:
  using Claim = std::pair<std::string, std::string>;
  static Claim ClaimOf(const Descriptor* table) {
    const TableOptions options = TableOptionsOf(table);
    return {WithoutCase(options.database), WithoutCase(options.table)};
  }

  void CheckTable(const Descriptor* table) {
    const TableOptions options = TableOptionsOf(table);
    const int line = contracts_.LineOfOption(table, {kPersistance, kDatabase});
    const std::string& database = options.database;
    if (database.empty()) {
      findings_.AddAt(line, Rule::kTableDatabase, table, "does not name its database",
                      "set (persistance).database.name");
    } else if (!markers_.contains(database) && !unmarked_.contains(database)) {
      findings_.AddAt(line, Rule::kTableDatabase, table,
                      "database '" + database + "' has no marker in " + kMarkers,
                      NearestOf(database) + " a marker with its size limit there");
    }
    if (Persistance(table).database().max_size_mb() != 0) {
      findings_.AddAt(line, Rule::kDatabaseSize, table, "a record sets the size of its database",
                      std::string("set it in the marker in ") + kMarkers);
    }
    if (const Descriptor* other = claimed_.at(ClaimOf(table)); other != table) {
      findings_.Add(Rule::kTableName, table,
                    "database '" + database + "' has a table of this name, " + other->full_name(),
                    "rename the message");
    }
    const std::string name = WithoutCase(options.table);
    if (name == "_store" || name.starts_with("sqlite_")) {
      findings_.AddAt(contracts_.LineOfOption(table, {kPersistance, kTable}), Rule::kTableName,
                      table,
                      "'" + options.table + "' is the name of a table of SQLite or the store",
                      "give it another name");
    }
  }

  // How to say which database is meant.
  std::string NearestOf(const std::string& database) const {
    std::vector<std::string> known(unmarked_.begin(), unmarked_.end());
    for (const auto& [name, marker] : markers_) known.push_back(name);
    const std::vector<std::string> near = Nearest(database, known);
    return near.empty() ? "add" : "did you mean '" + near.front() + "'? Otherwise add";
  }

  void CheckMarker(const std::string& name, const Descriptor* marker) {
    const bool is_used = std::any_of(tables_.begin(), tables_.end(), [&](const Descriptor* table) {
      return Persistance(table).database().name() == name;
    });
    if (marker->file()->name() != kMarkers) {
      findings_.Add(Rule::kDatabaseMarker, marker, "is a marker of a database",
                    std::string("move it to ") + kMarkers);
    } else if (!is_used) {
      findings_.Add(Rule::kDatabaseMarker, marker, "marks a database of no table",
                    "remove it, or correct its name");
    }
  }

  void CheckNames() {
    std::map<std::string, std::string> first;  // of the databases, without case
    for (const auto& [claim, table] : claimed_) {
      const std::string& name = Persistance(table).database().name();
      const auto known = first.emplace(claim.first, name);
      const int line = contracts_.LineOfOption(table, {kPersistance, kDatabase});
      if (!known.second && known.first->second != name) {
        findings_.AddAt(
            line, Rule::kDatabaseName, table,
            "databases '" + name + "' and '" + known.first->second + "' are one file on Windows",
            "write them alike, or give one another name");
      } else if (known.second && !name.empty() && !IsPlainFileName(name)) {
        findings_.AddAt(line, Rule::kDatabaseName, table,
                        "'" + name + "' cannot be the name of a file on every system",
                        "use letters, digits, _ and -");
      }
    }
  }

  const Contracts& contracts_;
  Findings& findings_;
  const std::vector<const Descriptor*> tables_;
  std::map<std::string, const Descriptor*> markers_;
  std::set<std::string> unmarked_;              // in the release
  std::map<Claim, const Descriptor*> claimed_;  // the tables by database and name
};

}  // namespace

void CheckDatabases(const Checked& checked, Findings& findings) {
  Databases(checked, findings).Check();
}

}  // namespace ovix::tool::lint
