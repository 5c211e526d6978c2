// Operating system and location.
#include "collectors/windows/collectors.h"
#include "collectors/windows/windows.h"
#include "ovix/telemetry/contract/storage/device_profile/device_location.pb.h"
#include "ovix/telemetry/contract/storage/device_profile/operating_system.pb.h"

namespace ovix::agent {
namespace profile = telemetry::contract::storage::device_profile;

namespace {

// The version of the kernel itself. GetVersionEx gives a program that does not name this Windows in
// its manifest the version of an older one.
OSVERSIONINFOEXW KernelVersion() {
  OSVERSIONINFOEXW version = {};
  version.dwOSVersionInfoSize = sizeof(version);
  using Function = LONG(WINAPI*)(OSVERSIONINFOEXW*);
  const auto function = reinterpret_cast<Function>(
      reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "RtlGetVersion")));
  if (function != nullptr) function(&version);
  return version;
}

profile::OSArchitecture Architecture() {
  SYSTEM_INFO system = {};
  GetNativeSystemInfo(&system);
  switch (system.wProcessorArchitecture) {
    case PROCESSOR_ARCHITECTURE_AMD64:
    case PROCESSOR_ARCHITECTURE_ARM64:
    case PROCESSOR_ARCHITECTURE_IA64:
      return profile::OS_ARCH_64_BITS;
    case PROCESSOR_ARCHITECTURE_INTEL:
    case PROCESSOR_ARCHITECTURE_ARM:
      return profile::OS_ARCH_32_BITS;
    default:
      return profile::OS_ARCH_UNKNOWN;
  }
}

void CollectOperatingSystem(Collection& found) {
  const OSVERSIONINFOEXW version = KernelVersion();
  auto& row = found.Add<profile::OperatingSystem>();
  row.set_rowid(1);
  row.set_manufacturer("Microsoft Corporation");
  row.set_os_version(std::to_string(version.dwMajorVersion) + "." +
                     std::to_string(version.dwMinorVersion) + "." +
                     std::to_string(version.dwBuildNumber));
  row.set_architecture(Architecture());
  row.set_locale_id(GetSystemDefaultLCID());
  wchar_t locale[LOCALE_NAME_MAX_LENGTH] = {};
  if (GetSystemDefaultLocaleName(locale, LOCALE_NAME_MAX_LENGTH) != 0) {
    row.set_locale_name(ToUtf8(locale));
  }
  DWORD sku = 0;
  if (GetProductInfo(version.dwMajorVersion, version.dwMinorVersion, version.wServicePackMajor,
                     version.wServicePackMinor, &sku) != 0) {
    row.set_sku(sku);
  }
  row.set_boot_device(RegistryKey(HKEY_LOCAL_MACHINE, L"SYSTEM\\Setup").Text(L"SystemPartition"));

  const RegistryKey current(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion");
  if (!current) {
    return found.Skip(
        "HKLM\\SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion: no name and edition: " +
        ErrorText(current.error()));
  }
  row.set_name(current.Text(L"ProductName"));
  const std::string release = current.Text(L"DisplayVersion");  // "23H2"
  row.set_release(release.empty() ? current.Text(L"ReleaseId") : release);
  row.set_sku_name(current.Text(L"EditionID"));
}

void CollectLocation(Collection& found) {
  auto& row = found.Add<profile::DeviceLocation>();
  row.set_id(1);
  wchar_t locale[LOCALE_NAME_MAX_LENGTH] = {};
  if (GetUserDefaultLocaleName(locale, LOCALE_NAME_MAX_LENGTH) != 0) {
    row.set_locale(ToUtf8(locale));
  }
  TIME_ZONE_INFORMATION zone = {};
  const DWORD season = GetTimeZoneInformation(&zone);
  // Windows counts the minutes from local time to Greenwich, the record those from Greenwich.
  row.set_current_time_zone(-(zone.Bias + (season == TIME_ZONE_ID_DAYLIGHT   ? zone.DaylightBias
                                           : season == TIME_ZONE_ID_STANDARD ? zone.StandardBias
                                                                             : 0)));
  const GEOID nation = GetUserGeoID(GEOCLASS_NATION);
  if (nation != GEOID_NOT_AVAILABLE) row.set_geo_id(std::to_string(nation));
}

// The collectors of this file.
constexpr WindowsCollector kCollectors[] = {
    {"operating_system", CollectOperatingSystem},
    {"location", CollectLocation},
};

}  // namespace

std::span<const WindowsCollector> WindowsSystem() { return kCollectors; }

}  // namespace ovix::agent
