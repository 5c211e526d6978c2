// Serial numbers as keys of rows.
#ifndef OVIX_AGENT_COLLECTORS_SERIALS_H_
#define OVIX_AGENT_COLLECTORS_SERIALS_H_

#include <string>
#include <vector>

namespace ovix::agent {

// A component and where it is in the machine, such as "Controller0-DIMM1".
struct Part {
  std::string serial;
  std::string place;
};

// Whether a serial number is none: empty, or what makers leave in the field ("00000000",
// "Unknown").
bool IsPlaceholder(const std::string& serial);

// A key for each part that no other of them has, so that no two become one row: its serial number,
// its place where that is none, and both ("SERIAL at PLACE") where parts share a serial number.
// What is still alike is numbered from the second on ("PLACE #2").
std::vector<std::string> DistinctSerials(const std::vector<Part>& parts);

}  // namespace ovix::agent

#endif  // OVIX_AGENT_COLLECTORS_SERIALS_H_
