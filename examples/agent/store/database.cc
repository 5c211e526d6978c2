#include "store/database.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace ovix::agent {

namespace tables = telemetry::contract::tables;
using google::protobuf::Message;
using tables::Quoted;

namespace {

template <typename Columns, typename Text>
std::string Joined(const Columns& columns, const std::string& separator, const Text& text) {
  std::string joined;
  for (const Column& column : columns) {
    if (!joined.empty()) joined += separator;
    joined += text(column);
  }
  return joined;
}

std::string QuotedName(const Column& column) { return Quoted(column.name()); }
std::string EqualsParameter(const Column& column) { return Quoted(column.name()) + " = ?"; }

std::string ArrivalName(const Table& table) { return "arrival " + table.name; }

// Release 1.0.0 set no application_id; where `may_be_none`, that is accepted.
void CheckStoreHeader(const std::filesystem::path& file, const FileHeader& header,
                      bool may_be_none) {
  if (header.application_id == 0 && may_be_none) return;
  CheckHeader(file, header, tables::kApplicationId, tables::kLayoutVersion);
}

// The file, unless its header says that it is another program's, or cannot say whose it is and
// opening it to find out would change it.
const std::filesystem::path& NotForeign(const std::filesystem::path& file) {
  const auto header = ReadHeader(file);
  if (!header) return file;
  CheckStoreHeader(file, *header, true);
  if (header->application_id == 0 && header->has_write_ahead_log) {
    throw StoreError(Printable(file) +
                         ": the database has a write-ahead log and no application_id, so it may be "
                         "another program's; move it away, or switch it back with PRAGMA "
                         "journal_mode = DELETE if it is the store's",
                     StoreError::Kind::kForeign, file);
  }
  return file;
}

}  // namespace

Place::Place(const Table& table, std::string schema_name, const tables::StandingTable& standing)
    : table(table),
      schema(std::move(schema_name)),
      name(Quoted(schema) + "." + Quoted(table.name)),
      arrival_column(table.has_arrival_column() ? Quoted(table.arrival) : table.arrival) {
  const std::string columns = Joined(table.columns, ", ", QuotedName);
  const std::string key = " WHERE " + Joined(table.key, " AND ", EqualsParameter);
  select = "SELECT " + Joined(table.columns, ", ", [&](const Column& column) {
             return standing.columns.contains(column.name()) ? QuotedName(column) : "NULL";
           });
  select += ", _rowid_, " + arrival_column + " FROM " + name;
  select_by_key = select + key;
  const bool numbers_rows = !table.state;
  insert = "INSERT INTO " + name + " (" + columns + (numbers_rows ? ", " + arrival_column : "") +
           ") VALUES (" + Joined(table.columns, ", ", [](const Column&) { return "?"; }) +
           (numbers_rows ? ", ?)" : ")");
  update = "UPDATE " + name + " SET " + Joined(table.columns, ", ", EqualsParameter) + key;
}

Database::Database(const Catalogue& catalogue, std::string name, const std::filesystem::path& file,
                   Patience& patience, Connection::Mode mode)
    : catalogue_(catalogue), name_(std::move(name)), connection_(NotForeign(file), patience, mode) {
  CheckIsOurs(name_, file);
}

void Database::Attach(const std::string& name, const std::filesystem::path& file) {
  connection_.Attach(NotForeign(file), name);
  CheckIsOurs(name, file);
}

std::string Database::SchemaOf(const std::string& database) const {
  return database == name_ ? "main" : database;
}

const std::filesystem::path& Database::FileOf(const std::string& schema) const {
  const auto& schemas = connection_.schemas();
  return std::find_if(schemas.begin(), schemas.end(),
                      [&](const auto& candidate) { return candidate.first == schema; })
      ->second;
}

