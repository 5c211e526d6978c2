#include "ovix/telemetry/contract/tables.h"

#include <algorithm>

#include "ovix/telemetry/contract/contracts_collection.h"
#include "ovix/telemetry/contract/storage/state_change_utils.pb.h"
#include "ovix/telemetry/contract/storage/storage_options.pb.h"

namespace ovix::telemetry::contract::tables {
namespace {

using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;

std::vector<const Descriptor*> AllContracts() {
  std::vector<const Descriptor*> messages;
  ContractsCollection contracts;
  while (const auto* prototype = contracts.Next()) messages.push_back(prototype->GetDescriptor());
  return messages;
}

ColumnKind KindOf(const FieldDescriptor* field) {
  if (field->is_repeated()) return ColumnKind::kJson;
  switch (field->cpp_type()) {
    case FieldDescriptor::CPPTYPE_MESSAGE:
      return ColumnKind::kJson;
    case FieldDescriptor::CPPTYPE_STRING:
      return field->type() == FieldDescriptor::TYPE_BYTES ? ColumnKind::kBlob : ColumnKind::kText;
    case FieldDescriptor::CPPTYPE_FLOAT:
    case FieldDescriptor::CPPTYPE_DOUBLE:
      return ColumnKind::kReal;
    default:
      return ColumnKind::kInteger;
  }
}

[[noreturn]] void Contradiction(const Descriptor* record, const std::string& what) {
  throw TableError(record->full_name() + ": " + what + "; correct the options in its schema");
}

// HwBattery reads HardwareBattery where change logs are concerned.
std::string LongName(const std::string& name) {
  if (name.rfind("Hw", 0) == 0) return "Hardware" + name.substr(2);
  if (name.rfind("Fw", 0) == 0) return "Firmware" + name.substr(2);
  return name;
}

// The name within its schema, quoted.
std::string In(std::string_view schema, const std::string& name) {
  return (schema.empty() ? "" : Quoted(schema) + ".") + Quoted(name);
}

constexpr char kRowId[] = "_rowid_";
constexpr char kArrival[] = "_arrival";
constexpr std::string_view kOfSqlite = "sqlite_";

char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

std::string CreateArrivalIndex(const Table& table, std::string_view schema) {
  return "CREATE UNIQUE INDEX " + In(schema, table.name + ".arrival") + " ON " +
         Quoted(table.name) + " (" + Quoted(kArrival) + ")";
}

std::string CreateTimeIndex(const Table& table, std::string_view schema) {
  return "CREATE INDEX " + In(schema, table.name + ".time") + " ON " + Quoted(table.name) +
         " (\"time\")";
}

}  // namespace

bool IsSameName(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](char left, char right) { return Lower(left) == Lower(right); });
}

bool NameOrder::operator()(const std::string& a, const std::string& b) const {
  return std::lexicographical_compare(
      a.begin(), a.end(), b.begin(), b.end(),
      [](char left, char right) { return Lower(left) < Lower(right); });
}

const std::string& PersistanceType(const Descriptor* message) {
  return message->options().GetExtension(storage::persistance).type();
}

std::string Quoted(std::string_view name) {
  std::string quoted = "\"";
  for (char c : name) {
    if (c == '"') quoted += '"';
    quoted += c;
  }
  return quoted + '"';
}

const char* Column::Type() const {
  switch (kind) {
    case ColumnKind::kInteger:
      return "INTEGER";
    case ColumnKind::kReal:
      return "REAL";
    case ColumnKind::kBlob:
      return "BLOB";
    default:
      return "TEXT";
  }
}

std::string Column::Definition() const {
  return Quoted(name()) + " " + Type() + (key ? " NOT NULL" : "");
}

Table::Table(const Descriptor* record) : record(record) {
  const auto& options = record->options().GetExtension(storage::persistance);
  name = options.table().name().empty() ? record->name() : options.table().name();
  database = options.database().name();
  max_rows = options.table().max_rows();
  max_time_days = options.table().max_time_days();
  state = options.type() == "State";
  if (IsSameName(name, kStoreTable)) {
    Contradiction(record, "the table name " + name + " is the store's own");
  }
  if (IsSameName(std::string_view(name).substr(0, kOfSqlite.size()), kOfSqlite)) {
    Contradiction(record, "the table name " + name + " is SQLite's own");
  }

  for (int i = 0; i < record->field_count(); ++i) {
    const FieldDescriptor* field = record->field(i);
    for (const Column& other : columns) {
      if (!IsSameName(other.name(), field->name())) continue;
      Contradiction(record, "SQLite takes the columns " + other.name() + " and " + field->name() +
                                " for one, because it ignores the case of names");
    }
    const bool is_key = field->options().GetExtension(storage::column).constraint().pk();
    columns.push_back({field, KindOf(field), is_key});
    if (is_key) key.push_back(columns.back());
    if (IsSameName(field->name(), kRowId) || IsSameName(field->name(), kArrival)) {
      Contradiction(record, "the name " + field->name() + " is the store's own");
    }
    if (field->name() == "time" && columns.back().kind == ColumnKind::kText) time = field;
  }
  std::sort(key.begin(), key.end(),
            [](const Column& a, const Column& b) { return a.field->number() < b.field->number(); });

  // SQLite takes a key of one integer for the number of the row itself.
  const bool key_is_row_id = key.size() == 1 && key[0].kind == ColumnKind::kInteger;
  arrival = !state && key_is_row_id ? kArrival : kRowId;

  if (!state && options.type() != "Historical") {
    Contradiction(record, "\"" + options.type() + "\" is not a type of table");
  }
  if (database.empty()) Contradiction(record, "a table without a database");
  if (state && key.empty()) Contradiction(record, "a \"State\" table without a key");
  if ((max_rows != 0 || max_time_days != 0) && time == nullptr) {
    Contradiction(record,
                  "limits without a string field `time` that shows which row is the oldest");
  }
}

