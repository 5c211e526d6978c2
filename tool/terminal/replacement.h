// A file that takes the place of another, or of none, in one step.
#ifndef OVIX_TOOL_TERMINAL_REPLACEMENT_H_
#define OVIX_TOOL_TERMINAL_REPLACEMENT_H_

#include <cstdio>
#include <filesystem>

#include "terminal/unfinished.h"

namespace ovix::tool {

// Written to a hidden file of its own name in the target's folder, which is removed unless Finish()
// renames it: at the object's end, and on the signals that end a program. A process that is killed
// leaves it; nothing ever deletes another process's.
class Replacement {
 public:
  // `file` is a regular file, which keeps its mode and owner (on Windows: its access rights), a
  // link to one, which stays a link, or does not exist. Throws std::system_error where it cannot be
  // written, or its owner cannot be kept.
  explicit Replacement(const std::filesystem::path& file);
  ~Replacement();
  Replacement(const Replacement&) = delete;
  Replacement& operator=(const Replacement&) = delete;

  FILE* stream() const { return stream_; }
  // What was written is on the disk, then in the place of the file. Throws std::system_error; the
  // file is then as it was.
  void Finish();

 private:
  void Open();
  void Remove();

  std::filesystem::path target_;
  std::filesystem::path temporary_;
  Unfinished unfinished_;
  FILE* stream_ = nullptr;
};

}  // namespace ovix::tool

#endif  // OVIX_TOOL_TERMINAL_REPLACEMENT_H_