void Database::CheckIsOurs(const std::string& database, const std::filesystem::path& file) {
  const std::string schema = SchemaOf(database);
  const auto pragma = [&](const char* field) {
    return connection_.Number("PRAGMA " + Quoted(schema) + "." + field, schema);
  };
  const FileHeader header{pragma("application_id"), pragma("user_version"), false};
  // Without an application_id its tables show whose it is.
  const bool is_ours =
      header.application_id == 0 &&
      (IsEmpty(schema) ||
       std::any_of(catalogue_.tables().begin(), catalogue_.tables().end(), [&](const Table& table) {
         return table.database == database && HasTable(table);
       }));
  CheckStoreHeader(file, header, is_ours);
}

bool Database::Has(const std::string& schema, std::string_view type, const std::string& object) {
  const Use found =
      connection_.Prepared("SELECT 1 FROM " + Quoted(schema) +
                               ".sqlite_schema WHERE type = ? AND name = ? COLLATE NOCASE",
                           schema);
  found->Bind(1, type);
  found->Bind(2, std::string_view(object));
  return found->Step();
}

bool Database::IsEmpty(const std::string& schema) {
  const Use first =
      connection_.Prepared("SELECT 1 FROM " + Quoted(schema) + ".sqlite_schema", schema);
  return !first->Step();
}

bool Database::HasTable(const Table& table) { return Has(SchemaOf(table), "table", table.name); }

std::optional<tables::StandingTable> Database::Standing(const Table& table) {
  const std::string schema = SchemaOf(table);
  tables::StandingTable standing;
  {
    const Use info =
        connection_.Prepared("SELECT name, type, pk FROM pragma_table_info(?, ?) ORDER BY cid");
    info->Bind(1, std::string_view(table.name));
    info->Bind(2, std::string_view(schema));
    while (info->Step()) {
      standing.columns[std::string(info->Bytes(0))] = {std::string(info->Bytes(1)),
                                                       static_cast<int>(info->Integer(2))};
    }
  }
  if (standing.columns.empty()) return std::nullopt;
  standing.has_time_index = Has(schema, "index", table.name + ".time");
  return standing;
}

// The SQL that the table needs before it can be used: none where it is as its record says.
std::vector<std::string> Database::MissingDefinitions(const Table& table) {
  const std::optional<tables::StandingTable> standing = Standing(table);
  const std::string schema = SchemaOf(table);
  if (!standing.has_value()) return tables::CreateSql(table, schema);
  try {
    return tables::MigrateSql(table, *standing, schema);
  } catch (const tables::TableError& error) {
    throw StoreError(Printable(FileOf(schema)) + ": database " + table.database + ", " +
                         error.what() + "; move the database away",
                     StoreError::Kind::kForeign, FileOf(schema));
  }
}

std::optional<Place> Database::Find(const Table& table) {
  const std::optional<tables::StandingTable> standing = Standing(table);
  if (!standing.has_value()) return std::nullopt;
  MissingDefinitions(table);  // refuses a table that cannot be this one
  Place place(table, SchemaOf(table), *standing);
  if (table.has_arrival_column() && !standing->columns.contains(table.arrival)) {
    // A table of an older release, whose rows get their numbers when it is next written to.
    const std::string old = " FROM " + place.name;
    for (std::string* sql : {&place.select, &place.select_by_key}) {
      sql->replace(
          sql->find(old), old.size(),
          " FROM (SELECT *, _rowid_ AS \"_rowid_\", row_number() OVER (ORDER BY _rowid_) AS " +
              place.arrival_column + old + ")");
    }
  }
  return place;
}

Place& Database::Prepare(const Table& table) {
  const auto known = places_.find(&table);
  if (known != places_.end()) return known->second;
  const std::string schema = SchemaOf(table);
  if (!Has(schema, "table", tables::kStoreTable)) {
    const bool is_new = IsEmpty(schema);
    for (const std::string& sql : tables::LayoutSql(is_new, schema)) {
      connection_.Execute(sql, schema);
    }
    if (is_new) new_schemas_.insert(schema);
  }
  for (const std::string& sql : MissingDefinitions(table)) connection_.Execute(sql, schema);
  return places_.try_emplace(&table, table, schema, *Standing(table)).first->second;
}

