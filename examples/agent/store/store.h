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
#include <utility>
#include <vector>

#include "store/database.h"
#include "store/files/files.h"
#include "store/patience.h"
#include "store/sqlite.h"
#include "store/values.h"
#include "store/writer.h"

namespace ovix::agent {

// How far a reader of a "Historical" table has come: past the row of this number. Rows are numbered
// from 1 in the order in which the store got them; no number is ever given twice. A default one
// is before the first row.
struct Cursor {
  int64_t database = 0;  // of which database, as a new one numbers its rows again
  int64_t row = 0;

  bool operator==(const Cursor&) const = default;
};

// Every write is one transaction over the table and its change log: after a crash, a kill or an
// error it is there whole or not at all, and once the call has returned it is on the disk.
//
// Each write keeps the limits of the tables that it touched, Trim() those of all: see
// docs/store.md.
//
// A row that no longer reads is replaced by the one that comes for its key. A database that is
// damaged is renamed, to NAME.db.damaged-TIME, by the first write that meets it, and a new one is
// made. TakeProblems() reports both.
//
// All operations throw StoreError. One store belongs to one thread at a time; several stores, in
// one process or many, may share a folder.
class Store {
 public:
  enum class Access {
    kRead,   // the folder must be there, and nothing is written or created
    kWrite,  // the folder and databases are created by the first write
  };
  struct Options {
    std::chrono::milliseconds patience{5000};  // with other programs' locks, all together
    std::function<std::chrono::system_clock::time_point()> clock = std::chrono::system_clock::now;
    Access access = Access::kWrite;
  };

  // Throws StoreError of kind kMissing where a folder to read is not there, kDenied where it may
  // not be read.
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

  // Applies the limits of every table of the databases that exist. A database that fails is
  // reported by TakeProblems(), and the others go on.
  Changes Trim();

  // One line each for what was found damaged and healed since the last call.
  std::vector<std::string> TakeProblems();

  // --- Reading. A database that is not there holds no rows; one that may not be read, is damaged
  // or another program's is an error of that kind.

  // Calls `visit` with each row, in the order of arrival. `visit` must not write to this store. A
  // row that can no longer be read is reported to `on_bad_row`, in one line with database, table
  // and key, and skipped; without `on_bad_row` it is thrown.
  using OnBadRow = std::function<void(const std::string&)>;
  void Read(const google::protobuf::Descriptor* record,
            const std::function<void(const google::protobuf::Message&)>& visit,
            const OnBadRow& on_bad_row = nullptr);

  // Calls `visit` with the first `most` rows of a "Historical" table that arrived after `after`, in
  // the order of their arrival and each with the cursor after it. Returns the cursor after the
  // last of them, rows that no longer read included: `after` itself where nothing has arrived
  // since. A cursor of a database that was replaced since is before its first row.
  Cursor ReadAfter(
      const google::protobuf::Descriptor* record, const Cursor& after, size_t most,
      const std::function<void(const google::protobuf::Message&, const Cursor&)>& visit,
      const OnBadRow& on_bad_row = nullptr);
  // The cursor after the row that arrived last, dropped rows included.
  Cursor Newest(const google::protobuf::Descriptor* record);

  // While it lives, all reads of the store see the databases as they were when it was taken, all of
  // them of one moment. Other programs' writes wait for its end, so it must be short, and its store
  // must not be written to. A database that cannot be read, or not in time, is left out: each read
  // of it is the same error.
  class Snapshot {
   public:
    explicit Snapshot(Store& store);
    ~Snapshot();
    Snapshot(const Snapshot&) = delete;
    Snapshot& operator=(const Snapshot&) = delete;

   private:
    Store& store_;
  };

  // Rows of a table, and changes recorded of a "State" table.
  int64_t CountRows(const Table& table);
  int64_t CountChanges(const Table& state);

  struct Usage {
    int64_t rows;
    std::optional<int64_t> bytes;      // if this SQLite knows
    std::optional<uint32_t> age_days;  // whole days since the `time` of the oldest row
  };
  // What a table takes; nothing where it is not there.
  std::optional<Usage> MeasureTable(const Table& table);

  std::filesystem::path FileOf(const std::string& database) const;

 private:
  // A database that is written to, and what was created for it by the write that goes on.
  struct Written;

  // A read of one database, of one moment.
  class Reading;

  // Does what meets the locks of a database.
  template <typename Action>
  auto Patiently(const std::string& name, const Action& action);
  // The lock of the folder, for which it waits as for that of a database.
  std::unique_ptr<FolderLock> LockFolder(FolderLock::Kind kind);
  // The database to be read, within a transaction that sees one moment, and whether this has begun
  // that; null where it is not there. Under the folder's lock.
  std::pair<Database*, bool> BeginRead(const std::string& name);
  bool IsThere(const std::string& name) const;
  Written& OpenToWrite(const std::string& name);
  void MakeFolderReady();
  // Closes the database and removes the files that were created for it and are empty.
  void Close(const std::string& name);
  // What was created for a database stays, but for the files that are empty.
  void KeepCreated(const std::string& name);
  // Under `lock`, the folder's, where it is held already.
  void RemoveEmpty(const std::vector<std::filesystem::path>& created,
                   std::unique_ptr<FolderLock> lock);
  // Reports the new databases of a write in files that were there and empty.
  void ReportEmptied(const Written& written);
  // Puts a damaged database out of the way.
  void SetAside(const StoreError& damaged);

  // Calls `visit` with the rows that `which` chooses, null for one that no longer reads, and their
  // numbers of arrival.
  void ReadRows(const Table& table, const std::string& which,
                const std::function<void(Statement&)>& bind,
                const std::function<void(const google::protobuf::Message*, int64_t)>& visit,
                const OnBadRow& on_bad_row);

  // The table of a "State" record; throws for any other.
  const Table& GetState(const google::protobuf::Descriptor* record) const;
  // Runs `write` in one transaction and then keeps the limits of what it touched.
  Changes Write(const std::string& database, const std::function<void(Writer&)>& write);
  Changes WriteOnce(Written& written, const std::function<void(Writer&)>& write);

  std::filesystem::path folder_;
  const Catalogue& catalogue_;
  Options options_;
  Patience patience_;
  std::map<std::string, std::unique_ptr<Written>> written_;
  std::map<std::string, std::unique_ptr<Database>> read_;
  bool folder_is_ready_ = false;
  std::vector<std::filesystem::path> created_folders_;
  bool in_snapshot_ = false;
  std::map<std::string, StoreError> unreadable_;  // in the snapshot
  std::vector<std::string> problems_;
};

}  // namespace ovix::agent

#endif  // OVIX_AGENT_STORE_STORE_H_
