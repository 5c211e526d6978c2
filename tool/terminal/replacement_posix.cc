#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
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

}  // namespace

Replacement::Replacement(const fs::path& file) : target_(EndOf(file)) {
  try {
    Open();
  } catch (...) {
    Remove();
    throw;
  }
}

Replacement::~Replacement() { Remove(); }

// The temporary file, new. Where a file is replaced nobody else may read it before it has the
// rights of that.
void Replacement::Open() {
  const bool is_new = access(target_.c_str(), F_OK) != 0;
  // A file that may not be written may not be replaced either.
  if (!MayWrite(target_)) Fail(errno);
  int descriptor = -1;
  const SignalsHeld signals;
  do {
    temporary_ = TemporaryIn(target_.parent_path());
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
  if (!is_new && !TakeRights(temporary_, target_)) Fail(errno);
}

void Replacement::Finish() {
  if (!Flush(stream_)) Fail(errno);
  if (std::fclose(std::exchange(stream_, nullptr)) != 0) Fail(errno);
  {
    const SignalsHeld signals;
    RenameOver(temporary_, target_);
    unfinished_.Forget();
  }
  SyncFolder(target_.parent_path());
}

void Replacement::Remove() {
  if (stream_ != nullptr) std::fclose(std::exchange(stream_, nullptr));
  unfinished_.Remove();
}

}  // namespace ovix::tool
