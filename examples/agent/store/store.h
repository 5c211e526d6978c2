// Store: keeps the records of the contracts in SQLite databases, one file per database name. It
// reads everything that it knows of a record from the record's descriptor and options.
#ifndef OVIX_AGENT_STORE_STORE_H_
#define OVIX_AGENT_STORE_STORE_H_

#include <google/protobuf/message.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "store/sqlite.h"
#include "store/values.h"

namespace ovix::agent {

// What a write did, in rows. Rows of change logs are not counted among them.
struct Changes {
  int64_t inserted = 0;   // new keys of "State" tables
  int64_t updated = 0;    // "State" rows with another content than before
  int64_t deleted = 0;    // "State" rows taken out
  int64_t unchanged = 0;  // "State" rows seen again as they were; only their time is new
  int64_t appended = 0;   // rows of "Historical" tables
  int64_t trimmed = 0;    // rows dropped to keep a limit, change logs included

  Changes& operator+=(const Changes& other);
};

// Every write is one transaction over the table and its change log: after a crash, a kill or an
// error it is there whole or not at all, and once the call has returned it is on the disk.
//
// Limits are kept by each write for the tables that it touched, and by Trim() for all: rows older
// than max_time_days (by their `time`, which must be in the form of TimeText; others never grow
// old) and rows beyond max_rows go, the oldest first; when a database is larger than its
// max_size_mb the oldest rows of its "Historical" tables go until it fits. A "State" row is never
// dropped for space.
//
// All operations throw StoreError. One store belongs to one thread at a time; several stores, in
// one process or many, may share a folder.
class Store {
 public:
  struct Options {
    std::chrono::milliseconds patience{5000};  // how long to wait for another program's lock
    std::function<std::chrono::system_clock::time_point()> clock = std::chrono::system_clock::now;
  };

  // Makes the folder where it is missing; databases are opened when first used.
  Store(std::filesystem::path folder, const Catalogue& catalogue, Options options);
  Store(std::filesystem::path folder, const Catalogue& catalogue);
  ~Store();

  // Keeps records of any tables; those of one database in one transaction. A "State" record becomes
  // the row of its key, a "Historical" one is appended (its key, where it has one, must be new).
  Changes Put(const std::vector<const google::protobuf::Message*>& records);
  Changes Put(const google::protobuf::Message& record) { return Put(std::vector{&record}); }

  // Makes a "State" table hold exactly these rows: what is missing from them is deleted. Of two
  // rows with one key the later counts.
  Changes Replace(const google::protobuf::Descriptor* record,
                  const std::vector<const google::protobuf::Message*>& rows);

  // Deletes the row of a "State" table with this record's key; false where there is none.
  bool Erase(const google::protobuf::Message& record);

  // Calls `visit` with each row, in the order of their insertion (or of an integer key). `visit`
  // must not write to this store. A row that no longer reads is told to `on_bad_row`, in one line
  // with database, table and key, and passed over; without `on_bad_row` it is thrown.
  void Read(const google::protobuf::Descriptor* record,
            const std::function<void(const google::protobuf::Message&)>& visit,
            const std::function<void(const std::string&)>& on_bad_row = nullptr);

  // The rows of a "Historical" table whose arrival number is greater than `after`, as they came; null
  // for one that does not read, which is told to `on_bad_row`.
  void ReadAfter(const google::protobuf::Descriptor* record, int64_t after,
                 const std::function<void(int64_t, const google::protobuf::Message*)>& visit,
                 const std::function<void(const std::string&)>& on_bad_row);

  // Applies the limits of every table of the databases that exist.
  Changes Trim();

  // Rows of a table, and changes recorded of a "State" table; 0 where its database is not there.
  int64_t CountRows(const Table& table);
  int64_t CountChanges(const Table& state);

  struct Usage {
    int64_t rows;
    std::optional<int64_t> bytes;      // where this SQLite can tell
    std::optional<uint32_t> age_days;  // whole days since the `time` of the oldest row
  };
  // What a table takes; nothing where it is not there.
  std::optional<Usage> MeasureTable(const Table& table);

  std::filesystem::path FileOf(const std::string& database) const;

 private:
  struct Database;
  struct Place;

  Database& Open(const std::string& name);
  Database* OpenIfThere(const std::string& name);
  // Creates or extends the table where that is needed, and knows its statements.
  Place& Prepare(Database& database, const Table& table);
  // The same for a table and its change log.
  Place& PrepareToWrite(Database& database, const Table& table);
  // The table of a "State" record; throws for any other.
  const Table& GetState(const google::protobuf::Descriptor* record) const;
  // Runs `write` in one transaction and then keeps the limits of what it touched.
  Changes Write(Database& database, const std::function<void(Changes&)>& write);

  void PutState(Database& database, Place& place, const google::protobuf::Message& row,
                Changes& changes);
  // Deletes the row of this key and records it; false where there is none.
  bool Delete(Database& database, Place& place, const google::protobuf::Message& row);
  void Append(Database& database, Place& place, const google::protobuf::Message& row);
  // Appends to the table's change log, where it has one; null for a state that there is not.
  void RecordChange(Database& database, const Table& state, const google::protobuf::Message* before,
                    const google::protobuf::Message* after);

  void TrimRows(Database& database, Place& place, Changes& changes);
  // Drops the rows that an SQL condition with one value chooses.
  void Drop(Database& database, Place& place, const std::string& condition,
            const std::function<void(Statement&)>& bind, Changes& changes);
  void TrimSize(Database& database, const std::string& name, Changes& changes);

  std::filesystem::path folder_;
  const Catalogue& catalogue_;
  Options options_;
  std::map<std::string, std::unique_ptr<Database>> databases_;
};

}  // namespace ovix::agent

#endif  // OVIX_AGENT_STORE_STORE_H_
