#include "store/store.h"

#include <algorithm>
#include <set>
#include <system_error>
#include <tuple>
#include <utility>

#include "store/files/files.h"
#include "store/json.h"
#include "store/own_files.h"
#include "store/retention.h"
#include "store/set_aside.h"
#include "store/time.h"

namespace ovix::agent {

namespace tables = telemetry::contract::tables;
using google::protobuf::Descriptor;
using google::protobuf::Message;

namespace {

// A file was put in place of one that is open: by another store, which renamed or removed it.
struct FileMoved {};

void CheckKeepable(const Message& record) {
  const std::string unkeepable = FindUnkeepable(record);
  if (!unkeepable.empty()) {
    throw StoreError(unkeepable +
                     ": holds text that is not UTF-8 or fields that its schema does not know; "
                     "nothing was stored");
  }
}

[[noreturn]] void FailToReach(const std::filesystem::path& path, const std::error_code& error) {
  const bool is_denied = error == std::errc::permission_denied;
  throw StoreError(Printable(path) + ": cannot be reached (" + error.message() + "); " +
                       (is_denied ? "check the permissions" : "name a folder that can be read"),
                   is_denied ? StoreError::Kind::kDenied : StoreError::Kind::kInput, path);
}

}  // namespace

struct Store::Written {
  Written(const Catalogue& catalogue, const std::string& name, const std::filesystem::path& file,
          Patience& patience)
      : database(catalogue, name, file, patience, Connection::Mode::kWrite) {}

  Database database;
  // By a write that has not ended yet, and the lock under which: no other store may take these
  // empty files for databases that have lost their content.
  std::vector<std::filesystem::path> created;
  std::unique_ptr<FolderLock> creating;
};

Store::Store(std::filesystem::path folder, const Catalogue& catalogue, Options options)
    : folder_(std::move(folder)),
      catalogue_(catalogue),
      options_(std::move(options)),
      patience_(options_.patience) {
  std::error_code error;
  const auto status = std::filesystem::status(folder_, error);
  const bool is_missing =
      status.type() == std::filesystem::file_type::not_found && error != std::errc::not_a_directory;
  if (is_missing && options_.access == Access::kWrite) return;
  if (is_missing) {
    throw StoreError(Printable(folder_) + ": there is no such folder; name one that a store is in",
                     StoreError::Kind::kMissing, folder_);
  }
  if (!std::filesystem::is_directory(status)) {
    if (!error) error = std::make_error_code(std::errc::not_a_directory);
    throw StoreError(Printable(folder_) + ": the folder cannot be used (" + error.message() +
                         "); name one that can be read and written",
                     error == std::errc::permission_denied ? StoreError::Kind::kDenied
                                                           : StoreError::Kind::kInput,
                     folder_);
  }
  // Without the right to look into the folder every database would seem to be missing.
  const std::filesystem::directory_iterator first(folder_, error);
  if (error) FailToReach(folder_, error);
}

Store::Store(std::filesystem::path folder, const Catalogue& catalogue)
    : Store(std::move(folder), catalogue, Options()) {}

Store::~Store() = default;

std::filesystem::path Store::FileOf(const std::string& database) const {
  return folder_ / (database + ".db");
}

bool Store::IsThere(const std::string& name) const {
  // What cannot be reached is there: opening it reports why.
  std::error_code ignored;
  const auto status = std::filesystem::symlink_status(FileOf(name), ignored);
  return status.type() != std::filesystem::file_type::not_found;
}

template <typename Action>
auto Store::Patiently(const std::string& name, const Action& action) {
  patience_.Begin(name);
  try {
    auto result = action();
    patience_.End(true);
    return result;
  } catch (const StoreError& error) {
    patience_.End(error.kind() != StoreError::Kind::kLocked);
    throw;
  }
}

std::unique_ptr<FolderLock> Store::LockFolder(FolderLock::Kind kind) {
  return Patiently("", [&] { return std::make_unique<FolderLock>(folder_, patience_, kind); });
}

std::pair<Database*, bool> Store::BeginRead(const std::string& name) {
  const auto found = read_.find(name);
  if (in_snapshot_) {
    if (const auto failed = unreadable_.find(name); failed != unreadable_.end()) {
      throw failed->second;
    }
    return {found == read_.end() ? nullptr : found->second.get(), false};
  }
  if (found != read_.end() && found->second->connection().IsInTransaction()) {
    return {found->second.get(), false};
  }
  return Patiently(name, [&]() -> std::pair<Database*, bool> {
    try {
      if (found == read_.end() || found->second->connection().HasMoved()) {
        read_.erase(name);
        if (!IsThere(name)) return {nullptr, false};
        read_.emplace(name, std::make_unique<Database>(catalogue_, name, FileOf(name), patience_,
                                                       Connection::Mode::kRead));
      }
      Database* database = read_.at(name).get();
      database->connection().BeginRead();
      return {database, true};
    } catch (...) {
      read_.erase(name);
      throw;
    }
  });
}

// Within another read of the database, or a snapshot, it is a part of that.
class Store::Reading {
 public:
  Reading(Store& store, const std::string& name) {
    // A database that another store renames stays open here, and the journal of the new one
    // would be taken for its own: no file may be renamed until the read has its lock.
    const auto lock = store.LockFolder(FolderLock::Kind::kShared);
    std::tie(database_, has_begun_) = store.BeginRead(name);
  }
  ~Reading() {
    if (has_begun_) database_->connection().EndRead();
  }
  Reading(const Reading&) = delete;
  Reading& operator=(const Reading&) = delete;

