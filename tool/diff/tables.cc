#include "diff/tables.h"

#include <tuple>

#include "ovix/telemetry/contract/storage/storage_options.pb.h"

namespace ovix::tool {
namespace {

namespace storage = telemetry::contract::storage;

std::string KeyText(const TableOptions& table) {
  std::string key;
  for (const FieldDescriptor* field : table.key) key += (key.empty() ? "" : ", ") + field->name();
  return key;
}

}  // namespace

void CompareTables(Findings& findings, const Descriptor* before, const Descriptor* after) {
  const std::string& name = before->full_name();
  const auto& was = before->options().GetExtension(storage::persistance);
  const auto& is = after->options().GetExtension(storage::persistance);
  if (was.database().max_size_mb() != is.database().max_size_mb()) {
    findings.Add(Change::kDatabaseSizeChanged, name,
                 "size limit of database " + before->name() + " changed " +
                     FromTo(std::to_string(was.database().max_size_mb()),
                            std::to_string(is.database().max_size_mb()) + " MB"));
  }
  if (was.type().empty() && is.type().empty()) {
    if (was.database().name() != is.database().name()) {
      findings.Add(Change::kTableDatabaseChanged, name,
                   "database changed " + FromTo(was.database().name(), is.database().name()));
    }
    return;
  }
  if (was.type().empty()) {
    return findings.Add(Change::kTableAdded, name,
                        "is a table of database " + is.database().name() + " now");
  }
  if (is.type().empty()) {
    return findings.Add(Change::kTableRemoved, name, "is no table any more");
  }
  const TableOptions old_table = TableOptionsOf(before), new_table = TableOptionsOf(after);
  const std::tuple<Change, const char*, std::string, std::string> values[] = {
      {Change::kTableTypeChanged, "type", old_table.type, new_table.type},
      {Change::kTableDatabaseChanged, "database", old_table.database, new_table.database},
      {Change::kTableNameChanged, "table name", old_table.table, new_table.table},
      {Change::kTableLimitChanged, "limit of rows", std::to_string(old_table.max_rows),
       std::to_string(new_table.max_rows)},
      {Change::kTableLimitChanged, "limit of days", std::to_string(old_table.max_time_days),
       std::to_string(new_table.max_time_days)},
      {Change::kTableKeyChanged, "key", KeyText(old_table), KeyText(new_table)},
  };
  for (const auto& [change, label, old_value, new_value] : values) {
    if (old_value == new_value) continue;
    findings.Add(change, name, std::string(label) + " changed " + FromTo(old_value, new_value));
  }
}

}  // namespace ovix::tool
