#include "diff/tables.h"

#include <algorithm>
#include <map>
#include <string>
#include <tuple>
#include <utility>

#include "ovix/telemetry/contract/storage/storage_options.pb.h"
#include "terminal/file_names.h"

namespace ovix::tool {
namespace {

namespace storage = telemetry::contract::storage;

std::string KeyText(const TableOptions& table) {
  std::string key;
  for (const FieldDescriptor* field : table.key) key += (key.empty() ? "" : ", ") + field->name();
  return key;
}

bool IsJsonColumn(const FieldDescriptor* field) {
  return field->is_repeated() || field->message_type() != nullptr;
}

}  // namespace

Stored::Stored(const Contracts& contracts) : Stored(contracts.tables()) {}

Stored::Stored(const std::vector<const Descriptor*>& tables) {
  for (const Descriptor* table : tables) {
    tables_.insert(table);
    for (int i = 0; i < table->field_count(); ++i) {
      const FieldDescriptor* field = table->field(i);
      if (IsJsonColumn(field)) {
        Reach(field);
      } else if (field->enum_type() != nullptr) {
        numbers_.insert(field->enum_type());
      }
    }
  }
}

void Stored::Reach(const FieldDescriptor* field) {
  if (field->enum_type() != nullptr) names_.insert(field->enum_type());
  const Descriptor* message = field->message_type();
  if (message == nullptr || !in_json_.insert(message).second) return;
  for (int i = 0; i < message->field_count(); ++i) Reach(message->field(i));
}

bool Stored::IsPlainColumn(const FieldDescriptor* field) {
  return KindOf(field->containing_type()) == Kind::kTable && !IsJsonColumn(field);
}

bool Stored::IsInJson(const FieldDescriptor* field) const {
  return in_json_.contains(field->containing_type()) ||
         (KindOf(field->containing_type()) == Kind::kTable && IsJsonColumn(field));
}

bool Stored::Keeps(const Descriptor* message) const {
  return tables_.contains(message) || in_json_.contains(message);
}

bool Stored::KeepsNumbersOf(const EnumDescriptor* enumeration) const {
  return numbers_.contains(enumeration);
}

bool Stored::KeepsNamesOf(const EnumDescriptor* enumeration) const {
  return names_.contains(enumeration);
}

bool Stored::Keeps(const Difference& difference,
                   const google::protobuf::DescriptorPool& pool) const {
  if ((difference.breaks & kStore) == 0) return false;
  const std::string& subject = difference.subject;
  if (const FieldDescriptor* field = pool.FindFieldByName(subject)) {
    return Keeps(field->containing_type());
  }
  if (const Descriptor* message = pool.FindMessageTypeByName(subject)) return Keeps(message);
  // A field that is new, in a message that is not.
  const std::string holder = subject.substr(0, subject.rfind('.'));
  if (const Descriptor* message = pool.FindMessageTypeByName(holder);
      message != nullptr && pool.FindEnumValueByName(subject) == nullptr) {
    return Keeps(message);
  }
  const EnumDescriptor* type = pool.FindEnumTypeByName(subject);
  if (const EnumValueDescriptor* value = pool.FindEnumValueByName(subject)) type = value->type();
  if (type == nullptr) return false;
  if (difference.change == Change::kEnumValueRenamed) return KeepsNamesOf(type);
  if (difference.change == Change::kEnumValueRenumbered) return KeepsNumbersOf(type);
  return KeepsNamesOf(type) || KeepsNumbersOf(type);
}

void CompareTables(const Descriptor* before, const Descriptor* after, Differences& differences) {
  const std::string& name = before->full_name();
  const auto& was = before->options().GetExtension(storage::persistance);
  const auto& is = after->options().GetExtension(storage::persistance);
  if (was.database().max_size_mb() != is.database().max_size_mb()) {
    differences.Add(Change::kDatabaseSizeChanged, name,
                    "size limit of database " + before->name() + " changed " +
                        FromTo(std::to_string(was.database().max_size_mb()),
                               std::to_string(is.database().max_size_mb()) + " MB"));
  }
  if (was.type().empty() && is.type().empty()) {
    if (was.database().name() != is.database().name()) {
      differences.Add(Change::kTableDatabaseChanged, name,
                      "database changed " + FromTo(was.database().name(), is.database().name()));
    }
    return;
  }
  if (was.type().empty()) {
    return differences.Add(Change::kTableAdded, name,
                           "is a table of database " + is.database().name() + " now");
  }
  if (is.type().empty()) {
    return differences.Add(Change::kTableRemoved, name, "is not a table any more");
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
    differences.Add(change, name, std::string(label) + " changed " + FromTo(old_value, new_value));
  }
}

void CheckTables(const Contracts& newer, Differences& differences) {
  std::map<std::pair<std::string, std::string>, const Descriptor*> taken;
  for (const Descriptor* message : newer.messages()) {
    if (KindOf(message) != Kind::kTable) continue;
    const TableOptions table = TableOptionsOf(message);
    const auto [first, is_first] =
        taken.try_emplace({WithoutCase(table.database), WithoutCase(table.table)}, message);
    if (is_first) continue;
    differences.Add(Change::kTableTaken, message->full_name(),
                    "table " + table.table + " of database " + table.database + " is that of " +
                        first->second->full_name() + " too",
                    kSafe, "give it a name of its own");
  }
}

}  // namespace ovix::tool