  // Null where the database is not there.
  Database* get() const { return database_; }
  Database* operator->() const { return database_; }

 private:
  Database* database_ = nullptr;
  bool has_begun_ = false;
};

Store::Written& Store::OpenToWrite(const std::string& name) {
  if (options_.access != Access::kWrite || in_snapshot_) {
    throw StoreError(Printable(folder_) + ": the store was opened to read, or is being read",
                     StoreError::Kind::kInput, folder_);
  }
  const auto found = written_.find(name);
  if (found != written_.end()) return *found->second;

  MakeFolderReady();
  std::vector<std::filesystem::path> created;
  const auto make_ready = [&](const std::filesystem::path& file) {
    if (CreatePrivateFile(file)) created.push_back(file);
  };
  // Not while another store creates, removes or renames the files of these names.
  auto lock = std::make_unique<FolderLock>(folder_, patience_);
  try {
    make_ready(FileOf(name));
    auto written = std::make_unique<Written>(catalogue_, name, FileOf(name), patience_);
    std::set<std::string> attached = {name};
    for (const Table& table : catalogue_.tables()) {
      const Table* log = table.database == name ? catalogue_.ChangeLog(table) : nullptr;
      if (log == nullptr || !attached.insert(log->database).second) continue;
      make_ready(FileOf(log->database));
      written->database.Attach(log->database, FileOf(log->database));
    }
    written->created = std::move(created);
    if (!written->created.empty()) written->creating = std::move(lock);
    return *written_.emplace(name, std::move(written)).first->second;
  } catch (...) {
    RemoveEmpty(created, std::move(lock));
    throw;
  }
}

void Store::MakeFolderReady() {
  if (folder_is_ready_) return;
  created_folders_ = CreatePrivateFolder(folder_);
  for (const auto& created : created_folders_) SyncFolder(created.parent_path());
  if (created_folders_.empty()) CloseToOthers(folder_, catalogue_);
  folder_is_ready_ = true;
}

void Store::Close(const std::string& name) {
  std::vector<std::filesystem::path> created;
  std::unique_ptr<FolderLock> lock;
  if (const auto found = written_.find(name); found != written_.end()) {
    created = std::move(found->second->created);
    lock = std::move(found->second->creating);
    written_.erase(found);
  }
  RemoveEmpty(created, std::move(lock));
  folder_is_ready_ = false;
}

void Store::KeepCreated(const std::string& name) {
  Written& written = *written_.at(name);
  created_folders_.clear();
  if (written.created.empty()) return;
  bool all_are_used = true;
  try {
    for (const auto& [schema, file] : written.database.connection().schemas()) {
      all_are_used = all_are_used && !written.database.IsEmpty(schema);
    }
  } catch (const StoreError&) {
    all_are_used = false;  // the write is done, whatever the disk does now
  }
  if (all_are_used) {
    written.created.clear();
    written.creating.reset();
  } else {
    Close(name);
  }
}

void Store::ReportEmptied(const Written& written) {
  for (const auto& [schema, file] : written.database.connection().schemas()) {
    const bool is_created =
        std::find(written.created.begin(), written.created.end(), file) != written.created.end();
    if (is_created || !written.database.IsNew(schema)) continue;
    problems_.push_back(
        Printable(file) +
        ": the database was empty, left by a first write that did not end or emptied "
        "since; a new one was begun");
  }
}

void Store::RemoveEmpty(const std::vector<std::filesystem::path>& created,
                        std::unique_ptr<FolderLock> lock) {
  std::error_code ignored;
  if (!created.empty() && lock == nullptr) {
    try {
      lock = LockFolder(FolderLock::Kind::kAlone);
    } catch (const StoreError&) {
      // The empty files stay; the next write takes them for new.
    }
  }
  if (lock != nullptr) {
    for (const std::filesystem::path& file : created) {
      bool is_empty = false;
      try {
        // Under the file's lock: another store may be about to write to it, and opens the file of
        // this name again where it finds that this one is gone.
        Connection connection(file, std::chrono::milliseconds(0), Connection::Mode::kWrite);
        connection.Execute("BEGIN EXCLUSIVE");
        is_empty = connection.Number("SELECT count(*) FROM sqlite_schema") == 0;
        if (is_empty && std::filesystem::remove(file, ignored)) is_empty = false;
      } catch (const StoreError&) {
        continue;  // in use, so not empty for long
      }
      // Windows removes no open file.
      if (is_empty) std::filesystem::remove(file, ignored);
    }
  }
  for (const std::filesystem::path& folder : created_folders_) {
    std::filesystem::remove(folder, ignored);
  }
  created_folders_.clear();
}

void Store::SetAside(const StoreError& damaged) {
  read_.clear();
  const auto lock = LockFolder(FolderLock::Kind::kAlone);
  if (!IsDamaged(damaged.file())) return;  // another store was first
  std::string line = damaged.what();
  line.erase(line.rfind(';'));
  problems_.push_back(agent::SetAside(damaged.file(), line, options_.clock(), options_.patience));
}

const Table& Store::GetState(const Descriptor* record) const {
  const Table& table = catalogue_.Get(record);
  if (!table.state) {
    throw StoreError(record->full_name() +
                     ": is a \"Historical\" table; its rows are only appended");
  }
  return table;
}

Changes Store::Write(const std::string& name, const std::function<void(Writer&)>& write) {
  for (int attempts_left = 8;; --attempts_left) {
    try {
      Changes changes = Patiently(name, [&] { return WriteOnce(OpenToWrite(name), write); });
      ReportEmptied(*written_.at(name));
      KeepCreated(name);
      return changes;
    } catch (const FileMoved&) {
      Close(name);
      if (attempts_left == 0) {
        throw StoreError(
            Printable(FileOf(name)) + ": another program keeps putting another file in its place",
            StoreError::Kind::kLocked, FileOf(name));
      }
    } catch (const StoreError& error) {
      Close(name);
      const bool can_be_set_aside =
          error.kind() == StoreError::Kind::kDamaged && !error.file().empty();
      if (!can_be_set_aside || attempts_left == 0) throw;
      SetAside(error);
    } catch (...) {
      Close(name);
      throw;
    }
  }
}

Changes Store::WriteOnce(Written& written, const std::function<void(Writer&)>& write) {
  Database& database = written.database;
  Changes changes;
  std::vector<std::string> problems;
  // A database that another store renames stays open here, and the journal of the new one would
  // be taken for its own: no file may be renamed from before the transaction begins until it ends.
  std::unique_ptr<FolderLock> lock;
  if (written.creating == nullptr) {
    lock = std::make_unique<FolderLock>(folder_, patience_, FolderLock::Kind::kShared);
  }
  if (database.connection().HasMoved()) throw FileMoved{};
  Transaction transaction(database.connection());
  database.BeginWrite();
  Writer writer(database, catalogue_, options_.clock(), changes, problems);
  write(writer);
  KeepLimits(writer, catalogue_);
  database.KeepArrivals();
  transaction.Commit();
  ShrinkFiles(database, catalogue_);
  problems_.insert(problems_.end(), problems.begin(), problems.end());
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
    all += Write(name, [&, &group = group](Writer& writer) {
      for (const Message* record : group) writer.Put(*record);
    });
  }
  return all;
}

