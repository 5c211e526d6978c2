// A file system of SQLite's that fails on demand: what the disk under a store can do to it.
#ifndef OVIX_TESTS_SUPPORT_FAULT_VFS_H_
#define OVIX_TESTS_SUPPORT_FAULT_VFS_H_

#include <sqlite3.h>

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace ovix::tests {

enum class Operation { kOpen, kRead, kWrite, kSync, kTruncate, kDelete };

struct Fault {
  enum class Kind {
    kNone,
    kFail,       // one operation fails and does nothing
    kBreak,      // it fails, and so does every later operation of any kind
    kTear,       // half of one write is done, then it fails
    kFull,       // the disk is full from one write on
    kPowerLoss,  // nothing is done from one change on; RestorePower() leaves what the disk has
  };
  Kind kind = Kind::kNone;
  Operation operation = Operation::kWrite;  // that kFail and kBreak count
  int at = 1;                               // which one of them, counted from 1
};

// The default file system of the process while it lives. All files are real ones, but nothing waits
// for the disk: what a sync would have made sure of is kept apart. One test, one thread, one folder
// of databases; connections must be closed before it goes.
class FaultVfs {
 public:
  explicit FaultVfs(std::filesystem::path folder);
  ~FaultVfs();
  FaultVfs(const FaultVfs&) = delete;
  FaultVfs& operator=(const FaultVfs&) = delete;

  // Counts from here. All that is in the folder now is taken as being on the disk.
  void Arm(const Fault& fault);
  // Ends the fault; whether it has struck.
  bool Disarm();

  // What of the changes that were not synced the disk has: bytes written, files that were created,
  // and files that were deleted, which may be there again.
  enum class Unsynced { kLost, kKept, kSomeKept };
  // Leaves the folder as it is found after the power has come back.
  void RestorePower(Unsynced unsynced, uint32_t seed);

 private:
  // A file, whatever its name: what the disk has for sure, and the changes since.
  struct Content {
    struct Change {
      sqlite3_int64 offset;  // of what is written, or the new size
      std::string bytes;
      bool truncates;
    };
    uint64_t inode = 0;
    std::string synced;
    std::vector<Change> changes;
    void Sync();
  };
  using Names = std::map<std::string, std::shared_ptr<Content>>;
  struct File;
  struct Calls;

  // Counts an operation; whether it is to be done. `change` says whether a loss of power counts it.
  bool Goes(Operation operation, int* code);
  void Track(File* file, const char* name, bool is_new_journal);
  void SyncNames();

  const std::filesystem::path folder_;
  sqlite3_vfs* const real_;
  sqlite3_vfs vfs_;
  Fault fault_;
  int seen_ = 0;
  bool struck_ = false;
  Names live_, synced_;
};

}  // namespace ovix::tests

#endif  // OVIX_TESTS_SUPPORT_FAULT_VFS_H_
