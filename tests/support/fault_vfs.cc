#include "support/fault_vfs.h"

#include <sys/stat.h>

#include <cstring>
#include <fstream>
#include <random>
#include <set>
#include <utility>

#include "support/folder.h"

namespace ovix::tests {
namespace {

uint64_t InodeOf(const std::string& name) {
  struct stat status;
  return stat(name.c_str(), &status) == 0 ? status.st_ino : 0;
}

void Apply(std::string& content, sqlite3_int64 offset, const std::string& bytes, bool truncates) {
  const auto place = static_cast<size_t>(offset);
  if (truncates) return content.resize(place);
  if (content.size() < place + bytes.size()) content.resize(place + bytes.size());
  content.replace(place, bytes.size(), bytes);
}

}  // namespace

// SQLite allocates it, with the real file after it.
struct FaultVfs::File {
  sqlite3_file base;
  FaultVfs* vfs;
  Content* content;  // null for a temporary file, which no crash leaves anything of
  std::shared_ptr<Content>* owner;
  bool syncs_names;

  sqlite3_file* real() { return reinterpret_cast<sqlite3_file*>(this + 1); }
};

void FaultVfs::Content::Sync() {
  for (const Change& change : changes) {
    Apply(synced, change.offset, change.bytes, change.truncates);
  }
  changes.clear();
}

// What SQLite calls.
struct FaultVfs::Calls {
  static File* Cast(sqlite3_file* file) { return reinterpret_cast<File*>(file); }
  static sqlite3_file* Real(sqlite3_file* file) { return Cast(file)->real(); }

  static int Close(sqlite3_file* file) {
    delete Cast(file)->owner;
    return Real(file)->pMethods->xClose(Real(file));
  }
  static int Read(sqlite3_file* file, void* bytes, int size, sqlite3_int64 offset) {
    int code = SQLITE_IOERR_READ;
    if (!Cast(file)->vfs->Goes(Operation::kRead, &code)) return code;
    return Real(file)->pMethods->xRead(Real(file), bytes, size, offset);
  }
  static int Write(sqlite3_file* file, const void* bytes, int size, sqlite3_int64 offset) {
    int code = SQLITE_IOERR_WRITE;
    FaultVfs& vfs = *Cast(file)->vfs;
    const bool was_struck = vfs.struck_;
    const bool goes = vfs.Goes(Operation::kWrite, &code);
    const bool strikes = vfs.struck_ && !was_struck;
    // The write that loses its power may have reached the disk, whole or in part.
    if (Cast(file)->content != nullptr &&
        (goes || (strikes && vfs.fault_.kind == Fault::Kind::kPowerLoss))) {
      Cast(file)->content->changes.push_back(
          {offset, std::string(static_cast<const char*>(bytes), static_cast<size_t>(size)), false});
    }
    if (strikes && vfs.fault_.kind == Fault::Kind::kTear) {
      Real(file)->pMethods->xWrite(Real(file), bytes, size / 2, offset);
    }
    return goes ? Real(file)->pMethods->xWrite(Real(file), bytes, size, offset) : code;
  }
  static int Truncate(sqlite3_file* file, sqlite3_int64 size) {
    int code = SQLITE_IOERR_TRUNCATE;
    if (!Cast(file)->vfs->Goes(Operation::kTruncate, &code)) return code;
    if (Cast(file)->content != nullptr) Cast(file)->content->changes.push_back({size, "", true});
    return Real(file)->pMethods->xTruncate(Real(file), size);
  }
  static int Sync(sqlite3_file* file, int) {
    int code = SQLITE_IOERR_FSYNC;
    FaultVfs& vfs = *Cast(file)->vfs;
    if (!vfs.Goes(Operation::kSync, &code)) return code;
    if (Cast(file)->content != nullptr) Cast(file)->content->Sync();
    // The file system under this one syncs the folder with a new journal, once.
    if (std::exchange(Cast(file)->syncs_names, false)) vfs.SyncNames();
    return SQLITE_OK;
  }
  static int FileSize(sqlite3_file* file, sqlite3_int64* size) {
    return Real(file)->pMethods->xFileSize(Real(file), size);
  }
  static int Lock(sqlite3_file* file, int lock) {
    return Real(file)->pMethods->xLock(Real(file), lock);
  }
  static int Unlock(sqlite3_file* file, int lock) {
    return Real(file)->pMethods->xUnlock(Real(file), lock);
  }
  static int CheckReservedLock(sqlite3_file* file, int* result) {
    return Real(file)->pMethods->xCheckReservedLock(Real(file), result);
  }
  static int FileControl(sqlite3_file* file, int operation, void* argument) {
    return Real(file)->pMethods->xFileControl(Real(file), operation, argument);
  }
  static int SectorSize(sqlite3_file* file) {
    return Real(file)->pMethods->xSectorSize(Real(file));
  }
  static int DeviceCharacteristics(sqlite3_file* file) {
    return Real(file)->pMethods->xDeviceCharacteristics(Real(file));
  }

