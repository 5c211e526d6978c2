// Bytes written as text, as logs, databases and mails carry them.
#ifndef OVIX_TOOL_TERMINAL_ENCODING_H_
#define OVIX_TOOL_TERMINAL_ENCODING_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace ovix::tool {

enum class Encoding { kBinary, kHex, kBase64 };

// Turns text into the bytes that it encodes, in pieces of any size. White space is skipped.
// Hexadecimal: digits of either case, with or without one 0x in front. Base64: either alphabet,
// with its padding or without.
class TextDecoder {
 public:
  // `name` is what errors call the text.
  TextDecoder(Encoding encoding, std::string name);

  // Writes the bytes that are complete to `bytes`, which has room for as many as the text has
  // characters, and returns their number. Throws Error with line and column.
  size_t Take(std::string_view text, char* bytes);
  // The text has ended. Throws Error where its last byte is not complete.
  void Finish() const;

 private:
  // Whether the character completes a byte, which is then in byte_.
  bool TakeHex(char c);
  bool TakeBase64(char c);
  [[noreturn]] void Fail(const std::string& what) const;

  const Encoding encoding_;
  const std::string name_;
  uint64_t line_ = 1;
  uint64_t column_ = 0;
  uint64_t digits_ = 0;
  uint64_t padding_ = 0;
  bool has_prefix_ = false;
  uint32_t bits_ = 0;  // of digits that are not yet a byte
  char byte_ = 0;
};

}  // namespace ovix::tool

#endif  // OVIX_TOOL_TERMINAL_ENCODING_H_
