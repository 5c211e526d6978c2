// Where a command writes: standard output, or a file that is there whole or not at all.
#ifndef OVIX_TOOL_TERMINAL_OUTPUT_H_
#define OVIX_TOOL_TERMINAL_OUTPUT_H_

#include <cstdio>
#include <filesystem>
#include <string>
#include <string_view>

namespace ovix::tool {

class Output {
 public:
  // Standard output for an empty path and for "-". A file is written beside itself until Finish().
  // Throws Error.
  explicit Output(const std::filesystem::path& file = {});
  // Removes what was not finished.
  ~Output();
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  // Throws Error for a full disk, a closed pipe and the like.
  void Write(std::string_view bytes);
  // Everything is out, and the file in its place. Throws Error.
  void Finish();

  bool is_standard() const { return file_.empty(); }

 private:
  [[noreturn]] void Fail(int error);

  std::filesystem::path file_;
  std::filesystem::path aside_;
  FILE* stream_;
};

// Writes a whole text; the one call that most commands need.
void WriteAll(std::string_view text, const std::filesystem::path& file = {});

}  // namespace ovix::tool

#endif  // OVIX_TOOL_TERMINAL_OUTPUT_H_
