// What differs between Windows and POSIX; platform.cc alone calls either.
#ifndef OVIX_TOOL_TERMINAL_PLATFORM_H_
#define OVIX_TOOL_TERMINAL_PLATFORM_H_

#include <cstdio>
#include <filesystem>

namespace ovix::tool {

// Bytes go in and out as they are, and a closed pipe is a failed write instead of a signal.
void PrepareStandardStreams();

bool IsTerminal(FILE* stream);
// Columns of the terminal of standard output; 0 where it is none.
int TerminalWidth();
// Whether to colour what is written to standard output: on a terminal, without NO_COLOR.
bool WantsColour();

// As std::fopen, for any path.
FILE* OpenFile(const std::filesystem::path& path, const char* mode);
// To the disk; false with errno.
bool Flush(FILE* file);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_TERMINAL_PLATFORM_H_
