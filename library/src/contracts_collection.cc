#include "ovix/telemetry/contract/contracts_collection.h"

#include "ovix/telemetry/contract/storage/WinRT_cache.pb.h"
#include "ovix/telemetry/contract/storage/acm_cache.pb.h"
#include "ovix/telemetry/contract/storage/ai_cache.pb.h"
#include "ovix/telemetry/contract/storage/app_inv_cache.pb.h"
#include "ovix/telemetry/contract/storage/bat_usage_cache.pb.h"
#include "ovix/telemetry/contract/storage/bkc_cache.pb.h"
#include "ovix/telemetry/contract/storage/cache.pb.h"
#include "ovix/telemetry/contract/storage/db.pb.h"
#include "ovix/telemetry/contract/storage/dev_pos_cache.pb.h"
#include "ovix/telemetry/contract/storage/device_consent_cache.pb.h"
#include "ovix/telemetry/contract/storage/device_health/battery.pb.h"
#include "ovix/telemetry/contract/storage/device_health/boot.pb.h"
#include "ovix/telemetry/contract/storage/device_health/device_health_state.pb.h"
#include "ovix/telemetry/contract/storage/device_health/device_health_state_bga_cracks.pb.h"
#include "ovix/telemetry/contract/storage/device_health/device_health_state_bga_cracks_events.pb.h"
#include "ovix/telemetry/contract/storage/device_health/device_health_state_clock.pb.h"
#include "ovix/telemetry/contract/storage/device_health/device_health_state_clock_events.pb.h"
#include "ovix/telemetry/contract/storage/device_health/device_health_state_events.pb.h"
#include "ovix/telemetry/contract/storage/device_health/diags_updates_events.pb.h"
#include "ovix/telemetry/contract/storage/device_health/sleep_report.pb.h"
#include "ovix/telemetry/contract/storage/device_health/storage.pb.h"
#include "ovix/telemetry/contract/storage/device_performance/amd_pmf.pb.h"
#include "ovix/telemetry/contract/storage/device_performance/energy.pb.h"
#include "ovix/telemetry/contract/storage/device_performance/thermal.pb.h"
#include "ovix/telemetry/contract/storage/device_profile/AiModelLifeCycle.pb.h"
#include "ovix/telemetry/contract/storage/device_profile/application.pb.h"
#include "ovix/telemetry/contract/storage/device_profile/device.pb.h"
#include "ovix/telemetry/contract/storage/device_profile/device_location.pb.h"
#include "ovix/telemetry/contract/storage/device_profile/device_profile_events.pb.h"
#include "ovix/telemetry/contract/storage/device_profile/executable_file.pb.h"
#include "ovix/telemetry/contract/storage/device_profile/fw_components.pb.h"
#include "ovix/telemetry/contract/storage/device_profile/graphics_cards.pb.h"
#include "ovix/telemetry/contract/storage/device_profile/hw_components.pb.h"
#include "ovix/telemetry/contract/storage/device_profile/hw_motherboard_slots.pb.h"
#include "ovix/telemetry/contract/storage/device_profile/operating_system.pb.h"
#include "ovix/telemetry/contract/storage/device_profile/operating_system_settings.pb.h"
#include "ovix/telemetry/contract/storage/device_profile/peripheral.pb.h"
#include "ovix/telemetry/contract/storage/device_updates/windows_services_info.pb.h"
#include "ovix/telemetry/contract/storage/device_updates/windows_services_info_events.pb.h"
#include "ovix/telemetry/contract/storage/device_updates/windows_updates.pb.h"
#include "ovix/telemetry/contract/storage/device_updates/windows_updates_events.pb.h"
#include "ovix/telemetry/contract/storage/device_usage/battery_usage.pb.h"
#include "ovix/telemetry/contract/storage/device_usage/interaction.pb.h"
#include "ovix/telemetry/contract/storage/device_usage/windows_events_cache.pb.h"
#include "ovix/telemetry/contract/storage/device_usage/windows_srum.pb.h"
#include "ovix/telemetry/contract/storage/diags_cache.pb.h"
#include "ovix/telemetry/contract/storage/docking_station_cache.pb.h"
#include "ovix/telemetry/contract/storage/driver_sum_cache.pb.h"
#include "ovix/telemetry/contract/storage/iolo_cache.pb.h"
#include "ovix/telemetry/contract/storage/net_outage_cache.pb.h"
#include "ovix/telemetry/contract/storage/periph_sum_cache.pb.h"
#include "ovix/telemetry/contract/storage/port_usage_cache.pb.h"
#include "ovix/telemetry/contract/storage/sleep_report_cache.pb.h"
#include "ovix/telemetry/contract/storage/sleep_report_pcm_sample_data_cache.pb.h"
#include "ovix/telemetry/contract/storage/storage_options.pb.h"
#include "ovix/telemetry/contract/storage/win_evts_cache.pb.h"
#include "ovix/telemetry/contract/storage/wu_cache.pb.h"
#include "ovix/telemetry/contract/storage/wu_settings_cache.pb.h"

