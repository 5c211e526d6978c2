#include "export/urn.h"

#include <string_view>

namespace ovix::tool {

std::string Urn(const std::string& name) {
  static const char* digits = "0123456789ABCDEF";
  std::string urn = "urn:ovix-contracts:";
  for (const char c : name) {
    const bool is_plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                          (c >= '0' && c <= '9') ||
                          std::string_view("-._~+:").find(c) != std::string_view::npos;
    if (is_plain) {
      urn += c;
      continue;
    }
    const auto byte = static_cast<unsigned char>(c);
    urn += '%';
    urn += digits[byte >> 4];
    urn += digits[byte & 15];
  }
  return urn;
}

}  // namespace ovix::tool
