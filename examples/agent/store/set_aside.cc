#include "store/set_aside.h"

#include "store/error.h"
#include "store/files/files.h"
#include "store/time.h"

namespace ovix::agent {

std::string SetAside(const std::filesystem::path& file, const std::string& what_is_wrong,
                     std::chrono::system_clock::time_point now,
                     std::chrono::milliseconds patience) {
  std::string time;
  for (const char c : TimeText(now)) {
    if (c != '-' && c != ':' && c != '.') time += c;
  }
  std::filesystem::path aside;
  std::error_code error;
  for (int number = 1;; ++number) {
    aside = file;
    aside += ".damaged-" + time + (number == 1 ? "" : "-" + std::to_string(number));
    if (!std::filesystem::exists(std::filesystem::symlink_status(aside, error))) break;
  }
  // The file last: a journal left alone would be taken for the new one's.
  for (const char* suffix : {"-journal", "-wal", "-shm", ""}) {
    std::filesystem::path from = file;
    std::filesystem::path to = aside;
    from += suffix;
    to += suffix;
    error = Rename(from, to, patience);
    if (error) {
      throw StoreError(
          what_is_wrong + "; it cannot be renamed (" + error.message() + "): move it away",
          StoreError::Kind::kDamaged, file);
    }
  }
  SyncFolder(file.parent_path());
  return what_is_wrong + "; it was renamed to " + Printable(aside.filename()) +
         " and a new one is begun";
}

}  // namespace ovix::agent
