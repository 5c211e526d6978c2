#include "catalogue/model/relations.h"

#include <algorithm>
#include <cstddef>

#include "catalogue/model/addresses.h"
#include "contracts/tables.h"

namespace ovix::tool {

Relations::Relations(const Contracts& contracts)
    : contracts_(contracts), personal_(contracts), tables_(CatalogueOf(contracts)) {
  for (const Descriptor* message : contracts.messages()) {
    by_name_[message->name()].push_back(message);
    if (message->containing_type() == nullptr) pages_.push_back(message);
    if (KindOf(message) == Kind::kMarker) databases_[message->name()];
    for (int i = 0; i < message->field_count(); ++i) {
      for (const Origin& origin : contracts.OriginsOf(message->field(i))) {
        if (origin.field == nullptr) continue;
        goes_to_[origin.field].emplace_back(message->field(i), origin.words);
      }
    }
  }
  for (const EnumDescriptor* enumeration : contracts.enums()) {
    if (enumeration->containing_type() == nullptr) enum_pages_.push_back(enumeration);
  }
  for (const Descriptor* table : contracts.tables()) {
    databases_[TableOptionsOf(table).database].push_back(table);
    const Descriptor* log = ChangeLogOf(table);
    if (log != nullptr) logged_in_[log].push_back(table);
  }
}

std::string Relations::Resolve(const std::string& scope, const std::string& word) const {
  if (word.empty()) return "";
  const auto known = [&](const FileDescriptor* file) {
    return std::find(contracts_.files().begin(), contracts_.files().end(), file) !=
           contracts_.files().end();
  };
  // As a schema resolves a name: from the innermost scope outwards.
  for (std::string prefix = scope;;) {
    const std::string name = prefix.empty() ? word : prefix + "." + word;
    const Descriptor* message = contracts_.pool().FindMessageTypeByName(name);
    if (message != nullptr && known(message->file())) return Href(message);
    const EnumDescriptor* enumeration = contracts_.pool().FindEnumTypeByName(name);
    if (enumeration != nullptr && known(enumeration->file())) return Href(enumeration);
    const FieldDescriptor* field = contracts_.pool().FindFieldByName(name);
    if (field != nullptr && known(field->file())) return Href(field);
    if (prefix.empty()) break;
    const size_t dot = prefix.rfind('.');
    prefix.resize(dot == std::string::npos ? 0 : dot);
  }
  // From anywhere, where only one has the name.
  const size_t dot = word.find('.');
  const auto found = by_name_.find(word.substr(0, dot));
  if (found == by_name_.end() || found->second.size() != 1) return "";
  if (dot == std::string::npos) return Href(found->second[0]);
  const FieldDescriptor* field = FindSourceField(found->second, word);
  return field == nullptr ? "" : Href(field);
}

std::vector<const Descriptor*> Relations::PayloadsOf(const Descriptor* table,
                                                     bool same_data) const {
  std::vector<const Descriptor*> payloads;
  for (const Feed& feed : contracts_.feeds()) {
    if (feed.same_data != same_data) continue;
    if (feed.record == table && (payloads.empty() || payloads.back() != feed.payload)) {
      payloads.push_back(feed.payload);
    }
  }
  return payloads;
}

std::vector<const Descriptor*> Relations::TablesOf(const Descriptor* payload,
                                                   bool same_data) const {
  std::vector<const Descriptor*> records;
  for (const Feed& feed : contracts_.feeds()) {
    if (feed.same_data != same_data) continue;
    if (feed.payload == payload && (records.empty() || records.back() != feed.record)) {
      records.push_back(feed.record);
    }
  }
  return records;
}

const Descriptor* Relations::ChangeLogOf(const Descriptor* table) const {
  const telemetry::contract::tables::Table* log = tables_.ChangeLog(TableOf(table));
  return log == nullptr ? nullptr : log->record;
}

const std::vector<Relations::Target>& Relations::GoesTo(const FieldDescriptor* field) const {
  static const std::vector<Target>& nowhere = *new std::vector<Target>;
  const auto found = goes_to_.find(field);
  return found == goes_to_.end() ? nowhere : found->second;
}

std::vector<const Descriptor*> Relations::LoggedIn(const Descriptor* log) const {
  const auto found = logged_in_.find(log);
  return found == logged_in_.end() ? std::vector<const Descriptor*>() : found->second;
}

}  // namespace ovix::tool
