// What the store says when something is wrong: one line for a person, and its kind for a program.
#ifndef OVIX_AGENT_STORE_ERROR_H_
#define OVIX_AGENT_STORE_ERROR_H_

#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>

namespace ovix::agent {

// One line for a person: which file or record, what is wrong, how to fix it.
class StoreError : public std::runtime_error {
 public:
  enum class Kind {
    kInput,       // a record, table or folder that cannot be what was asked for
    kMissing,     // a folder to read that is not there
    kDenied,      // permissions of file or folder
    kDamaged,     // the file is not a sound database
    kForeign,     // a database of another program, or of a newer release
    kLocked,      // another program has it
    kFull,        // the disk, or the database's own limit of size
    kDisk,        // reading or writing failed
    kConstraint,  // a key that is kept already
    kOther,
  };

  explicit StoreError(const std::string& line, Kind kind = Kind::kInput,
                      std::filesystem::path file = {})
      : std::runtime_error(line), kind_(kind), file_(std::move(file)) {}

  Kind kind() const { return kind_; }
  // The file that failed; empty where no one file did.
  const std::filesystem::path& file() const { return file_; }

 private:
  Kind kind_;
  std::filesystem::path file_;
};

// The error for an SQLite result code on a file. `system_error` is that of sqlite3_system_errno.
StoreError SqliteError(const std::filesystem::path& file, int code, int system_error,
                       const std::string& message);

// The error of a store's folder whose lock another program keeps.
StoreError FolderLockedError(const std::filesystem::path& folder);

// Text as it may appear in a line for a person: control characters, quotes, backslashes, marks of
// direction and bytes that are not UTF-8 are written as \n, \", \\, \u202e, \xff.
std::string Escaped(std::string_view text);

// The path in UTF-8, escaped.
std::string Printable(const std::filesystem::path& path);

}  // namespace ovix::agent

#endif  // OVIX_AGENT_STORE_ERROR_H_
