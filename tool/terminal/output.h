// Where a command writes: standard output, or a file that is there whole or not at all.
#ifndef OVIX_TOOL_TERMINAL_OUTPUT_H_
#define OVIX_TOOL_TERMINAL_OUTPUT_H_

#include <cstdio>
#include <optional>
#include <string>
#include <string_view>

#include "terminal/replacement.h"

namespace ovix::tool {

class Output {
 public:
  // Standard output for no name and for "-". A regular file is replaced by Finish(), in one
  // step; a device or a pipe is written as it is. Throws Error, also where it is a file that this
  // run reads; what is read later is refused by Finish().
  explicit Output(const std::string& file = {});
  // Removes what was not finished.
  ~Output();
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  // Throws Error for a full disk and the like, ClosedPipe where nobody reads a pipe any more.
  void Write(std::string_view bytes);
  // What was written so far can be read by others, where it is not a file that Finish() replaces.
  // Throws as Write() does.
  void Flush();
  // Everything is out, and the file in its place. Throws Error; the file is then as it was.
  void Finish();

  bool is_standard() const { return name_.empty(); }

 private:
  [[noreturn]] void Fail(const std::string& why) const;
  [[noreturn]] void FailWrite() const;

  std::string name_;  // as it was given; empty for standard output
  std::optional<Replacement> replacement_;
  FILE* stream_;
};

// Writes a whole text; the one call that most commands need.
void WriteAll(std::string_view text, const std::string& file = {});

}  // namespace ovix::tool

#endif  // OVIX_TOOL_TERMINAL_OUTPUT_H_
