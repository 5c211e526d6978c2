// What the firmware tells of the machine: identity, board, BIOS, memory and slots.
#include "collectors/collectors.h"
#include "collectors/smbios.h"
#include "ovix/telemetry/contract/storage/device_profile/device.pb.h"
#include "ovix/telemetry/contract/storage/device_profile/fw_components.pb.h"
#include "ovix/telemetry/contract/storage/device_profile/hw_components.pb.h"
#include "ovix/telemetry/contract/storage/device_profile/hw_motherboard_slots.pb.h"

namespace ovix::agent {
namespace profile = telemetry::contract::storage::device_profile;

namespace {

constexpr char kDmi[] = "/sys/class/dmi/id/";

// The kinds of chassis that a PC comes in, by SMBIOS number.
std::string ChassisName(uint32_t type) {
  switch (type) {
    case 0:
      return "";
    case 3:
    case 4:
    case 6:
    case 7:
      return "desktop";
    case 8:
    case 9:
    case 10:
    case 14:
      return "notebook";
    case 13:
      return "all-in-one";
    case 30:
      return "tablet";
    case 31:
    case 32:
      return "convertible";
    default:
      return "chassis " + std::to_string(type);
  }
}

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

}  // namespace

void CollectDevice(const Machine& machine, Collection& found) {
  const std::string machine_id = machine.Line("/etc/machine-id");
  const std::string uuid = machine.Line(std::string(kDmi) + "product_uuid");
  if (machine_id.empty() && uuid.empty()) {
    return found.Skip("device", "neither /etc/machine-id nor the firmware's UUID can be read");
  }
  const auto dmi = [&](const char* name) { return machine.Line(kDmi + std::string(name)); };
  auto& row = found.Add<profile::Device>();
  row.set_device_unique_id(uuid.empty() ? machine_id : uuid);
  row.set_device_name(machine.Line("/proc/sys/kernel/hostname"));
  row.set_supported_sleep_states(SleepStates(machine.Line("/sys/power/state")));
  if (!machine.Has(kDmi)) {
    return found.Skip("device", std::string(kDmi) + " is not there: no maker, model or board");
  }
  row.set_bios_uuid(uuid);
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
    return found.Skip("firmware", std::string(kDmi) + " is not there: no firmware versions");
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
  const std::string entry = machine.Bytes("/sys/firmware/dmi/tables/smbios_entry_point");
  if (entry.starts_with("_SM3_") && entry.size() > 8) {
    found.Add<profile::FwSMBios>().set_fw_version(std::to_string(entry[7]) + "." +
                                                  std::to_string(entry[8]));
  }
}

void CollectMemory(const Machine& machine, Collection& found) {
  const std::string table = machine.Bytes("/sys/firmware/dmi/tables/DMI");
  if (table.empty()) {
    return found.Skip("memory", "/sys/firmware/dmi/tables/DMI cannot be read: no modules or slots");
  }
  found.Begin<profile::HwMemory>();
  found.Begin<profile::HwMemoryChip>();
  found.Begin<profile::HwMotherboardSlots>();
  uint32_t total_slots = 0;
  for (const SmbiosStructure& structure : ParseSmbios(table)) {
    if (structure.type() == 16) {  // physical memory array
      total_slots += structure.Word(0x0d);
    } else if (structure.type() == 17 && structure.Word(0x0c) != 0) {  // memory device, not empty
      auto& chip = found.Add<profile::HwMemoryChip>();
      chip.set_locator(structure.Text(0x10));
      chip.set_bank_label(structure.Text(0x11));
      const std::string serial = structure.Text(0x18);
      chip.set_serial_number(serial.empty() ? chip.locator() : serial);
      chip.set_manufacturer(structure.Text(0x17));
      chip.set_part_number(structure.Text(0x1a));
      chip.set_form_factor(std::to_string(structure.Byte(0x0e)));
      chip.set_type(structure.Byte(0x12));
      chip.set_type_detail(structure.Word(0x13));
      // In MB; 7fff says that the size, too large for it, stands further on. Bit 15 set means KB.
      const uint32_t size = structure.Word(0x0c);
      chip.set_capacity(size == 0x7fff  ? structure.Double(0x1c)
                        : size & 0x8000 ? (size & 0x7fff) / 1024
                                        : size);
      chip.set_speed(structure.Word(0x15));  // MT/s
      chip.set_rank(structure.Byte(0x1b) & 0x0f);
      chip.set_total_width_bits(structure.Word(0x08));
      chip.set_data_width_bits(structure.Word(0x0a));
    } else if (structure.type() == 9) {  // system slot
      auto& slot = found.Add<profile::HwMotherboardSlots>();
      slot.set_sm_bios_bus_number(structure.Byte(0x0f));
      slot.set_slot_designation(structure.Text(0x04));
      const uint8_t usage = structure.Byte(0x07);
      slot.set_current_usage(usage == 3 ? "available" : usage == 4 ? "in use" : "unknown");
    }
  }
  if (total_slots != 0) found.Add<profile::HwMemory>().set_total_slots(total_slots);
}

}  // namespace ovix::agent
