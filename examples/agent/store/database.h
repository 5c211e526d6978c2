// An open database of the store: whose it is, its tables as they are, and the statements that
// work on them.
#ifndef OVIX_AGENT_STORE_DATABASE_H_
#define OVIX_AGENT_STORE_DATABASE_H_

#include <google/protobuf/message.h>

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "store/sqlite.h"
#include "store/values.h"

namespace ovix::agent {

// A table in an open database, and the text of the statements that work on it.
struct Place {
  // A column of `table` that is missing in `standing` reads as absent.
  Place(const Table& table, std::string schema, const telemetry::contract::tables::StandingTable&);

  // Where a row of `select` holds its _rowid_, and its number of arrival.
  int row_id() const { return static_cast<int>(table.columns.size()); }
  int arrival() const { return row_id() + 1; }

  const Table& table;
  const std::string schema;
  const std::string name;            // with the schema, quoted
  const std::string arrival_column;  // quoted
  std::string select, select_by_key, insert, update;
  // The last number of arrival that was given, known from the first row that a write appends.
  std::optional<int64_t> last_arrival;
};

class Database {
 public:
  // Opens the file of the database `name`. Throws StoreError where it is not a database of a store.
  Database(const Catalogue& catalogue, std::string name, const std::filesystem::path& file,
           Patience& patience, Connection::Mode mode);
  // Attaches the database of a change log, so that a row and the record of its change are written
  // in one transaction.
  void Attach(const std::string& name, const std::filesystem::path& file);

  Connection& connection() { return connection_; }
  const Connection& connection() const { return connection_; }
  const std::string& name() const { return name_; }
  std::string SchemaOf(const std::string& database) const;
  std::string SchemaOf(const Table& table) const { return SchemaOf(table.database); }
  // The file of a schema.
  const std::filesystem::path& FileOf(const std::string& schema) const;
  // Whether it holds nothing at all.
  bool IsEmpty(const std::string& schema);
  bool HasTable(const Table& table);

  // The table as it is, to be read; nothing where it does not exist.
  std::optional<Place> Find(const Table& table);
  // The table as its record says, created or extended where it is not; within a transaction.
  Place& Prepare(const Table& table);

  // The row that the statement, a `select` of the place, is at. Throws StoreError for one that
  // no longer reads, naming its database, table and key.
  std::unique_ptr<google::protobuf::Message> ReadRow(const Place& place,
                                                     const Statement& row) const;

  // The store's own numbers in a database; nothing where none is kept under that name.
  std::optional<int64_t> Number(const std::string& schema, const std::string& name);
  void SetNumber(const std::string& schema, const std::string& name, int64_t value);

  // The highest number of arrival that a row of the table ever had.
  int64_t LastArrival(const Table& table);
  // The number of the next row that arrives; within a transaction.
  int64_t NextArrival(Place& place);
  // Keeps the numbers that were given; within the transaction that gave them.
  void KeepArrivals();

  // The bytes of a schema's pages that are in use.
  int64_t UsedBytes(const std::string& schema);

  // Notes that a write changed the table, so that its limits are due.
  void Touch(Place& place);
  const std::vector<Place*>& touched() const { return touched_; }
  void BeginWrite();
  // Whether the write that goes on has made the database.
  bool IsNew(const std::string& schema) const { return new_schemas_.contains(schema); }
  // What was in use of a schema when the write began.
  int64_t UsedBefore(const std::string& schema) const { return used_before_.at(schema); }

 private:
  void CheckIsOurs(const std::string& database, const std::filesystem::path& file);
  bool Has(const std::string& schema, std::string_view type, const std::string& object);
  std::optional<telemetry::contract::tables::StandingTable> Standing(const Table& table);
  std::vector<std::string> MissingDefinitions(const Table& table);
  int64_t LastArrival(const Place& place);

  const Catalogue& catalogue_;
  const std::string name_;
  Connection connection_;
  std::map<const Table*, Place> places_;
  std::set<std::string> with_store_table_;
  std::vector<Place*> touched_;
  std::set<std::string> new_schemas_;
  std::map<std::string, int64_t> used_before_;
};

}  // namespace ovix::agent

#endif  // OVIX_AGENT_STORE_DATABASE_H_
