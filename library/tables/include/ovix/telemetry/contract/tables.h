// The tables that the contracts declare, and their SQL for SQLite: what a store creates, and what
// it adds to the tables of an older release. Everything is read from descriptors and options;
// nothing here opens a database.
//
//   namespace tables = ovix::telemetry::contract::tables;
//   const tables::Catalogue catalogue;
//   for (const tables::Table& table : catalogue.tables()) {
//     for (const std::string& sql : tables::CreateSql(table)) Execute(table.database, sql);
//   }
//
// Nothing here has state of its own: any number of threads may use one const object.
#ifndef OVIX_TELEMETRY_CONTRACT_TABLES_H_
#define OVIX_TELEMETRY_CONTRACT_TABLES_H_

#include <cstdint>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include <google/protobuf/descriptor.h>

namespace ovix::telemetry::contract::tables {

// Options that contradict themselves, or a table that cannot be brought to a newer release: one
// line that names the record or the table and says why.
class TableError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Whether SQLite takes both for the name of one table or column: the letters A to Z match without
// regard to case. Windows compares names of files so too, and therefore names of databases.
bool IsSameName(std::string_view a, std::string_view b);

// An order in which such names are one.
struct NameOrder {
  bool operator()(const std::string& a, const std::string& b) const;
};

// How a field's value lies in its column.
enum class ColumnKind {
  kInteger,  // INTEGER: integers, bool, enumerations by number. A uint64 keeps its 64 bits, so that
             // values from 2^63 read as negative (printf('%u', c) shows them unsigned).
  kReal,  // REAL. Negative zero and NaN, which REAL cannot hold, are a BLOB of their IEEE 754 bits.
  kText,  // TEXT: a string
  kBlob,  // BLOB: a bytes field
  kJson,  // TEXT: a message, a list or a map, as protobuf's JSON with the schema's field names
};

// One column of a table: one field of its record.
struct Column {
  const google::protobuf::FieldDescriptor* field;  // the schema's, which must live as long
  ColumnKind kind;
  bool key;  // part of the primary key

  // The field's name, unquoted.
  const std::string& name() const { return field->name(); }
  // INTEGER, REAL, TEXT or BLOB; a literal.
  const char* Type() const;
  // "name" TYPE [NOT NULL], as CREATE TABLE and ADD COLUMN take it.
  std::string Definition() const;
};

// How one record type is kept.
struct Table {
  // `record` must be a table by its options and live as long. Throws TableError for options that
  // contradict themselves (an unknown type, a "State" record without a key, limits without a time,
  // no database), and for names that SQLite cannot have: two columns of one name, a table or column
  // of the store's or SQLite's own.
  explicit Table(const google::protobuf::Descriptor* record);

  const google::protobuf::Descriptor* record;
  std::string name;  // the option table.name, else the message's name
  std::string database;
  bool state;                   // one row per key; else appended
  uint32_t max_rows;            // 0: no limit
  uint32_t max_time_days;       // 0: no limit
  std::vector<Column> columns;  // one per field, in the order of the schema
  std::vector<Column> key;      // in field-number order; empty without a key
  // The column that numbers the rows in the order in which a store got them, unquoted: SQLite's own
  // _rowid_, or _arrival where a key of one integer has taken that (has_arrival_column). A store
  // never gives a number twice.
  std::string arrival;
  // The text field `time`; null without one.
  const google::protobuf::FieldDescriptor* time = nullptr;

