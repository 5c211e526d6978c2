#include <google/protobuf/stubs/common.h>

#include <cstdio>

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

std::string Printable(std::string_view text) {
  std::string printable;
  for (const char c : ToUtf8(text)) {
    if (static_cast<unsigned char>(c) >= 0x20 && c != 0x7F) {
      printable += c;
    } else {
      char escape[5];
      std::snprintf(escape, sizeof escape, "\\x%02X", static_cast<unsigned char>(c));
      printable += escape;
    }
  }
  return printable;
}

std::string Printable(const std::filesystem::path& path) {
  return Printable(std::string_view(PathText(path)));
}

}  // namespace ovix::agent
