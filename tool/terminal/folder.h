// A folder that a command writes whole.
#ifndef OVIX_TOOL_TERMINAL_FOLDER_H_
#define OVIX_TOOL_TERMINAL_FOLDER_H_

#include <map>
#include <string>

namespace ovix::tool {

// Writes the files, by their paths in the folder, and removes those of an earlier folder of the
// same kind ("catalogue") that are no longer among them. `files.txt` lists what is the folder's.
// `out` must be new, empty, or an earlier folder of its kind with nothing else in it; it stays the
// folder that it is, with its mode and owner. All files are written to a hidden folder in it before
// any of them takes its place; then signals wait until all have. Nothing is replaced or removed
// that the list does not name.
//
// Throws Error, with `out` as it was; only where a rename fails after others, the error says that
// the folder holds files of both. The list names these and nothing else, and the next run replaces
// them. After a kill or a loss of power the list can name more than is there.
void WriteFolder(const std::map<std::string, std::string>& files, const std::string& out,
                 const std::string& kind);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_TERMINAL_FOLDER_H_
