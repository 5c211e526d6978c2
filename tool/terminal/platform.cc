#include "terminal/platform.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <iterator>
#include <string>
#include <string_view>
#include <system_error>

#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#include <windows.h>
#else
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace ovix::tool {
namespace {

// More at once than any system takes in one call.
constexpr size_t kMostAtOnce = size_t{1} << 30;

}  // namespace

#ifdef _WIN32

void PrepareStandardStreams() {
  for (FILE* stream : {stdin, stdout}) _setmode(_fileno(stream), _O_BINARY);
  SetConsoleOutputCP(CP_UTF8);
}

// The C library does not know every code of a closed pipe.
bool IsClosedPipe(int error) {
  return error == EPIPE ||
         (error == EINVAL && GetFileType(GetStdHandle(STD_OUTPUT_HANDLE)) == FILE_TYPE_PIPE);
}

void EndByClosedPipe() {}

std::optional<size_t> ReadSome(FILE* stream, char* buffer, size_t size) {
  const int read =
      _read(_fileno(stream), buffer, static_cast<unsigned>(std::min(size, kMostAtOnce)));
  if (read < 0) return std::nullopt;
  return static_cast<size_t>(read);
}

bool IsTerminal(FILE* stream) { return _isatty(_fileno(stream)) != 0; }

int TerminalWidth() {
  CONSOLE_SCREEN_BUFFER_INFO info;
  return GetConsoleScreenBufferInfo(GetStdHandle(STD_OUTPUT_HANDLE), &info)
             ? info.srWindow.Right - info.srWindow.Left + 1
             : 0;
}

std::string ToUtf8(std::wstring_view text) {
  const int length = static_cast<int>(text.size());
  const auto convert = [&](char* utf8, int size) {
    return WideCharToMultiByte(CP_UTF8, 0, text.data(), length, utf8, size, nullptr, nullptr);
  };
  std::string utf8(convert(nullptr, 0), '\0');
  convert(utf8.data(), static_cast<int>(utf8.size()));
  return utf8;
}

std::wstring ToUtf16(std::string_view text) {
  const int length = static_cast<int>(text.size());
  const auto convert = [&](wchar_t* utf16, int size) {
    return MultiByteToWideChar(CP_UTF8, 0, text.data(), length, utf16, size);
  };
  std::wstring utf16(convert(nullptr, 0), L'\0');
  convert(utf16.data(), static_cast<int>(utf16.size()));
  return utf16;
}

std::string MessageOf(const std::error_code& error) {
  if (error.category() != std::system_category()) return error.message();
  wchar_t words[512] = {};
  FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                 static_cast<DWORD>(error.value()), 0, words, static_cast<DWORD>(std::size(words)),
                 nullptr);
  std::string message = ToUtf8(words);
  message.erase(message.find_last_not_of("\r\n. ") + 1);
  return message.empty() ? "error " + std::to_string(error.value()) : message;
}

FILE* OpenFile(const std::filesystem::path& path, const char* mode) {
  const std::wstring wide(mode, mode + std::char_traits<char>::length(mode));
  return _wfopen(path.c_str(), wide.c_str());
}

bool Flush(FILE* file) { return std::fflush(file) == 0 && _commit(_fileno(file)) == 0; }

static std::optional<FileId> IdOf(HANDLE handle) {
  BY_HANDLE_FILE_INFORMATION file;
  if (GetFileType(handle) != FILE_TYPE_DISK || !GetFileInformationByHandle(handle, &file)) {
    return std::nullopt;
  }
  return FileId{file.dwVolumeSerialNumber,
                uint64_t{file.nFileIndexHigh} << 32 | file.nFileIndexLow};
}

std::optional<FileId> IdOf(FILE* stream) {
  return IdOf(reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(stream))));
}

std::optional<FileId> IdOf(const std::filesystem::path& file) {
  const HANDLE handle =
      CreateFileW(file.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                  OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (handle == INVALID_HANDLE_VALUE) return std::nullopt;
  const std::optional<FileId> id = IdOf(handle);
  CloseHandle(handle);
  return id;
}

void SyncFolder(const std::filesystem::path&) {}

bool MayWrite(const std::filesystem::path& file) {
  const DWORD attributes = GetFileAttributesW(file.c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_READONLY) == 0) {
    return true;
  }
  errno = EACCES;
  return false;
}

bool TakeRights(const std::filesystem::path&, const std::filesystem::path&) { return true; }

