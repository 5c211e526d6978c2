#include "collectors/linux/collectors.h"

namespace ovix::agent {
namespace {

struct Entry {
  const char* name;
  void (*collect)(const Machine& machine, Collection& found);
};

// A new collector is a function and a line here.
constexpr Entry kCollectors[] = {
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

}  // namespace

std::vector<Collector> LinuxCollectors(const std::filesystem::path& root) {
  std::vector<Collector> collectors;
  for (const Entry& entry : kCollectors) {
    collectors.push_back({entry.name, [entry, machine = Machine(root)](Collection& found) {
                            entry.collect(machine, found);
                          }});
  }
  return collectors;
}

}  // namespace ovix::agent
