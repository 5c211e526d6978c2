// Names of files. All text is UTF-8 in this program, names of files among it: a path that
// std::filesystem makes of text, or text of a path, is in another encoding on Windows.
#ifndef OVIX_TOOL_TERMINAL_PATH_H_
#define OVIX_TOOL_TERMINAL_PATH_H_

#include <filesystem>
#include <string>
#include <string_view>

namespace ovix::tool {

// The path that a name means.
std::filesystem::path PathOf(std::string_view name);

// The name of a path, as the system writes it. What is not Unicode in a name on Windows becomes
// U+FFFD, by which a file can be reported, but not opened.
std::string NameOf(const std::filesystem::path& path);

// The same with / between its parts on every system.
std::string GenericNameOf(const std::filesystem::path& path);

// Throws Error for the name of a folder that the library of MinGW takes for another one where it
// lists or makes folders: of a share, or too long. Accepts every name on other systems.
void CheckFolderName(const std::string& name);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_TERMINAL_PATH_H_
