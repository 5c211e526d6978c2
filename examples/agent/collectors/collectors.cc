#include "collectors/collectors.h"

namespace ovix::agent {

const std::vector<Collector>& Collectors() {
  static const std::vector<Collector> collectors = {
      {"operating_system", CollectOperatingSystem},
      {"location", CollectLocation},
      {"applications", CollectApplications},
      {"drivers", CollectDrivers},
      {"device", CollectDevice},
      {"firmware", CollectFirmware},
      {"memory", CollectMemory},
      {"processors", CollectProcessors},
      {"network_adapters", CollectNetworkAdapters},
      {"storage_drives", CollectStorageDrives},
      {"batteries", CollectBatteries},
      {"temperatures", CollectTemperatures},
  };
  return collectors;
}

}  // namespace ovix::agent
