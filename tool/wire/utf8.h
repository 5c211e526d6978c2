// Whether text is UTF-8, as protobuf's runtime judges it.
#ifndef OVIX_TOOL_WIRE_UTF8_H_
#define OVIX_TOOL_WIRE_UTF8_H_

#include <google/protobuf/stubs/common.h>

#include <cstddef>
#include <string_view>

namespace ovix::tool {

inline bool IsUtf8(std::string_view text) {
  return google::protobuf::internal::IsStructurallyValidUTF8(text.data(),
                                                             static_cast<int>(text.size()));
}

// The first byte that is not UTF-8; npos where all is.
inline size_t FindInvalidUtf8(std::string_view text) {
  if (IsUtf8(text)) return std::string_view::npos;
  size_t valid = 0;
  while (valid < text.size()) {
    size_t size = 1;
    while (size <= 4 && valid + size <= text.size() && !IsUtf8(text.substr(valid, size))) ++size;
    if (size > 4 || valid + size > text.size()) break;
    valid += size;
  }
  return valid;
}

}  // namespace ovix::tool

#endif  // OVIX_TOOL_WIRE_UTF8_H_
