// The collectors: each reads one side of a machine and adds the records that it fills.
#ifndef OVIX_AGENT_COLLECTORS_COLLECTORS_H_
#define OVIX_AGENT_COLLECTORS_COLLECTORS_H_

#include <filesystem>
#include <functional>
#include <vector>

#include "collectors/collection.h"

namespace ovix::agent {

struct Collector {
  const char* name;  // the key of its cache row
  std::function<void(Collection& found)> collect;
};

// The machine that this program runs on.
#ifdef _WIN32
inline constexpr char kThisMachine[] = "";  // it is in no folder
#else
inline constexpr char kThisMachine[] = "/";
#endif

// All collectors of a machine, in the order in which they run: of kThisMachine, or of the Linux
// machine whose files lie below `root`.
std::vector<Collector> Collectors(const std::filesystem::path& root = kThisMachine);

// Runs a collector. What it throws is its failure, and what it had found by then is dropped: half a
// snapshot would delete the other half. Strings become UTF-8, and then rows of one key one row, the
// last, which is said too.
Collection Run(const Collector& collector, const std::string& time);

}  // namespace ovix::agent

#endif  // OVIX_AGENT_COLLECTORS_COLLECTORS_H_
