// Names of files and the commands that hold them. All text is UTF-8 in the tests; of text
// std::filesystem makes other names on Windows, and the C library runs other commands.
#ifndef OVIX_TESTS_SUPPORT_NAMES_H_
#define OVIX_TESTS_SUPPORT_NAMES_H_

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>

namespace ovix::tests {

inline std::filesystem::path FromUtf8(std::string_view text) {
  return std::u8string(text.begin(), text.end());
}

inline std::string Utf8(const std::filesystem::path& path) {
  const std::u8string text = path.u8string();
  return {text.begin(), text.end()};
}

// A file of the repository.
inline std::filesystem::path SourceFile(std::string_view path) {
  return FromUtf8(OVIX_TESTS_SOURCE_ROOT) / path;
}

// As std::system() and popen() for reading. The shell of Windows removes the first and the last
// quote of a command, so that it gets two more.
inline int RunCommand(const std::string& command) {
#ifdef _WIN32
  return _wsystem(FromUtf8("\"" + command + "\"").c_str());
#else
  return std::system(command.c_str());
#endif
}
inline FILE* OpenCommand(const std::string& command) {
#ifdef _WIN32
  return _wpopen(FromUtf8("\"" + command + "\"").c_str(), L"r");
#else
  return popen(command.c_str(), "r");
#endif
}

}  // namespace ovix::tests

#endif  // OVIX_TESTS_SUPPORT_NAMES_H_
