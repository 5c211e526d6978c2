#include "collectors/smbios_records.h"

#include <set>

#include "collectors/serials.h"
#include "ovix/telemetry/contract/storage/device_profile/fw_components.pb.h"
#include "ovix/telemetry/contract/storage/device_profile/hw_components.pb.h"
#include "ovix/telemetry/contract/storage/device_profile/hw_motherboard_slots.pb.h"

namespace ovix::agent {
namespace profile = telemetry::contract::storage::device_profile;

namespace {

constexpr uint8_t kSlot = 9;
constexpr uint8_t kMemoryArray = 16;
constexpr uint8_t kMemoryDevice = 17;

// The handles of the arrays that are not the system's memory, but video memory, flash or a cache.
std::set<uint16_t> OtherMemory(const SmbiosTable& table) {
  std::set<uint16_t> handles;
  for (const SmbiosStructure& structure : table.structures) {
    const uint8_t use = structure.Byte(0x05);
    if (structure.type() == kMemoryArray && use >= 4 && use <= 7)
      handles.insert(structure.handle());
  }
  return handles;
}

// The size of a module; 0 where it is not known.
uint32_t MegabytesOf(const SmbiosStructure& module) {
  const uint16_t size = module.Word(0x0c);
  if (size == 0xffff) return 0;
  if (size == 0x7fff) return module.Double(0x1c) & 0x7fffffff;  // too large for the first field
  return size & 0x8000 ? (size & 0x7fff) / 1024 : size;         // bit 15: in KB
}

}  // namespace

std::string ChassisName(uint32_t type) {
  switch (type) {
    case 0:
    case 1:  // other
    case 2:  // unknown
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

void AddMemory(const SmbiosTable& table, Collection& found) {
  if (!table.whole) {
    return found.Skip("the SMBIOS table is cut off: memory modules and slots stay as they were");
  }
  found.Begin<profile::HwMemory>();
  found.Begin<profile::HwMemoryChip>();
  found.Begin<profile::HwMotherboardSlots>();
  const std::set<uint16_t> other = OtherMemory(table);
  uint32_t total_slots = 0;
  std::vector<const SmbiosStructure*> modules;
  std::vector<Part> parts;
  for (const SmbiosStructure& structure : table.structures) {
    if (structure.type() == kMemoryArray && !other.contains(structure.handle())) {
      total_slots += structure.Word(0x0d);
    } else if (structure.type() == kMemoryDevice && structure.Word(0x0c) != 0 &&  // not empty
               !other.contains(structure.Word(0x04))) {
      const std::string bank = structure.Text(0x11);
      modules.push_back(&structure);
      parts.push_back(
          {structure.Text(0x18), bank + (bank.empty() ? "" : " ") + structure.Text(0x10)});
      if (parts.back().place.empty()) parts.back().place = "module";
    } else if (structure.type() == kSlot) {
      auto& slot = found.Add<profile::HwMotherboardSlots>();
      slot.set_sm_bios_bus_number(structure.Byte(0x0f));
      slot.set_slot_designation(structure.Text(0x04));
      const uint8_t usage = structure.Byte(0x07);
      slot.set_current_usage(usage == 3 ? "available" : usage == 4 ? "in use" : "unknown");
    }
  }
  if (total_slots != 0) found.Add<profile::HwMemory>().set_total_slots(total_slots);
  const std::vector<std::string> serials = DistinctSerials(parts);
  for (size_t i = 0; i < modules.size(); ++i) {
    const SmbiosStructure& module = *modules[i];
    auto& chip = found.Add<profile::HwMemoryChip>();
    chip.set_serial_number(serials[i]);
    chip.set_locator(module.Text(0x10));
    chip.set_bank_label(module.Text(0x11));
    chip.set_manufacturer(module.Text(0x17));
    chip.set_part_number(module.Text(0x1a));
    chip.set_form_factor(std::to_string(module.Byte(0x0e)));
    chip.set_type(module.Byte(0x12));
    chip.set_type_detail(module.Word(0x13));
    chip.set_capacity(MegabytesOf(module));
    chip.set_speed(module.Word(0x15));  // MT/s
    chip.set_rank(module.Byte(0x1b) & 0x0f);
    chip.set_total_width_bits(module.Word(0x08));
    chip.set_data_width_bits(module.Word(0x0a));
  }
}

void FillDevice(const SmbiosTable& table, profile::Device& device) {
  if (const SmbiosStructure* system = table.Find(1)) {
    device.set_manufacturer(system->Text(0x04));
    device.set_model(system->Text(0x05));
    device.set_serial_number(system->Text(0x07));
    device.set_bios_uuid(system->Uuid(0x08));
    device.set_product_id(system->Text(0x19));
    device.set_family(system->Text(0x1a));
  }
  if (const SmbiosStructure* board = table.Find(2)) device.set_base_board_id(board->Text(0x05));
  if (const SmbiosStructure* chassis = table.Find(3)) {
    device.set_device_type(ChassisName(chassis->Byte(0x05) & 0x7f));  // bit 7 is that of a lock
  }
}

void AddBaseBoard(const SmbiosTable& table, Collection& found) {
  found.Begin<profile::HwBaseBoard>();
  const SmbiosStructure* board = table.Find(2);
  if (board == nullptr) return;
  auto& row = found.Add<profile::HwBaseBoard>();
  row.set_manufacturer(board->Text(0x04));
  row.set_base_board_id(board->Text(0x05));
  row.set_base_board_version(board->Text(0x06));
  row.set_ct_number(board->Text(0x07));
}

void AddFirmware(const SmbiosTable& table, Collection& found) {
  const SmbiosStructure* firmware = table.Find(0);
  if (firmware == nullptr) return;
  auto& bios = found.Add<profile::FwBios>();
  const SmbiosStructure* system = table.Find(1);
  if (system != nullptr) bios.set_bios_uuid(system->Uuid(0x08));
  bios.set_vendor(firmware->Text(0x04));
  bios.set_fw_version(firmware->Text(0x05));
  bios.set_release_date(firmware->Text(0x08));
  // FF.FF says that the controller's firmware cannot be updated; 0.0 that the structure is too
  // short.
  const uint16_t controller = firmware->Word(0x16);
  if (controller != 0 && controller != 0xffff) {
    found.Add<profile::FwEmbeddedController>().set_fw_version(
        std::to_string(controller & 0xff) + "." + std::to_string(controller >> 8));
  }
}

}  // namespace ovix::agent
