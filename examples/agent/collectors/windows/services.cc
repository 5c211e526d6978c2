// Services and kernel drivers, as the service control manager lists them.
#include <stdexcept>

#include "collectors/windows/collectors.h"
#include "collectors/windows/windows.h"
#include "ovix/telemetry/contract/storage/device_profile/device.pb.h"
#include "ovix/telemetry/contract/storage/device_updates/windows_services_info.pb.h"

namespace ovix::agent {
namespace profile = telemetry::contract::storage::device_profile;
namespace updates = telemetry::contract::storage::device_updates;

namespace {

// One list of the manager: its entries point into `bytes`.
struct List {
  std::vector<unsigned char> bytes;
  DWORD count = 0;

  const ENUM_SERVICE_STATUS_PROCESSW* begin() const {
    return reinterpret_cast<const ENUM_SERVICE_STATUS_PROCESSW*>(bytes.data());
  }
  const ENUM_SERVICE_STATUS_PROCESSW* end() const { return begin() + count; }
};

OwnedService OpenManager() {
  OwnedService manager(
      OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT | SC_MANAGER_ENUMERATE_SERVICE));
  if (!manager) throw std::runtime_error("the service manager: " + ErrorText(GetLastError()));
  return manager;
}

List ListServices(SC_HANDLE manager, DWORD type) {
  List list;
  for (DWORD needed = 64 * 1024;;) {
    list.bytes.resize(list.bytes.size() + needed);
    DWORD resume = 0;
    if (EnumServicesStatusExW(manager, SC_ENUM_PROCESS_INFO, type, SERVICE_STATE_ALL,
                              list.bytes.data(), static_cast<DWORD>(list.bytes.size()), &needed,
                              &list.count, &resume, nullptr) != 0) {
      return list;
    }
    const DWORD error = GetLastError();
    if (error != ERROR_MORE_DATA) {
      throw std::runtime_error("the service manager does not list: " + ErrorText(error));
    }
  }
}

// What QueryServiceConfigW and QueryServiceConfig2W give; empty where they are not allowed.
std::vector<unsigned char> Configuration(SC_HANDLE service) {
  std::vector<unsigned char> bytes;
  for (DWORD needed = 8 * 1024; bytes.size() < needed;) {
    bytes.resize(needed);
    if (QueryServiceConfigW(service, reinterpret_cast<QUERY_SERVICE_CONFIGW*>(bytes.data()),
                            static_cast<DWORD>(bytes.size()), &needed) != 0) {
      return bytes;
    }
    if (GetLastError() != ERROR_INSUFFICIENT_BUFFER) break;
  }
  return {};
}

std::string Description(SC_HANDLE service) {
  // 8 KiB is the most that it can take.
  alignas(SERVICE_DESCRIPTIONW) unsigned char bytes[8 * 1024];
  DWORD needed = 0;
  if (QueryServiceConfig2W(service, SERVICE_CONFIG_DESCRIPTION, bytes, sizeof(bytes), &needed) ==
      0) {
    return "";
  }
  const wchar_t* text = reinterpret_cast<const SERVICE_DESCRIPTIONW*>(bytes)->lpDescription;
  return text == nullptr ? "" : ToUtf8(text);
}

std::string StateName(DWORD state) {
  constexpr const char* kNames[] = {"unknown", "stopped",          "start pending", "stop pending",
                                    "running", "continue pending", "pause pending", "paused"};
  return kNames[state < std::size(kNames) ? state : 0];
}

std::string StartModeName(DWORD start) {
  constexpr const char* kNames[] = {"boot", "system", "automatic", "manual", "disabled"};
  return start < std::size(kNames) ? kNames[start] : "unknown";
}

std::string ErrorControlName(DWORD control) {
  constexpr const char* kNames[] = {"ignore", "normal", "severe", "critical"};
  return control < std::size(kNames) ? kNames[control] : "unknown";
}

std::string TypeName(DWORD type) {
  switch (type & ~DWORD{SERVICE_INTERACTIVE_PROCESS}) {
    case SERVICE_KERNEL_DRIVER:
      return "kernel driver";
    case SERVICE_FILE_SYSTEM_DRIVER:
      return "file system driver";
    case SERVICE_WIN32_OWN_PROCESS:
      return "own process";
    case SERVICE_WIN32_SHARE_PROCESS:
      return "shared process";
    default:
      return "type " + std::to_string(type);
  }
}

void CollectServices(Collection& found) {
  const OwnedService manager = OpenManager();
  const List list = ListServices(manager.get(), SERVICE_WIN32);
  found.Begin<updates::WindowsServicesInfo>();
  int closed = 0;
  for (const auto& entry : list) {
    const auto& status = entry.ServiceStatusProcess;
    auto& row = found.Add<updates::WindowsServicesInfo>();
    row.set_service_name(ToUtf8(entry.lpServiceName));
    row.set_display_name(ToUtf8(entry.lpDisplayName));
    row.set_is_stoppable((status.dwControlsAccepted & SERVICE_ACCEPT_STOP) != 0);
    row.set_error_exit_code(status.dwWin32ExitCode == ERROR_SERVICE_SPECIFIC_ERROR
                                ? status.dwServiceSpecificExitCode
                                : status.dwWin32ExitCode);
    row.set_service_type(TypeName(status.dwServiceType));
    row.set_current_state(StateName(status.dwCurrentState));
    const OwnedService service(
        OpenServiceW(manager.get(), entry.lpServiceName, SERVICE_QUERY_CONFIG));
    const auto bytes = Configuration(service.get());
    if (bytes.empty()) {
      ++closed;
      continue;
    }
    const auto* config = reinterpret_cast<const QUERY_SERVICE_CONFIGW*>(bytes.data());
    row.set_service_start_mode(StartModeName(config->dwStartType));
    row.set_error_control_on_services_start_fail(ErrorControlName(config->dwErrorControl));
    row.set_service_description(Description(service.get()));
  }
  if (closed != 0) {
    found.Skip("start mode and description of " + std::to_string(closed) +
               " services, which this user may not read");
  }
}

void CollectDrivers(Collection& found) {
  const OwnedService manager = OpenManager();
  const List list = ListServices(manager.get(), SERVICE_DRIVER);
  found.Begin<profile::DriverInfo>();
  int closed = 0;
  for (const auto& entry : list) {
    const OwnedService service(
        OpenServiceW(manager.get(), entry.lpServiceName, SERVICE_QUERY_CONFIG));
    const auto bytes = Configuration(service.get());
    auto& row = found.Add<profile::DriverInfo>();
    row.set_name(ToUtf8(entry.lpServiceName));
    row.set_service_type(TypeName(entry.ServiceStatusProcess.dwServiceType));
    if (bytes.empty()) {
      ++closed;
      continue;
    }
    const auto* config = reinterpret_cast<const QUERY_SERVICE_CONFIGW*>(bytes.data());
    row.set_install_path(ToUtf8(config->lpBinaryPathName));
    row.set_service_start_mode(StartModeName(config->dwStartType));
  }
  if (closed != 0) {
    found.Skip("path and start mode of " + std::to_string(closed) +
               " drivers, which this user may not read");
  }
}

// The collectors of this file.
constexpr WindowsCollector kCollectors[] = {
    {"services", CollectServices},
    {"drivers", CollectDrivers},
};

}  // namespace

std::span<const WindowsCollector> WindowsServices() { return kCollectors; }

}  // namespace ovix::agent
