// The collectors of the Windows that this program runs on.
#ifndef OVIX_AGENT_COLLECTORS_WINDOWS_COLLECTORS_H_
#define OVIX_AGENT_COLLECTORS_WINDOWS_COLLECTORS_H_

#include <span>
#include <vector>

#include "collectors/collectors.h"

namespace ovix::agent {

std::vector<Collector> WindowsCollectors();

// A new collector is a function in one of the files below, and a line in the table at its end.
struct WindowsCollector {
  const char* name;  // as Collector::name
  void (*collect)(Collection& found);
};

std::span<const WindowsCollector> WindowsSystem();    // system.cc
std::span<const WindowsCollector> WindowsPrograms();  // programs.cc
std::span<const WindowsCollector> WindowsServices();  // services.cc
std::span<const WindowsCollector> WindowsBoard();     // board.cc
std::span<const WindowsCollector> WindowsHardware();  // hardware.cc
std::span<const WindowsCollector> WindowsStorage();   // storage.cc

}  // namespace ovix::agent

#endif  // OVIX_AGENT_COLLECTORS_WINDOWS_COLLECTORS_H_
