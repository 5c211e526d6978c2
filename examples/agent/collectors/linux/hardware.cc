// Processors, network adapters, drives, batteries and temperatures, from /proc and /sys.
#include <cstdlib>
#include <map>
#include <set>

#include "collectors/linux/collectors.h"
#include "collectors/serials.h"
#include "collectors/text.h"
#include "ovix/telemetry/contract/storage/device_health/battery.pb.h"
#include "ovix/telemetry/contract/storage/device_performance/thermal.pb.h"
#include "ovix/telemetry/contract/storage/device_profile/fw_components.pb.h"
#include "ovix/telemetry/contract/storage/device_profile/hw_components.pb.h"

namespace ovix::agent {
namespace profile = telemetry::contract::storage::device_profile;
namespace health = telemetry::contract::storage::device_health;
namespace performance = telemetry::contract::storage::device_performance;

namespace {

// KiB of the first processor's cache of a level; 0 where it has none.
uint32_t CacheSize(const Machine& machine, uint32_t level) {
  const std::string caches = "/sys/devices/system/cpu/cpu0/cache/";
  for (const std::string& index : machine.List(caches)) {
    if (index.starts_with("index") && machine.Number(caches + index + "/level") == level &&
        machine.Line(caches + index + "/type") != "Instruction") {
      return machine.Number(caches + index + "/size");  // "1024K"
    }
  }
  return 0;
}

// A string as bytes, such as the drive's page 0x80, without what does not print.
std::string Printable(const std::string& bytes) {
  std::string text;
  for (unsigned char c : bytes) {
    if (c >= 0x20 && c < 0x7f) text += static_cast<char>(c);
  }
  return Trimmed(text);
}

// Whether a block device is one for media that come and go: optical and floppy disks.
bool IsForOtherMedia(const std::string& name) {
  return name.starts_with("sr") || name.starts_with("fd");
}

// How a block device is attached, by its name.
std::string InterfaceOf(const std::string& name) {
  if (name.starts_with("sd")) return "scsi";
  if (name.starts_with("mmcblk")) return "mmc";
  if (name.starts_with("vd")) return "virtio";
  return name.substr(0, name.find_first_of("0123456789"));
}

// Thousandths to whole units, rounded; 0 for what is below zero.
uint32_t FromMilli(const std::string& text) {
  return text.starts_with("-") ? 0 : (ToNumber(text) + 500) / 1000;
}

void CollectProcessors(const Machine& machine, Collection& found) {
  struct Package {
    std::map<std::string, std::string> fields;
    uint32_t threads = 0;
    std::set<std::string> cores;
  };
  std::map<std::string, Package> packages;  // by "physical id"
  for (const std::string& paragraph : Split(machine.Read("/proc/cpuinfo"), "\n\n")) {
    auto fields = Fields(paragraph);
    if (!fields.contains("processor")) continue;
    Package& package = packages[fields.contains("physical id") ? fields["physical id"] : "0"];
    ++package.threads;
    package.cores.insert(fields.contains("core id") ? fields["core id"] : fields["processor"]);
    package.fields = std::move(fields);
  }
  if (packages.empty()) return found.Skip("/proc/cpuinfo names no processor");

  found.Begin<profile::HwProcessor>();
  const uint32_t max_khz = machine.Number("/sys/devices/system/cpu/cpu0/cpufreq/cpuinfo_max_freq");
  for (auto& [id, package] : packages) {
    auto& fields = package.fields;
    const std::string flags = " " + fields["flags"] + " ";
    auto& row = found.Add<profile::HwProcessor>();
    row.set_device_id("CPU" + id);
    row.set_name(fields["model name"]);
    row.set_manufacturer(fields["vendor_id"]);
    if (fields.contains("cpu family")) {
      row.set_signature("family " + fields["cpu family"] + " model " + fields["model"] +
                        " stepping " + fields["stepping"]);
      row.set_processor_description(fields["vendor_id"] + " family " + fields["cpu family"]);
    }
    row.set_max_clock_speed(max_khz / 1000);  // MHz; "cpu MHz" is the speed of the moment
    row.set_cores_count(static_cast<uint32_t>(package.cores.size()));
    row.set_cores_enabled(static_cast<uint32_t>(package.cores.size()));
    row.set_logical_processors(package.threads);
    row.set_l2_cache_size(CacheSize(machine, 2));
    row.set_l3_cache_size(CacheSize(machine, 3));
    const uint32_t width = flags.find(" lm ") != std::string::npos ? 64 : 32;
    row.set_address_width_bits(width);
    row.set_data_width_bits(width);
    row.set_virtualization_firmware_enabled(flags.find(" vmx ") != std::string::npos ||
                                            flags.find(" svm ") != std::string::npos);
  }
}

void CollectNetworkAdapters(const Machine& machine, Collection& found) {
  const std::string net = "/sys/class/net/";
  const auto names = machine.TryList(net);
  if (!names) return found.Skip(net + " cannot be listed");
  found.Begin<profile::HwNetworkAdapter>();
  if (names->empty()) return found.Skip(net + " lists no adapter");
  for (const std::string& name : *names) {
    const bool is_device = machine.Has(net + name + "/device");
    auto& row = found.Add<profile::HwNetworkAdapter>();
    // The device's place on its bus outlives a new name; what has no device is known by its name.
    const std::string place = machine.LinkName(net + name + "/device");
    row.set_device_id(place.empty() ? name : place);
    row.set_name(name);
    row.set_manufacturer(machine.Line(net + name + "/device/vendor"));
    row.set_type(is_device ? "physical" : "virtual");
    row.set_connection_id(name);
    const uint32_t hardware_type = machine.Number(net + name + "/type");  // ARPHRD_ numbers
    row.set_interface_type(machine.Has(net + name + "/wireless") ? "wireless"
                           : hardware_type == 1                  ? "ethernet"
                           : hardware_type == 772                ? "loopback"
                                                  : "type " + std::to_string(hardware_type));
  }
}

void CollectStorageDrives(const Machine& machine, Collection& found) {
  const std::string block = "/sys/block/";
  const auto names = machine.TryList(block);
  if (!names) return found.Skip(block + " cannot be listed");
  std::vector<Part> drives;  // in their places: their names
  for (const std::string& name : *names) {
    // Not a loop or RAM disk, and not a drive without a medium of its own.
    if (!machine.Has(block + name + "/device") || IsForOtherMedia(name)) continue;
    const std::string device = block + name + "/device/";
    std::string serial = machine.Line(device + "serial");
    if (serial.empty()) serial = machine.Line(block + name + "/serial");
    if (serial.empty()) serial = Printable(machine.Read(device + "vpd_pg80").substr(0, 64));
    drives.push_back({serial, name});
  }
  found.Begin<profile::HwStorageDrive>();
  found.Begin<profile::FwStorageDrive>();
  if (drives.empty()) return found.Skip(block + " lists no drive");
  const std::vector<std::string> serials = DistinctSerials(drives);
  for (size_t index = 0; index < drives.size(); ++index) {
    const std::string& name = drives[index].place;
    const std::string& serial = serials[index];
    const std::string device = block + name + "/device/";
    auto& row = found.Add<profile::HwStorageDrive>();
    row.set_serial_number(serial);
    row.set_model(machine.Line(device + "model"));
    row.set_manufacturer(machine.Line(device + "vendor"));
    const std::string rotational = machine.Line(block + name + "/queue/rotational");
    row.set_type(rotational.empty() ? "" : rotational == "0" ? "SSD" : "HDD");
    std::string revision = machine.Line(device + "firmware_rev");
    if (revision.empty()) revision = machine.Line(device + "rev");
    row.set_firmware_revision(revision);
    const std::string sectors = machine.Line(block + name + "/size");
    if (!sectors.empty()) {
      row.set_total_capacity(std::to_string(std::strtoull(sectors.c_str(), nullptr, 10) * 512));
    }
    row.set_physical_index(static_cast<int32_t>(index));
    row.set_interface_type(InterfaceOf(name));
    int32_t partitions = 0;
    for (const std::string& entry : machine.List(block + name)) {
      partitions += machine.Has(block + name + "/" + entry + "/partition");
    }
    row.set_partitions(partitions);
    if (!revision.empty()) {
      auto& firmware = found.Add<profile::FwStorageDrive>();
      firmware.set_serial_number(serial);
      firmware.set_fw_version(revision);
    }
  }
}

void CollectBatteries(const Machine& machine, Collection& found) {
  const std::string supplies = "/sys/class/power_supply/";
  const auto names = machine.TryList(supplies);
  if (!names) return found.Skip(supplies + " cannot be listed");
  std::vector<Part> batteries;
  for (const std::string& name : *names) {
    const std::string supply = supplies + name + "/";
    if (machine.Line(supply + "type") != "Battery") continue;
    batteries.push_back({machine.Line(supply + "serial_number"), name});
  }
  found.Begin<profile::HwBattery>();
  if (batteries.empty()) return found.Skip(supplies + " lists no battery");
  const std::vector<std::string> serials = DistinctSerials(batteries);
  for (size_t i = 0; i < batteries.size(); ++i) {
    const std::string& serial = serials[i];
    const std::string supply = supplies + batteries[i].place + "/";
    // A battery reports its charge as energy (microwatt-hours) or as charge (microampere-hours).
    const bool energy = machine.Has(supply + "energy_full");
    const std::string kind = supply + (energy ? "energy_" : "charge_");
    const uint32_t design = machine.Number(kind + "full_design") / 1000;
    const uint32_t full = machine.Number(kind + "full") / 1000;
    const uint32_t now = machine.Number(kind + "now") / 1000;

    auto& battery = found.Add<profile::HwBattery>();
    battery.set_serial_number(serial);
    battery.set_manufacturer(machine.Line(supply + "manufacturer"));
    battery.set_device_name(machine.Line(supply + "model_name"));
    battery.set_energy_design(design);
    battery.set_voltage_design(machine.Number(supply + "voltage_min_design") / 1000);

    auto& log = found.Append<health::BatteryHealthLog>();
    log.set_serial_number(serial);
    log.set_cycle_count(machine.Number(supply + "cycle_count"));
    log.set_full_energy_capacity(full);
    if (design != 0) log.set_full_energy_capacity_perc(100.0F * full / design);
    log.set_remaining_energy_capacity(now);
    if (full != 0) log.set_remaining_energy_capacity_perc(100.0F * now / full);
    log.set_voltage(machine.Number(supply + "voltage_now") / 1000);
    // Some drivers give a current that flows out a minus; the record has no sign.
    const std::string current = machine.Line(supply + "current_now");
    log.set_eletric_current(ToNumber(current.substr(current.starts_with("-") ? 1 : 0)) / 1000);
    log.set_temperature(machine.Number(supply + "temp") / 10);  // from tenths of a degree Celsius
    const std::string status = machine.Line(supply + "status");
    log.mutable_battery_status()->set_discharging(status == "Discharging");
    log.mutable_battery_status()->set_fully_charged(status == "Full");
  }
}

void CollectTemperatures(const Machine& machine, Collection& found) {
  const std::string thermal = "/sys/class/thermal/";
  std::map<std::string, uint32_t> degrees;  // by the zone's type
  for (const std::string& zone : machine.List(thermal)) {
    if (!zone.starts_with("thermal_zone")) continue;
    degrees[machine.Line(thermal + zone + "/type")] =
        FromMilli(machine.Line(thermal + zone + "/temp"));
  }
  if (degrees.empty()) return found.Skip(thermal + " lists no thermal zone");
  auto& sample = found.Append<performance::ThermalOVIXBiosSamples>();
  const std::pair<const char*, void (performance::ThermalOVIXBiosSamples::*)(uint32_t)> known[] = {
      {"x86_pkg_temp", &performance::ThermalOVIXBiosSamples::set_cpu_temp},
      {"TCPU", &performance::ThermalOVIXBiosSamples::set_cpu_temp},
      {"acpitz", &performance::ThermalOVIXBiosSamples::set_system1_temp},
      {"pch", &performance::ThermalOVIXBiosSamples::set_system2_temp},
      {"B0D4", &performance::ThermalOVIXBiosSamples::set_system3_temp},
      {"BAT0", &performance::ThermalOVIXBiosSamples::set_battery_temp},
  };
  for (const auto& [type, set] : known) {
    if (degrees.contains(type)) (sample.*set)(degrees[type]);
  }
}

// The collectors of this file.
constexpr LinuxCollector kCollectors[] = {
    {"processors", CollectProcessors},        {"network_adapters", CollectNetworkAdapters},
    {"storage_drives", CollectStorageDrives}, {"batteries", CollectBatteries},
    {"temperatures", CollectTemperatures},
};

}  // namespace

std::span<const LinuxCollector> LinuxHardware() { return kCollectors; }

}  // namespace ovix::agent
