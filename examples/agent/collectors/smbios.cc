#include "collectors/smbios.h"

#include <algorithm>

#include "collectors/machine.h"

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

std::vector<SmbiosStructure> ParseSmbios(const std::string& table) {
  constexpr uint8_t kEndOfTable = 127;
  std::vector<SmbiosStructure> structures;
  size_t begin = 0;
  while (begin + 4 <= table.size()) {
    const size_t length = static_cast<unsigned char>(table[begin + 1]);
    // The texts follow, each ended by a zero byte, the last by one more.
    const size_t end = table.find(std::string("\0\0", 2), begin + length);
    if (length < 4 || end == std::string::npos) break;
    std::vector<std::string> strings =
        Split(table.substr(begin + length, end - begin - length), std::string(1, '\0'));
    for (std::string& text : strings) {
      std::replace_if(
          text.begin(), text.end(), [](unsigned char c) { return c >= 0x80; }, '?');
    }
    structures.emplace_back(std::string_view(table).substr(begin, length), std::move(strings));
    if (structures.back().type() == kEndOfTable) break;
    begin = end + 2;
  }
  return structures;
}

}  // namespace ovix::agent
