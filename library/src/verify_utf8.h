// The test for plain ASCII that generated code makes before it asks the runtime whether text is
// UTF-8. Nearly every text is plain ASCII, which is UTF-8; of all else the runtime decides, and
// reports it. Only the library's own generated sources include this (see generate_contract.cmake).
#ifndef OVIX_TELEMETRY_CONTRACT_VERIFY_UTF8_H_
#define OVIX_TELEMETRY_CONTRACT_VERIFY_UTF8_H_

#include <google/protobuf/wire_format_lite.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

namespace ovix::telemetry::contract::internal {

using Operation = google::protobuf::internal::WireFormatLite::Operation;

// The same two, for text of any length, in one place: the thousands of calls are to stay small.
bool VerifyAnyUtf8(const std::string* text, const char* field_name);
bool VerifyAnyUtf8String(const char* data, int size, Operation operation, const char* field_name);

// Whether text of 8 to 16 bytes, the most common, is plain ASCII; false for any other length.
inline bool IsShortAscii(const char* data, std::size_t size) {
  if (size - 8 > 8) return false;
  std::uint64_t first, last;
  std::memcpy(&first, data, 8);
  std::memcpy(&last, data + size - 8, 8);
  return ((first | last) & 0x8080808080808080) == 0;
}

// Stands for google::protobuf::internal::VerifyUTF8, with the same answer and the same report.
inline bool VerifyUtf8(const std::string* text, const char* field_name) {
  return IsShortAscii(text->data(), text->size()) || VerifyAnyUtf8(text, field_name);
}

// Stands for google::protobuf::internal::WireFormatLite::VerifyUtf8String, likewise.
inline bool VerifyUtf8String(const char* data, int size, Operation operation,
                             const char* field_name) {
  return IsShortAscii(data, static_cast<std::size_t>(size)) ||
         VerifyAnyUtf8String(data, size, operation, field_name);
}

}  // namespace ovix::telemetry::contract::internal

#endif  // OVIX_TELEMETRY_CONTRACT_VERIFY_UTF8_H_
