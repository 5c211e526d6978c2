#include "store/store.h"

#include <algorithm>
#include <set>
#include <utility>

#include "ovix/telemetry/contract/storage/state_change_utils.pb.h"
#include "store/json.h"
#include "store/time.h"

namespace ovix::agent {

namespace storage = telemetry::contract::storage;
namespace tables = telemetry::contract::tables;
using google::protobuf::Descriptor;
using google::protobuf::Message;
using google::protobuf::Reflection;
using tables::Quoted;

namespace {

// A time in the form of TimeText; only such a row can be told to be too old.
constexpr char kWellFormedTime[] = R"("time" GLOB '[0-9][0-9][0-9][0-9]-[0-9][0-9]-[0-9][0-9]T*Z')";

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

void CheckKeepable(const Message& record) {
  const std::string unkeepable = FindUnkeepable(record);
  if (!unkeepable.empty()) {
    throw StoreError(unkeepable +
                     ": holds text that is not UTF-8 or fields that its schema does not know; "
                     "nothing was stored");
  }
}

void SetString(Message& message, const char* field, const std::string& text) {
  message.GetReflection()->SetString(&message, message.GetDescriptor()->FindFieldByName(field),
                                     text);
}

}  // namespace

Changes& Changes::operator+=(const Changes& other) {
  inserted += other.inserted;
  updated += other.updated;
  deleted += other.deleted;
  unchanged += other.unchanged;
  appended += other.appended;
  trimmed += other.trimmed;
  return *this;
}

// A table in an open database, and the statements that work on it.
struct Store::Place {
  Place(const Table& table, std::string schema)
      : table(table),
        schema(std::move(schema)),
        name(Quoted(this->schema) + "." + Quoted(table.name)) {
    const std::string columns = Joined(table.columns, ", ", QuotedName);
    const std::string key = " WHERE " + Joined(table.key, " AND ", EqualsParameter);
    select = "SELECT " + columns + ", _rowid_ FROM " + name;
    select_by_key = select + key;
    insert = "INSERT INTO " + name + " (" + columns + ") VALUES (" +
             Joined(table.columns, ", ", [](const Column&) { return "?"; }) + ")";
    update = "UPDATE " + name + " SET " + Joined(table.columns, ", ", EqualsParameter) + key;
    erase = "DELETE FROM " + name + key;
  }

  // Binds the key columns of `row` to the parameters from `first` on.
  void BindKey(const Message& row, Statement& statement, int first) const {
    for (const Column& column : table.key) Bind(column, row, statement, first++);
  }
  void BindColumns(const Message& row, Statement& statement) const {
    int parameter = 1;
    for (const Column& column : table.columns) Bind(column, row, statement, parameter++);
  }

  const Table& table;
  const std::string schema;
  const std::string name;
  std::string select, select_by_key, insert, update, erase;
};

// One database with the databases of its change logs attached, so that a row and the record of its
// change are written in one transaction.
struct Store::Database {
  Database(std::string name, const std::filesystem::path& file, std::chrono::milliseconds patience)
      : name(std::move(name)), file(file), connection(file, patience) {}

  std::string SchemaOf(const std::string& database) const {
    return database == name ? "main" : database;
  }
  bool Has(const std::string& schema, std::string_view type, const std::string& object) {
    Statement& found = connection.Prepared("SELECT 1 FROM " + Quoted(schema) +
                                           ".sqlite_schema WHERE type = ? AND name = ?");
    found.Bind(1, type);
    found.Bind(2, std::string_view(object));
    const bool has = found.Step();
    found.Start();
    return has;
  }
  bool HasTable(const Table& table) { return Has(SchemaOf(table.database), "table", table.name); }
  void Touch(Place& place) {
    if (std::find(touched.begin(), touched.end(), &place) == touched.end()) {
      touched.push_back(&place);
    }
  }
  std::unique_ptr<Message> ReadRow(const Place& place, const Statement& row) const;
  std::vector<std::string> MissingDefinitions(const Table& table);