bool Table::is_change_log() const {
  const auto holds = [&](const char* field_name, ColumnKind kind) {
    return std::any_of(columns.begin(), columns.end(), [&](const Column& column) {
      return column.name() == field_name && column.kind == kind;
    });
  };
  const FieldDescriptor* event = record->FindFieldByName("event");
  // By name: the record may be of another pool than the library's.
  return !state && event != nullptr && event->enum_type() != nullptr &&
         event->enum_type()->full_name() == storage::StateEventType_descriptor()->full_name() &&
         holds("time", ColumnKind::kText) && holds("type", ColumnKind::kText) &&
         holds("previous_state", ColumnKind::kText) && holds("current_state", ColumnKind::kText);
}

bool Table::has_arrival_column() const { return arrival == kArrival; }

bool Table::has_time_index() const {
  return time != nullptr && (!state || max_rows != 0 || max_time_days != 0);
}

const Table* FindChangeLog(const Table& state, const std::vector<Table>& tables) {
  constexpr std::string_view suffix = "Events";
  const std::string& name = state.record->name();
  const Table* found = nullptr;
  for (const Table& table : tables) {
    const std::string& log = table.record->name();
    if (!table.is_change_log() || !log.ends_with(suffix)) continue;
    const std::string stem = log.substr(0, log.size() - suffix.size());
    if (stem == name) return &table;
    if (table.record->file()->package() == state.record->file()->package() &&
        (name.starts_with(stem) || LongName(name).starts_with(stem)) &&
        (found == nullptr || log.size() > found->record->name().size())) {
      found = &table;
    }
  }
  return found;
}

Catalogue::Catalogue() : Catalogue(AllContracts()) {}

Catalogue::Catalogue(const std::vector<const Descriptor*>& messages) {
  for (const Descriptor* message : messages) {
    const auto& database = message->options().GetExtension(storage::persistance).database();
    if (!PersistanceType(message).empty()) {
      tables_.emplace_back(message);
    } else if (database.max_size_mb() != 0) {
      // A marker: its name is the database's.
      max_size_mb_[message->name()] = database.max_size_mb();
    }
  }
  std::map<std::string, std::map<std::string, const Table*, NameOrder>, NameOrder> claimed;
  for (const Table& table : tables_) {
    by_record_[table.record] = &table;
    auto& in_database = claimed[table.database];
    if (!in_database.empty() && in_database.begin()->second->database != table.database) {
      const Table& other = *in_database.begin()->second;
      throw TableError(table.record->full_name() + ": database " + table.database +
                       " differs only in case from database " + other.database + " of " +
                       other.record->full_name() +
                       ", and on Windows both are one file; write the name in one way");
    }
    const auto [other, is_new] = in_database.emplace(table.name, &table);
    if (!is_new) {
      throw TableError(table.record->full_name() + " and " + other->second->record->full_name() +
                       " both claim table " + table.name + " of database " + table.database +
                       "; give one a table.name");
    }
  }
  for (const Table& table : tables_) {
    if (table.state) change_logs_[&table] = FindChangeLog(table, tables_);
  }
}

const Table& Catalogue::Get(const Descriptor* record) const {
  const auto found = by_record_.find(record);
  if (found == by_record_.end()) {
    throw TableError(
        record->full_name() +
        ": is not a table (its schema sets no persistance type); store the record that "
        "holds it");
  }
  return *found->second;
}

const Table* Catalogue::Find(const std::string& database, const std::string& name) const {
  for (const Table& table : tables_) {
    if (IsSameName(table.database, database) && IsSameName(table.name, name)) return &table;
  }
  return nullptr;
}

const Table* Catalogue::ChangeLog(const Table& state) const {
  const auto found = change_logs_.find(&state);
  return found == change_logs_.end() ? nullptr : found->second;
}