Changes Store::Replace(const Descriptor* record, const std::vector<const Message*>& rows) {
  const Table& table = GetState(record);
  for (const Message* row : rows) {
    if (row->GetDescriptor() != record) {
      throw StoreError(row->GetDescriptor()->full_name() + ": is not a row of " +
                       record->full_name() + "; nothing was stored");
    }
    CheckKeepable(*row);
  }
  return Write(table.database, [&](Writer& writer) { writer.Replace(table, rows); });
}

bool Store::Erase(const Message& record) {
  const Table& table = GetState(record.GetDescriptor());
  if (!IsThere(table.database)) return false;
  bool erased = false;
  Write(table.database, [&](Writer& writer) { erased = writer.Erase(record); });
  return erased;
}

Changes Store::Trim() {
  std::set<std::string> names;
  for (const Table& table : catalogue_.tables()) names.insert(table.database);
  Changes all;
  const auto goes_on = [&](const auto& action) {
    try {
      action();
    } catch (const StoreError& error) {
      problems_.push_back(error.what());
    }
  };
  for (const std::string& name : names) {
    goes_on([&] {
      if (!IsThere(name)) return;
      all += Write(name, [&](Writer& writer) {
        for (const Table& table : catalogue_.tables()) {
          if (table.database != name || !writer.database().HasTable(table)) continue;
          writer.database().Touch(writer.Prepare(table));
        }
      });
    });
  }
  // All databases have been opened, so that what their journals held is undone.
  if (options_.access == Access::kWrite) {
    goes_on([&] {
      RemoveLeftTies(folder_, catalogue_, [&] { return LockFolder(FolderLock::Kind::kAlone); });
    });
  }
  return all;
}

