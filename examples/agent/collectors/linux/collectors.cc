#include "collectors/linux/collectors.h"

namespace ovix::agent {

std::vector<Collector> LinuxCollectors(const std::filesystem::path& root) {
  std::vector<Collector> collectors;
  for (const auto& table : {LinuxSoftware(), LinuxBoard(), LinuxHardware()}) {
    for (const LinuxCollector& entry : table) {
      collectors.push_back({entry.name, [entry, machine = Machine(root)](Collection& found) {
                              entry.collect(machine, found);
                            }});
    }
  }
  return collectors;
}

}  // namespace ovix::agent
