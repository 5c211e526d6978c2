// The collectors of a Linux machine.
#ifndef OVIX_AGENT_COLLECTORS_LINUX_COLLECTORS_H_
#define OVIX_AGENT_COLLECTORS_LINUX_COLLECTORS_H_

#include <span>
#include <vector>

#include "collectors/collectors.h"
#include "collectors/linux/machine.h"

namespace ovix::agent {

std::vector<Collector> LinuxCollectors(const std::filesystem::path& root);

// A new collector is a function in one of the files below, and a line in the table at its end.
struct LinuxCollector {
  const char* name;  // as Collector::name
  void (*collect)(const Machine& machine, Collection& found);
};

std::span<const LinuxCollector> LinuxSoftware();  // software.cc
std::span<const LinuxCollector> LinuxBoard();     // board.cc: from the firmware, through DMI
std::span<const LinuxCollector> LinuxHardware();  // hardware.cc

}  // namespace ovix::agent

#endif  // OVIX_AGENT_COLLECTORS_LINUX_COLLECTORS_H_
