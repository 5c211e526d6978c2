// The privacy classes of fields: by their names, and by the records that they come from.
#include <ovix/telemetry/contract/tables.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "contracts/facts.h"
#include "lint/checks.h"
#include "lint/fields.h"
#include "lint/options.h"

namespace ovix::tool::lint {
namespace {

namespace tables = telemetry::contract::tables;

// Whether the field itself holds a value of a contract: not one of an option, nor a message, whose
// fields have classes of their own.
bool HoldsValue(const FieldDescriptor* field) {
  const Descriptor* part = field->message_type();
  const bool is_part = part != nullptr && !field->is_map() && IsContract(part->file());
  return !field->is_extension() && field->file()->extension_count() == 0 && !is_part &&
         field->type() != FieldDescriptor::TYPE_BOOL;
}

struct Needed {
  Privacy privacy = Privacy::kNone;
  const FieldDescriptor* column = nullptr;
};

// The field with the highest class among those of a record and of what it holds.
Needed HighestOf(const Contracts& contracts, const Descriptor* record) {
  Needed highest;
  std::vector<const Descriptor*> parts = {record};
  for (size_t i = 0; i < parts.size(); ++i) {
    for (int k = 0; k < parts[i]->field_count(); ++k) {
      const FieldDescriptor* field = parts[i]->field(k);
      const Privacy privacy = FactsOf(contracts, field).privacy;
      if (privacy > highest.privacy) highest = {privacy, field};
      const Descriptor* part = field->message_type();
      if (part != nullptr && std::find(parts.begin(), parts.end(), part) == parts.end()) {
        parts.push_back(part);
      }
    }
  }
  return highest;
}

// The tables whose options do not contradict themselves, which other rules report.
std::vector<tables::Table> TablesOf(const Contracts& contracts) {
  std::vector<tables::Table> found;
  for (const Descriptor* message : MessagesOf(contracts)) {
    if (!IsTable(message)) continue;
    try {
      found.emplace_back(message);
    } catch (const tables::TableError&) {
    }
  }
  return found;
}

}  // namespace

void CheckChangeLogs(const Checked& checked, Findings& findings) {
  const Contracts& contracts = checked.contracts;
  const std::vector<tables::Table> all = TablesOf(contracts);
  std::map<const Descriptor*, Needed> needed;  // by change log
  for (const tables::Table& table : all) {
    const tables::Table* log = table.state ? tables::FindChangeLog(table, all) : nullptr;
    if (log == nullptr) continue;
    const Needed highest = HighestOf(contracts, table.record);
    Needed& known = needed[log->record];
    if (highest.privacy > known.privacy) known = highest;
  }
  for (const auto& [log, highest] : needed) {
    for (const char* name : {"previous_state", "current_state"}) {
      const FieldDescriptor* field = log->FindFieldByName(name);
      if (FactsOf(contracts, field).privacy >= highest.privacy) continue;
      findings.AddAt(LineOfFact(contracts, field, "Privacy"), Rule::kPrivacy, field,
                     "is less sensitive than " + highest.column->full_name() +
                         ", which is in the rows that it holds",
                     std::string("set Privacy: ") + PrivacyText(highest.privacy));
    }
  }
}

void CheckPrivacy(const Checked& checked, Findings& findings) {
  const Contracts& contracts = checked.contracts;
  for (const FieldDescriptor* field : FieldsOf(contracts)) {
    const Privacy privacy = FactsOf(contracts, field).privacy;
    if (privacy == Privacy::kNone && HoldsValue(field) && !IsCount(contracts, field) &&
        LooksPersonal(field->name())) {
      findings.AddAt(contracts.LineOf(field), Rule::kPrivacy, field, "its name looks personal",
                     "add a line Privacy");
      continue;
    }
    for (const FieldDescriptor* source : SourceFieldsOf(contracts, field)) {
      Needed needed{FactsOf(contracts, source).privacy, source};
      // A value of parts: of the text of a position as of its coordinates.
      if (source->message_type() != nullptr && HoldsValue(field) && !IsCount(contracts, field)) {
        const Needed highest = HighestOf(contracts, source->message_type());
        if (highest.privacy > needed.privacy) needed = highest;
      }
      if (privacy >= needed.privacy) continue;
      findings.AddAt(
          LineOfFact(contracts, field, "Privacy"), Rule::kPrivacy, field,
          "is less sensitive than " + needed.column->full_name() + ", where it comes from",
          std::string("set Privacy: ") + PrivacyText(needed.privacy));
    }
  }
}

}  // namespace ovix::tool::lint
