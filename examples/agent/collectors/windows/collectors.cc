#include "collectors/windows/collectors.h"

namespace ovix::agent {

std::vector<Collector> WindowsCollectors() {
  // A new collector is a function and a line here.
  return {
      {"operating_system", CollectOperatingSystem},
      {"location", CollectLocation},
      {"applications", CollectApplications},
      {"services", CollectServices},
      {"drivers", CollectDrivers},
      {"device", CollectDevice},
      {"firmware", CollectFirmware},
      {"memory", CollectMemory},
      {"processors", CollectProcessors},
      {"network_adapters", CollectNetworkAdapters},
      {"storage_drives", CollectStorageDrives},
      {"batteries", CollectBatteries},
  };
}

}  // namespace ovix::agent
