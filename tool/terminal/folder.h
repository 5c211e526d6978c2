// A folder that a command writes whole.
#ifndef OVIX_TOOL_TERMINAL_FOLDER_H_
#define OVIX_TOOL_TERMINAL_FOLDER_H_

#include <filesystem>
#include <map>
#include <string>
#include <string_view>

namespace ovix::tool {

// Writes the files, by their paths in the folder, to a folder of its own next to `out`, which then
// takes its place. `files.txt` lists them. `out` must be new, empty, or an earlier folder of the
// same kind ("catalogue") with nothing else in it. Throws Error, with `out` as it was.
void WriteFolder(const std::map<std::string, std::string>& files, const std::filesystem::path& out,
                 const std::string& kind);

// Whether a name that comes from elsewhere is that of a file on every system, and leads nowhere
// else: letters of ASCII, digits, _ and -.
bool IsPlainFileName(std::string_view name);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_TERMINAL_FOLDER_H_
