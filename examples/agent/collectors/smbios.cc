#include "collectors/smbios.h"

#include <algorithm>

#include "collectors/text.h"

namespace ovix::agent {

uint32_t SmbiosStructure::Little(size_t offset, size_t size) const {
  if (offset + size > formatted_.size()) return 0;
  uint32_t value = 0;
  for (size_t i = size; i > 0; --i) {
    value = value << 8 | static_cast<unsigned char>(formatted_[offset + i - 1]);
  }
  return value;
}

std::string SmbiosStructure::Text(size_t offset) const {
  const size_t number = Byte(offset);
  return number == 0 || number > strings_.size() ? "" : Trimmed(strings_[number - 1]);
}

std::string SmbiosStructure::Uuid(size_t offset) const {
  if (offset + 16 > formatted_.size()) return "";
  const std::string bytes = formatted_.substr(offset, 16);
  if (bytes == std::string(16, '\0') || bytes == std::string(16, '\xff')) return "";
  std::string text;
  for (const int i : {3, 2, 1, 0, 5, 4, 7, 6, 8, 9, 10, 11, 12, 13, 14, 15}) {
    constexpr char kDigits[] = "0123456789abcdef";
    const auto byte = static_cast<unsigned char>(bytes[i]);
    if (i == 5 || i == 7 || i == 8 || i == 10) text += '-';
    text += kDigits[byte >> 4];
    text += kDigits[byte & 0x0f];
  }
  return text;
}

const SmbiosStructure* SmbiosTable::Find(uint8_t type) const {
  const auto found =
      std::find_if(structures.begin(), structures.end(),
                   [&](const SmbiosStructure& structure) { return structure.type() == type; });
  return found == structures.end() ? nullptr : &*found;
}

SmbiosTable ParseSmbios(const std::string& table) {
  constexpr uint8_t kEndOfTable = 127;
  SmbiosTable result;
  size_t begin = 0;
  while (begin + 4 <= table.size()) {
    const size_t length = static_cast<unsigned char>(table[begin + 1]);
    // The strings follow, each ended by a zero byte, the last by one more.
    const size_t end = table.find(std::string("\0\0", 2), begin + length);
    if (length < 4 || end == std::string::npos) break;
    std::vector<std::string> strings =
        Split(table.substr(begin + length, end - begin - length), std::string(1, '\0'));
    result.structures.emplace_back(std::string_view(table).substr(begin, length),
                                   std::move(strings));
    begin = end + 2;
    // Old firmware ends its table without the structure that says so.
    result.whole = begin == table.size();
    if (result.structures.back().type() == kEndOfTable) {
      result.whole = true;
      break;
    }
  }
  return result;
}

}  // namespace ovix::agent
