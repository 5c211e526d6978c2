// Each table alone: where it is, its type, its key, its time and its columns.
#include <map>

#include "lint/checks.h"
#include "lint/options.h"
#include "terminal/file_names.h"

namespace ovix::tool::lint {
namespace {

constexpr char kStateEvent[] = "ovix.telemetry.contract.storage.StateEventType";

void CheckTime(const Descriptor* table, Findings& findings) {
  const FieldDescriptor* time = table->FindFieldByName("time");
  if (time != nullptr && IsPlainText(time) && time->number() <= 2) return;
  const char* what = "every table has a string that says when: string time = 1, or = 2 after a key";
  const char* fix = "declare it so, without optional";
  if (time != nullptr) {
    findings.Add(Rule::kTableTime, time, what, fix);
  } else {
    findings.Add(Rule::kTableTime, table, what, fix);
  }
}

// What the store writes into change logs, field by field; null for the event.
constexpr const char* kChange[] = {"time", "type", nullptr, "previous_state", "current_state"};

bool HasShapeOfChangeLog(const Descriptor* table) {
  if (table->field_count() != static_cast<int>(std::size(kChange))) return false;
  for (int i = 0; i < table->field_count(); ++i) {
    const FieldDescriptor* field = table->field(i);
    const bool is_event = kChange[i] == nullptr;
    if (field->number() != i + 1 || field->name() != (is_event ? "event" : kChange[i]) ||
        field->is_repeated() || IsOptional(field)) {
      return false;
    }
    if (is_event ? field->enum_type() == nullptr || field->enum_type()->full_name() != kStateEvent
                 : field->type() != FieldDescriptor::TYPE_STRING) {
      return false;
    }
  }
  return true;
}

void CheckChangeLog(const Contracts& contracts, const Descriptor* table, Findings& findings) {
  const FieldDescriptor* event = nullptr;
  for (int i = 0; i < table->field_count() && event == nullptr; ++i) {
    const EnumDescriptor* type = table->field(i)->enum_type();
    if (type != nullptr && type->full_name() == kStateEvent) event = table->field(i);
  }
  const TableOptions options = TableOptionsOf(table);
  if (event == nullptr ||
      (HasShapeOfChangeLog(table) && options.type == "Historical" && options.key.empty())) {
    return;
  }
  findings.AddAt(contracts.DeclarationOf(table), Rule::kChangeLog, event,
                 "a change log is Historical, has no key and exactly the fields string time = 1, "
                 "string type = 2, StateEventType event = 3, string previous_state = 4, "
                 "string current_state = 5",
                 "declare it so");
}

void CheckTable(const Contracts& contracts, const Descriptor* table, Findings& findings) {
  const TableOptions options = TableOptionsOf(table);
  if (IsUpload(table->file()) && !table->name().ends_with("AsCDM")) {
    findings.Add(Rule::kTablePlace, table, "is a table in an upload schema", "move it to storage/");
  }
  if (options.type != "State" && options.type != "Historical") {
    findings.AddAt(contracts.LineOfOption(table, {kPersistance, kType}), Rule::kTableType, table,
                   "the type of table '" + options.type + "' does not exist",
                   "set \"State\" or \"Historical\"");
  }
  if (options.type == "State" && options.key.empty()) {
    findings.Add(Rule::kTableKey, table,
                 "a State table has one row per key, and this one has no key",
                 "mark its columns with [(column).constraint.pk = true]");
  }
  CheckTime(table, findings);
  CheckChangeLog(contracts, table, findings);
  std::map<std::string, const FieldDescriptor*> taken;  // without case
  for (int i = 0; i < table->field_count(); ++i) {
    const FieldDescriptor* field = table->field(i);
    const std::string name = WithoutCase(field->name());
    if (name == "_rowid_" || name == "_arrival") {
      findings.Add(Rule::kTableColumn, field, "is the name of a column of SQLite or the store",
                   "give it another name");
    }
    const auto [other, is_first] = taken.emplace(name, field);
    if (is_first) continue;
    findings.Add(Rule::kTableColumn, field,
                 "differs from " + other->second->name() + " in case only: one column for SQLite",
                 "give it another name");
  }
}

}  // namespace

void CheckTables(const Checked& checked, Findings& findings) {
  for (const Descriptor* message : MessagesOf(checked.contracts)) {
    if (IsTable(message)) {
      CheckTable(checked.contracts, message, findings);
      continue;
    }
    for (const FieldDescriptor* field : TableOptionsOf(message).key) {
      findings.Add(Rule::kTableKey, field, "is a key column of a message that is not a table",
                   "remove (column).constraint.pk");
    }
  }
}

}  // namespace ovix::tool::lint
