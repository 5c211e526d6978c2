#include "terminal/process.h"

#include <array>
#include <cstdio>

namespace ovix::tool {
namespace {

#ifdef _WIN32
FILE* Open(const std::string& command) { return _popen((command + " 2>NUL").c_str(), "rb"); }
int Close(FILE* pipe) { return _pclose(pipe); }
#else
FILE* Open(const std::string& command) { return popen((command + " 2>/dev/null").c_str(), "r"); }
int Close(FILE* pipe) { return pclose(pipe); }
#endif

}  // namespace

std::optional<std::string> OutputOf(const std::string& command) {
  FILE* const pipe = Open(command);
  if (pipe == nullptr) return std::nullopt;
  std::string output;
  std::array<char, 65536> piece;
  size_t read = 0;
  while ((read = std::fread(piece.data(), 1, piece.size(), pipe)) != 0) {
    output.append(piece.data(), read);
  }
  if (Close(pipe) != 0) return std::nullopt;
  return output;
}

}  // namespace ovix::tool
