// What is damaged is kept under another name, so that a new one can be made.
#ifndef OVIX_AGENT_STORE_SET_ASIDE_H_
#define OVIX_AGENT_STORE_SET_ASIDE_H_

#include <chrono>
#include <filesystem>
#include <string>

namespace ovix::agent {

// Renames a damaged file, and the journals that belong to a database, to NAME.damaged-TIME, or
// NAME.damaged-TIME-2 and so on where there is one of that name. `what_is_wrong` is a line that
// names the file; returns the line that goes on to say where the file is now. On Windows it waits
// as long as `patience` for other programs to close the file. Throws StoreError of kind kDamaged.
std::string SetAside(const std::filesystem::path& file, const std::string& what_is_wrong,
                     std::chrono::system_clock::time_point now, std::chrono::milliseconds patience);

}  // namespace ovix::agent

#endif  // OVIX_AGENT_STORE_SET_ASIDE_H_
