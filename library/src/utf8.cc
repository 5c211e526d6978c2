#include "ovix/telemetry/contract/internal/utf8.h"

namespace ovix::telemetry::contract::internal {
namespace {

// The bytes from here on as a word.
template <typename Word>
std::uint64_t Load(const char* from) {
  Word word;
  std::memcpy(&word, from, sizeof word);
  return word;
}

// Words overlap if the size is not a multiple of theirs: then a size takes no loop, whose end the
// processor would predict wrongly.
bool IsAscii(const char* data, std::size_t size) {
  using Word = std::uint64_t;
  constexpr Word kHighBits = 0x8080808080808080;
  const char* const end = data + size;
  Word bits = 0;
  if (size > 32) {
    for (; end - data > 32; data += 16) bits |= Load<Word>(data) | Load<Word>(data + 8);
    size = static_cast<std::size_t>(end - data);
  }
  if (size >= 16) {
    bits |= Load<Word>(data) | Load<Word>(data + 8) | Load<Word>(end - 16) | Load<Word>(end - 8);
  } else if (size >= 8) {
    bits |= Load<Word>(data) | Load<Word>(end - 8);
  } else if (size >= 4) {
    bits |= Load<std::uint32_t>(data) | Load<std::uint32_t>(end - 4);
  } else if (size > 0) {
    bits |= Load<std::uint8_t>(data) | Load<std::uint8_t>(data + size / 2) |
            Load<std::uint8_t>(end - 1);
  }
  return (bits & kHighBits) == 0;
}

}  // namespace

const char* ReadUtf8(std::string* text, const char* from,
                     google::protobuf::internal::ParseContext* context, const char* field_name) {
  const std::uint32_t size = google::protobuf::internal::ReadSize(&from);
  if (from == nullptr) return nullptr;
  from = context->ReadString(from, static_cast<int>(size), text);
  if (from == nullptr) return nullptr;
  if (IsAscii(text->data(), size)) return from;
  return google::protobuf::internal::VerifyUTF8(text, field_name) ? from : nullptr;
}

bool VerifyAnyUtf8String(const char* data, int size, Operation operation, const char* field_name) {
  return IsAscii(data, static_cast<std::size_t>(size)) ||
         google::protobuf::internal::WireFormatLite::VerifyUtf8String(data, size, operation,
                                                                      field_name);
}

}  // namespace ovix::telemetry::contract::internal
