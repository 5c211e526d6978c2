// What one write does to the rows of a database, within its transaction.
#ifndef OVIX_AGENT_STORE_WRITER_H_
#define OVIX_AGENT_STORE_WRITER_H_

#include <google/protobuf/message.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "store/database.h"

namespace ovix::agent {

// Why a row was dropped to keep a limit.
enum class Limit { kAge, kRows, kSize };

// What a write did, in rows. Rows of change logs are not counted among them.
struct Changes {
  int64_t inserted = 0;    // new keys of "State" tables
  int64_t updated = 0;     // "State" rows with another content than before
  int64_t deleted = 0;     // "State" rows taken out
  int64_t unchanged = 0;   // "State" rows seen again as they were; only their time is new
  int64_t appended = 0;    // rows of "Historical" tables
  int64_t unreadable = 0;  // "State" rows that no longer read and were replaced or deleted
  int64_t trimmed = 0;     // rows dropped to keep a limit, change logs included

  // The same rows by table and limit.
  std::map<std::pair<const Table*, Limit>, int64_t> dropped;
  // How many days the clock is ahead of what the store believes; 0 where it believes the clock.
  int64_t clock_ahead_days = 0;

  Changes& operator+=(const Changes& other);
  void Drop(const Table& table, Limit limit, int64_t rows);
};

class Writer {
 public:
  // `problems` gets a line for each row that no longer reads.
  Writer(Database& database, const Catalogue& catalogue, std::chrono::system_clock::time_point now,
         Changes& changes, std::vector<std::string>& problems);

  Database& database() { return database_; }
  Changes& changes() { return changes_; }
  std::chrono::system_clock::time_point now() const { return now_; }

  // The table and its change log, made ready.
  Place& Prepare(const Table& table);
  // Keeps a row of any table.
  void Put(const google::protobuf::Message& row);
  // Makes a "State" table hold exactly these rows; of two with one key the later counts.
  void Replace(const Table& table, const std::vector<const google::protobuf::Message*>& rows);
  // Deletes the row with the key of this one and records it; false where there is none.
  bool Erase(const google::protobuf::Message& row);
  // Deletes the "State" rows that `where` chooses, and records each; gives how many there were.
  int64_t Delete(Place& place, const std::string& where,
                 const std::function<void(Statement&)>& bind);

 private:
  struct Kept {
    int64_t row_id;
    // Of a row that no longer reads what still does; null where its key does not.
    std::unique_ptr<google::protobuf::Message> row;
    bool reads;
  };
  Kept ReadKept(const Place& place, const Statement& row, const char* what_becomes_of_it);
  void PutState(Place& place, const google::protobuf::Message& row);
  void Delete(Place& place, const Kept& kept);
  void Append(Place& place, const google::protobuf::Message& row);
  // Appends to the table's change log, where it has one; null for a state that there is not, or
  // that no longer reads.
  void RecordChange(const Table& state, int event, const google::protobuf::Message* before,
                    const google::protobuf::Message* after);

  Database& database_;
  const Catalogue& catalogue_;
  const std::chrono::system_clock::time_point now_;
  Changes& changes_;
  std::vector<std::string>& problems_;
};

}  // namespace ovix::agent

#endif  // OVIX_AGENT_STORE_WRITER_H_
