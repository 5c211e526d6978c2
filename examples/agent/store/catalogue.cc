#include "store/catalogue.h"

#include "ovix/telemetry/contract/contracts_collection.h"
#include "ovix/telemetry/contract/storage/storage_options.pb.h"

namespace ovix::agent {
namespace {

using google::protobuf::Descriptor;
using google::protobuf::Message;

std::vector<const Message*> AllContracts() {
  std::vector<const Message*> prototypes;
  telemetry::contract::ContractsCollection contracts;
  while (const Message* prototype = contracts.Next()) prototypes.push_back(prototype);
  return prototypes;
}

// HwBattery reads HardwareBattery where change logs are concerned.
std::string LongName(const std::string& name) {
  if (name.starts_with("Hw")) return "Hardware" + name.substr(2);
  if (name.starts_with("Fw")) return "Firmware" + name.substr(2);
  return name;
}

const Table* FindChangeLog(const Table& state, const std::vector<Table>& tables) {
  const std::string name = state.record()->name();
  const Table* found = nullptr;
  for (const Table& table : tables) {
    const std::string& log = table.record()->name();
    if (!table.is_change_log() || !log.ends_with("Events")) continue;
    const std::string stem = log.substr(0, log.size() - std::string_view("Events").size());
    if (stem == name) return &table;
    if (table.record()->file()->package() == state.record()->file()->package() &&
        (name.starts_with(stem) || LongName(name).starts_with(stem)) &&
        (found == nullptr || log.size() > found->record()->name().size())) {
      found = &table;
    }
  }
  return found;
}

}  // namespace

Catalogue::Catalogue() : Catalogue(AllContracts()) {}

Catalogue::Catalogue(const std::vector<const Message*>& prototypes) {
  namespace storage = telemetry::contract::storage;
  for (const Message* prototype : prototypes) {
    const Descriptor* descriptor = prototype->GetDescriptor();
    const auto& database = descriptor->options().GetExtension(storage::persistance).database();
    if (!PersistanceType(descriptor).empty()) {
      tables_.emplace_back(*prototype);
    } else if (database.max_size_mb() != 0) {
      max_size_mb_[descriptor->name()] =
          database.max_size_mb();  // a marker: its name is the database's
    }
  }
  std::map<std::string, const Table*> claimed;
  for (const Table& table : tables_) {
    by_record_[table.record()] = &table;
    const auto [other, is_new] = claimed.emplace(table.database + "." + table.name, &table);
    if (!is_new) {
      throw StoreError(table.record()->full_name() + " and " +
                       other->second->record()->full_name() + " both claim table " + table.name +
                       " of database " + table.database + "; give one a table.name");
    }
  }
  for (const Table& table : tables_) {
    if (table.state) change_logs_[&table] = FindChangeLog(table, tables_);
  }
}

const Table& Catalogue::Get(const Descriptor* record) const {
  const auto found = by_record_.find(record);
  if (found == by_record_.end()) {
    throw StoreError(record->full_name() +
                     ": is no table (its schema sets no persistance type); store the record that "
                     "holds it");
  }
  return *found->second;
}

const Table* Catalogue::ChangeLog(const Table& state) const {
  const auto found = change_logs_.find(&state);
  return found == change_logs_.end() ? nullptr : found->second;
}

uint32_t Catalogue::MaxSizeMb(const std::string& database) const {
  const auto found = max_size_mb_.find(database);
  return found == max_size_mb_.end() ? 0 : found->second;
}

}  // namespace ovix::agent