namespace ovix::telemetry::contract {
namespace {

using google::protobuf::Message;

// One default-constructed instance. The conversion to Message happens before the shared_ptr is
// made, so that all of them share one control-block type.
template <typename Contract>
std::shared_ptr<Message> Prototype() {
  return std::shared_ptr<Message>(static_cast<Message*>(new Contract()));
}

}  // namespace

// The files in the order of library/contracts.cmake, each with its classes in byte order of their
// names. A new contract adds its classes here.
//
// clang-format off
const std::vector<std::shared_ptr<Message>> ContractsCollection::_collection = {
    // storage/acm_cache.proto
    Prototype<storage::ACMCache>(),
    // storage/ai_cache.proto
    Prototype<storage::AICache>(),
    // storage/app_inv_cache.proto
    Prototype<storage::AppInvCache>(),
    // storage/bat_usage_cache.proto
    Prototype<storage::BatUsageCache>(),
    // storage/bkc_cache.proto
    Prototype<storage::BKCCache>(),
    // storage/cache.proto
    Prototype<storage::CollectorCache>(),
    // storage/db.proto
    Prototype<storage::Cache>(),
    Prototype<storage::DeviceHealthState>(),
    Prototype<storage::DeviceHealthStateEvents>(),
    Prototype<storage::DeviceProfile>(),
    Prototype<storage::DeviceProfileEvents>(),
    Prototype<storage::DeviceUpdateEvents>(),
    Prototype<storage::DeviceUsage>(),
    Prototype<storage::HealthLog>(),
    Prototype<storage::PerformanceSamples>(),
    Prototype<storage::WindowsEventsCache>(),
    // storage/device_consent_cache.proto
    Prototype<storage::DeviceConsentCache>(),
    // storage/device_health/battery.proto
    Prototype<storage::device_health::BatteryCellSwellProtectionLog>(),
    Prototype<storage::device_health::BatteryHealthLog>(),
    Prototype<storage::device_health::BatteryReportMetricsLog>(),
    Prototype<storage::device_health::BatteryStatus>(),
    // storage/device_health/boot.proto
    Prototype<storage::device_health::BootHealthLog>(),
    // storage/device_health/device_health_state.proto
    Prototype<storage::device_health::HwHealthState>(),
    Prototype<storage::device_health::PeripheralHealthState>(),
    // storage/device_health/device_health_state_bga_cracks.proto
    Prototype<storage::device_health::HwHealthStateBGACracks>(),
    // storage/device_health/device_health_state_bga_cracks_events.proto
    Prototype<storage::device_health::HwHealthStateBGACracksEvents>(),
    // storage/device_health/device_health_state_clock.proto
    Prototype<storage::device_health::HwHealthStateClock>(),
    // storage/device_health/device_health_state_clock_events.proto
    Prototype<storage::device_health::HwHealthStateClockEvents>(),
    // storage/device_health/device_health_state_events.proto
    Prototype<storage::device_health::HwHealthStateEvents>(),
    Prototype<storage::device_health::PeripheralHealthStateEvents>(),
    // storage/device_health/diags_updates_events.proto
    Prototype<storage::diags_events_updates::DiagsUpdatesEvents>(),
    // storage/device_health/sleep_report.proto
    Prototype<storage::device_health::SleepMetricsLog>(),
    // storage/device_health/storage.proto
    Prototype<storage::device_health::NVMEHealthCriticalWarning>(),
    Prototype<storage::device_health::NVMEHealthEnduranceCriticalWarning>(),
    Prototype<storage::device_health::StorageNVMEHealthLog>(),
    // storage/device_performance/amd_pmf.proto
    Prototype<storage::device_performance::AmdPmfSamples>(),
    Prototype<storage::device_performance::ApsDisplayInfo>(),
    // storage/device_performance/energy.proto
    Prototype<storage::device_performance::EnergyEMISamples>(),
    // storage/device_performance/thermal.proto
    Prototype<storage::device_performance::ThermalOVIXBiosSamples>(),
    // storage/device_profile/AiModelLifeCycle.proto
    Prototype<storage::device_profile::AiModelLifeCycle>(),
    // storage/device_profile/application.proto
    Prototype<storage::device_profile::Application>(),
    // storage/device_profile/device.proto
    Prototype<storage::device_profile::Device>(),
    Prototype<storage::device_profile::DriverInfo>(),
    // storage/device_profile/device_location.proto
    Prototype<storage::device_profile::DeviceLocation>(),
    // storage/device_profile/device_profile_events.proto
    Prototype<storage::device_profile::AiModelLifeCycleEvents>(),
    Prototype<storage::device_profile::ApplicationEvents>(),
    Prototype<storage::device_profile::DeviceEvents>(),
    Prototype<storage::device_profile::DeviceLocationEvents>(),
    Prototype<storage::device_profile::DriverEvents>(),
    Prototype<storage::device_profile::ExecutableFileInfoEvents>(),
    Prototype<storage::device_profile::FirmwareEvents>(),
    Prototype<storage::device_profile::GraphicsCardsEvents>(),
    Prototype<storage::device_profile::HardwareEvents>(),
    Prototype<storage::device_profile::OperatingSystemEvents>(),
    Prototype<storage::device_profile::OperatingSystemSettingsEvents>(),
    Prototype<storage::device_profile::PeripheralEvents>(),
    // storage/device_profile/executable_file.proto
    Prototype<storage::device_profile::ExecutableFileInfo>(),
    // storage/device_profile/fw_components.proto
    Prototype<storage::device_profile::FwAmdPsp>(),
    Prototype<storage::device_profile::FwBios>(),
    Prototype<storage::device_profile::FwCameraController>(),
    Prototype<storage::device_profile::FwEmbeddedController>(),
    Prototype<storage::device_profile::FwSMBios>(),
    Prototype<storage::device_profile::FwStorageDrive>(),
    // storage/device_profile/graphics_cards.proto
    Prototype<storage::device_profile::GraphicsCards>(),
    // storage/device_profile/hw_components.proto
    Prototype<storage::device_profile::HwBaseBoard>(),
    Prototype<storage::device_profile::HwBattery>(),
    Prototype<storage::device_profile::HwGraphicsCard>(),
    Prototype<storage::device_profile::HwMemory>(),
    Prototype<storage::device_profile::HwMemoryChip>(),
    Prototype<storage::device_profile::HwNetworkAdapter>(),
    Prototype<storage::device_profile::HwProcessor>(),
    Prototype<storage::device_profile::HwStorageDrive>(),
    Prototype<storage::device_profile::HwTrustedPlatformModule>(),
    // storage/device_profile/hw_motherboard_slots.proto
    Prototype<storage::device_profile::HwMotherboardSlots>(),
    // storage/device_profile/operating_system.proto
    Prototype<storage::device_profile::OperatingSystem>(),
    // storage/device_profile/operating_system_settings.proto
    Prototype<storage::device_profile::OperatingSystemSettings>(),
    Prototype<storage::device_profile::OperatingSystemSettings_PowerProfileSettings>(),
    Prototype<storage::device_profile::OperatingSystemSettings_PowerProfileSettings_PowerScheme>(),
    Prototype<storage::device_profile::OperatingSystemSettings_PowerProfileSettings_PowerScheme_PowerSubgroupScheme>(),
    Prototype<storage::device_profile::OperatingSystemSettings_PowerProfileSettings_PowerScheme_PowerSubgroupScheme_PowerSetting>(),
    Prototype<storage::device_profile::OperatingSystemSettings_UpdateSettings>(),
    // storage/device_profile/peripheral.proto
    Prototype<storage::device_profile::PeripheralDisplays>(),
    Prototype<storage::device_profile::PeripheralDockingStations>(),
    Prototype<storage::device_profile::PeripheralNetworkCards>(),
    Prototype<storage::device_profile::PeripheralOVIXDisplays>(),
    Prototype<storage::device_profile::Peripherals>(),
    // storage/device_updates/windows_services_info.proto
    Prototype<storage::device_updates::WindowsServicesInfo>(),
    // storage/device_updates/windows_services_info_events.proto
    Prototype<storage::device_updates::WindowsServicesEvents>(),
    // storage/device_updates/windows_updates.proto
    Prototype<storage::device_usage::device_updates::WindowsUpdates>(),
    // storage/device_updates/windows_updates_events.proto
    Prototype<storage::device_profile::WindowsUpdatesEvents>(),
    // storage/device_usage/battery_usage.proto
    Prototype<storage::device_usage::BatteryUsageEvent>(),
    // storage/device_usage/interaction.proto
    Prototype<storage::device_usage::PowerEvents>(),
    // storage/device_usage/windows_events_cache.proto
    Prototype<storage::device_usage::Events>(),
    // storage/device_usage/windows_srum.proto
    Prototype<storage::device_usage::SrumAppEnergyEstimation>(),
    // storage/dev_pos_cache.proto
    Prototype<storage::DevPosCache>(),
    // storage/diags_cache.proto
    Prototype<storage::DiagsCache>(),
    // storage/docking_station_cache.proto
    Prototype<storage::DockingStationCache>(),
    // storage/driver_sum_cache.proto
    Prototype<storage::DriversSumCache>(),
    // storage/iolo_cache.proto
    Prototype<storage::IoloCache>(),
    // storage/net_outage_cache.proto
    Prototype<storage::NetOutageCache>(),
    // storage/periph_sum_cache.proto
    Prototype<storage::PeripheralsSumCache>(),
    // storage/port_usage_cache.proto
    Prototype<storage::PortUsageCache>(),
    // storage/sleep_report_cache.proto
    Prototype<storage::SleepRepCache>(),
    // storage/sleep_report_pcm_sample_data_cache.proto
    Prototype<storage::SleepRepPCMSampleDataCache>(),
    // storage/storage_options.proto
    Prototype<storage::ColumnConstraints>(),
    Prototype<storage::ColumnFieldOptions>(),
    Prototype<storage::DatabaseOptions>(),
    Prototype<storage::PersistanceMessageOptions>(),
    Prototype<storage::TableOptions>(),
    // storage/WinRT_cache.proto
    Prototype<storage::WinRTCache>(),
    // storage/win_evts_cache.proto
    Prototype<storage::WinEventsCache>(),
    // storage/wu_cache.proto
    Prototype<storage::WUCache>(),
    // storage/wu_settings_cache.proto
    Prototype<storage::WUSettingsCache>(),
};
// clang-format on

ContractsCollection::ContractsCollection() : cursor_(_collection.data()) {}

ContractsCollection::ContractsCollection(const ContractsCollection& other) = default;

ContractsCollection& ContractsCollection::operator=(const ContractsCollection& other) = default;

ContractsCollection::~ContractsCollection() = default;

bool ContractsCollection::HasNext() const {
  return cursor_ != nullptr && cursor_ != _collection.data() + _collection.size();
}

const Message* ContractsCollection::Next() { return HasNext() ? (cursor_++)->get() : nullptr; }

void ContractsCollection::Restart() { cursor_ = _collection.data(); }

}  // namespace ovix::telemetry::contract
