// Uses what the installed headers give, in C++17: a record, its options, the collection, the
// version.
#include <ovix/telemetry/contract/contracts_collection.h>
#include <ovix/telemetry/contract/storage/device_health/battery.pb.h>
#include <ovix/telemetry/contract/storage/storage_options.pb.h>
#include <ovix/telemetry/contract/version.h>

#include <cstdio>

namespace storage = ovix::telemetry::contract::storage;

// The library is ready before a program's own static objects are made.
static const bool has_prototypes = ovix::telemetry::contract::ContractsCollection().HasNext();

int main() {
  static_assert(OVIX_TELEMETRY_DATA_CONTRACTS_VERSION_NUMBER >= 1000000, "");
  storage::device_health::BatteryHealthLog log;
  log.add_cell_voltages(4100);
  storage::device_health::BatteryHealthLog back;
  if (!back.ParseFromString(log.SerializeAsString()) || back.cell_voltages(0) != 4100) return 1;
  const auto& options = log.GetDescriptor()->options().GetExtension(storage::persistance);
  ovix::telemetry::contract::ContractsCollection contracts;
  int count = 0;
  while (contracts.Next() != nullptr) ++count;
  std::printf("%s %s %d %d\n", OVIX_TELEMETRY_DATA_CONTRACTS_VERSION,
              options.database().name().c_str(), static_cast<int>(options.table().max_time_days()),
              has_prototypes ? count : 0);
  return 0;
}
