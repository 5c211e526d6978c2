#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "system/files.h"

namespace ovix::agent {
namespace {

namespace fs = std::filesystem;

std::error_code LastError() { return {errno, std::generic_category()}; }
std::error_code Done(bool done) { return done ? std::error_code() : LastError(); }
int Descriptor(Files::Handle handle) { return static_cast<int>(handle); }

// Repeats a call that a signal has interrupted.
template <typename Call>
auto Retry(const Call& call) {
  auto result = call();
  while (result < 0 && errno == EINTR) result = call();
  return result;
}

// Opens a file that only the user can read, whatever the umask says.
std::error_code OpenOwn(const fs::path& file, int flags, Files::Handle& opened) {
  const int descriptor =
      Retry([&] { return open(file.c_str(), flags | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR); });
  if (descriptor < 0) return LastError();
  if ((flags & O_CREAT) != 0 && fchmod(descriptor, S_IRUSR | S_IWUSR) != 0) {
    const std::error_code error = LastError();
    close(descriptor);
    return error;
  }
  opened = descriptor;
  return {};
}

class PosixFiles : public Files {
 public:
  std::error_code List(const fs::path& folder, std::vector<Entry>& found) override {
    std::error_code error;
    for (auto entry = fs::directory_iterator(folder, error);
         !error && entry != fs::directory_iterator(); entry.increment(error)) {
      struct stat status;
      if (lstat(entry->path().c_str(), &status) != 0) {
        if (errno == ENOENT) continue;  // gone in the meantime
        return LastError();
      }
      found.push_back({ToUtf8(entry->path().filename().native()),
                       S_ISREG(status.st_mode)   ? Kind::kFile
                       : S_ISLNK(status.st_mode) ? Kind::kLink
                                                 : Kind::kOther,
                       static_cast<uint64_t>(status.st_size)});
    }
    return error;
  }

  std::error_code Create(const fs::path& file, Handle& opened) override {
    return OpenOwn(file, O_WRONLY | O_CREAT | O_EXCL, opened);
  }

  std::error_code Write(Handle file, std::string_view bytes) override {
    while (!bytes.empty()) {
      const ssize_t written =
          Retry([&] { return write(Descriptor(file), bytes.data(), bytes.size()); });
      if (written < 0) return LastError();
      bytes.remove_prefix(static_cast<size_t>(written));
    }
    return {};
  }

  std::error_code Sync(Handle file) override {
    return Done(Retry([&] { return fsync(Descriptor(file)); }) == 0);
  }
  std::error_code Close(Handle file) override { return Done(close(Descriptor(file)) == 0); }
  std::error_code Rename(const fs::path& from, const fs::path& to) override {
    return Done(rename(from.c_str(), to.c_str()) == 0);
  }
  std::error_code Remove(const fs::path& file) override { return Done(unlink(file.c_str()) == 0); }

  std::error_code SyncFolder(const fs::path& folder) override {
    const int descriptor =
        Retry([&] { return open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); });
    if (descriptor < 0) return LastError();
    std::error_code error = Done(Retry([&] { return fsync(descriptor); }) == 0);
    if (error == std::errc::invalid_argument) error.clear();  // a file system without it
    close(descriptor);
    return error;
  }

  std::error_code Read(const fs::path& file, size_t most, std::string& content) override {
    const int descriptor =
        Retry([&] { return open(file.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC); });
    if (descriptor < 0) return LastError();
    content.resize(most + 1);
    size_t size = 0;
    ssize_t part = 1;
    while (part > 0 && size < content.size()) {
      part = Retry([&] { return read(descriptor, &content[size], content.size() - size); });
      if (part > 0) size += static_cast<size_t>(part);
    }
    std::error_code error = Done(part >= 0);
    close(descriptor);
    content.resize(size);
    if (!error && size > most) error = std::make_error_code(std::errc::file_too_large);
    return error;
  }

  std::error_code Lock(const fs::path& file, bool make, Handle& locked) override {
    std::error_code error = OpenOwn(file, O_RDWR | (make ? O_CREAT : 0), locked);
    if (error) return error;
    if (Retry([&] { return flock(Descriptor(locked), LOCK_EX | LOCK_NB); }) == 0) return {};
    error = LastError();
    close(Descriptor(locked));
    return error;
  }
};

}  // namespace

Files& Files::System() {
  static PosixFiles files;
  return files;
}

std::string PathText(const fs::path& path) { return ToUtf8(path.native()); }

}  // namespace ovix::agent
