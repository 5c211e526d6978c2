// How generated code reads text and verifies it: plain ASCII, which nearly every text is and which
// is UTF-8, by a look at its bytes; of all else the runtime decides, and reports it. Only the
// library's own generated sources include this (see generate_contract.cmake).
#ifndef OVIX_TELEMETRY_CONTRACT_INTERNAL_UTF8_H_
#define OVIX_TELEMETRY_CONTRACT_INTERNAL_UTF8_H_

#include <google/protobuf/parse_context.h>
#include <google/protobuf/wire_format_lite.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

namespace ovix::telemetry::contract::internal {

using Operation = google::protobuf::internal::WireFormatLite::Operation;

// Reads a length and as many bytes of UTF-8 into text, and returns where the input goes on; null
// where the input ends before, or the text is not UTF-8, which the runtime then reports under the
// field's name. Replaces google::protobuf::internal::InlineGreedyStringParser and VerifyUTF8
// after it.
const char* ReadUtf8(std::string* text, const char* from,
                     google::protobuf::internal::ParseContext* context, const char* field_name);

// Text of any length, in one place: the thousands of calls below are to stay small.
bool VerifyAnyUtf8String(const char* data, int size, Operation operation, const char* field_name);

// Whether text of 8 to 16 bytes, the most common, is plain ASCII; false for any other length.
inline bool IsShortAscii(const char* data, std::size_t size) {
  if (size - 8 > 8) return false;
  std::uint64_t first, last;
  std::memcpy(&first, data, 8);
  std::memcpy(&last, data + size - 8, 8);
  return ((first | last) & 0x8080808080808080) == 0;
}

// Replaces google::protobuf::internal::WireFormatLite::VerifyUtf8String, with the same answer and
// the same report.
inline bool VerifyUtf8String(const char* data, int size, Operation operation,
                             const char* field_name) {
  return IsShortAscii(data, static_cast<std::size_t>(size)) ||
         VerifyAnyUtf8String(data, size, operation, field_name);
}

}  // namespace ovix::telemetry::contract::internal

#endif  // OVIX_TELEMETRY_CONTRACT_INTERNAL_UTF8_H_
