#include "terminal/output.h"

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "terminal/error.h"
#include "terminal/files_read.h"
#include "terminal/path.h"
#include "terminal/platform.h"

namespace ovix::tool {
Output::Output(const std::string& file) : name_(file == "-" ? "" : file), stream_(stdout) {
  if (is_standard()) {
    NoteWritten(IdOf(stdout), "standard output");
    return;
  }
  const std::filesystem::path path = PathOf(name_);
  std::error_code ignored;
  const auto status = std::filesystem::status(path, ignored);
  if (std::filesystem::is_directory(status)) {
    throw Error(name_ + ": is a folder; name a file");
  }
  CheckNotRead(IdOf(path), name_);
  // What is not a file, a device or a pipe, cannot be replaced by one, nor can the file that a
  // descriptor of this process has open ("/dev/stdout").
  if ((std::filesystem::exists(status) && !std::filesystem::is_regular_file(status)) ||
      IsOwnDescriptor(path)) {
    stream_ = OpenFile(path, "ab");
    if (stream_ == nullptr) Fail(std::strerror(errno));
    NoteWritten(IdOf(path), name_);
    return;
  }
  try {
    replacement_.emplace(path);
  } catch (const std::system_error& error) {
    Fail(MessageOf(error.code()));
  }
  stream_ = replacement_->stream();
}

Output::~Output() {
  NoteWritten(std::nullopt, "");
  if (!is_standard() && !replacement_ && stream_ != nullptr) std::fclose(stream_);
}

void Output::Fail(const std::string& why) const {
  if (is_standard()) throw Error("standard output: cannot be written (" + why + ")");
  throw Error(name_ + ": cannot be written (" + why + "); no part of it was left");
}

void Output::FailWrite() const {
  const int error = errno;
  if (!replacement_ && IsClosedPipe(error)) throw ClosedPipe();
  Fail(std::strerror(error));
}

void Output::Write(std::string_view bytes) {
  if (std::fwrite(bytes.data(), 1, bytes.size(), stream_) != bytes.size()) FailWrite();
}

void Output::Flush() {
  if (!replacement_ && std::fflush(stream_) != 0) FailWrite();
}

void Output::Finish() {
  if (replacement_) {
    CheckNotRead(IdOf(PathOf(name_)), name_);
    try {
      replacement_->Finish();
    } catch (const std::system_error& error) {
      Fail(MessageOf(error.code()));
    }
    return;
  }
  Flush();
  if (is_standard()) return;
  FILE* finished = stream_;
  stream_ = nullptr;
  if (std::fclose(finished) != 0) FailWrite();
}

void WriteAll(std::string_view text, const std::string& file) {
  Output output(file);
  output.Write(text);
  output.Finish();
}

}  // namespace ovix::tool
