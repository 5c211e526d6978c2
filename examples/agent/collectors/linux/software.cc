// Operating system, location, installed packages and loaded kernel modules.
#include <cstdlib>
#include <ctime>

#include "collectors/linux/collectors.h"
#include "collectors/text.h"
#include "ovix/telemetry/contract/storage/device_profile/application.pb.h"
#include "ovix/telemetry/contract/storage/device_profile/device.pb.h"
#include "ovix/telemetry/contract/storage/device_profile/device_location.pb.h"
#include "ovix/telemetry/contract/storage/device_profile/operating_system.pb.h"

namespace ovix::agent {
namespace profile = telemetry::contract::storage::device_profile;

namespace {

std::string Locale(const Machine& machine) {
  const std::string locale = machine.Assignments("/etc/default/locale")["LANG"];
  return locale.empty() ? "C" : locale;
}

// The device that the root file system lies on.
std::string RootDevice(const Machine& machine) {
  for (const std::string& mount : Split(machine.Read("/proc/self/mounts"), "\n")) {
    const auto parts = Split(mount, " ");
    if (parts.size() > 1 && parts[1] == "/") return parts[0];
  }
  return "";
}

void CollectOperatingSystem(const Machine& machine, Collection& found) {
  auto release = machine.Assignments("/etc/os-release");
  if (release.empty()) {
    return found.Skip("/etc/os-release is not there");
  }
  auto& row = found.Add<profile::OperatingSystem>();
  row.set_rowid(1);
  row.set_manufacturer(release["ID"]);
  row.set_name(release["NAME"]);
  row.set_release(release["VERSION"]);
  row.set_os_version(machine.Line("/proc/sys/kernel/osrelease"));
  row.set_locale_name(Locale(machine));
  row.set_boot_device(RootDevice(machine));
  row.set_sku_name(release["VARIANT_ID"]);
  // "lm", long mode, is the processor's word for 64 bits; other architectures have it in their
  // name.
  const std::string architecture = machine.Line("/proc/sys/kernel/arch");
  const bool is_64 = architecture.ends_with("64") || architecture == "s390x" ||
                     machine.Read("/proc/cpuinfo").find(" lm ") != std::string::npos;
  row.set_architecture(is_64                  ? profile::OS_ARCH_64_BITS
                       : architecture.empty() ? profile::OS_ARCH_UNKNOWN
                                              : profile::OS_ARCH_32_BITS);
}

void CollectLocation(const Machine& machine, Collection& found) {
  auto& row = found.Add<profile::DeviceLocation>();
  row.set_id(1);
  row.set_locale(Locale(machine));
  // Minutes east of Greenwich, of the clock that this program runs by: what the time of Greenwich,
  // taken for local time, is earlier.
  const std::time_t now = std::time(nullptr);
  std::tm greenwich = *std::gmtime(&now);
  greenwich.tm_isdst = std::localtime(&now)->tm_isdst;
  row.set_current_time_zone(static_cast<int32_t>(std::difftime(now, std::mktime(&greenwich)) / 60));
}

void CollectApplications(const Machine& machine, Collection& found) {
  const std::string status = machine.Read("/var/lib/dpkg/status");
  if (status.empty()) {
    return found.Skip("/var/lib/dpkg/status is not there: not a Debian system");
  }
  found.Begin<profile::Application>();
  for (const std::string& paragraph : Split(status, "\n\n")) {
    auto package = Fields(paragraph);
    const std::string& name = package["Package"];
    if (name.empty() || !package["Status"].ends_with(" installed")) continue;
    auto& row = found.Add<profile::Application>();
    row.set_name(name);
    row.set_vendor(package["Maintainer"]);
    row.set_version(package["Version"]);
    row.set_size(package["Installed-Size"]);  // KiB
    row.set_type("deb");
    row.set_install_state(package["Status"]);
    row.set_install_context("machine");
    const std::string files = "/var/lib/dpkg/info/" + name;
    row.set_install_time(machine.Modified(machine.Has(files + ".list")
                                              ? files + ".list"
                                              : files + ":" + package["Architecture"] + ".list"));
  }
}

void CollectDrivers(const Machine& machine, Collection& found) {
  const std::string modules = machine.Read("/proc/modules");
  if (modules.empty()) {
    return found.Skip("/proc/modules is not there: the kernel loads no modules");
  }
  found.Begin<profile::DriverInfo>();
  for (const std::string& line : Split(modules, "\n")) {
    const std::string name = line.substr(0, line.find(' '));
    auto& row = found.Add<profile::DriverInfo>();
    row.set_name(name);
    row.set_driver_inf(name + ".ko");
    row.set_install_path("/lib/modules/" + machine.Line("/proc/sys/kernel/osrelease"));
    row.set_version(machine.Line("/sys/module/" + name + "/version"));
    row.set_service_type("kernel module");
    const auto parts = Split(line, " ");
    if (parts.size() > 4) row.set_service_start_mode(parts[4]);  // Live, Loading or Unloading
  }
}

// The collectors of this file.
constexpr LinuxCollector kCollectors[] = {
    {"operating_system", CollectOperatingSystem},
    {"location", CollectLocation},
    {"applications", CollectApplications},
    {"drivers", CollectDrivers},
};

}  // namespace

std::span<const LinuxCollector> LinuxSoftware() { return kCollectors; }

}  // namespace ovix::agent
