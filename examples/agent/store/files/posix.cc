#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <mutex>

#include "store/error.h"
#include "store/files/files.h"

namespace ovix::agent {
namespace {

constexpr mode_t kFileMode = 0600;
constexpr mode_t kFolderMode = 0700;

[[noreturn]] void Fail(const std::filesystem::path& path, const char* what, int error) {
  const StoreError::Kind kind = error == EACCES || error == EPERM || error == EROFS
                                    ? StoreError::Kind::kDenied
                                : error == ENOSPC || error == EDQUOT ? StoreError::Kind::kFull
                                                                     : StoreError::Kind::kInput;
  throw StoreError(Printable(path) + ": " + what + " cannot be created (" + std::strerror(error) +
                       "); name a folder that can be written",
                   kind, path);
}

}  // namespace

bool CreatePrivateFile(const std::filesystem::path& file) {
  // Closing a file gives up all locks that the process has on it, those of SQLite too. Nobody can
  // have any yet, as every connection that creates goes through here first.
  static std::mutex mutex;
  const std::lock_guard<std::mutex> lock(mutex);
  const int created = open(file.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, kFileMode);
  if (created < 0 && errno == EEXIST) return false;
  if (created < 0) Fail(file, "the database", errno);
  const bool is_private = fchmod(created, kFileMode) == 0;
  const int error = errno;
  close(created);
  if (!is_private) Fail(file, "the database", error);
  return true;
}

std::vector<std::filesystem::path> CreatePrivateFolder(const std::filesystem::path& folder) {
  std::vector<std::filesystem::path> created;
  if (mkdir(folder.c_str(), kFolderMode) != 0) {
    if (errno == ENOENT && folder.has_parent_path() && folder.parent_path() != folder) {
      created = CreatePrivateFolder(folder.parent_path());
      if (mkdir(folder.c_str(), kFolderMode) != 0) Fail(folder, "the folder", errno);
    } else if (std::error_code ignored;
               errno == EEXIST && std::filesystem::is_directory(folder, ignored)) {
      return created;
    } else {
      Fail(folder, "the folder", errno == EEXIST ? ENOTDIR : errno);
    }
  }
  if (chmod(folder.c_str(), kFolderMode) != 0) Fail(folder, "the folder", errno);
  created.insert(created.begin(), folder);
  return created;
}

bool IsLink(const std::filesystem::path& path) {
  struct stat status;
  return lstat(path.c_str(), &status) == 0 && S_ISLNK(status.st_mode);
}

void MakePrivate(const std::filesystem::path& path) {
  struct stat status;
  if (lstat(path.c_str(), &status) != 0 || status.st_uid != geteuid()) return;
  const bool is_folder = S_ISDIR(status.st_mode);
  if ((!is_folder && !S_ISREG(status.st_mode)) || (status.st_mode & 077) == 0) return;
  chmod(path.c_str(), is_folder ? kFolderMode : kFileMode);
}

FolderLock::FolderLock(const std::filesystem::path& folder, Patience& patience, Kind kind)
    : folder_(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
  if (folder_ < 0) return;
  const int operation = (kind == Kind::kAlone ? LOCK_EX : LOCK_SH) | LOCK_NB;
  while (flock(folder_, operation) != 0) {
    if (errno == EINTR) continue;
    if (errno != EWOULDBLOCK) return;  // a file system without such locks
    if (patience.Wait()) continue;
    close(folder_);
    throw FolderLockedError(folder);
  }
}

FolderLock::~FolderLock() {
  if (folder_ >= 0) close(folder_);
}

std::error_code Rename(const std::filesystem::path& from, const std::filesystem::path& to,
                       std::chrono::milliseconds /*patience*/) {
  std::error_code error;
  std::filesystem::rename(from, to, error);
  return error == std::errc::no_such_file_or_directory ? std::error_code() : error;
}

void SyncFolder(const std::filesystem::path& folder) {
  const int opened =
      open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (opened < 0) return;
  fsync(opened);
  close(opened);
}

}  // namespace ovix::agent
