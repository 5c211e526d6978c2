// Paths on the command line, which are UTF-8 on every system.
#ifndef OVIX_AGENT_ARGUMENTS_H_
#define OVIX_AGENT_ARGUMENTS_H_

#include <CLI/CLI.hpp>

#include <filesystem>
#include <string>

namespace ovix::agent {

// On Windows a path made of plain text would be read in another encoding.
inline std::filesystem::path PathOf(const std::string& utf8) {
  return std::u8string(utf8.begin(), utf8.end());
}

// What the validators describe: the help shows the option's own type instead.
inline constexpr const char* kNoType = "";

// Accepts any name of a folder but none at all.
inline CLI::Validator FolderName() {
  return CLI::Validator(
      [](const std::string& name) {
        return name.empty() ? std::string("Name of the folder is empty") : std::string();
      },
      kNoType);
}

// Accepts any name of a file but none at all, and no folder.
inline CLI::Validator FileName() {
  return CLI::Validator(
      [](const std::string& name) {
        std::error_code ignored;
        return name.empty() ? std::string("Name of the file is empty")
               : std::filesystem::is_directory(PathOf(name), ignored)
                   ? "Is a folder, not a file: " + name
                   : std::string();
      },
      kNoType);
}

// Accepts the name of a folder that is there.
inline CLI::Validator ExistingFolder() {
  return CLI::Validator(
      [](const std::string& name) {
        std::error_code ignored;
        return std::filesystem::is_directory(PathOf(name), ignored)
                   ? std::string()
                   : "Directory does not exist: " + name;
      },
      kNoType);
}

}  // namespace ovix::agent

#endif  // OVIX_AGENT_ARGUMENTS_H_
