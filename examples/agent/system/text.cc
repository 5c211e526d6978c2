#include <google/protobuf/stubs/common.h>

#include "system/files.h"

namespace ovix::agent {
namespace {

constexpr char kReplacement[] = "\xEF\xBF\xBD";  // U+FFFD

// The bytes of the UTF-8 character that `bytes` begins with; 0 where it begins with none.
size_t CharacterSize(std::string_view bytes) {
  for (size_t size = 1; size <= 4 && size <= bytes.size(); ++size) {
    if (google::protobuf::internal::IsStructurallyValidUTF8(bytes.data(), static_cast<int>(size))) {
      return size;
    }
  }
  return 0;
}

}  // namespace

std::string ToUtf8(std::string_view bytes) {
  std::string text;
  while (!bytes.empty()) {
    const size_t size = CharacterSize(bytes);
    text += size == 0 ? std::string_view(kReplacement) : bytes.substr(0, size);
    bytes.remove_prefix(size == 0 ? 1 : size);
  }
  return text;
}

}  // namespace ovix::agent
