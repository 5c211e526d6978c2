// The table of structures in which a PC's firmware describes the machine (SMBIOS 2.1 and later).
#ifndef OVIX_AGENT_COLLECTORS_SMBIOS_H_
#define OVIX_AGENT_COLLECTORS_SMBIOS_H_

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace ovix::agent {

// One structure, by the offsets that SMBIOS gives its fields. A field beyond the structure's end
// reads as 0 or an empty string: older firmware writes shorter structures.
class SmbiosStructure {
 public:
  SmbiosStructure(std::string_view formatted, std::vector<std::string> strings)
      : formatted_(formatted), strings_(std::move(strings)) {}

  uint8_t type() const { return Byte(0); }
  uint16_t handle() const { return Word(2); }
  uint8_t Byte(size_t offset) const { return static_cast<uint8_t>(Little(offset, 1)); }
  uint16_t Word(size_t offset) const { return static_cast<uint16_t>(Little(offset, 2)); }
  uint32_t Double(size_t offset) const { return Little(offset, 4); }
  // The string whose number is at the offset, in the firmware's own bytes, without spaces around
  // it.
  std::string Text(size_t offset) const;
  // The 16 bytes at the offset as a UUID in lower case, the first three parts read as little-endian
  // numbers; empty where they are all 00 or all FF: no UUID.
  std::string Uuid(size_t offset) const;

 private:
  uint32_t Little(size_t offset, size_t size) const;

  std::string formatted_;
  std::vector<std::string> strings_;
};

struct SmbiosTable {
  std::vector<SmbiosStructure> structures;
  bool whole = false;  // whether it was read up to its end, and not only up to where it is cut off

  // The first structure of a type; null without one.
  const SmbiosStructure* Find(uint8_t type) const;
};

// The structures of a table (/sys/firmware/dmi/tables/DMI), up to its end or to the first that is
// cut off.
SmbiosTable ParseSmbios(const std::string& table);

}  // namespace ovix::agent

#endif  // OVIX_AGENT_COLLECTORS_SMBIOS_H_
