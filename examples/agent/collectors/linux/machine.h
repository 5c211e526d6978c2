// Machine: the files in which a Linux machine describes itself, read below a root folder, so that a
// copied or made-up machine can be read like the real one.
#ifndef OVIX_AGENT_COLLECTORS_LINUX_MACHINE_H_
#define OVIX_AGENT_COLLECTORS_LINUX_MACHINE_H_

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace ovix::agent {

class Machine {
 public:
  // Paths given to the functions begin with a slash.
  explicit Machine(std::filesystem::path root) : root_(std::move(root)) {}

  const std::filesystem::path& root() const { return root_; }
  bool Has(const std::string& path) const;
  // The file's bytes as they are; empty where it cannot be read.
  std::string Read(const std::string& path) const;
  // The first line without spaces around it.
  std::string Line(const std::string& path) const;
  // The whole number that the file begins with; 0 without one, and where it exceeds 32 bits.
  uint32_t Number(const std::string& path) const;
  // The names in a folder, sorted; nothing where it cannot be listed to its end.
  std::optional<std::vector<std::string>> TryList(const std::string& path) const;
  // The same, without a name where it cannot be listed.
  std::vector<std::string> List(const std::string& path) const {
    return TryList(path).value_or(std::vector<std::string>());
  }
  // The last name of the path that a symbolic link gives; empty where it is not a link.
  std::string LinkName(const std::string& path) const;
  // KEY=value and KEY="value" lines, as in os-release.
  std::map<std::string, std::string> Assignments(const std::string& path) const;
  // When the file was last modified, as TimeText; empty where it is not there.
  std::string Modified(const std::string& path) const;

 private:
  std::filesystem::path Under(const std::string& path) const;
  std::filesystem::path root_;
};

}  // namespace ovix::agent

#endif  // OVIX_AGENT_COLLECTORS_LINUX_MACHINE_H_
