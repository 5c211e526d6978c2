#include "terminal/platform.h"

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
#include <unistd.h>
#endif

namespace ovix::tool {

#ifdef _WIN32

void PrepareStandardStreams() {
  for (FILE* stream : {stdin, stdout}) _setmode(_fileno(stream), _O_BINARY);
  SetConsoleOutputCP(CP_UTF8);
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

static bool TakesColour() {
  DWORD mode = 0;
  const HANDLE console = GetStdHandle(STD_OUTPUT_HANDLE);
  return GetConsoleMode(console, &mode) &&
         SetConsoleMode(console, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING);
}

#else

void PrepareStandardStreams() { std::signal(SIGPIPE, SIG_IGN); }

bool IsTerminal(FILE* stream) { return isatty(fileno(stream)) != 0; }

int TerminalWidth() {
  winsize size{};
  return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

FILE* OpenFile(const std::filesystem::path& path, const char* mode) {
  return std::fopen(path.c_str(), mode);
}

bool Flush(FILE* file) { return std::fflush(file) == 0 && fsync(fileno(file)) == 0; }

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
