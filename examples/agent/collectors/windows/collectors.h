// The collectors of the Windows that this program runs on.
#ifndef OVIX_AGENT_COLLECTORS_WINDOWS_COLLECTORS_H_
#define OVIX_AGENT_COLLECTORS_WINDOWS_COLLECTORS_H_

#include <string>
#include <vector>

#include "collectors/collectors.h"

namespace ovix::agent {

std::vector<Collector> WindowsCollectors();

// system.cc
void CollectOperatingSystem(Collection& found);
void CollectLocation(Collection& found);
// programs.cc
void CollectApplications(Collection& found);
// services.cc
void CollectServices(Collection& found);
void CollectDrivers(Collection& found);
// board.cc
void CollectDevice(Collection& found);
void CollectFirmware(Collection& found);
void CollectMemory(Collection& found);
// hardware.cc
void CollectProcessors(Collection& found);
void CollectNetworkAdapters(Collection& found);
void CollectBatteries(Collection& found);
// storage.cc
void CollectStorageDrives(Collection& found);

}  // namespace ovix::agent

#endif  // OVIX_AGENT_COLLECTORS_WINDOWS_COLLECTORS_H_
