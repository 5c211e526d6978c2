// The file calls of the agent's outbox as one interface, so that a test can let each of them
// fail: files_posix.cc, files_windows.cc and the tests' own.
#ifndef OVIX_AGENT_SYSTEM_FILES_H_
#define OVIX_AGENT_SYSTEM_FILES_H_

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace ovix::agent {

// Every call returns why it failed, and nothing (an error code that is false) where it did what it
// says. No call follows a symbolic link in the last part of a path, but List and SyncFolder:
// their folder is where the user says it is.
class Files {
 public:
  using Handle = intptr_t;
  enum class Kind { kFile, kLink, kOther };
  struct Entry {
    std::string name;  // UTF-8; what is not becomes U+FFFD
    Kind kind;
    uint64_t bytes;
  };

  virtual ~Files() = default;

  virtual std::error_code List(const std::filesystem::path& folder, std::vector<Entry>& found) = 0;
  // Makes a new file, which only the user can read, and opens it to be written.
  virtual std::error_code Create(const std::filesystem::path& file, Handle& opened) = 0;
  virtual std::error_code Write(Handle file, std::string_view bytes) = 0;
  // Waits until the disk has what was written.
  virtual std::error_code Sync(Handle file) = 0;
  virtual std::error_code Close(Handle file) = 0;
  // Replaces a file that has the new name.
  virtual std::error_code Rename(const std::filesystem::path& from,
                                 const std::filesystem::path& to) = 0;
  // A file that is not there is an error (std::errc::no_such_file_or_directory).
  virtual std::error_code Remove(const std::filesystem::path& file) = 0;
  // Waits until the disk has the names that were given and taken in a folder.
  virtual std::error_code SyncFolder(const std::filesystem::path& folder) = 0;
  // A file of at most `most` bytes.
  virtual std::error_code Read(const std::filesystem::path& file, size_t most,
                               std::string& content) = 0;
  // Locks a file until it is closed or the process ends, however it ends; makes the file where
  // `make` is set. One that another holds is std::errc::resource_unavailable_try_again.
  virtual std::error_code Lock(const std::filesystem::path& file, bool make, Handle& locked) = 0;

  // The operating system's own.
  static Files& System();
};

// Writes a file that only the user can read in place of one of its name, by way of FILE.part: a
// kill or a power failure at any moment leaves the old content or the new one. One program at a
// time.
std::error_code WriteWholeFile(Files& files, const std::filesystem::path& file,
                               std::string_view content);

// The path as UTF-8; what of it is not becomes U+FFFD.
std::string PathText(const std::filesystem::path& path);

// UTF-8 made of any bytes: each that belongs to no character becomes U+FFFD.
std::string ToUtf8(std::string_view bytes);

}  // namespace ovix::agent

#endif  // OVIX_AGENT_SYSTEM_FILES_H_
