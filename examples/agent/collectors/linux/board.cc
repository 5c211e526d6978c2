// What the firmware reports of the machine: identity, board, BIOS, memory and slots.
#include "collectors/linux/collectors.h"
#include "collectors/smbios_records.h"
#include "collectors/text.h"
#include "device_id.h"
#include "ovix/telemetry/contract/storage/device_profile/device.pb.h"
#include "ovix/telemetry/contract/storage/device_profile/fw_components.pb.h"
#include "ovix/telemetry/contract/storage/device_profile/hw_components.pb.h"

namespace ovix::agent {
namespace profile = telemetry::contract::storage::device_profile;

namespace {

constexpr char kDmi[] = "/sys/class/dmi/id/";

// Bits of Device.supported_sleep_states as this collector sets them: 1 s2idle, 2 S1, 4 S3, 8 S4.
int32_t SleepStates(const std::string& states) {
  int32_t bits = 0;
  for (const std::string& state : Split(states, " ")) {
    bits |= state == "freeze"    ? 1
            : state == "standby" ? 2
            : state == "mem"     ? 4
            : state == "disk"    ? 8
                                 : 0;
  }
  return bits;
}

void CollectDevice(const Machine& machine, Collection& found) {
  const auto id = DeviceId(machine.root());
  if (!id) return found.Skip("/etc/machine-id is not there or empty: no device");
  const auto dmi = [&](const char* name) { return machine.Line(kDmi + std::string(name)); };
  auto& row = found.Add<profile::Device>();
  row.set_device_unique_id(*id);
  row.set_device_name(machine.Line("/proc/sys/kernel/hostname"));
  row.set_supported_sleep_states(SleepStates(machine.Line("/sys/power/state")));
  if (!machine.Has(kDmi)) {
    return found.Skip(std::string(kDmi) + " is not there: no maker, model or board");
  }
  row.set_bios_uuid(dmi("product_uuid"));
  row.set_serial_number(dmi("product_serial"));
  row.set_product_id(dmi("product_sku"));
  row.set_manufacturer(dmi("sys_vendor"));
  row.set_model(dmi("product_name"));
  row.set_base_board_id(dmi("board_name"));
  row.set_family(dmi("product_family"));
  row.set_device_type(ChassisName(machine.Number(kDmi + std::string("chassis_type"))));

  found.Begin<profile::HwBaseBoard>();
  auto& board = found.Add<profile::HwBaseBoard>();
  board.set_ct_number(dmi("board_serial"));
  board.set_base_board_id(dmi("board_name"));
  board.set_manufacturer(dmi("board_vendor"));
  board.set_base_board_version(dmi("board_version"));
}

void CollectFirmware(const Machine& machine, Collection& found) {
  if (!machine.Has(kDmi)) {
    return found.Skip(std::string(kDmi) + " is not there: no firmware versions");
  }
  const auto dmi = [&](const char* name) { return machine.Line(kDmi + std::string(name)); };
  auto& bios = found.Add<profile::FwBios>();
  bios.set_bios_uuid(dmi("product_uuid"));
  bios.set_fw_version(dmi("bios_version"));
  bios.set_vendor(dmi("bios_vendor"));
  bios.set_release_date(dmi("bios_date"));
  if (const std::string controller = dmi("ec_firmware_release"); !controller.empty()) {
    found.Add<profile::FwEmbeddedController>().set_fw_version(controller);
  }
  // The 64-bit entry point of the table carries the version of SMBIOS in its bytes 7 and 8.
  const std::string entry = machine.Read("/sys/firmware/dmi/tables/smbios_entry_point");
  if (entry.starts_with("_SM3_") && entry.size() > 8) {
    found.Add<profile::FwSMBios>().set_fw_version(std::to_string(entry[7]) + "." +
                                                  std::to_string(entry[8]));
  }
}

void CollectMemory(const Machine& machine, Collection& found) {
  const std::string table = machine.Read("/sys/firmware/dmi/tables/DMI");
  if (table.empty()) {
    return found.Skip("/sys/firmware/dmi/tables/DMI cannot be read: no modules or slots");
  }
  AddMemory(ParseSmbios(table), found);
}

// The collectors of this file.
constexpr LinuxCollector kCollectors[] = {
    {"device", CollectDevice},
    {"firmware", CollectFirmware},
    {"memory", CollectMemory},
};

}  // namespace

std::span<const LinuxCollector> LinuxBoard() { return kCollectors; }

}  // namespace ovix::agent