uint32_t Catalogue::MaxSizeMb(const std::string& database) const {
  const auto found = max_size_mb_.find(database);
  return found == max_size_mb_.end() ? 0 : found->second;
}

std::string NewDatabaseSql(std::string_view schema) {
  return "PRAGMA " + (schema.empty() ? "" : Quoted(schema) + ".") + "auto_vacuum = INCREMENTAL";
}

std::vector<std::string> LayoutSql(bool is_new, std::string_view schema) {
  const std::string prefix = "PRAGMA " + (schema.empty() ? "" : Quoted(schema) + ".");
  std::vector<std::string> sql = {
      prefix + "application_id = " + std::to_string(kApplicationId),
      prefix + "user_version = " + std::to_string(kLayoutVersion),
      "CREATE TABLE IF NOT EXISTS " + In(schema, kStoreTable) +
          " (\"name\" TEXT NOT NULL PRIMARY KEY, \"value\" INTEGER NOT NULL) WITHOUT ROWID"};
  if (is_new) {
    sql.push_back("INSERT INTO " + In(schema, kStoreTable) +
                  " VALUES ('database', (random() & 0x7fffffffffffffff) | 1)");
  }
  return sql;
}

std::vector<std::string> CreateSql(const Table& table, std::string_view schema) {
  std::string create = "CREATE TABLE " + In(schema, table.name) + " (";
  const char* separator = "";
  for (const Column& column : table.columns) {
    create += separator + column.Definition();
    separator = ", ";
  }
  if (table.has_arrival_column()) create += ", " + Quoted(kArrival) + " INTEGER";
  if (!table.key.empty()) {
    create += ", PRIMARY KEY (";
    separator = "";
    for (const Column& column : table.key) {
      create += separator + Quoted(column.name());
      separator = ", ";
    }
    create += ")";
  }
  std::vector<std::string> sql = {create + ")"};
  if (table.has_arrival_column()) sql.push_back(CreateArrivalIndex(table, schema));
  if (table.has_time_index()) sql.push_back(CreateTimeIndex(table, schema));
  return sql;
}

StandingTable Standing(const Table& table) {
  StandingTable standing;
  for (const Column& column : table.columns) standing.columns[column.name()] = {column.Type(), 0};
  if (table.has_arrival_column()) standing.columns[kArrival] = {"INTEGER", 0};
  int place = 0;
  for (const Column& column : table.key) standing.columns[column.name()].key = ++place;
  standing.has_time_index = table.has_time_index();
  return standing;
}

std::vector<std::string> MigrateSql(const Table& table, const StandingTable& standing,
                                    std::string_view schema) {
  const StandingTable wanted = Standing(table);
  std::vector<std::string> sql;
  for (const Column& column : table.columns) {
    const auto& want = wanted.columns.at(column.name());
    const auto found = standing.columns.find(column.name());
    const std::string prefix = "table " + table.name + ": column " + column.name();
    if (found == standing.columns.end() && want.key == 0) {
      sql.push_back("ALTER TABLE " + In(schema, table.name) + " ADD COLUMN " + column.Definition());
    } else if (found == standing.columns.end()) {
      throw TableError(prefix + " is new in the key, and existing rows have no value for it");
    } else if (found->second.type != want.type) {
      throw TableError(prefix + " is " + found->second.type + ", but the contract says " +
                       want.type);
    } else if (found->second.key != want.key) {
      throw TableError(prefix + (want.key == 0 ? " is in the key, but not in the contract's"
                                 : found->second.key == 0
                                     ? " is not in the key, but in the contract's"
                                     : " has another place in the key"));
    }
  }
  for (const auto& [name, column] : standing.columns) {
    if (column.key != 0 && wanted.columns.count(name) == 0) {
      throw TableError("table " + table.name + ": column " + name +
                       " is in the key, but not in the contract");
    }
  }
  if (table.has_arrival_column() && standing.columns.count(kArrival) == 0) {
    const std::string name = In(schema, table.name);
    sql.push_back("ALTER TABLE " + name + " ADD COLUMN " + Quoted(kArrival) + " INTEGER");
    sql.push_back(
        "UPDATE " + name + " SET " + Quoted(kArrival) +
        " = \"n\".\"number\" FROM (SELECT _rowid_ AS \"row\", row_number() OVER (ORDER BY "
        "_rowid_) AS \"number\" FROM " +
        name + ") AS \"n\" WHERE \"n\".\"row\" = " + Quoted(table.name) + "._rowid_");
    sql.push_back(CreateArrivalIndex(table, schema));
  }
  if (table.has_time_index() && !standing.has_time_index) {
    sql.push_back(CreateTimeIndex(table, schema));
  }
  return sql;
}

}  // namespace ovix::telemetry::contract::tables
