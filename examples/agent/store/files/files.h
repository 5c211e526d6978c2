// The store's files and folders, readable by their owner alone: posix.cc and windows.cc.
#ifndef OVIX_AGENT_STORE_FILES_FILES_H_
#define OVIX_AGENT_STORE_FILES_FILES_H_

#include <chrono>
#include <filesystem>
#include <system_error>
#include <vector>

#include "store/patience.h"

namespace ovix::agent {

// Creates an empty file that only its owner may read and write, whatever the umask (on Windows: the
// user, SYSTEM and the Administrators); false where there is one of that name already, which stays
// as it is. Throws StoreError.
bool CreatePrivateFile(const std::filesystem::path& file);

// Creates a folder for its owner alone, with the folders above it; gives those that it created, the
// lowest first. Throws StoreError.
std::vector<std::filesystem::path> CreatePrivateFolder(const std::filesystem::path& folder);

// Whether the name is a symbolic link, or another that leads elsewhere; false where there is none.
bool IsLink(const std::filesystem::path& path);

// Takes the rights of everybody but the owner from a file or folder that is the user's own; leaves
// any other as it is.
void MakePrivate(const std::filesystem::path& path);

// Waits for the other holders of the lock of a folder, in this program and in others, and holds it
// while it lives: alone, who renames or removes files; shared, who relies on their names. It leaves
// no file. Shared it does nothing on Windows: there an open file can be neither renamed nor
// removed. Throws StoreError of kind kLocked where the patience has run out.
class FolderLock {
 public:
  enum class Kind { kAlone, kShared };
  FolderLock(const std::filesystem::path& folder, Patience& patience, Kind kind = Kind::kAlone);
  ~FolderLock();
  FolderLock(const FolderLock&) = delete;
  FolderLock& operator=(const FolderLock&) = delete;

 private:
#ifdef _WIN32
  void* mutex_ = nullptr;
#else
  int folder_ = -1;
#endif
};

// Renames a file; one that is missing is not an error. Windows does not rename an open file: there
// it waits as long as `patience` for others to close it.
std::error_code Rename(const std::filesystem::path& from, const std::filesystem::path& to,
                       std::chrono::milliseconds patience);

// Waits until the disk has the names of the folder's files.
void SyncFolder(const std::filesystem::path& folder);

}  // namespace ovix::agent

#endif  // OVIX_AGENT_STORE_FILES_FILES_H_
