// A folder of a test's own, gone when the test is.
#ifndef OVIX_TESTS_SUPPORT_FOLDER_H_
#define OVIX_TESTS_SUPPORT_FOLDER_H_

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>

namespace ovix::tests {

class Folder {
 public:
  Folder() {
    const auto* test = testing::UnitTest::GetInstance()->current_test_info();
    std::string name = std::string(test->test_suite_name()) + "." + test->name();
    for (char& c : name) c = c == '/' ? '_' : c;
    path_ = std::filesystem::temp_directory_path() / "ovix-tests" / name;
    std::filesystem::remove_all(path_);
    std::filesystem::create_directories(path_);
  }
  ~Folder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  std::filesystem::path operator/(const std::string& name) const { return path_ / name; }
  const std::filesystem::path& path() const { return path_; }

  void Write(const std::string& name, const std::string& content) const {
    std::filesystem::create_directories((path_ / name).parent_path());
    std::ofstream(path_ / name, std::ios::binary) << content;
  }
  std::string Read(const std::string& name) const {
    std::ifstream file(path_ / name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  // Every file with the size and a hash of its content, to see that a failure left all as it was.
  std::map<std::string, std::string> Contents() const {
    std::map<std::string, std::string> contents;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(path_)) {
      std::error_code ignored;  // of links that lead nowhere
      if (!entry.is_regular_file(ignored)) continue;
      std::ifstream file(entry.path(), std::ios::binary);
      const std::string content = {std::istreambuf_iterator<char>(file), {}};
      contents[entry.path().filename().string()] =
          std::to_string(content.size()) + " bytes, hash " +
          std::to_string(std::hash<std::string>()(content));
    }
    return contents;
  }

 private:
  std::filesystem::path path_;
};

}  // namespace ovix::tests

#endif  // OVIX_TESTS_SUPPORT_FOLDER_H_
