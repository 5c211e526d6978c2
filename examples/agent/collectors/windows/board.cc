// What the firmware reports of the machine: identity, board, BIOS, memory and slots.
// windows.h comes first: the others need its types.
#include "collectors/windows/windows.h"

#include <powrprof.h>

#include "collectors/smbios_records.h"
#include "collectors/windows/collectors.h"
#include "device_id.h"
#include "ovix/telemetry/contract/storage/device_profile/fw_components.pb.h"

namespace ovix::agent {
namespace profile = telemetry::contract::storage::device_profile;

namespace {

struct Firmware {
  std::string version;  // of SMBIOS
  std::string table;    // its structures; empty where Windows gives none
  std::string why;      // and why
};

Firmware ReadFirmware() {
  constexpr DWORD kProvider = 0x52534d42;  // "RSMB"
  std::string data;
  DWORD size = GetSystemFirmwareTable(kProvider, 0, nullptr, 0);
  data.resize(size);
  size = size == 0 ? 0 : GetSystemFirmwareTable(kProvider, 0, data.data(), size);
  // Calling method, major and minor version, revision, then the length in four bytes.
  constexpr size_t kHeader = 8;
  if (size < kHeader || size > data.size()) {
    return {"", "", "Windows gives no SMBIOS table: " + ErrorText(GetLastError())};
  }
  data.resize(size);
  return {std::to_string(static_cast<unsigned char>(data[1])) + "." +
              std::to_string(static_cast<unsigned char>(data[2])),
          data.substr(kHeader), ""};
}

// Bits of Device.supported_sleep_states: 1 S0 low power idle, 2 S1, 4 S3, 8 S4.
int32_t SleepStates() {
  SYSTEM_POWER_CAPABILITIES power = {};
  if (CallNtPowerInformation(SystemPowerCapabilities, nullptr, 0, &power, sizeof(power)) != 0) {
    return 0;
  }
  const BOOLEAN low_power_idle = power.spare2[2];  // AoAc, which MinGW's header does not name
  return (low_power_idle ? 1 : 0) | (power.SystemS1 ? 2 : 0) | (power.SystemS3 ? 4 : 0) |
         (power.SystemS4 ? 8 : 0);
}

std::string ComputerName() {
  wchar_t name[256] = {};
  DWORD length = std::size(name);
  return GetComputerNameExW(ComputerNameDnsHostname, name, &length) != 0 ? ToUtf8(name) : "";
}

void CollectDevice(Collection& found) {
  const Firmware firmware = ReadFirmware();
  const SmbiosTable table = ParseSmbios(firmware.table);
  const auto id = DeviceId({});
  if (!id) return found.Skip("this Windows has no MachineGuid to derive an id from: no device");
  auto& row = found.Add<profile::Device>();
  row.set_device_unique_id(*id);
  row.set_device_name(ComputerName());
  row.set_supported_sleep_states(SleepStates());
  FillDevice(table, row);
  if (firmware.table.empty()) return found.Skip(firmware.why + ": no maker, model or board");
  AddBaseBoard(table, found);
}

void CollectFirmware(Collection& found) {
  const Firmware firmware = ReadFirmware();
  if (firmware.table.empty()) return found.Skip(firmware.why + ": no firmware versions");
  AddFirmware(ParseSmbios(firmware.table), found);
  found.Add<profile::FwSMBios>().set_fw_version(firmware.version);
}

void CollectMemory(Collection& found) {
  const Firmware firmware = ReadFirmware();
  const SmbiosTable table = ParseSmbios(firmware.table);
  if (table.Find(16) != nullptr || table.Find(17) != nullptr) return AddMemory(table, found);
  MEMORYSTATUSEX status = {};
  status.dwLength = sizeof(status);
  GlobalMemoryStatusEx(&status);
  found.Skip((firmware.table.empty() ? firmware.why : "the SMBIOS table lists no memory") +
             ": no modules or slots; Windows uses " +
             std::to_string(status.ullTotalPhys / (1024 * 1024)) + " MB, which no record has");
}

// The collectors of this file.
constexpr WindowsCollector kCollectors[] = {
    {"device", CollectDevice},
    {"firmware", CollectFirmware},
    {"memory", CollectMemory},
};

}  // namespace

std::span<const WindowsCollector> WindowsBoard() { return kCollectors; }

}  // namespace ovix::agent