  const std::string name;
  const std::filesystem::path file;
  Connection connection;
  std::set<std::string> attached;
  std::map<const Table*, Place> places;
  std::vector<Place*> touched;  // by the write that is going on
};

std::unique_ptr<Message> Store::Database::ReadRow(const Place& place, const Statement& row) const {
  std::unique_ptr<Message> record = NewRow(place.table);
  try {
    int column = 0;
    for (const Column& c : place.table.columns) agent::Read(c, row, column++, *record);
  } catch (const StoreError& error) {
    std::string key;
    for (size_t i = 0; i < place.table.columns.size(); ++i) {
      if (place.table.columns[i].key) {
        key += ", " + place.table.columns[i].name() + "=" +
               std::string(row.Bytes(static_cast<int>(i)));
      }
    }
    if (key.empty()) {
      const int row_id = static_cast<int>(place.table.columns.size());
      key = ", _rowid_=" + std::to_string(row.Integer(row_id));
    }
    throw StoreError(file.string() + ": database " + place.table.database + ", table " +
                     place.table.name + key + ": " + error.what() + "; mend or delete the row");
  }
  return record;
}

// The SQL that the table needs before it can be used: none where it stands as its record says.
std::vector<std::string> Store::Database::MissingDefinitions(const Table& table) {
  const std::string schema = SchemaOf(table.database);
  tables::StandingTable standing;
  Statement& info =
      connection.Prepared("SELECT name, type, pk FROM pragma_table_info(?, ?) ORDER BY cid");
  info.Bind(1, std::string_view(table.name));
  info.Bind(2, std::string_view(schema));
  while (info.Step()) {
    standing.columns[std::string(info.Bytes(0))] = {std::string(info.Bytes(1)),
                                                    static_cast<int>(info.Integer(2))};
  }
  info.Start();
  if (standing.columns.empty()) return tables::CreateSql(table, schema);

  standing.has_time_index = Has(schema, "index", table.name + ".time");
  try {
    return tables::MigrateSql(table, standing, schema);
  } catch (const tables::TableError& error) {
    throw StoreError(file.string() + ": database " + table.database + ", " + error.what() +
                     "; move the database away");
  }
}

Store::Store(std::filesystem::path folder, const Catalogue& catalogue, Options options)
    : folder_(std::move(folder)), catalogue_(catalogue), options_(std::move(options)) {
  std::error_code error;
  std::filesystem::create_directories(folder_, error);
  if (error) {
    throw StoreError(folder_.string() + ": the folder cannot be made (" + error.message() +
                     "); name one that can be written");
  }
}

Store::Store(std::filesystem::path folder, const Catalogue& catalogue)
    : Store(std::move(folder), catalogue, Options()) {}

Store::~Store() = default;

std::filesystem::path Store::FileOf(const std::string& database) const {
  return folder_ / (database + ".db");
}

Store::Database& Store::Open(const std::string& name) {
  auto& database = databases_[name];
  if (database != nullptr) return *database;
  auto opened = std::make_unique<Database>(name, FileOf(name), options_.patience);
  for (const Table& table : catalogue_.tables()) {
    const Table* log = table.database == name ? catalogue_.ChangeLog(table) : nullptr;
    if (log == nullptr || log->database == name) continue;
    if (opened->attached.insert(log->database).second) {
      opened->connection.Attach(FileOf(log->database), log->database);
    }
  }
  database = std::move(opened);
  return *database;
}

Store::Database* Store::OpenIfThere(const std::string& name) {
  std::error_code ignored;
  return std::filesystem::exists(FileOf(name), ignored) ? &Open(name) : nullptr;
}

Store::Place& Store::Prepare(Database& database, const Table& table) {
  const auto known = database.places.find(&table);
  if (known != database.places.end()) return known->second;
  if (!database.MissingDefinitions(table).empty()) {
    Transaction transaction(database.connection);
    // Asked again under the lock: another program may have been first.
    for (const std::string& sql : database.MissingDefinitions(table)) {
      database.connection.Execute(sql);
    }
    transaction.Commit();
  }
  return database.places.try_emplace(&table, table, database.SchemaOf(table.database))
      .first->second;
}

Store::Place& Store::PrepareToWrite(Database& database, const Table& table) {
  if (const Table* log = catalogue_.ChangeLog(table)) Prepare(database, *log);
  return Prepare(database, table);
}

const Table& Store::GetState(const Descriptor* record) const {
  const Table& table = catalogue_.Get(record);
  if (!table.state) {
    throw StoreError(record->full_name() +
                     ": is a \"Historical\" table; its rows are only appended");
  }
  return table;
}

Changes Store::Write(Database& database, const std::function<void(Changes&)>& write) {
  Changes changes;
  database.touched.clear();
  Transaction transaction(database.connection);
  write(changes);
  std::set<std::string> written;
  // Dropping a "State" row is recorded in its change log, so the list may grow while it is walked.
  for (size_t i = 0; i < database.touched.size(); ++i) {
    Place& place = *database.touched[i];
    TrimRows(database, place, changes);
    written.insert(place.table.database);
  }
  for (const std::string& name : written) TrimSize(database, name, changes);
  transaction.Commit();
  return changes;
}

Changes Store::Put(const std::vector<const Message*>& records) {
  std::vector<std::pair<std::string, std::vector<const Message*>>> by_database;
  for (const Message* record : records) {
    const Table& table = catalogue_.Get(record->GetDescriptor());
    CheckKeepable(*record);
    auto group = std::find_if(by_database.begin(), by_database.end(),
                              [&](const auto& g) { return g.first == table.database; });
    if (group == by_database.end()) group = by_database.insert(group, {table.database, {}});
    group->second.push_back(record);
  }

  Changes all;
  for (const auto& [name, group] : by_database) {
    Database& database = Open(name);
    for (const Message* record : group) {
      PrepareToWrite(database, catalogue_.Get(record->GetDescriptor()));
    }
    all += Write(database, [&, &group = group](Changes& changes) {
      for (const Message* record : group) {
        Place& place = database.places.at(&catalogue_.Get(record->GetDescriptor()));
        if (place.table.state) {
          PutState(database, place, *record, changes);
        } else {
          Append(database, place, *record);
          ++changes.appended;
        }
      }
    });
  }
  return all;
}

void Store::PutState(Database& database, Place& place, const Message& row, Changes& changes) {
  Statement& select = database.connection.Prepared(place.select_by_key);
  place.BindKey(row, select, 1);
  const std::unique_ptr<Message> before = select.Step() ? database.ReadRow(place, select) : nullptr;
  select.Start();

  if (before == nullptr) {
    Append(database, place, row);
    RecordChange(database, place.table, nullptr, &row);
    ++changes.inserted;
    return;
  }
  // Seen again at another time is no change.
  std::unique_ptr<Message> same_time(row.New());
  same_time->CopyFrom(row);
  if (place.table.time != nullptr) SetString(*same_time, "time", TimeOf(place.table, *before));
  const bool changed = CanonicalBytes(*same_time) != CanonicalBytes(*before);

  Statement& update = database.connection.Prepared(place.update);
  place.BindColumns(row, update);
  place.BindKey(row, update, static_cast<int>(place.table.columns.size()) + 1);
  update.Run();
  if (changed) RecordChange(database, place.table, before.get(), &row);
  ++(changed ? changes.updated : changes.unchanged);
  database.Touch(place);
}

void Store::Append(Database& database, Place& place, const Message& row) {
  Statement& insert = database.connection.Prepared(place.insert);
  place.BindColumns(row, insert);
  insert.Run();
  database.Touch(place);
}

bool Store::Delete(Database& database, Place& place, const Message& row) {
  Statement& select = database.connection.Prepared(place.select_by_key);
  place.BindKey(row, select, 1);
  const std::unique_ptr<Message> before = select.Step() ? database.ReadRow(place, select) : nullptr;
  select.Start();
  if (before == nullptr) return false;
  Statement& erase = database.connection.Prepared(place.erase);
  place.BindKey(row, erase, 1);
  erase.Run();
  RecordChange(database, place.table, before.get(), nullptr);
  return true;
}

void Store::RecordChange(Database& database, const Table& state, const Message* before,
                         const Message* after) {
  const Table* log = catalogue_.ChangeLog(state);
  if (log == nullptr) return;
  const std::unique_ptr<Message> change = NewRow(*log);
  SetString(*change, "time", TimeText(options_.clock()));
  SetString(*change, "type", state.record->name());
  change->GetReflection()->SetEnumValue(change.get(), log->record->FindFieldByName("event"),
                                        before == nullptr  ? storage::STATE_EVENT_INSERT
                                        : after == nullptr ? storage::STATE_EVENT_DELETE
                                                           : storage::STATE_EVENT_UPDATE);
  if (before != nullptr) SetString(*change, "previous_state", MessageToJson(*before));
  if (after != nullptr) SetString(*change, "current_state", MessageToJson(*after));
  Append(database, database.places.at(log), *change);
}

Changes Store::Replace(const Descriptor* record, const std::vector<const Message*>& rows) {
  const Table& table = GetState(record);
  for (const Message* row : rows) {
    if (row->GetDescriptor() != record) {
      throw StoreError(row->GetDescriptor()->full_name() + ": is no row of " + record->full_name() +
                       "; nothing was stored");
    }
    CheckKeepable(*row);
  }
  Database& database = Open(table.database);
  Place& place = PrepareToWrite(database, table);
  const auto key_of = [&](const Message& row) {
    std::unique_ptr<Message> key(row.New());
    key->CopyFrom(row);
    for (const Column& column : table.columns) {
      if (!column.key) key->GetReflection()->ClearField(key.get(), column.field);
    }
    return CanonicalBytes(*key);
  };
  return Write(database, [&](Changes& changes) {
    std::map<std::string, const Message*> wanted;
    for (const Message* row : rows) wanted[key_of(*row)] = row;
    std::vector<std::unique_ptr<Message>> gone;
    Statement& select = database.connection.Prepared(place.select);
    while (select.Step()) {
      std::unique_ptr<Message> row = database.ReadRow(place, select);
      if (!wanted.contains(key_of(*row))) gone.push_back(std::move(row));
    }
    select.Start();
    for (const auto& row : gone) changes.deleted += Delete(database, place, *row);
    for (const auto& [key, row] : wanted) PutState(database, place, *row, changes);
  });
}

bool Store::Erase(const Message& record) {
  const Table& table = GetState(record.GetDescriptor());
  Database* database = OpenIfThere(table.database);
  if (database == nullptr) return false;
  Place& place = PrepareToWrite(*database, table);
  bool erased = false;
  Write(*database, [&](Changes&) { erased = Delete(*database, place, record); });
  return erased;
}

void Store::Read(const Descriptor* record, const std::function<void(const Message&)>& visit,
                 const std::function<void(const std::string&)>& on_bad_row) {
  const Table& table = catalogue_.Get(record);
  Database* database = OpenIfThere(table.database);
  if (database == nullptr || !database->HasTable(table)) return;
  const Place& place = Prepare(*database, table);
  Statement select(database->connection, place.select + " ORDER BY _rowid_");
  while (select.Step()) {
    std::unique_ptr<Message> row;
    try {
      row = database->ReadRow(place, select);
    } catch (const StoreError& error) {
      if (on_bad_row == nullptr) throw;
      on_bad_row(error.what());
      continue;
    }
    visit(*row);
  }
}

Changes Store::Trim() {
  Changes all;
  for (const Table& table : catalogue_.tables()) {
    Database* database = OpenIfThere(table.database);
    if (database == nullptr || !database->HasTable(table)) continue;
    Place& place = PrepareToWrite(*database, table);
    all += Write(*database, [&](Changes&) { database->Touch(place); });
  }
  return all;
}

void Store::TrimRows(Database& database, Place& place, Changes& changes) {
  if (place.table.max_time_days != 0) {
    const std::string oldest =
        TimeText(options_.clock() - std::chrono::days(place.table.max_time_days));
    Drop(
        database, place, std::string("\"time\" < ? AND ") + kWellFormedTime,
        [&](Statement& statement) { statement.Bind(1, std::string_view(oldest)); }, changes);
  }
  if (place.table.max_rows != 0) {
    Drop(
        database, place,
        "_rowid_ IN (SELECT _rowid_ FROM " + place.name +
            " ORDER BY \"time\" DESC, _rowid_ DESC LIMIT -1 OFFSET ?)",
        [&](Statement& statement) { statement.Bind(1, int64_t{place.table.max_rows}); }, changes);
  }
}

void Store::Drop(Database& database, Place& place, const std::string& condition,
                 const std::function<void(Statement&)>& bind, Changes& changes) {
  if (!place.table.state) {
    Statement& drop =
        database.connection.Prepared("DELETE FROM " + place.name + " WHERE " + condition);
    bind(drop);
    drop.Run();
    changes.trimmed += database.connection.Changes();
    return;
  }
  std::vector<std::unique_ptr<Message>> gone;
  Statement& select = database.connection.Prepared(place.select + " WHERE " + condition);
  bind(select);
  while (select.Step()) gone.push_back(database.ReadRow(place, select));
  select.Start();
  for (const auto& row : gone) changes.trimmed += Delete(database, place, *row);
}

void Store::TrimSize(Database& database, const std::string& name, Changes& changes) {
  const int64_t limit = int64_t{catalogue_.MaxSizeMb(name)} << 20;
  if (limit == 0) return;
  Connection& connection = database.connection;
  const std::string schema = Quoted(database.SchemaOf(name));
  const int64_t page_size = connection.Number("PRAGMA " + schema + ".page_size");
  const auto used = [&] {
    return page_size * (connection.Number("PRAGMA " + schema + ".page_count") -
                        connection.Number("PRAGMA " + schema + ".freelist_count"));
  };
  bool dropped = false;
  while (used() > limit) {
    const Table* oldest = nullptr;
    std::string oldest_time;
    for (const Table& table : catalogue_.tables()) {
      if (table.database != name || table.state || !database.HasTable(table)) continue;
      Statement first(connection,
                      "SELECT " + std::string(table.time != nullptr ? "\"time\"" : "''") +
                          " FROM " + schema + "." + Quoted(table.name) + " ORDER BY 1 LIMIT 1");
      if (!first.Step()) continue;
      const std::string time(first.Bytes(0));
      if (oldest == nullptr || time < oldest_time) {
        oldest = &table;
        oldest_time = time;
      }
    }
    if (oldest == nullptr) {
      throw StoreError(FileOf(name).string() + ": database " + name + " is full: its limit is " +
                       std::to_string(limit >> 20) +
                       " MB and its \"State\" rows alone need more; nothing was stored");
    }
    // A sixteenth at a time: few rounds, and little more than needed goes.
    const std::string table = schema + "." + Quoted(oldest->name);
    const int64_t rows =
        std::max<int64_t>(1, connection.Number("SELECT count(*) FROM " + table) / 16);
    connection.Execute("DELETE FROM " + table + " WHERE _rowid_ IN (SELECT _rowid_ FROM " + table +
                       " ORDER BY " + (oldest->time != nullptr ? "\"time\", " : "") +
                       "_rowid_ LIMIT " + std::to_string(rows) + ")");
    changes.trimmed += connection.Changes();
    dropped = true;
  }
  if (dropped) connection.Execute("PRAGMA " + schema + ".incremental_vacuum");
}

void Store::ReadAfter(const Descriptor* record, int64_t after,
                      const std::function<void(int64_t, const Message*)>& visit,
                      const std::function<void(const std::string&)>& on_bad_row) {
  const Table& table = catalogue_.Get(record);
  Database* database = OpenIfThere(table.database);
  if (database == nullptr || !database->HasTable(table)) return;
  const Place& place = Prepare(*database, table);
  Statement select(database->connection, place.select + " WHERE _rowid_ > ? ORDER BY _rowid_");
  select.Bind(1, after);
  const int arrival = static_cast<int>(table.columns.size());
  while (select.Step()) {
    std::unique_ptr<Message> row;
    try {
      row = database->ReadRow(place, select);
    } catch (const StoreError& error) {
      on_bad_row(error.what());
    }
    visit(select.Integer(arrival), row.get());
  }
}

int64_t Store::CountRows(const Table& table) {
  Database* database = OpenIfThere(table.database);
  if (database == nullptr || !database->HasTable(table)) return 0;
  return database->connection.Number("SELECT count(*) FROM " +
                                     Quoted(database->SchemaOf(table.database)) + "." +
                                     Quoted(table.name));
}

std::optional<Store::Usage> Store::MeasureTable(const Table& table) {
  Database* database = OpenIfThere(table.database);
  if (database == nullptr || !database->HasTable(table)) return std::nullopt;
  Usage usage{CountRows(table), std::nullopt, std::nullopt};
  Connection& connection = database->connection;
  if (connection.Number("SELECT sqlite_compileoption_used('ENABLE_DBSTAT_VTAB')") != 0) {
    Statement& size = connection.Prepared("SELECT sum(pgsize) FROM dbstat WHERE name = ?");
    size.Bind(1, std::string_view(table.name));
    if (size.Step()) usage.bytes = size.Integer(0);
    size.Start();
  }
  if (table.time != nullptr) {
    Statement age(connection, "SELECT julianday(?) - julianday(min(\"time\")) FROM \"main\"." +
                                  Quoted(table.name) + " WHERE " + kWellFormedTime);
    const std::string now = TimeText(options_.clock());
    age.Bind(1, std::string_view(now));
    if (age.Step() && age.Type(0) != SQLITE_NULL && age.Real(0) >= 0) {
      usage.age_days = static_cast<uint32_t>(age.Real(0));
    }
  }
  return usage;
}

int64_t Store::CountChanges(const Table& state) {
  const Table* log = catalogue_.ChangeLog(state);
  Database* database = log == nullptr ? nullptr : OpenIfThere(log->database);
  if (database == nullptr || !database->HasTable(*log)) return 0;
  Statement count(database->connection,
                  "SELECT count(*) FROM \"main\"." + Quoted(log->name) + " WHERE \"type\" = ?");
  count.Bind(1, std::string_view(state.record->name()));
  return count.Step() ? count.Integer(0) : 0;
}

}  // namespace ovix::agent
