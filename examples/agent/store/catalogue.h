// Catalogue: every table that a set of contracts declares, the limits of their databases, and which
// table records the changes of which.
#ifndef OVIX_AGENT_STORE_CATALOGUE_H_
#define OVIX_AGENT_STORE_CATALOGUE_H_

#include <map>
#include <string>
#include <unordered_map>
#include <vector>

#include "store/table.h"

namespace ovix::agent {

// Immutable once made; may be shared by any number of stores and threads. It must outlive them.
class Catalogue {
 public:
  // The tables of the library: a walk over ContractsCollection.
  Catalogue();
  // The tables among these prototypes, which must outlive the catalogue. Throws StoreError where
  // options contradict themselves or two records claim one table.
  explicit Catalogue(const std::vector<const google::protobuf::Message*>& prototypes);

  Catalogue(const Catalogue&) = delete;
  Catalogue& operator=(const Catalogue&) = delete;

  const std::vector<Table>& tables() const { return tables_; }

  // Throws StoreError where the type is no table.
  const Table& Get(const google::protobuf::Descriptor* record) const;

  // The "Historical" table that records the inserts, updates and deletes of a "State" table; null
  // where there is none. The options do not say it, the names do: a record's change log is the one
  // named after it (DeviceLocationEvents), else the one of the same package whose name, without
  // "Events", is the longest beginning of the record's, where Hw and Fw stand for Hardware and
  // Firmware (HardwareEvents for HwBattery, PeripheralEvents for PeripheralDisplays).
  const Table* ChangeLog(const Table& state) const;

  // In megabytes (2^20 bytes); 0: no limit.
  uint32_t MaxSizeMb(const std::string& database) const;

 private:
  std::vector<Table> tables_;
  std::unordered_map<const google::protobuf::Descriptor*, const Table*> by_record_;
  std::unordered_map<const Table*, const Table*> change_logs_;
  std::map<std::string, uint32_t> max_size_mb_;
};

}  // namespace ovix::agent

#endif  // OVIX_AGENT_STORE_CATALOGUE_H_
