// What differs between Windows and POSIX. Only platform.cc, unfinished.cc and
// replacement_*.cc call either.
#ifndef OVIX_TOOL_TERMINAL_PLATFORM_H_
#define OVIX_TOOL_TERMINAL_PLATFORM_H_

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

namespace ovix::tool {

// Bytes go in and out as they are; a closed pipe and a limit of file size are failed writes instead
// of signals.
void PrepareStandardStreams();
// Whether a failed write means that nobody reads the pipe. `error` is its errno.
bool IsClosedPipe(int error);
// Ends the program as a closed pipe ends others: by SIGPIPE. Returns where the system has no such
// signal, or the program that started this one ignores it.
void EndByClosedPipe();

bool IsTerminal(FILE* stream);
// Columns of the terminal of standard output; 0 where it is none.
int TerminalWidth();
// Whether to colour what is written to standard output: on a terminal, without NO_COLOR.
bool WantsColour();

// What an error of the system is called. On Windows the library's own words are in another
// encoding.
std::string MessageOf(const std::error_code& error);

#ifdef _WIN32
// Windows' text in UTF-8, and the other way round; what is not Unicode becomes U+FFFD.
std::string ToUtf8(std::wstring_view text);
std::wstring ToUtf16(std::string_view text);
#endif

// As std::fopen, for any path.
FILE* OpenFile(const std::filesystem::path& path, const char* mode);
// Reads what there is, up to `size` bytes, and waits only where there is nothing; 0 at the end of
// the stream, nothing with errno where it fails. Not to be mixed with other ways to read it.
std::optional<size_t> ReadSome(FILE* stream, char* buffer, size_t size);
// To the disk; false with errno.
bool Flush(FILE* file);
// The names in a folder, to the disk, as far as its file system can. On Windows the file system
// keeps the order of changes.
void SyncFolder(const std::filesystem::path& folder);
// What distinguishes a regular file from all others, whatever it is called.
struct FileId {
  uint64_t volume;
  uint64_t file;
  bool operator==(const FileId&) const = default;
};
// Nothing where it is not a regular file, or does not exist.
std::optional<FileId> IdOf(FILE* stream);
std::optional<FileId> IdOf(const std::filesystem::path& file);
// Whether the user may write a file; also where it does not exist. False with errno.
bool MayWrite(const std::filesystem::path& file);
// Gives `file` the mode and owner of `other`; false with errno. On Windows RenameOver() keeps the
// access rights.
bool TakeRights(const std::filesystem::path& file, const std::filesystem::path& other);
// Renames `from`, over a file `to` if there is one. Throws std::system_error.
void RenameOver(const std::filesystem::path& from, const std::filesystem::path& to);
// Renames `from`, unless something has the name `to`: then false with EEXIST. False with errno.
bool RenameToNew(const std::filesystem::path& from, const std::filesystem::path& to);
// Whether the path is a name for what a descriptor of this process has open, as /dev/stdout.
bool IsOwnDescriptor(const std::filesystem::path& file);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_TERMINAL_PLATFORM_H_
