#include "terminal/input.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <limits>

#include "terminal/error.h"
#include "terminal/files_read.h"
#include "terminal/path.h"
#include "terminal/platform.h"

namespace ovix::tool {
namespace {

constexpr size_t kPiece = size_t{256} << 10;
constexpr size_t kLargestMessage = std::numeric_limits<int32_t>::max();

}  // namespace

Input::Input(const std::string& file, Encoding encoding) : buffer_(kPiece) {
  const bool is_standard = file.empty() || file == "-";
  name_ = is_standard ? "standard input" : file;
  if (encoding != Encoding::kBinary) decoder_.emplace(encoding, name_);
  if (is_standard) {
    static bool is_taken = false;
    if (is_taken) {
      throw Error("standard input: is read for two things; name a file for one of them");
    }
    is_taken = true;
    NoteRead(IdOf(stdin), name_);
    stream_.reset(stdin);
    return;
  }
  const std::filesystem::path path = PathOf(file);
  std::error_code ignored;
  if (std::filesystem::is_directory(path, ignored)) {
    throw Error(name_ + ": is a folder; name a file");
  }
  stream_.reset(OpenFile(path, "rb"));
  if (stream_ == nullptr) {
    throw Error(name_ + ": cannot be read (" + std::strerror(errno) + ")");
  }
  NoteRead(IdOf(stream_.get()), name_);
}

// Up to `size` bytes as they are in the file, as soon as there are any; 0 at its end.
size_t Input::Read(char* bytes, size_t size) {
  if (has_ended_) return 0;
  if (before_reading_) before_reading_();
  const auto read = ReadSome(stream_.get(), bytes, size);
  if (!read) throw Error(name_ + ": cannot be read (" + std::strerror(errno) + ")");
  // Of a terminal the end can be read, and after it more.
  has_ended_ = *read == 0;
  return *read;
}

// Reads more after what is not taken; false at the end of the input.
bool Input::Fill() {
  if (begin_ != 0) {
    std::memmove(buffer_.data(), buffer_.data() + begin_, end_ - begin_);
    end_ -= begin_;
    begin_ = 0;
  }
  if (end_ == buffer_.size()) buffer_.resize(2 * buffer_.size());
  const size_t before = end_;
  const size_t room = buffer_.size() - end_;
  if (!decoder_) {
    end_ += Read(buffer_.data() + end_, room);
    return end_ != before;
  }
  text_.resize(kPiece);
  while (end_ == before) {
    const size_t read = Read(text_.data(), std::min(room, text_.size()));
    if (read == 0) {
      decoder_->Finish();
      return false;
    }
    end_ += decoder_->Take({text_.data(), read}, buffer_.data() + end_);
  }
  return true;
}

std::string_view Input::Peek(size_t size) {
  while (end_ - begin_ < size && Fill()) {
  }
  return {buffer_.data() + begin_, std::min(size, end_ - begin_)};
}

void Input::Take(size_t size) {
  begin_ += size;
  offset_ += size;
}

bool Input::TakeLine(std::string_view& line) {
  size_t searched = 0;
  for (;;) {
    const char* text = buffer_.data() + begin_;
    const size_t size = end_ - begin_;
    const void* found =
        size == searched ? nullptr : std::memchr(text + searched, '\n', size - searched);
    if (found != nullptr) {
      line = {text, static_cast<size_t>(static_cast<const char*>(found) - text)};
      Take(line.size() + 1);
      break;
    }
    searched = size;
    if (Fill()) continue;
    if (begin_ == end_) return false;
    line = {buffer_.data() + begin_, end_ - begin_};
    Take(line.size());
    break;
  }
  if (line.ends_with('\r')) line.remove_suffix(1);
  return true;
}

std::string_view Input::PeekAll() {
  while (Fill()) {
    if (end_ - begin_ > kLargestMessage) {
      throw Error(name_ + ": is larger than a message can be (2 GiB); a stream needs --delimited");
    }
  }
  return {buffer_.data() + begin_, end_ - begin_};
}

}  // namespace ovix::tool
