// Whether text is UTF-8, as protobuf's runtime judges it.
#ifndef OVIX_TOOL_WIRE_UTF8_H_
#define OVIX_TOOL_WIRE_UTF8_H_

#include <google/protobuf/stubs/common.h>

#include <string_view>

namespace ovix::tool {

inline bool IsUtf8(std::string_view text) {
  return google::protobuf::internal::IsStructurallyValidUTF8(text.data(),
                                                             static_cast<int>(text.size()));
}

}  // namespace ovix::tool

#endif  // OVIX_TOOL_WIRE_UTF8_H_
