// The records that a table of SMBIOS structures fills, on any system.
#ifndef OVIX_AGENT_COLLECTORS_SMBIOS_RECORDS_H_
#define OVIX_AGENT_COLLECTORS_SMBIOS_RECORDS_H_

#include "collectors/collection.h"
#include "collectors/smbios.h"
#include "ovix/telemetry/contract/storage/device_profile/device.pb.h"

namespace ovix::agent {

// The kind of chassis that a PC comes in, by SMBIOS number; empty where the firmware does not say.
std::string ChassisName(uint32_t type);

// HwMemory, HwMemoryChip and HwMotherboardSlots. A table that is cut off says nothing of what is
// missing from it, so nothing of it is taken.
void AddMemory(const SmbiosTable& table, Collection& found);

// What the system and its chassis say of the device; its unique id is not among it.
void FillDevice(const SmbiosTable& table,
                telemetry::contract::storage::device_profile::Device& device);

// HwBaseBoard, where the table has one.
void AddBaseBoard(const SmbiosTable& table, Collection& found);

// FwBios and FwEmbeddedController, where the table has them.
void AddFirmware(const SmbiosTable& table, Collection& found);

}  // namespace ovix::agent

#endif  // OVIX_AGENT_COLLECTORS_SMBIOS_RECORDS_H_