  static int Open(sqlite3_vfs* self, const char* name, sqlite3_file* opened, int flags,
                  int* given_flags) {
    // Of the first version: no shared memory, no mapped files.
    static const sqlite3_io_methods methods = {
        .iVersion = 1,
        .xClose = Close,
        .xRead = Read,
        .xWrite = Write,
        .xTruncate = Truncate,
        .xSync = Sync,
        .xFileSize = FileSize,
        .xLock = Lock,
        .xUnlock = Unlock,
        .xCheckReservedLock = CheckReservedLock,
        .xFileControl = FileControl,
        .xSectorSize = SectorSize,
        .xDeviceCharacteristics = DeviceCharacteristics,
        .xShmMap = nullptr,
        .xShmLock = nullptr,
        .xShmBarrier = nullptr,
        .xShmUnmap = nullptr,
        .xFetch = nullptr,
        .xUnfetch = nullptr,
    };
    FaultVfs& vfs = *static_cast<FaultVfs*>(self->pAppData);
    File* file = Cast(opened);
    file->base.pMethods = nullptr;
    int code = SQLITE_CANTOPEN;
    if (!vfs.Goes(Operation::kOpen, &code)) return code;
    const bool is_new = name != nullptr && InodeOf(name) == 0;
    code = vfs.real_->xOpen(vfs.real_, name, file->real(), flags, given_flags);
    if (code != SQLITE_OK) return code;
    file->base.pMethods = &methods;
    file->vfs = &vfs;
    file->content = nullptr;
    file->owner = nullptr;
    vfs.Track(file, name,
              is_new && (flags & (SQLITE_OPEN_MAIN_JOURNAL | SQLITE_OPEN_SUPER_JOURNAL)));
    return SQLITE_OK;
  }
  static int Delete(sqlite3_vfs* self, const char* name, int sync_folder) {
    FaultVfs& vfs = *static_cast<FaultVfs*>(self->pAppData);
    int code = SQLITE_IOERR_DELETE;
    if (!vfs.Goes(Operation::kDelete, &code)) return code;
    code = vfs.real_->xDelete(vfs.real_, name, 0);
    if (code != SQLITE_OK) return code;
    vfs.live_.erase(name);
    if (sync_folder != 0) vfs.SyncNames();
    return SQLITE_OK;
  }
};

FaultVfs::FaultVfs(std::filesystem::path folder)
    : folder_(std::move(folder)), real_(sqlite3_vfs_find(nullptr)), vfs_(*real_) {
  vfs_.szOsFile = static_cast<int>(sizeof(File)) + real_->szOsFile;
  vfs_.zName = "ovix-tests-faults";
  vfs_.pAppData = this;
  vfs_.xOpen = Calls::Open;
  vfs_.xDelete = Calls::Delete;
  // The rest takes the file system itself, to find its own data.
  vfs_.xAccess = [](sqlite3_vfs* self, const char* name, int flags, int* result) {
    sqlite3_vfs* real = static_cast<FaultVfs*>(self->pAppData)->real_;
    return real->xAccess(real, name, flags, result);
  };
  vfs_.xFullPathname = [](sqlite3_vfs* self, const char* name, int size, char* full) {
    sqlite3_vfs* real = static_cast<FaultVfs*>(self->pAppData)->real_;
    return real->xFullPathname(real, name, size, full);
  };
  vfs_.xGetLastError = [](sqlite3_vfs* self, int size, char* text) {
    sqlite3_vfs* real = static_cast<FaultVfs*>(self->pAppData)->real_;
    return real->xGetLastError(real, size, text);
  };
  sqlite3_vfs_register(&vfs_, 1);
}

FaultVfs::~FaultVfs() {
  sqlite3_vfs_unregister(&vfs_);
  sqlite3_vfs_register(real_, 1);
}

void FaultVfs::Arm(const Fault& fault) {
  fault_ = fault;
  seen_ = 0;
  struck_ = false;
  live_.clear();
  if (fault.kind != Fault::Kind::kPowerLoss) return;
  for (const auto& entry : std::filesystem::directory_iterator(folder_)) {
    auto content = std::make_shared<Content>();
    content->inode = InodeOf(entry.path());
    content->synced = ReadFile(entry.path());
    live_[entry.path()] = content;
  }
  synced_ = live_;
}

bool FaultVfs::Disarm() {
  fault_ = {};
  return struck_;
}

bool FaultVfs::Goes(Operation operation, int* code) {
  using Kind = Fault::Kind;
  bool counts = operation == fault_.operation;
  if (fault_.kind == Kind::kTear || fault_.kind == Kind::kFull) {
    counts = operation == Operation::kWrite;
  } else if (fault_.kind == Kind::kPowerLoss) {
    counts = operation != Operation::kOpen && operation != Operation::kRead;
  }
  const bool strikes = fault_.kind != Kind::kNone && counts && ++seen_ == fault_.at;
  const bool was_struck = struck_;
  struck_ = struck_ || strikes;
  switch (fault_.kind) {
    case Kind::kNone:
      return true;
    case Kind::kFail:
    case Kind::kTear:
      return !strikes;
    case Kind::kBreak:
    case Kind::kPowerLoss:
      return !struck_;
    case Kind::kFull:
      if (!counts || !(was_struck || strikes)) return true;
      *code = SQLITE_FULL;
      return false;
  }
  return true;
}

void FaultVfs::Track(File* file, const char* name, bool is_new_journal) {
  file->syncs_names = is_new_journal;
  if (fault_.kind != Fault::Kind::kPowerLoss || name == nullptr) return;
  std::shared_ptr<Content>& content = live_[name];
  // A file that the store has made is as new as one that SQLite makes.
  if (const uint64_t inode = InodeOf(name); content == nullptr || content->inode != inode) {
    content = std::make_shared<Content>();
    content->inode = inode;
  }
  file->owner = new std::shared_ptr<Content>(content);
  file->content = content.get();
}

void FaultVfs::SyncNames() { synced_ = live_; }

void FaultVfs::RestorePower(Unsynced unsynced, uint32_t seed) {
  std::minstd_rand random(seed + 1);
  const auto keeps = [&] {
    return unsynced == Unsynced::kKept || (unsynced == Unsynced::kSomeKept && random() % 2 == 0);
  };
  std::set<std::string> names;
  for (const Names* all : {&live_, &synced_}) {
    for (const auto& [name, content] : *all) names.insert(name);
  }
  for (const std::string& name : names) {
    std::filesystem::remove(name);
    const Names& from = keeps() ? live_ : synced_;
    const auto found = from.find(name);
    if (found == from.end()) continue;
    std::string bytes = found->second->synced;
    for (const Content::Change& change : found->second->changes) {
      if (!keeps()) continue;
      const bool is_torn = unsynced == Unsynced::kSomeKept && random() % 4 == 0;
      Apply(bytes, change.offset, change.bytes.substr(0, change.bytes.size() / (is_torn ? 2 : 1)),
            change.truncates);
    }
    std::ofstream(name, std::ios::binary) << bytes;
  }
  live_.clear();
  synced_.clear();
}

}  // namespace ovix::tests
