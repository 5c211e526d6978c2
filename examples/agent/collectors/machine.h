// Machine: the files that a Linux machine tells of itself in, read below a root folder, so that a
// copied or made-up machine can be read like the real one.
#ifndef OVIX_AGENT_COLLECTORS_MACHINE_H_
#define OVIX_AGENT_COLLECTORS_MACHINE_H_

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace ovix::agent {

class Machine {
 public:
  // The root of the machine that this program runs on; empty where it is no Linux machine, and only
  // a copied one can be read.
#ifdef __linux__
  static constexpr char kThis[] = "/";
#else
  static constexpr char kThis[] = "";
#endif

  // Paths given to the functions begin with a slash.
  explicit Machine(std::filesystem::path root) : root_(std::move(root)) {}

  bool Has(const std::string& path) const;
  // The file's content, made UTF-8 (a byte that is not becomes '?'); empty where it cannot be read.
  std::string Read(const std::string& path) const;
  // The first line without spaces around it.
  std::string Line(const std::string& path) const;
  // The whole number that the file begins with; 0 without one, and where it exceeds 32 bits.
  uint32_t Number(const std::string& path) const;
  // The file's bytes as they are.
  std::string Bytes(const std::string& path) const;
  // The names in a folder, sorted; empty where there is none.
  std::vector<std::string> List(const std::string& path) const;
  // The last name of the path that a symbolic link gives; empty where it is no link.
  std::string LinkName(const std::string& path) const;
  // KEY=value and KEY="value" lines, as in os-release.
  std::map<std::string, std::string> Assignments(const std::string& path) const;
  // When the file was last modified, as TimeText; empty where it is not there.
  std::string Modified(const std::string& path) const;

 private:
  std::filesystem::path Under(const std::string& path) const;
  std::filesystem::path root_;
};

// "Key: value" lines of a text until its end, keys without the spaces before the colon. A line that
// begins with a space goes on with the value before it.
std::map<std::string, std::string> Fields(const std::string& text);

// Without spaces, tabs and line ends around it.
std::string Trimmed(const std::string& text);

// The whole number that the text begins with; 0 without one, and where it exceeds 32 bits.
uint32_t ToNumber(const std::string& text);

// The parts of a text between separators; a text that is empty has none.
std::vector<std::string> Split(const std::string& text, const std::string& separator);

}  // namespace ovix::agent

#endif  // OVIX_AGENT_COLLECTORS_MACHINE_H_
