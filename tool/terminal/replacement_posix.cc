#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <random>
#include <string>
#include <system_error>
#include <utility>

#include "terminal/platform.h"
#include "terminal/replacement.h"
#include "terminal/unfinished.h"

namespace ovix::tool {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void Fail(int error) { throw std::system_error(error, std::generic_category()); }

// Where a chain of links ends, even if nothing exists there.
fs::path EndOf(fs::path file) {
  constexpr int kMostLinks = 40;  // as Linux
  std::error_code failed;
  for (int i = 0; fs::is_symlink(fs::symlink_status(file, failed)); ++i) {
    if (i == kMostLinks) Fail(ELOOP);
    const fs::path next = fs::read_symlink(file, failed);
    if (failed) Fail(failed.value());
    // A path that is absolute replaces all before it.
    file = file.parent_path() / next;
  }
  return file;
}

// A folder's entries, on the disk. Some file systems cannot, and need not.
void SyncFolder(const fs::path& folder) {
  const int descriptor = open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_CLOEXEC);
  if (descriptor < 0) return;
  fsync(descriptor);
  close(descriptor);
}

}  // namespace

Replacement::Replacement(const fs::path& file) : target_(EndOf(file)) {
  try {
    Open();
    Keep();
  } catch (...) {
    Remove();
    throw;
  }
}

Replacement::~Replacement() { Remove(); }

// The temporary file, new. Where a file is replaced nobody else may read it before Keep().
void Replacement::Open() {
  const bool is_new = access(target_.c_str(), F_OK) != 0;
  // A file that may not be written may not be replaced either.
  if (!is_new && access(target_.c_str(), W_OK) != 0) Fail(errno);
  std::random_device random;
  int descriptor = -1;
  const SignalsHeld signals;
  do {
    temporary_ = target_.parent_path() / (".ovix-contracts-" + std::to_string(random()) + ".tmp");
    descriptor =
        open(temporary_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, is_new ? 0666 : 0600);
  } while (descriptor < 0 && errno == EEXIST);
  if (descriptor < 0) Fail(errno);
  unfinished_.Add(temporary_);
  stream_ = fdopen(descriptor, "wb");
  if (stream_ == nullptr) {
    close(descriptor);
    Fail(ENOMEM);
  }
}

void Replacement::Keep() {
  struct stat before {
  }, now{};
  if (stat(target_.c_str(), &before) != 0) return;
  const int descriptor = fileno(stream_);
  if (fstat(descriptor, &now) != 0) Fail(errno);
  if ((before.st_uid != now.st_uid || before.st_gid != now.st_gid) &&
      fchown(descriptor, before.st_uid, before.st_gid) != 0) {
    Fail(errno);
  }
  if (fchmod(descriptor, before.st_mode & 07777) != 0) Fail(errno);
}

void Replacement::Finish() {
  if (!Flush(stream_)) Fail(errno);
  if (std::fclose(std::exchange(stream_, nullptr)) != 0) Fail(errno);
  {
    const SignalsHeld signals;
    if (std::rename(temporary_.c_str(), target_.c_str()) != 0) Fail(errno);
    unfinished_.Forget();
  }
  SyncFolder(target_.parent_path());
}

void Replacement::Remove() {
  if (stream_ != nullptr) std::fclose(std::exchange(stream_, nullptr));
  unfinished_.Remove();
}

}  // namespace ovix::tool
