#include "collectors/windows/collectors.h"

namespace ovix::agent {

std::vector<Collector> WindowsCollectors() {
  std::vector<Collector> collectors;
  for (const auto& table : {WindowsSystem(), WindowsPrograms(), WindowsServices(), WindowsBoard(),
                            WindowsHardware(), WindowsStorage()}) {
    for (const WindowsCollector& entry : table) collectors.push_back({entry.name, entry.collect});
  }
  return collectors;
}

}  // namespace ovix::agent
