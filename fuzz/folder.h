// Where a fuzzer keeps its files.
#ifndef OVIX_FUZZ_FOLDER_H_
#define OVIX_FUZZ_FOLDER_H_

#include <filesystem>
#include <random>
#include <string>

namespace ovix::fuzz {

// A folder of a run's own, in memory where the system offers that. It goes when the run ends, but
// stays where the run found something, as that ends it at once.
class Folder {
 public:
  explicit Folder(const std::string& fuzzer) {
    namespace fs = std::filesystem;
    const fs::path memory = "/dev/shm";
    path_ = (fs::exists(memory) ? memory : fs::temp_directory_path()) /
            ("ovix-" + fuzzer + "-fuzz-" + std::to_string(std::random_device()()));
    fs::create_directories(path_);
  }
  ~Folder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

}  // namespace ovix::fuzz

#endif  // OVIX_FUZZ_FOLDER_H_
