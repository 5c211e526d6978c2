#include "terminal/encoding.h"

#include <optional>
#include <utility>

#include "terminal/error.h"

namespace ovix::tool {
namespace {

bool IsSpace(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

std::optional<uint32_t> HexDigit(char c) {
  if (c >= '0' && c <= '9') return static_cast<uint32_t>(c - '0');
  if (c >= 'a' && c <= 'f') return static_cast<uint32_t>(c - 'a' + 10);
  if (c >= 'A' && c <= 'F') return static_cast<uint32_t>(c - 'A' + 10);
  return std::nullopt;
}

std::optional<uint32_t> Base64Digit(char c) {
  if (c >= 'A' && c <= 'Z') return static_cast<uint32_t>(c - 'A');
  if (c >= 'a' && c <= 'z') return static_cast<uint32_t>(c - 'a' + 26);
  if (c >= '0' && c <= '9') return static_cast<uint32_t>(c - '0' + 52);
  if (c == '+' || c == '-') return 62;
  if (c == '/' || c == '_') return 63;
  return std::nullopt;
}

}  // namespace

TextDecoder::TextDecoder(Encoding encoding, std::string name)
    : encoding_(encoding), name_(std::move(name)) {}

size_t TextDecoder::Take(std::string_view text, char* bytes) {
  size_t size = 0;
  for (const char c : text) {
    ++column_;
    if (c == '\n') {
      ++line_;
      column_ = 0;
    }
    if (IsSpace(c)) continue;
    if (encoding_ == Encoding::kHex ? TakeHex(c) : TakeBase64(c)) bytes[size++] = byte_;
  }
  return size;
}

bool TextDecoder::TakeHex(char c) {
  if ((c == 'x' || c == 'X') && digits_ == 1 && bits_ == 0 && !has_prefix_) {
    has_prefix_ = true;
    digits_ = 0;
    return false;
  }
  const auto digit = HexDigit(c);
  if (!digit) Fail("is not a hexadecimal digit; is the input of another --input-encoding?");
  bits_ = (bits_ << 4 | *digit) & 0xff;
  byte_ = static_cast<char>(bits_);
  return ++digits_ % 2 == 0;
}

bool TextDecoder::TakeBase64(char c) {
  if (c == '=') {
    if (digits_ % 4 < 2 || digits_ % 4 + ++padding_ > 4) Fail("is padding in a wrong place");
    return false;
  }
  const auto digit = Base64Digit(c);
  if (!digit) Fail("is not a digit of base64; is the input of another --input-encoding?");
  if (padding_ != 0) Fail("follows the padding, which ends the text");
  bits_ = (bits_ << 6 | *digit) & 0xffff;
  const uint64_t position = ++digits_ % 4;
  if (position == 1) return false;
  byte_ = static_cast<char>(bits_ >> (position == 2 ? 4 : position == 3 ? 2 : 0));
  return true;
}

void TextDecoder::Finish() const {
  const uint64_t rest = digits_ % (encoding_ == Encoding::kHex ? 2 : 4);
  const bool is_whole = encoding_ == Encoding::kHex ? rest == 0
                        : rest == 1                 ? false
                        : padding_ != 0 && rest + padding_ != 4
                            ? false
                            : rest == 0 || (bits_ & (rest == 2 ? 0xfU : 3U)) == 0;
  if (is_whole) return;
  throw Error(name_ +
              ": the input ends within a byte; it is cut off, or of another --input-encoding");
}

void TextDecoder::Fail(const std::string& what) const {
  throw Error(name_ + ":" + std::to_string(line_) + ":" + std::to_string(column_) +
              ": the character here " + what);
}

}  // namespace ovix::tool
