#include "terminal/platform.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <string>
#include <string_view>

#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#include <windows.h>
#else
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

FILE* OpenFile(const std::filesystem::path& path, const char* mode) {
  const std::wstring wide(mode, mode + std::char_traits<char>::length(mode));
  return _wfopen(path.c_str(), wide.c_str());
}

bool Flush(FILE* file) { return std::fflush(file) == 0 && _commit(_fileno(file)) == 0; }

bool IsFileOf(FILE* stream, const std::filesystem::path& file) {
  const auto open = reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(stream)));
  const HANDLE other =
      CreateFileW(file.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                  OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (other == INVALID_HANDLE_VALUE) return false;
  BY_HANDLE_FILE_INFORMATION a, b;
  const bool is_same = GetFileInformationByHandle(open, &a) &&
                       GetFileInformationByHandle(other, &b) &&
                       a.dwVolumeSerialNumber == b.dwVolumeSerialNumber &&
                       a.nFileIndexHigh == b.nFileIndexHigh && a.nFileIndexLow == b.nFileIndexLow;
  CloseHandle(other);
  return is_same;
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

bool IsTerminal(FILE* stream) { return isatty(fileno(stream)) != 0; }

int TerminalWidth() {
  winsize size{};
  return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

FILE* OpenFile(const std::filesystem::path& path, const char* mode) {
  return std::fopen(path.c_str(), mode);
}

bool Flush(FILE* file) { return std::fflush(file) == 0 && fsync(fileno(file)) == 0; }

bool IsFileOf(FILE* stream, const std::filesystem::path& file) {
  struct stat open {
  }, other{};
  return fstat(fileno(stream), &open) == 0 && stat(file.c_str(), &other) == 0 &&
         S_ISREG(open.st_mode) && open.st_dev == other.st_dev && open.st_ino == other.st_ino;
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
