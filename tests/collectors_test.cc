#include "collectors/collectors.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

#include "collectors/smbios.h"
#include "ovix/telemetry/contract/storage/device_health/battery.pb.h"
#include "ovix/telemetry/contract/storage/device_performance/thermal.pb.h"
#include "ovix/telemetry/contract/storage/device_profile/application.pb.h"
#include "ovix/telemetry/contract/storage/device_profile/device.pb.h"
#include "ovix/telemetry/contract/storage/device_profile/device_location.pb.h"
#include "ovix/telemetry/contract/storage/device_profile/hw_components.pb.h"
#include "ovix/telemetry/contract/storage/device_profile/operating_system.pb.h"
#include "support/folder.h"

namespace ovix::tests {
namespace {

using agent::Collection;
using agent::Machine;
using google::protobuf::Message;
namespace profile = telemetry::contract::storage::device_profile;

// One SMBIOS structure: type, the bytes behind its header, and its texts.
std::string Structure(int type, const std::string& body, std::initializer_list<const char*> texts) {
  std::string bytes = {static_cast<char>(type), static_cast<char>(body.size() + 4), 0, 0};
  bytes += body;
  for (const char* text : texts) bytes += std::string(text) + '\0';
  return bytes + std::string(texts.size() == 0 ? 2 : 1, '\0');
}

std::string MemoryDevice(uint16_t size_word, uint32_t extended_mb) {
  std::string body(0x20 - 4, '\0');
  const auto put = [&](size_t offset, uint32_t value, size_t size) {
    for (size_t i = 0; i < size; ++i) body[offset - 4 + i] = static_cast<char>(value >> (8 * i));
  };
  put(0x08, 72, 2), put(0x0a, 64, 2), put(0x0c, size_word, 2), put(0x0e, 9, 1);
  put(0x10, 1, 1), put(0x11, 2, 1), put(0x12, 26, 1), put(0x15, 3200, 2);
  put(0x17, 3, 1), put(0x18, 4, 1), put(0x1b, 2, 1), put(0x1c, extended_mb, 4);
  return Structure(17, body, {"DIMM 0", "BANK 0", "Maker", "  SER1 "});
}

// A made-up notebook: what the collectors read of it is told by these files alone.
void WriteNotebook(const Folder& root) {
  const std::pair<const char*, const char*> files[] = {
      {"etc/os-release", "NAME=\"Some Linux\"\nID=some\nVERSION='12 (x)'\n# comment\n"},
      {"etc/machine-id", "0123\n"},
      {"etc/default/locale", "LANG=de_DE.UTF-8\n"},
      {"proc/sys/kernel/osrelease", "6.1.0\n"},
      {"proc/sys/kernel/arch", "x86_64\n"},
      {"proc/self/mounts", "proc /proc proc rw 0 0\n/dev/nvme0n1p2 / ext4 rw 0 0\n"},
      {"proc/modules", "snd 1 0 - Live 0x0\n"},
      {"proc/cpuinfo",
       "processor\t: 0\nmodel name\t: Chip\nvendor_id\t: V\nphysical id\t: 0\ncore id\t: "
       "0\nflags\t: lm vmx\n\n"
       "processor\t: 1\nmodel name\t: Chip\nvendor_id\t: V\nphysical id\t: 0\ncore id\t: "
       "0\nflags\t: lm vmx\n\n"},
      {"sys/devices/system/cpu/cpu0/cache/index0/level", "2\n"},
      {"sys/devices/system/cpu/cpu0/cache/index0/type", "Unified\n"},
      {"sys/devices/system/cpu/cpu0/cache/index0/size", "512K\n"},
      {"sys/devices/system/cpu/cpu0/cpufreq/cpuinfo_max_freq", "4100000\n"},
      {"sys/power/state", "freeze mem disk\n"},
      {"sys/class/dmi/id/product_uuid", "UUID-1\n"},
      {"sys/class/dmi/id/product_name", "Book 14\n"},
      {"sys/class/dmi/id/chassis_type", "10\n"},
      {"sys/class/dmi/id/board_serial", "B1\n"},
      {"sys/class/dmi/id/bios_version", "1.2\n"},
      {"sys/class/net/wlan0/type", "1\n"},
      {"sys/class/net/wlan0/device/vendor", "0x8086\n"},
      {"sys/class/net/wlan0/wireless/x", ""},
      {"sys/block/loop0/size", "8\n"},
      {"sys/block/nvme0n1/size", "1000\n"},
      {"sys/block/nvme0n1/queue/rotational", "0\n"},
      {"sys/block/nvme0n1/nvme0n1p1/partition", "1\n"},
      {"sys/block/nvme0n1/device/serial", " N1 \n"},
      {"sys/block/nvme0n1/device/firmware_rev", "F7\n"},
      {"sys/class/power_supply/AC/type", "Mains\n"},
      {"sys/class/power_supply/BAT0/type", "Battery\n"},
      {"sys/class/power_supply/BAT0/status", "Discharging\n"},
      {"sys/class/power_supply/BAT0/energy_full_design", "50000000\n"},
      {"sys/class/power_supply/BAT0/energy_full", "40000000\n"},
      {"sys/class/power_supply/BAT0/energy_now", "10000000\n"},
      {"sys/class/power_supply/BAT0/cycle_count", "123\n"},
      {"sys/class/power_supply/BAT0/power_now", "9000000\n"},
      {"sys/class/power_supply/BAT0/current_now", "-1500000\n"},
      {"sys/class/thermal/thermal_zone0/type", "x86_pkg_temp\n"},
      {"sys/class/thermal/thermal_zone0/temp", "45600\n"},
      {"sys/class/thermal/thermal_zone1/type", "acpitz\n"},
      {"sys/class/thermal/thermal_zone1/temp", "-5000\n"},
      {"var/lib/dpkg/status",
       "Package: one\nStatus: install ok installed\nMaintainer: M\xC3\xBCller <m@x>\nVersion: 1:2\n"
       "Description: first\n Package: not one\n\n"
       "Package: two\nStatus: deinstall ok config-files\nVersion: 1\n\n"
       "Package: three\nStatus: install ok installed\nArchitecture: amd64\n\n"},
      {"var/lib/dpkg/info/three:amd64.list", ""},
  };
  for (const auto& [name, content] : files) root.Write(name, content);
  root.Write("sys/firmware/dmi/tables/DMI",
             Structure(16, std::string(9, '\0') + '\x04' + '\0', {}) + MemoryDevice(8192, 0) +
                 MemoryDevice(0, 0) + MemoryDevice(0x7fff, 65536) + Structure(127, "", {}));
}

Collection Collect(const Folder& root) {
  Collection found("2026-11-21T00:00:00.000Z");
  for (const auto& collector : agent::Collectors()) collector.collect(Machine(root.path()), found);
  return found;
}

template <typename Record>
std::vector<const Record*> RowsOf(const Collection& found) {
  std::vector<const Record*> rows;
  const auto add = [&](const Message& row) {
    if (const auto* record = dynamic_cast<const Record*>(&row)) rows.push_back(record);
  };
  for (const auto& snapshot : found.snapshots()) {
    for (const auto& row : snapshot.rows) add(*row);
  }
  for (const auto& row : found.appended()) add(*row);
  return rows;
}

TEST(Collectors, ReadAMachineThatHasEverything) {
  const Folder root;
  WriteNotebook(root);
  const Collection found = Collect(root);
  for (const auto& skipped : found.skipped()) ADD_FAILURE() << skipped.collector << skipped.why;

  const auto* system = RowsOf<profile::OperatingSystem>(found).at(0);
  EXPECT_EQ(system->name() + system->release() + system->boot_device() + system->locale_name(),
            "Some Linux12 (x)/dev/nvme0n1p2de_DE.UTF-8");
  EXPECT_EQ(system->architecture(), profile::OS_ARCH_64_BITS);

  const auto* device = RowsOf<profile::Device>(found).at(0);
  EXPECT_EQ(device->device_unique_id() + device->model() + device->device_type(),
            "UUID-1Book 14notebook");
  EXPECT_EQ(device->supported_sleep_states(), 1 + 4 + 8);

  const auto applications = RowsOf<profile::Application>(found);
  ASSERT_EQ(applications.size(), 2U) << "a removed package is none";
  EXPECT_EQ(applications[0]->name() + applications[0]->vendor(), "oneM\xC3\xBCller <m@x>");
  EXPECT_EQ(applications[0]->install_time(), "");
  EXPECT_EQ(applications[1]->install_time().size(), device->time().size());

  const auto* processor = RowsOf<profile::HwProcessor>(found).at(0);
  EXPECT_EQ(processor->cores_count(), 1U);
  EXPECT_EQ(processor->logical_processors(), 2U);
  EXPECT_EQ(processor->max_clock_speed(), 4100U);
  EXPECT_EQ(processor->l2_cache_size(), 512U);
  EXPECT_TRUE(processor->virtualization_firmware_enabled());

  EXPECT_EQ(RowsOf<profile::HwMemory>(found).at(0)->total_slots(), 4U);
  const auto chips = RowsOf<profile::HwMemoryChip>(found);
  ASSERT_EQ(chips.size(), 2U) << "an empty slot is no module";
  EXPECT_EQ(chips[0]->serial_number() + chips[0]->locator(), "SER1DIMM 0");
  EXPECT_EQ(chips[0]->capacity(), 8192U);
  EXPECT_EQ(chips[1]->capacity(), 65536U);
  EXPECT_EQ(chips[0]->speed(), 3200U);

  EXPECT_EQ(RowsOf<profile::HwNetworkAdapter>(found).at(0)->interface_type(), "wireless");
  const auto drives = RowsOf<profile::HwStorageDrive>(found);
  ASSERT_EQ(drives.size(), 1U) << "a loop device is no drive";
  EXPECT_EQ(drives[0]->serial_number() + drives[0]->total_capacity() + drives[0]->interface_type(),
            "N1512000nvme");
  EXPECT_EQ(drives[0]->partitions(), 1);

  const auto* log =
      RowsOf<telemetry::contract::storage::device_health::BatteryHealthLog>(found).at(0);
  EXPECT_EQ(log->full_energy_capacity(), 40000U);
  EXPECT_FLOAT_EQ(log->full_energy_capacity_perc(), 80);
  EXPECT_FLOAT_EQ(log->remaining_energy_capacity_perc(), 25);
  EXPECT_EQ(log->eletric_current(), 1500U);
  EXPECT_TRUE(log->battery_status().discharging());
  const auto* sample =
      RowsOf<telemetry::contract::storage::device_performance::ThermalOVIXBiosSamples>(found).at(0);
  EXPECT_EQ(sample->cpu_temp(), 46U);
  EXPECT_EQ(sample->system1_temp(), 0U) << "below zero the record has no number";
}

#ifndef _WIN32
TEST(Collectors, TellTheTimeZoneInMinutesEastOfGreenwich) {
  const Folder root;
  const char* before = std::getenv("TZ");
  const std::string zone = before == nullptr ? "" : before;
  const std::pair<const char*, int> cases[] = {{"AAA0", 0}, {"AAA-5:45", 345}, {"AAA9:30", -570}};
  for (const auto& [name, minutes] : cases) {
    setenv("TZ", name, 1);
    tzset();
    const Collection found = Collect(root);
    EXPECT_EQ(RowsOf<profile::DeviceLocation>(found).at(0)->current_time_zone(), minutes) << name;
  }
  before == nullptr ? unsetenv("TZ") : setenv("TZ", zone.c_str(), 1);
  tzset();
}
#endif

TEST(Collectors, SayWhatAMachineLacks) {
  const Folder root;
  std::vector<std::string> skipped;
  const Collection found = Collect(root);
  for (const auto& skip : found.skipped()) {
    skipped.push_back(skip.collector);
    EXPECT_FALSE(skip.why.empty());
  }
  std::vector<std::string> expected;
  for (const auto& collector : agent::Collectors()) {
    if (std::string(collector.name) != "location") expected.push_back(collector.name);
  }
  EXPECT_EQ(skipped, expected);
  EXPECT_EQ(found.rows(), 1U);
}

TEST(Collectors, SurviveFirmwareAndFilesThatAreDamaged) {
  const std::string table = MemoryDevice(8192, 0) + Structure(127, "", {});
  for (size_t length = 0; length < table.size(); ++length) {
    agent::ParseSmbios(table.substr(0, length));
  }
  EXPECT_TRUE(agent::ParseSmbios(std::string(100, '\0')).empty());
  EXPECT_EQ(agent::ParseSmbios(MemoryDevice(1, 0))[0].Text(0x0e), "") << "text 9 of 4";
  EXPECT_EQ(agent::ParseSmbios(Structure(17, "", {}))[0].Word(0x0c), 0U) << "beyond the end";

  const Folder root;
  root.Write("etc/os-release", "NAME=\"\xff\xfe\nno equals\n=\n");
  root.Write("proc/cpuinfo", "processor : 0\nmodel name : \xff");
  root.Write("sys/block/x/device/serial", "\x01\xff");
  root.Write("sys/class/power_supply/B/type", "Battery");
  root.Write("sys/class/power_supply/B/cycle_count", "99999999999999");
  root.Write("var/lib/dpkg/status", "Package:\n\n\n\n:\n x\n");
  const Collection found = Collect(root);
  for (const auto& snapshot : found.snapshots()) {
    for (const auto& row : snapshot.rows) {
      std::string bytes;
      EXPECT_TRUE(row->SerializeToString(&bytes) && row->ParseFromString(bytes))
          << row->ShortDebugString();
    }
  }
}

}  // namespace
}  // namespace ovix::tests