std::vector<std::string> Store::TakeProblems() { return std::exchange(problems_, {}); }

Store::Snapshot::Snapshot(Store& store) : store_(store) {
  if (store.in_snapshot_) {
    throw StoreError(Printable(store.folder_) + ": is in a snapshot already");
  }
  std::set<std::string> names;
  for (const Table& table : store.catalogue_.tables()) names.insert(table.database);
  store.read_.clear();
  // A write over several databases holds all of their locks until the last of them is whole; with a
  // reader's lock on each, none can come in between.
  const auto lock = store.LockFolder(FolderLock::Kind::kShared);
  for (const std::string& name : names) {
    try {
      store.BeginRead(name);
    } catch (const StoreError& error) {
      store.unreadable_.emplace(name, error);
    }
  }
  store.in_snapshot_ = true;
}

Store::Snapshot::~Snapshot() {
  store_.in_snapshot_ = false;
  store_.read_.clear();
  store_.unreadable_.clear();
}

void Store::Read(const Descriptor* record, const std::function<void(const Message&)>& visit,
                 const OnBadRow& on_bad_row) {
  const Table& table = catalogue_.Get(record);
  ReadRows(
      table, "", [](Statement&) {},
      [&](const Message* row, int64_t) {
        if (row != nullptr) visit(*row);
      },
      on_bad_row);
}

