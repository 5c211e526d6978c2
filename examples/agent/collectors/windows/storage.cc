// Drives, by their numbers and by the volumes that lie on them.
// windows.h comes first: the others need its types.
#include "collectors/windows/windows.h"

#include <winioctl.h>

#include <algorithm>
#include <cstddef>
#include <map>
#include <optional>

#include "collectors/serials.h"
#include "collectors/text.h"
#include "collectors/windows/collectors.h"
#include "ovix/telemetry/contract/storage/device_profile/fw_components.pb.h"
#include "ovix/telemetry/contract/storage/device_profile/hw_components.pb.h"

namespace ovix::agent {
namespace profile = telemetry::contract::storage::device_profile;

namespace {

// To ask what a drive is takes no right to read it.
OwnedFile OpenDevice(const std::wstring& path) {
  HANDLE file = CreateFileW(path.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                            OPEN_EXISTING, 0, nullptr);
  return OwnedFile(file == INVALID_HANDLE_VALUE ? nullptr : file);
}

// What the device answers; empty where it refuses.
template <typename Question>
std::string Ask(HANDLE device, DWORD code, const Question& question, size_t room) {
  std::string answer(room, '\0');
  DWORD bytes = 0;
  if (device == nullptr ||
      DeviceIoControl(device, code, const_cast<Question*>(&question), sizeof(question),
                      answer.data(), static_cast<DWORD>(room), &bytes, nullptr) == 0) {
    return "";
  }
  answer.resize(bytes);
  return answer;
}

template <typename Answer, typename Question>
std::optional<Answer> AskFor(HANDLE device, DWORD code, const Question& question) {
  const std::string bytes = Ask(device, code, question, sizeof(Answer));
  if (bytes.size() < sizeof(Answer)) return std::nullopt;
  return *reinterpret_cast<const Answer*>(bytes.data());
}

// A string of a descriptor, which has its offset; 0: there is none.
std::string TextAt(const std::string& descriptor, DWORD offset) {
  if (offset == 0 || offset >= descriptor.size()) return "";
  std::string text = descriptor.substr(offset);
  text.resize(std::min(text.find('\0'), text.size()));
  for (char& c : text) c = c < 0x20 || c > 0x7e ? '?' : c;
  return Trimmed(text);
}

std::string BusName(STORAGE_BUS_TYPE bus) {
  switch (static_cast<int>(bus)) {
    case BusTypeScsi:
      return "scsi";
    case BusTypeAta:
      return "ata";
    case BusTypeUsb:
      return "usb";
    case BusTypeRAID:
      return "raid";
    case BusTypeSas:
      return "sas";
    case BusTypeSata:
      return "sata";
    case BusTypeSd:
      return "sd";
    case BusTypeMmc:
      return "mmc";
    case BusTypeVirtual:
    case BusTypeFileBackedVirtual:
      return "virtual";
    case 17:  // BusTypeNvme
      return "nvme";
    default:
      return "bus " + std::to_string(static_cast<int>(bus));
  }
}

struct Volumes {
  int count = 0;
  uint64_t bytes = 0;
};

// The volumes with a letter on fixed drives, by the number of the drive; those whose drive Windows
// does not report have the key -1.
std::map<int32_t, Volumes> FixedVolumes() {
  std::map<int32_t, Volumes> volumes;
  std::vector<wchar_t> roots(GetLogicalDriveStringsW(0, nullptr) + 1);
  GetLogicalDriveStringsW(static_cast<DWORD>(roots.size()), roots.data());
  for (const wchar_t* root = roots.data(); *root != 0; root += wcslen(root) + 1) {
    if (GetDriveTypeW(root) != DRIVE_FIXED) continue;
    const OwnedFile device = OpenDevice(L"\\\\.\\" + std::wstring(root, 2));
    const auto number =
        AskFor<STORAGE_DEVICE_NUMBER>(device.get(), IOCTL_STORAGE_GET_DEVICE_NUMBER, 0);
    Volumes& on_drive = volumes[number ? static_cast<int32_t>(number->DeviceNumber) : -1];
    ULARGE_INTEGER total = {};
    if (GetDiskFreeSpaceExW(root, nullptr, &total, nullptr) != 0) on_drive.bytes += total.QuadPart;
    ++on_drive.count;
  }
  return volumes;
}

void CollectStorageDrives(Collection& found) {
  struct Drive {
    int32_t index;
    OwnedFile device;
    std::string descriptor;
  };
  const auto volumes = FixedVolumes();
  std::vector<Drive> drives;
  std::vector<Part> parts;
  int silent = 0;
  constexpr int32_t kMost = 64;  // numbers have gaps where a drive was taken out
  for (int32_t index = 0; index < kMost; ++index) {
    OwnedFile device = OpenDevice(L"\\\\.\\PhysicalDrive" + std::to_wstring(index));
    if (device == nullptr && !volumes.contains(index)) continue;
    const STORAGE_PROPERTY_QUERY query = {StorageDeviceProperty, PropertyStandardQuery, {}};
    std::string descriptor = Ask(device.get(), IOCTL_STORAGE_QUERY_PROPERTY, query, 4096);
    if (descriptor.size() < sizeof(STORAGE_DEVICE_DESCRIPTOR)) {
      descriptor.clear();
      ++silent;
    }
    const auto* head = reinterpret_cast<const STORAGE_DEVICE_DESCRIPTOR*>(descriptor.data());
    parts.push_back({descriptor.empty() ? "" : TextAt(descriptor, head->SerialNumberOffset),
                     "drive " + std::to_string(index)});
    drives.push_back({index, std::move(device), std::move(descriptor)});
  }
  if (drives.empty()) {
    const int letters = volumes.contains(-1) ? volumes.at(-1).count : 0;
    return found.Skip("Windows opens no drive; it has " + std::to_string(letters) +
                      " fixed volumes, of which it does not report the drive");
  }
  found.Begin<profile::HwStorageDrive>();
  found.Begin<profile::FwStorageDrive>();
  const std::vector<std::string> keys = DistinctSerials(parts);
  for (size_t i = 0; i < drives.size(); ++i) {
    const Drive& drive = drives[i];
    auto& row = found.Add<profile::HwStorageDrive>();
    row.set_serial_number(keys[i]);
    row.set_physical_index(drive.index);
    const STORAGE_PROPERTY_QUERY query = {
        StorageDeviceSeekPenaltyProperty, PropertyStandardQuery, {}};
    if (const auto seek = AskFor<DEVICE_SEEK_PENALTY_DESCRIPTOR>(
            drive.device.get(), IOCTL_STORAGE_QUERY_PROPERTY, query)) {
      row.set_type(seek->IncursSeekPenalty ? "HDD" : "SSD");
    }
    const auto on_drive = volumes.find(drive.index);
    if (on_drive != volumes.end()) row.set_partitions(on_drive->second.count);
    const std::string geometry = Ask(drive.device.get(), IOCTL_DISK_GET_DRIVE_GEOMETRY_EX, 0, 1024);
    if (geometry.size() >= offsetof(DISK_GEOMETRY_EX, Data)) {
      row.set_total_capacity(std::to_string(
          reinterpret_cast<const DISK_GEOMETRY_EX*>(geometry.data())->DiskSize.QuadPart));
    } else if (on_drive != volumes.end()) {
      row.set_total_capacity(std::to_string(on_drive->second.bytes));
    }
    if (drive.descriptor.empty()) continue;
    const auto* head = reinterpret_cast<const STORAGE_DEVICE_DESCRIPTOR*>(drive.descriptor.data());
    const std::string revision = TextAt(drive.descriptor, head->ProductRevisionOffset);
    row.set_manufacturer(TextAt(drive.descriptor, head->VendorIdOffset));
    row.set_model(TextAt(drive.descriptor, head->ProductIdOffset));
    row.set_interface_type(BusName(head->BusType));
    row.set_firmware_revision(revision);
    if (!revision.empty()) {
      auto& firmware = found.Add<profile::FwStorageDrive>();
      firmware.set_serial_number(keys[i]);
      firmware.set_fw_version(revision);
    }
  }
  if (silent != 0) {
    found.Skip("maker, model and serial number of " + std::to_string(silent) +
               " drives, which do not answer");
  }
}

// The collectors of this file.
constexpr WindowsCollector kCollectors[] = {
    {"storage_drives", CollectStorageDrives},
};

}  // namespace

std::span<const WindowsCollector> WindowsStorage() { return kCollectors; }

}  // namespace ovix::agent
