// A folder of a test's own, gone when the test is. Each process has others, so that two runs do not
// disturb each other.
#ifndef OVIX_TESTS_SUPPORT_FOLDER_H_
#define OVIX_TESTS_SUPPORT_FOLDER_H_

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <utility>

#include "support/names.h"

namespace ovix::tests {

// All that is in a file. (Byte by byte it would take most of the time of some tests.)
inline std::string ReadFile(const std::filesystem::path& path) {
  std::ostringstream content;
  content << std::ifstream(path, std::ios::binary).rdbuf();
  return std::move(content).str();
}

// Where tests have their folders: in memory where the system offers that (Wine too), because the
// store waits for the disk at each write, and elsewhere where TMPDIR says.
inline std::filesystem::path BaseOfFolders() {
  std::error_code absent;
  const std::filesystem::path memory = std::filesystem::absolute("/dev/shm");
  const auto space = std::filesystem::space(memory, absent);
  const bool has_room = !absent && space.available > uintmax_t{512} << 20;
  return has_room && std::getenv("TMPDIR") == nullptr ? memory
                                                      : std::filesystem::temp_directory_path();
}

class Folder {
 public:
  Folder() {
    const auto* test = testing::UnitTest::GetInstance()->current_test_info();
    std::string name = std::string(test->test_suite_name()) + "." + test->name();
    for (char& c : name) c = c == '/' ? '_' : c;
    path_ = BaseOfFolders() / FromUtf8("ovix-tests-Łódź-😀-" + std::to_string(getpid())) / name;
    std::filesystem::remove_all(path_);
    std::filesystem::create_directories(path_);
  }
  ~Folder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
    std::filesystem::remove(path_.parent_path(), ignored);
  }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  std::filesystem::path operator/(const std::string& name) const { return path_ / name; }
  const std::filesystem::path& path() const { return path_; }

  void Write(const std::string& name, const std::string& content) const {
    std::filesystem::create_directories((path_ / name).parent_path());
    std::ofstream(path_ / name, std::ios::binary) << content;
  }
  std::string Read(const std::string& name) const { return ReadFile(path_ / name); }
  // Every file with the size and a hash of its content, to see that a failure left all as it was.
  std::map<std::string, std::string> Contents() const {
    std::map<std::string, std::string> contents;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(path_)) {
      std::error_code ignored;  // of links that lead nowhere
      if (!entry.is_regular_file(ignored)) continue;
      const std::string content = ReadFile(entry.path());
      contents[Utf8(entry.path().filename())] = std::to_string(content.size()) + " bytes, hash " +
                                                std::to_string(std::hash<std::string>()(content));
    }
    return contents;
  }

 private:
  std::filesystem::path path_;
};

// All files below a folder, by their paths in it; of a folder without any, its name and a slash.
inline std::map<std::string, std::string> FilesIn(const std::filesystem::path& folder) {
  std::map<std::string, std::string> files;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    const std::string name = Utf8(entry.path().lexically_relative(folder).generic_u8string());
    if (!entry.is_directory()) {
      files[name] = ReadFile(entry.path());
    } else if (std::filesystem::is_empty(entry.path())) {
      files[name + "/"] = "";
    }
  }
  return files;
}

// The path of a file in the folder as one word of a command line.
inline std::string Quoted(const Folder& folder, const std::string& name) {
  return "\"" + Utf8(folder / name) + "\"";
}

}  // namespace ovix::tests

#endif  // OVIX_TESTS_SUPPORT_FOLDER_H_