void RenameOver(const std::filesystem::path& from, const std::filesystem::path& to) {
  const bool is_new = GetFileAttributesW(to.c_str()) == INVALID_FILE_ATTRIBUTES;
  if (!is_new && ReplaceFileW(to.c_str(), from.c_str(), nullptr, 0, nullptr, nullptr)) return;
  const DWORD error = is_new ? ERROR_UNABLE_TO_MOVE_REPLACEMENT : GetLastError();
  // Nothing is there, or no longer: a file can vanish in between.
  if ((error != ERROR_UNABLE_TO_MOVE_REPLACEMENT && error != ERROR_FILE_NOT_FOUND) ||
      !MoveFileExW(from.c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
    throw std::system_error(static_cast<int>(GetLastError()), std::system_category());
  }
}

bool RenameToNew(const std::filesystem::path& from, const std::filesystem::path& to) {
  if (MoveFileExW(from.c_str(), to.c_str(), 0)) return true;
  const DWORD error = GetLastError();
  errno = error == ERROR_ALREADY_EXISTS || error == ERROR_FILE_EXISTS ? EEXIST : EACCES;
  return false;
}

bool IsOwnDescriptor(const std::filesystem::path&) { return false; }

static bool TakesColour() {
  DWORD mode = 0;
  const HANDLE console = GetStdHandle(STD_OUTPUT_HANDLE);
  return GetConsoleMode(console, &mode) &&
         SetConsoleMode(console, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING);
}

#else

static bool ends_by_closed_pipe = false;

void PrepareStandardStreams() {
  ends_by_closed_pipe = std::signal(SIGPIPE, SIG_IGN) == SIG_DFL;
  std::signal(SIGXFSZ, SIG_IGN);
}

bool IsClosedPipe(int error) { return error == EPIPE; }

void EndByClosedPipe() {
  if (!ends_by_closed_pipe) return;
  std::signal(SIGPIPE, SIG_DFL);
  std::raise(SIGPIPE);
}

std::optional<size_t> ReadSome(FILE* stream, char* buffer, size_t size) {
  ssize_t read = 0;
  do {
    read = ::read(fileno(stream), buffer, std::min(size, kMostAtOnce));
  } while (read < 0 && errno == EINTR);
  if (read < 0) return std::nullopt;
  return static_cast<size_t>(read);
}

std::string MessageOf(const std::error_code& error) { return error.message(); }

bool IsTerminal(FILE* stream) { return isatty(fileno(stream)) != 0; }

int TerminalWidth() {
  winsize size{};
  return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

FILE* OpenFile(const std::filesystem::path& path, const char* mode) {
  return std::fopen(path.c_str(), mode);
}

bool Flush(FILE* file) { return std::fflush(file) == 0 && fsync(fileno(file)) == 0; }

static std::optional<FileId> IdOf(const struct stat& status) {
  if (!S_ISREG(status.st_mode)) return std::nullopt;
  return FileId{static_cast<uint64_t>(status.st_dev), static_cast<uint64_t>(status.st_ino)};
}

std::optional<FileId> IdOf(FILE* stream) {
  struct stat status {};
  return fstat(fileno(stream), &status) == 0 ? IdOf(status) : std::nullopt;
}

std::optional<FileId> IdOf(const std::filesystem::path& file) {
  struct stat status {};
  return stat(file.c_str(), &status) == 0 ? IdOf(status) : std::nullopt;
}

void SyncFolder(const std::filesystem::path& folder) {
  const int descriptor = open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_CLOEXEC);
  if (descriptor < 0) return;
  fsync(descriptor);
  close(descriptor);
}

bool MayWrite(const std::filesystem::path& file) {
  return access(file.c_str(), W_OK) == 0 || errno == ENOENT;
}

bool TakeRights(const std::filesystem::path& file, const std::filesystem::path& other) {
  struct stat before {
  }, now{};
  if (stat(other.c_str(), &before) != 0 || stat(file.c_str(), &now) != 0) return false;
  if ((before.st_uid != now.st_uid || before.st_gid != now.st_gid) &&
      chown(file.c_str(), before.st_uid, before.st_gid) != 0) {
    return false;
  }
  return chmod(file.c_str(), before.st_mode & 07777) == 0;
}

void RenameOver(const std::filesystem::path& from, const std::filesystem::path& to) {
  std::filesystem::rename(from, to);
}

bool RenameToNew(const std::filesystem::path& from, const std::filesystem::path& to) {
#ifdef RENAME_NOREPLACE
  if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return true;
  // Some file systems cannot.
  if (errno != EINVAL && errno != ENOSYS) return false;
#endif
  struct stat status {};
  if (lstat(to.c_str(), &status) == 0) {
    errno = EEXIST;
    return false;
  }
  return std::rename(from.c_str(), to.c_str()) == 0;
}

bool IsOwnDescriptor(const std::filesystem::path& file) {
  // /dev/stdout and /dev/fd are links to /proc/self/fd on Linux, folders of devices elsewhere.
  std::error_code ignored;
  std::filesystem::path path = std::filesystem::absolute(file, ignored);
  for (int i = 0; i < 40; ++i) {
    const std::filesystem::path folder =
        std::filesystem::weakly_canonical(path.parent_path(), ignored);
    if (folder == "/dev/fd" ||
        (folder.filename() == "fd" && folder.string().starts_with("/proc/"))) {
      return true;
    }
    const std::filesystem::path next = std::filesystem::read_symlink(path, ignored);
    if (next.empty()) return false;
    path = folder / next;
  }
  return false;
}

static bool TakesColour() {
  const char* terminal = std::getenv("TERM");
  return terminal == nullptr || std::string_view(terminal) != "dumb";
}

#endif

bool WantsColour() {
  const char* no_colour = std::getenv("NO_COLOR");
  return (no_colour == nullptr || *no_colour == '\0') && IsTerminal(stdout) && TakesColour();
}

}  // namespace ovix::tool
