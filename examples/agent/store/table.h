// Table: how one record type is kept, derived from its descriptor and options and nothing else.
#ifndef OVIX_AGENT_STORE_TABLE_H_
#define OVIX_AGENT_STORE_TABLE_H_

#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>

#include <cstdint>
#include <string>
#include <vector>

#include "store/sqlite.h"

namespace ovix::agent {

// How a field's value lies in its column.
enum class ColumnKind {
  kInteger,  // INTEGER: integers, bool, enumerations by number. A uint64 keeps its 64 bits, so that
             // values from 2^63 read as negative (printf('%u', c) shows them unsigned).
  kReal,  // REAL. Negative zero and NaN, which REAL cannot hold, are a BLOB of their IEEE 754 bits.
  kText,  // TEXT: a string
  kBlob,  // BLOB: a bytes field
  kJson,  // TEXT: a message or a list, as protobuf's JSON with the schema's field names
};

struct Column {
  const google::protobuf::FieldDescriptor* field;
  ColumnKind kind;
  bool key;  // part of the primary key

  const std::string& name() const { return field->name(); }
  // "name" TYPE [NOT NULL]
  std::string Definition() const;
  const char* Type() const;

  // Binds the field's value of `record`: NULL for an absent value. Throws StoreError for a value
  // that would not come back the same.
  void Bind(const google::protobuf::Message& record, Statement& statement, int parameter) const;
  // Sets the field of `record` from a row; NULL leaves it absent. Throws StoreError for a value
  // that the field cannot hold.
  void Read(const Statement& row, int column, google::protobuf::Message& record) const;
};

struct Table {
  // `record` must be a table by its options. Throws StoreError for options that contradict
  // themselves (an unknown type, a "State" record without a key, limits without a time, no
  // database).
  explicit Table(const google::protobuf::Message& prototype);

  const google::protobuf::Message* prototype;  // makes new rows with New()
  std::string name;                            // the option table.name, else the message's name
  std::string database;
  bool state;                   // one row per key; else appended
  uint32_t max_rows;            // 0: no limit
  uint32_t max_time_days;       // 0: no limit
  std::vector<Column> columns;  // one per field, in the order of the schema
  std::vector<Column> key;      // in field-number order; empty without a key

  const google::protobuf::Descriptor* record() const { return prototype->GetDescriptor(); }
  bool is_change_log() const;  // a record of changes to "State" rows, by its shape
  std::string time_of(const google::protobuf::Message& row) const;
  bool has_time() const { return time != nullptr; }

  const google::protobuf::FieldDescriptor* time =
      nullptr;  // the text field `time`, if there is one
};

// The value of the option persistance.type: empty for a message that is no table.
const std::string& PersistanceType(const google::protobuf::Descriptor* descriptor);

}  // namespace ovix::agent

#endif  // OVIX_AGENT_STORE_TABLE_H_
