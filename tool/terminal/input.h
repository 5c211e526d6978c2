// Where a command reads: a file or standard input, in pieces, so that a stream of any length takes
// no more memory than its longest message.
#ifndef OVIX_TOOL_TERMINAL_INPUT_H_
#define OVIX_TOOL_TERMINAL_INPUT_H_

#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "terminal/encoding.h"

namespace ovix::tool {

class Input {
 public:
  // Standard input for no name and for "-". What is written as text is read as the bytes that
  // it encodes; offsets are theirs. Throws Error, also for standard input a second time.
  explicit Input(const std::string& file = {}, Encoding encoding = Encoding::kBinary);

  // What errors call it: its name, or "standard input".
  const std::string& name() const { return name_; }
  // Bytes taken so far.
  uint64_t offset() const { return offset_; }

  // Calls this each time before more is read, which may wait for a long time: what a command has
  // to say of the input so far it says now.
  void BeforeReading(std::function<void()> call) { before_reading_ = std::move(call); }

  // The next `size` bytes, or fewer at the end of the input; they are not taken yet, and valid
  // until the next call. Throws Error where the input fails.
  std::string_view Peek(size_t size);
  void Take(size_t size);
  // The next line without its end, taken; false at the end of the input. Valid until the next call.
  bool TakeLine(std::string_view& line);
  // Everything that is left; throws Error for more than a message can have (2 GiB).
  std::string_view PeekAll();

 private:
  bool Fill();
  size_t Read(char* bytes, size_t size);

  struct Close {
    void operator()(FILE* stream) const {
      if (stream != stdin) std::fclose(stream);
    }
  };
  std::string name_;
  std::unique_ptr<FILE, Close> stream_;
  std::function<void()> before_reading_;
  std::optional<TextDecoder> decoder_;
  std::vector<char> text_;  // for the decoder
  bool has_ended_ = false;
  std::vector<char> buffer_;
  size_t begin_ = 0;  // of what is not taken, in the buffer
  size_t end_ = 0;
  uint64_t offset_ = 0;
};

}  // namespace ovix::tool

#endif  // OVIX_TOOL_TERMINAL_INPUT_H_