Cursor Store::ReadAfter(const Descriptor* record, const Cursor& after, size_t most,
                        const std::function<void(const Message&, const Cursor&)>& visit,
                        const OnBadRow& on_bad_row) {
  const Table& table = catalogue_.Get(record);
  if (table.state) {
    throw StoreError(record->full_name() + ": is a \"State\" table; its rows have no order");
  }
  const Reading database(*this, table.database);
  const Cursor newest = Newest(record);
  Cursor cursor = after.database == newest.database ? after : Cursor{newest.database, 0};
  const std::string column =
      table.has_arrival_column() ? tables::Quoted(table.arrival) : table.arrival;
  ReadRows(
      table, " WHERE " + column + " > ?1 ORDER BY " + column + " LIMIT ?2",
      [&](Statement& select) {
        select.Bind(1, cursor.row);
        select.Bind(2, static_cast<int64_t>(most));
      },
      [&](const Message* row, int64_t arrival) {
        cursor.row = arrival;
        if (row != nullptr) visit(*row, cursor);
      },
      on_bad_row);
  return cursor;
}

void Store::ReadRows(const Table& table, const std::string& which,
                     const std::function<void(Statement&)>& bind,
                     const std::function<void(const Message*, int64_t)>& visit,
                     const OnBadRow& on_bad_row) {
  const Reading database(*this, table.database);
  const std::optional<Place> place =
      database.get() == nullptr ? std::nullopt : database->Find(table);
  if (!place.has_value()) return;
  Statement select(database->connection(),
                   place->select + (which.empty() ? " ORDER BY " + place->arrival_column : which),
                   "main");
  bind(select);
  while (select.Step()) {
    const int64_t arrival = select.Integer(place->arrival());
    std::unique_ptr<Message> row;
    try {
      row = database->ReadRow(*place, select);
    } catch (const StoreError& error) {
      if (on_bad_row == nullptr) throw;
      on_bad_row(error.what());
    }
    visit(row.get(), arrival);
  }
}

Cursor Store::Newest(const Descriptor* record) {
  const Table& table = catalogue_.Get(record);
  const Reading database(*this, table.database);
  if (database.get() == nullptr) return {};
  return {database->Number("main", "database").value_or(0), database->LastArrival(table)};
}

int64_t Store::CountRows(const Table& table) {
  const Reading database(*this, table.database);
  if (database.get() == nullptr || !database->HasTable(table)) return 0;
  return database->connection().Number(
      "SELECT count(*) FROM \"main\"." + tables::Quoted(table.name), "main");
}

int64_t Store::CountChanges(const Table& state) {
  const Table* log = catalogue_.ChangeLog(state);
  if (log == nullptr) return 0;
  const Reading database(*this, log->database);
  if (database.get() == nullptr || !database->HasTable(*log)) return 0;
  Statement count(
      database->connection(),
      "SELECT count(*) FROM \"main\"." + tables::Quoted(log->name) + " WHERE \"type\" = ?", "main");
  count.Bind(1, std::string_view(state.record->name()));
  return count.Step() ? count.Integer(0) : 0;
}

std::optional<Store::Usage> Store::MeasureTable(const Table& table) {
  const Reading database(*this, table.database);
  if (database.get() == nullptr || !database->HasTable(table)) return std::nullopt;
  Usage usage{CountRows(table), std::nullopt, std::nullopt};
  Connection& connection = database->connection();
  if (connection.Number("SELECT sqlite_compileoption_used('ENABLE_DBSTAT_VTAB')") != 0) {
    Statement size(connection, "SELECT sum(pgsize) FROM dbstat WHERE name = ?", "main");
    size.Bind(1, std::string_view(table.name));
    if (size.Step()) usage.bytes = size.Integer(0);
  }
  if (table.time != nullptr) {
    Statement age(connection,
                  "SELECT julianday(?) - julianday(min(\"time\")) FROM \"main\"." +
                      tables::Quoted(table.name) + " WHERE " + kWellFormedTime,
                  "main");
    const std::string now = TimeText(options_.clock());
    age.Bind(1, std::string_view(now));
    if (age.Step() && age.Type(0) != SQLITE_NULL && age.Real(0) >= 0) {
      usage.age_days = static_cast<uint32_t>(age.Real(0));
    }
  }
  return usage;
}

}  // namespace ovix::agent
