#include "verify_utf8.h"

#include <google/protobuf/parse_context.h>

namespace ovix::telemetry::contract::internal {
namespace {

bool IsAscii(const char* data, std::size_t size) {
  constexpr std::uint64_t kHighBits = 0x8080808080808080;
  const auto word = [data](std::size_t at) {
    std::uint64_t value;
    std::memcpy(&value, data + at, sizeof value);
    return value;
  };
  if (size >= 8) {
    // Whole words, then the last word once more, which overlaps them.
    for (std::size_t at = 0; at < size - 8; at += 8) {
      if ((word(at) & kHighBits) != 0) return false;
    }
    return (word(size - 8) & kHighBits) == 0;
  }
  unsigned char bits = 0;
  for (std::size_t at = 0; at < size; ++at) bits |= static_cast<unsigned char>(data[at]);
  return bits < 0x80;
}

}  // namespace

bool VerifyAnyUtf8(const std::string* text, const char* field_name) {
  return IsAscii(text->data(), text->size()) ||
         google::protobuf::internal::VerifyUTF8(text, field_name);
}

bool VerifyAnyUtf8String(const char* data, int size, Operation operation, const char* field_name) {
  return IsAscii(data, static_cast<std::size_t>(size)) ||
         google::protobuf::internal::WireFormatLite::VerifyUtf8String(data, size, operation,
                                                                      field_name);
}

}  // namespace ovix::telemetry::contract::internal