std::unique_ptr<Message> Database::ReadRow(const Place& place, const Statement& row) const {
  std::unique_ptr<Message> record = NewRow(place.table);
  try {
    int column = 0;
    for (const Column& c : place.table.columns) agent::Read(c, row, column++, *record);
  } catch (const StoreError& error) {
    std::string key;
    for (size_t i = 0; i < place.table.columns.size(); ++i) {
      const Column& column = place.table.columns[i];
      if (!column.key) continue;
      key += ", " + column.name() + "=" + Escaped(row.Bytes(static_cast<int>(i)));
    }
    if (key.empty()) key = ", _rowid_=" + std::to_string(row.Integer(place.row_id()));
    const std::filesystem::path& file = FileOf(place.schema);
    throw StoreError(Printable(file) + ": database " + place.table.database + ", table " +
                         place.table.name + key + ": " + error.what() + "; fix or delete the row",
                     StoreError::Kind::kInput, file);
  }
  return record;
}

std::optional<int64_t> Database::Number(const std::string& schema, const std::string& name) {
  if (!with_store_table_.contains(schema)) {
    if (!Has(schema, "table", tables::kStoreTable)) return std::nullopt;
    with_store_table_.insert(schema);
  }
  const Use number = connection_.Prepared(
      "SELECT value FROM " + Quoted(schema) + "." + Quoted(tables::kStoreTable) + " WHERE name = ?",
      schema);
  number->Bind(1, std::string_view(name));
  if (!number->Step()) return std::nullopt;
  return number->Integer(0);
}

void Database::SetNumber(const std::string& schema, const std::string& name, int64_t value) {
  const Use set = connection_.Prepared("INSERT OR REPLACE INTO " + Quoted(schema) + "." +
                                           Quoted(tables::kStoreTable) + " VALUES (?, ?)",
                                       schema);
  set->Bind(1, std::string_view(name));
  set->Bind(2, value);
  set->Run();
}

int64_t Database::LastArrival(const Table& table) {
  const std::optional<Place> place = Find(table);
  return place.has_value() ? LastArrival(*place) : 0;
}

int64_t Database::LastArrival(const Place& place) {
  // Both: rows may have been added or deleted by hand.
  const int64_t kept = Number(place.schema, ArrivalName(place.table)).value_or(0);
  const Use newest = connection_.Prepared(
      place.select + " ORDER BY " + place.arrival_column + " DESC LIMIT 1", place.schema);
  return newest->Step() ? std::max(kept, newest->Integer(place.arrival())) : kept;
}

int64_t Database::NextArrival(Place& place) {
  if (!place.last_arrival.has_value()) place.last_arrival = LastArrival(place);
  if (*place.last_arrival == std::numeric_limits<int64_t>::max()) {
    throw StoreError(Printable(FileOf(place.schema)) + ": database " + place.table.database +
                         ", table " + place.table.name +
                         ": no number is left for a new row; move the database away",
                     StoreError::Kind::kOther);
  }
  return ++*place.last_arrival;
}

void Database::KeepArrivals() {
  for (auto& [table, place] : places_) {
    if (!place.last_arrival.has_value()) continue;
    SetNumber(place.schema, ArrivalName(*table), *place.last_arrival);
    place.last_arrival.reset();
  }
}

int64_t Database::UsedBytes(const std::string& schema) {
  const auto number = [&](const char* pragma) {
    const Use use = connection_.Prepared("PRAGMA " + Quoted(schema) + "." + pragma, schema);
    return use->Step() ? use->Integer(0) : 0;
  };
  return number("page_size") * (number("page_count") - number("freelist_count"));
}

void Database::Touch(Place& place) {
  if (std::find(touched_.begin(), touched_.end(), &place) == touched_.end()) {
    touched_.push_back(&place);
  }
}

void Database::BeginWrite() {
  touched_.clear();
  new_schemas_.clear();
  for (const auto& [schema, file] : connection_.schemas()) used_before_[schema] = UsedBytes(schema);
}

}  // namespace ovix::agent
