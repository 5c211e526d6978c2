// Installed programs, as they list themselves for removal.
#include <stdexcept>

#include "collectors/windows/collectors.h"
#include "collectors/windows/windows.h"
#include "ovix/telemetry/contract/storage/device_profile/application.pb.h"

namespace ovix::agent {
namespace profile = telemetry::contract::storage::device_profile;

namespace {

constexpr wchar_t kUninstall[] = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall";

struct Place {
  HKEY parent;
  REGSAM view;
  const char* type;     // of the program that wrote there
  const char* context;  // for whom the program is installed
};

const Place kPlaces[] = {
    {HKEY_LOCAL_MACHINE, KEY_WOW64_64KEY, "64-bit", "machine"},
    {HKEY_LOCAL_MACHINE, KEY_WOW64_32KEY, "32-bit", "machine"},
    {HKEY_CURRENT_USER, KEY_WOW64_64KEY, "", "user"},
};

// "20260131" as "2026-01-31"; a string of another form unchanged.
std::string DateOf(const std::string& text) {
  if (text.size() != 8 || text.find_first_not_of("0123456789") != std::string::npos) return text;
  return text.substr(0, 4) + "-" + text.substr(4, 2) + "-" + text.substr(6);
}

// Returns false for an entry that Windows does not show as a program either.
bool IsProgram(const RegistryKey& key) {
  return !key.Text(L"DisplayName").empty() && key.Number(L"SystemComponent") != 1 &&
         key.Text(L"ParentKeyName").empty();
}

void CollectApplications(Collection& found) {
  bool any = false;
  for (const Place& place : kPlaces) {
    const RegistryKey list(place.parent, kUninstall, place.view);
    if (!list && list.error() != ERROR_FILE_NOT_FOUND) {
      // Programs that cannot be listed are not gone.
      throw std::runtime_error(ToUtf8(kUninstall) + ": " + ErrorText(list.error()));
    }
    if (!list) continue;
    any = true;
    for (const std::wstring& name : list.Keys()) {
      const RegistryKey key(list.get(), name, place.view);
      if (!key || !IsProgram(key)) continue;
      auto& row = found.Add<profile::Application>();
      row.set_name(key.Text(L"DisplayName"));
      row.set_vendor(key.Text(L"Publisher"));
      row.set_version(key.Text(L"DisplayVersion"));
      const DWORD size = key.Number(L"EstimatedSize");  // KiB
      if (size != 0) row.set_size(std::to_string(size));
      row.set_type(key.Number(L"WindowsInstaller") == 1 ? "msi" : place.type);
      row.set_install_state("installed");
      row.set_install_time(DateOf(key.Text(L"InstallDate")));
      row.set_update_time(key.Written());
      row.set_install_folder(key.Text(L"InstallLocation"));
      row.set_install_context(place.context);
    }
  }
  if (!any) return found.Skip(ToUtf8(kUninstall) + " is not in the registry: no programs");
  found.Begin<profile::Application>();
  if (found.snapshots()[0].rows.empty()) found.Skip("the registry lists no program");
}

// The collectors of this file.
constexpr WindowsCollector kCollectors[] = {
    {"applications", CollectApplications},
};

}  // namespace

std::span<const WindowsCollector> WindowsPrograms() { return kCollectors; }

}  // namespace ovix::agent
