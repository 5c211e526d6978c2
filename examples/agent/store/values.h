// The values of records in the columns of their tables.
#ifndef OVIX_AGENT_STORE_VALUES_H_
#define OVIX_AGENT_STORE_VALUES_H_

#include <google/protobuf/message.h>

#include <memory>
#include <string>
#include <vector>

#include "ovix/telemetry/contract/tables.h"
#include "store/sqlite.h"

namespace ovix::agent {

using telemetry::contract::tables::Catalogue;
using telemetry::contract::tables::Column;
using telemetry::contract::tables::ColumnKind;
using telemetry::contract::tables::Table;

// Binds the columns' values of `record` to the parameters from `first` on: NULL for an absent
// value. Throws StoreError for a value that would not come back the same. `record` must stay as it
// is until the statement is reset.
void Bind(const std::vector<Column>& columns, const google::protobuf::Message& record,
          Statement& statement, int first);
// Sets the column's field of `record` from a row's place; NULL leaves it absent. Throws StoreError
// for a value that the field cannot hold.
void Read(const Column& column, const Statement& row, int place, google::protobuf::Message& record);

// An empty record of the table; its class must be linked in.
std::unique_ptr<google::protobuf::Message> NewRow(const Table& table);

// The row's `time`; empty where the table has none.
std::string TimeOf(const Table& table, const google::protobuf::Message& row);

}  // namespace ovix::agent

#endif  // OVIX_AGENT_STORE_VALUES_H_