  // Whether it is a record of changes to "State" rows, by its shape.
  bool is_change_log() const;
  // Whether `arrival` is a column in addition to those of the fields, with an index.
  bool has_arrival_column() const;
  // Whether a store looks for its oldest rows, for which it has an index on `time`.
  bool has_time_index() const;
};

// The "Historical" table that records the inserts, updates and deletes of a "State" table; null
// where there is none. It points into `tables`. The options do not say it, the names do: a record's
// change log is the one named after it (DeviceLocationEvents), else the one of the same package
// whose name, without "Events", is the longest beginning of the record's, where Hw and Fw mean
// Hardware and Firmware (HardwareEvents for HwBattery, PeripheralEvents for PeripheralDisplays).
const Table* FindChangeLog(const Table& state, const std::vector<Table>& tables);

// Every table that a set of contracts declares, the limits of their databases, and which table
// records the changes of which. Immutable once made; Tables that it gives live as long as it does.
class Catalogue {
 public:
  // The tables of the library: an iteration over ContractsCollection.
  Catalogue();
  // The tables among these messages; those without the option persistance are skipped. Throws
  // TableError where options contradict themselves, two records claim one table, or the names of
  // two databases differ only in case.
  explicit Catalogue(const std::vector<const google::protobuf::Descriptor*>& messages);

  Catalogue(const Catalogue&) = delete;
  Catalogue& operator=(const Catalogue&) = delete;

  // In the order of the messages.
  const std::vector<Table>& tables() const { return tables_; }

  // Throws TableError if the type is not a table.
  const Table& Get(const google::protobuf::Descriptor* record) const;

  // The table of this name, as SQLite compares names; null where there is none.
  const Table* Find(const std::string& database, const std::string& name) const;

  // The change log of a "State" table of this catalogue (see FindChangeLog); null without one.
  const Table* ChangeLog(const Table& state) const;

  // In megabytes (2^20 bytes); 0: no limit.
  uint32_t MaxSizeMb(const std::string& database) const;

 private:
  std::vector<Table> tables_;
  std::unordered_map<const google::protobuf::Descriptor*, const Table*> by_record_;
  std::unordered_map<const Table*, const Table*> change_logs_;
  std::map<std::string, uint32_t> max_size_mb_;
};

// The value of the option persistance.type: empty for a message that is not a table. It lives as
// long as the descriptor.
const std::string& PersistanceType(const google::protobuf::Descriptor* message);

// "name" as an SQL identifier.
std::string Quoted(std::string_view name);

// Statements carry no semicolon. `schema` is the name under which a database is attached, unquoted;
// without it names have no prefix.

// What a new, empty database needs before its first table: freed pages can then be given back,
// which keeping a size limit needs.
std::string NewDatabaseSql(std::string_view schema = "");

// What distinguishes a database of a store from any other: SQLite's application_id ("OVIX") and, in
// user_version, the version of what the store keeps in addition to the tables of the contracts.
// Databases of release 1.0.0 have 0 for both.
inline constexpr int32_t kApplicationId = 0x4f564958;
inline constexpr int32_t kLayoutVersion = 1;
// The table of the store's own numbers: name TEXT, value INTEGER.
inline constexpr char kStoreTable[] = "_store";

// Sets both and creates the table of the store's own numbers. A new database also gets a random
// number of its own there, under the name `database`.
std::vector<std::string> LayoutSql(bool is_new, std::string_view schema = "");

// The table and its indexes.
std::vector<std::string> CreateSql(const Table& table, std::string_view schema = "");

// A table as it exists, in a database or in an older release.
struct StandingTable {
  struct StandingColumn {
    std::string type;  // as Column::Type()
    int key = 0;       // place in the primary key, from 1; 0: no part of it
  };
  std::map<std::string, StandingColumn, NameOrder> columns;
  bool has_time_index = false;
};

// How a release declares it.
StandingTable Standing(const Table& table);

// What brings an existing table to what `table` says: missing columns and the missing index. None
// if it is so already; columns that `table` does not know are left alone. Throws TableError
// where a column has another type or the key is another, for then rows would have to be rewritten.
std::vector<std::string> MigrateSql(const Table& table, const StandingTable& standing,
                                    std::string_view schema = "");

}  // namespace ovix::telemetry::contract::tables

#endif  // OVIX_TELEMETRY_CONTRACT_TABLES_H_
