// The collectors of a Linux machine.
#ifndef OVIX_AGENT_COLLECTORS_LINUX_COLLECTORS_H_
#define OVIX_AGENT_COLLECTORS_LINUX_COLLECTORS_H_

#include <vector>

#include "collectors/collectors.h"
#include "collectors/linux/machine.h"

namespace ovix::agent {

std::vector<Collector> LinuxCollectors(const std::filesystem::path& root);

// software.cc
void CollectOperatingSystem(const Machine& machine, Collection& found);
void CollectLocation(const Machine& machine, Collection& found);
void CollectApplications(const Machine& machine, Collection& found);
void CollectDrivers(const Machine& machine, Collection& found);
// board.cc: what the firmware tells through DMI
void CollectDevice(const Machine& machine, Collection& found);
void CollectFirmware(const Machine& machine, Collection& found);
void CollectMemory(const Machine& machine, Collection& found);
// hardware.cc
void CollectProcessors(const Machine& machine, Collection& found);
void CollectNetworkAdapters(const Machine& machine, Collection& found);
void CollectStorageDrives(const Machine& machine, Collection& found);
void CollectBatteries(const Machine& machine, Collection& found);
void CollectTemperatures(const Machine& machine, Collection& found);

}  // namespace ovix::agent

#endif  // OVIX_AGENT_COLLECTORS_LINUX_COLLECTORS_H_
