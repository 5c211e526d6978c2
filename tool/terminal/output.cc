#include "terminal/output.h"

#include <cerrno>
#include <cstring>

#include "terminal/error.h"
#include "terminal/platform.h"

namespace ovix::tool {

Output::Output(const std::filesystem::path& file)
    : file_(file == "-" ? "" : file), stream_(stdout) {
  if (is_standard()) return;
  std::error_code failed;
  const auto status = std::filesystem::status(file_, failed);
  if (std::filesystem::is_directory(status)) {
    file_.clear();
    throw Error(file.string() + ": is a folder; name a file");
  }
  // What is no file, a device or a pipe, cannot be replaced by one.
  aside_ = file_;
  if (!std::filesystem::exists(status) || std::filesystem::is_regular_file(status)) {
    aside_ += ".part";
  }
  stream_ = OpenFile(aside_, "wb");
  if (stream_ == nullptr) Fail(errno);
}

Output::~Output() {
  if (is_standard() || stream_ == nullptr) return;
  std::fclose(stream_);
  std::error_code ignored;
  if (aside_ != file_) std::filesystem::remove(aside_, ignored);
}

void Output::Fail(int error) {
  const std::string why = std::strerror(error);
  if (is_standard()) throw Error("standard output: cannot be written (" + why + ")");
  throw Error(file_.string() + ": cannot be written (" + why + "); nothing was left behind");
}

void Output::Write(std::string_view bytes) {
  if (std::fwrite(bytes.data(), 1, bytes.size(), stream_) != bytes.size()) Fail(errno);
}

void Output::Finish() {
  if (is_standard()) {
    if (std::fflush(stream_) != 0) Fail(errno);
    return;
  }
  const bool is_aside = aside_ != file_;
  if (!(is_aside ? Flush(stream_) : std::fflush(stream_) == 0)) Fail(errno);
  FILE* finished = stream_;
  stream_ = nullptr;
  std::error_code failed;
  if (std::fclose(finished) != 0) failed.assign(errno, std::generic_category());
  if (!failed && is_aside) std::filesystem::rename(aside_, file_, failed);
  if (!failed) return;
  std::error_code ignored;
  if (is_aside) std::filesystem::remove(aside_, ignored);
  throw Error(file_.string() + ": cannot be written (" + failed.message() +
              "); nothing was left behind");
}

void WriteAll(std::string_view text, const std::filesystem::path& file) {
  Output output(file);
  output.Write(text);
  output.Finish();
}

}  // namespace ovix::tool
