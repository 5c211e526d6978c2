#include "system/hash.h"

namespace ovix::agent {

std::string Hexadecimal(std::string_view bytes) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (unsigned char byte : bytes) {
    text += kDigits[byte >> 4];
    text += kDigits[byte & 15];
  }
  return text;
}

std::string UuidOf(std::string_view bytes) {
  std::string uuid(bytes.substr(0, 16));
  uuid[6] = static_cast<char>((uuid[6] & 0x0f) | 0x80);  // version 8
  uuid[8] = static_cast<char>((uuid[8] & 0x3f) | 0x80);  // the variant of RFC 9562
  std::string text = Hexadecimal(uuid);
  for (const size_t place : {20, 16, 12, 8}) text.insert(place, "-");
  return text;
}

}  // namespace ovix::agent
