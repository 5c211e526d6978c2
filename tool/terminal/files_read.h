// Which files a run reads, so that none of them is the one that it writes.
#ifndef OVIX_TOOL_TERMINAL_FILES_READ_H_
#define OVIX_TOOL_TERMINAL_FILES_READ_H_

#include <filesystem>
#include <optional>
#include <string>

#include "terminal/platform.h"

namespace ovix::tool {

// `name` is what errors call it; nothing is noted without an id. Throws Error where the file is
// being written as it is: reading it would never end.
void NoteRead(const std::optional<FileId>& id, const std::string& name);
// The name of what was noted last; empty before. What needs too much memory is mostly that.
const std::string& LastRead();

// Throws Error where `file` is one that was read: writing it would destroy it.
void CheckNotRead(const std::optional<FileId>& file, const std::string& name);
// The file that is written as it is, without a temporary one; nothing where none is. Throws as
// CheckNotRead() does.
void NoteWritten(const std::optional<FileId>& id, const std::string& name);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_TERMINAL_FILES_READ_H_
