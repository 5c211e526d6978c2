#include "report.h"

#include <algorithm>
#include <iostream>

namespace ovix::agent {
namespace {

std::string LimitsOf(const Table& table, uint32_t max_size_mb) {
  std::vector<std::string> limits;
  if (table.max_rows != 0) limits.push_back(std::to_string(table.max_rows) + " rows");
  if (table.max_time_days != 0) limits.push_back(std::to_string(table.max_time_days) + " days");
  if (max_size_mb != 0) limits.push_back(std::to_string(max_size_mb) + " MB in all");
  std::string text;
  for (const std::string& limit : limits) text += (text.empty() ? "" : ", ") + limit;
  return text.empty() ? "none" : text;
}

}  // namespace

void PrintProblem(const std::string& line) {
  std::cout.flush();
  std::cerr << "ovix-agent: " << line << "\n";
}

void PrintNote(const std::string& line) { PrintProblem("note: " + line); }

void PrintChanges(std::ostream& out, const Changes& changes) {
  out << changes.inserted << " new, " << changes.updated << " changed, " << changes.deleted
      << " gone, " << changes.unchanged << " as before, " << changes.appended << " appended, "
      << changes.trimmed << " dropped to keep the limits.\n";
  for (const auto& [what, rows] : changes.dropped) {
    const auto& [table, limit] = what;
    out << "  dropped: " << rows << " of " << table->database << "." << table->name << ", ";
    switch (limit) {
      case Limit::kAge:
        out << "older than " << table->max_time_days << " days\n";
        break;
      case Limit::kRows:
        out << "beyond " << table->max_rows << " rows\n";
        break;
      case Limit::kSize:
        out << "as the database is full\n";
        break;
    }
  }
  if (changes.clock_ahead_days > 0) {
    out << "  note: the clock is " << changes.clock_ahead_days
        << " days ahead of the last run; until it has gone on for a week, no row is dropped for "
           "its "
           "age\n";
  }
}

void PrintTable(std::ostream& out, const std::vector<std::vector<std::string>>& rows,
                const std::vector<size_t>& right) {
  std::vector<size_t> widths;
  for (const auto& row : rows) {
    widths.resize(std::max(widths.size(), row.size()));
    for (size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], row[i].size());
  }
  for (const auto& row : rows) {
    std::string line;
    for (size_t i = 0; i < row.size(); ++i) {
      const std::string space(widths[i] - row[i].size(), ' ');
      const bool to_the_right = std::find(right.begin(), right.end(), i) != right.end();
      line += (i == 0 ? "" : "  ") + (to_the_right ? space + row[i] : row[i] + space);
    }
    line.erase(line.find_last_not_of(' ') + 1);
    out << line << "\n";
  }
}

std::set<std::string> PrintStore(std::ostream& out, Store& store, const Catalogue& catalogue) {
  std::vector<std::vector<std::string>> rows = {
      {"DATABASE", "TABLE", "TYPE", "KEY", "LIMITS", "ROWS", "CHANGES"}};
  std::set<std::string> problems;
  std::string database;
  std::vector<const Table*> tables;
  for (const Table& table : catalogue.tables()) tables.push_back(&table);
  std::stable_sort(tables.begin(), tables.end(),
                   [](const Table* a, const Table* b) { return a->database < b->database; });
  for (const Table* table : tables) {
    int64_t count = 0;
    int64_t changes = 0;
    try {
      count = store.CountRows(*table);
      changes = table->state ? store.CountChanges(*table) : 0;
    } catch (const StoreError& error) {
      problems.insert(error.what());
    }
    if (count == 0 && changes == 0) continue;
    std::string key;
    for (const Column& column : table->key) key += (key.empty() ? "" : ", ") + column.name();
    rows.push_back({table->database == database ? "" : table->database, table->name,
                    table->state ? "State" : "Historical", key.empty() ? "-" : key,
                    LimitsOf(*table, catalogue.MaxSizeMb(table->database)), std::to_string(count),
                    catalogue.ChangeLog(*table) == nullptr ? "-" : std::to_string(changes)});
    database = table->database;
  }
  PrintTable(out, rows, {5, 6});
  return problems;
}

}  // namespace ovix::agent
