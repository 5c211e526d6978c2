// Processors, network adapters and batteries.
// windows.h comes first: the others need its types.
#include "collectors/windows/windows.h"

#include <ws2tcpip.h>

#include <iphlpapi.h>
#include <netioapi.h>
#include <powrprof.h>

#include <algorithm>
#include <bit>
#include <stdexcept>

#include "collectors/text.h"
#include "collectors/windows/collectors.h"
#include "ovix/telemetry/contract/storage/device_health/battery.pb.h"
#include "ovix/telemetry/contract/storage/device_profile/hw_components.pb.h"

namespace ovix::agent {
namespace profile = telemetry::contract::storage::device_profile;
namespace health = telemetry::contract::storage::device_health;

namespace {

using ProcessorInformation = SYSTEM_LOGICAL_PROCESSOR_INFORMATION_EX;

// Calls `visit` with each piece of a kind.
template <typename Visit>
void ForEachOf(LOGICAL_PROCESSOR_RELATIONSHIP kind, const Visit& visit) {
  DWORD bytes = 0;
  GetLogicalProcessorInformationEx(kind, nullptr, &bytes);
  std::vector<unsigned char> data(bytes);
  if (GetLogicalProcessorInformationEx(kind, reinterpret_cast<ProcessorInformation*>(data.data()),
                                       &bytes) == 0) {
    throw std::runtime_error("Windows does not list its processors: " + ErrorText(GetLastError()));
  }
  for (DWORD offset = 0; offset < bytes;) {
    const auto* piece = reinterpret_cast<const ProcessorInformation*>(data.data() + offset);
    visit(*piece);
    offset += piece->Size;
  }
}

bool Overlap(const PROCESSOR_RELATIONSHIP& processor, const GROUP_AFFINITY& mask) {
  for (WORD i = 0; i < processor.GroupCount; ++i) {
    if (processor.GroupMask[i].Group == mask.Group && (processor.GroupMask[i].Mask & mask.Mask)) {
      return true;
    }
  }
  return false;
}

// KiB of the data cache of a level that serves the processor; of its largest kind of core where it
// has two.
uint32_t CacheSize(const PROCESSOR_RELATIONSHIP& processor, BYTE level) {
  uint32_t size = 0;
  ForEachOf(RelationCache, [&](const ProcessorInformation& piece) {
    const CACHE_RELATIONSHIP& cache = piece.Cache;
    if (cache.Level == level && cache.Type != CacheInstruction &&
        Overlap(processor, cache.GroupMask)) {
      size = std::max<uint32_t>(size, cache.CacheSize / 1024);
    }
  });
  return size;
}

// The number that the registry gives the first thread of a processor: it counts through the groups.
uint32_t FirstThread(const PROCESSOR_RELATIONSHIP& processor) {
  uint32_t number = static_cast<uint32_t>(std::countr_zero(uint64_t{processor.GroupMask[0].Mask}));
  for (WORD group = 0; group < processor.GroupMask[0].Group; ++group) {
    number += GetActiveProcessorCount(group);
  }
  return number;
}

std::string InterfaceTypeName(DWORD type) {
  switch (type) {
    case IF_TYPE_ETHERNET_CSMACD:
      return "ethernet";
    case IF_TYPE_IEEE80211:
      return "wireless";
    case IF_TYPE_SOFTWARE_LOOPBACK:
      return "loopback";
    default:
      return "type " + std::to_string(type);
  }
}

void CollectProcessors(Collection& found) {
  uint32_t index = 0;
  SYSTEM_INFO system = {};
  GetNativeSystemInfo(&system);
  const uint32_t width = system.wProcessorArchitecture == PROCESSOR_ARCHITECTURE_INTEL ||
                                 system.wProcessorArchitecture == PROCESSOR_ARCHITECTURE_ARM
                             ? 32
                             : 64;
  ForEachOf(RelationProcessorPackage, [&](const ProcessorInformation& package) {
    const PROCESSOR_RELATIONSHIP& processor = package.Processor;
    uint32_t cores = 0;
    ForEachOf(RelationProcessorCore, [&](const ProcessorInformation& core) {
      cores += Overlap(processor, core.Processor.GroupMask[0]);
    });
    uint32_t threads = 0;
    for (WORD i = 0; i < processor.GroupCount; ++i) {
      threads += static_cast<uint32_t>(std::popcount(uint64_t{processor.GroupMask[i].Mask}));
    }
    const std::wstring path = L"HARDWARE\\DESCRIPTION\\System\\CentralProcessor\\" +
                              std::to_wstring(FirstThread(processor));
    const RegistryKey key(HKEY_LOCAL_MACHINE, path);
    const std::string identifier = key.Text(L"Identifier");  // "Intel64 Family 6 Model 142 ..."
    auto& row = found.Add<profile::HwProcessor>();
    row.set_device_id("CPU" + std::to_string(index++));
    row.set_name(key.Text(L"ProcessorNameString"));
    row.set_manufacturer(key.Text(L"VendorIdentifier"));
    row.set_signature(identifier.substr(std::min(identifier.find(' ') + 1, identifier.size())));
    row.set_processor_description(identifier);
    row.set_max_clock_speed(key.Number(L"~MHz"));
    row.set_cores_count(cores);
    row.set_cores_enabled(cores);
    row.set_logical_processors(threads);
    row.set_l2_cache_size(CacheSize(processor, 2));
    row.set_l3_cache_size(CacheSize(processor, 3));
    row.set_address_width_bits(width);
    row.set_data_width_bits(width);
    constexpr DWORD kVirtualizationInFirmware = 21;  // PF_VIRT_FIRMWARE_ENABLED
    row.set_virtualization_firmware_enabled(IsProcessorFeaturePresent(kVirtualizationInFirmware) !=
                                            0);
    if (!key) {
      found.Skip(ToUtf8(path) +
                 ": no name, maker and speed: " + ErrorText(static_cast<DWORD>(key.error())));
    }
  });
}

void CollectNetworkAdapters(Collection& found) {
  std::vector<unsigned char> data;
  ULONG bytes = 32 * 1024;
  ULONG error = ERROR_BUFFER_OVERFLOW;
  // Of the addresses themselves nothing is asked for.
  constexpr ULONG kFlags = GAA_FLAG_SKIP_UNICAST | GAA_FLAG_SKIP_ANYCAST | GAA_FLAG_SKIP_MULTICAST |
                           GAA_FLAG_SKIP_DNS_SERVER | GAA_FLAG_INCLUDE_ALL_INTERFACES;
  while (error == ERROR_BUFFER_OVERFLOW) {
    data.resize(bytes);
    error = GetAdaptersAddresses(AF_UNSPEC, kFlags, nullptr,
                                 reinterpret_cast<IP_ADAPTER_ADDRESSES*>(data.data()), &bytes);
  }
  if (error != ERROR_SUCCESS && error != ERROR_NO_DATA) {
    throw std::runtime_error("GetAdaptersAddresses: " + ErrorText(error));
  }
  found.Begin<profile::HwNetworkAdapter>();
  if (error == ERROR_NO_DATA) return found.Skip("Windows lists no network adapter");
  for (const auto* adapter = reinterpret_cast<const IP_ADAPTER_ADDRESSES*>(data.data());
       adapter != nullptr; adapter = adapter->Next) {
    MIB_IF_ROW2 more = {};
    more.InterfaceLuid = adapter->Luid;
    const bool known = GetIfEntry2(&more) == NO_ERROR;
    auto& row = found.Add<profile::HwNetworkAdapter>();
    row.set_device_id(adapter->AdapterName);  // a GUID
    row.set_name(ToUtf8(adapter->Description));
    row.set_connection_id(ToUtf8(adapter->FriendlyName));
    row.set_type(!known                                               ? ""
                 : more.InterfaceAndOperStatusFlags.HardwareInterface ? "physical"
                                                                      : "virtual");
    row.set_interface_type(InterfaceTypeName(adapter->IfType));
  }
}

void CollectBatteries(Collection& found) {
  SYSTEM_POWER_STATUS power = {};
  constexpr BYTE kNoBattery = 128;
  constexpr BYTE kUnknown = 255;
  if (GetSystemPowerStatus(&power) == 0) {
    throw std::runtime_error("GetSystemPowerStatus: " + ErrorText(GetLastError()));
  }
  if (power.BatteryFlag == kUnknown || power.BatteryLifePercent > 100) {
    return found.Skip(power.BatteryFlag != kUnknown && (power.BatteryFlag & kNoBattery) != 0
                          ? "Windows sees no battery"
                          : "Windows does not know the state of the batteries");
  }
  if ((power.BatteryFlag & kNoBattery) != 0) return found.Skip("Windows sees no battery");
  // All batteries as one, without a serial number.
  auto& log = found.Append<health::BatteryHealthLog>();
  log.set_remaining_energy_capacity_perc(power.BatteryLifePercent);
  log.mutable_battery_status()->set_discharging(power.ACLineStatus == 0);
  log.mutable_battery_status()->set_fully_charged(power.BatteryLifePercent == 100);
  SYSTEM_BATTERY_STATE state = {};
  if (CallNtPowerInformation(SystemBatteryState, nullptr, 0, &state, sizeof(state)) == 0 &&
      state.BatteryPresent) {
    log.set_full_energy_capacity(state.MaxCapacity);  // mWh
    log.set_remaining_energy_capacity(state.RemainingCapacity);
  }
  found.Skip(
      "serial number, maker and design capacity of each battery, which the power status lacks");
}

// The collectors of this file.
constexpr WindowsCollector kCollectors[] = {
    {"processors", CollectProcessors},
    {"network_adapters", CollectNetworkAdapters},
    {"batteries", CollectBatteries},
};

}  // namespace

std::span<const WindowsCollector> WindowsHardware() { return kCollectors; }

}  // namespace ovix::agent
