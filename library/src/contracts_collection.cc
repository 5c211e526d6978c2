#include "ovix/telemetry/contract/contracts_collection.h"

#include "load_order.h"
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
#include "ovix/telemetry/contract/upload/agent/tarvelAgentAIAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/agent/tarvelAgentErrorAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/agent/tarvelAgentTelemetryStorageUsageAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/ai_pc/pcAIModelLifeCycleAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/ai_pc/pcAIModelsExecutionInfoAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/ai_pc/pcArtifactCatalogManagementAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/ai_pc/pcSettingsCommandFlowAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/analytics/pcAppInventorySummaryAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/analytics/pcDevicePositionSummaryAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/analytics/pcDriverInventorySummaryAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/analytics/pcHwBatteryUsageSummaryAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/analytics/pcPeripheralsInventorySummaryAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/analytics/pcTopAppsUsedSummaryAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/analytics/pcUsageSummaryAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/commercial/PcPowerConsumptionActivatedCarbonInfoAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/device_health/PcDeviceHealthEventAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/device_profile/ExecutableFileInfoAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/device_profile/PcDeviceConsentAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/device_profile/deviceInfoAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/device_profile/deviceLocationInfoAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/device_profile/fwComponentsInfoAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/device_profile/hwComponentsInfoAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/device_profile/identityAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/device_profile/operatingSystemAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/device_settings/PcFwSettingsAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/device_settings/PcOperatingSystemSettingsAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/device_updates/PcWindowsServicesInfoAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/device_updates/pcWindowsUpdatesEventAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/device_usage/PcApplicationUsageInfoAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/device_usage/PcCameraShutterUsageAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/device_usage/pcTouchScreenUsageAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/graphics/pcGraphicCardsAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/graphics/pcGraphicCardsSettingsAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/iolo/pcIoloScanResultsAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/log/PcLogPerformanceSamplesAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/log/PcToastNotificationsAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/log/PcWindowsSettingsAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/log/hardware/hwBatteryHealthLogAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/log/hardware/pcLogHwStorageHealthAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/log/pcLogOvixDiagsTestResultAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/log/pcLogSleepStateAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/log/pcLogWindowsBatteryReportAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/log/pcLogWindowsEventAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/peripherals/PcPeripheralDisplayAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/peripherals/PcPeripheralDockingStationAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/peripherals/PcPeripheralNetworkCardAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/peripherals/PcPeripheralPortUsageAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/upload_options.pb.h"
#include "ovix/telemetry/contract/upload/vorlan/BkcDeviceInfoAsCDM.pb.h"

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
OVIX_INIT_PROTOTYPES const std::vector<std::shared_ptr<Message>> ContractsCollection::_collection = {
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
    // upload/agent/tarvelAgentAIAsCDM.proto
    Prototype<upload::agent::TarvelAgentAIAsCDM>(),
    // upload/agent/tarvelAgentErrorAsCDM.proto
    Prototype<upload::agent::TarvelAgentErrorAsCDM>(),
    // upload/agent/tarvelAgentTelemetryStorageUsageAsCDM.proto
    Prototype<upload::agent::TarvelAgentTelemetryStorageUsageAsCDM>(),
    // upload/ai_pc/pcAIModelLifeCycleAsCDM.proto
    Prototype<upload::ai_pc::pcAIModelLifeCycleAsCDM>(),
    Prototype<upload::ai_pc::pcAIModelLifeCycleAsCDM_pcAIModelLifeCycle>(),
    // upload/ai_pc/pcAIModelsExecutionInfoAsCDM.proto
    Prototype<upload::ai_pc::AIModelExecutionInfo>(),
    Prototype<upload::ai_pc::pcAIModelsExecutionInfoAsCDM>(),
    // upload/ai_pc/pcArtifactCatalogManagementAsCDM.proto
    Prototype<upload::ai_pc::Artifact>(),
    Prototype<upload::ai_pc::pcArtifactCatalogManagementAsCDM>(),
    // upload/ai_pc/pcSettingsCommandFlowAsCDM.proto
    Prototype<::ovix::velmor::models::cdm::device::CommandExecutionDetails>(),
    Prototype<::ovix::velmor::models::cdm::device::CommandExecutionDetails_CommandsCreationSummary>(),
    Prototype<::ovix::velmor::models::cdm::device::CommandInfo>(),
    Prototype<::ovix::velmor::models::cdm::device::CommandUserInteractionDetails>(),
    Prototype<::ovix::velmor::models::cdm::device::FlowStep>(),
    Prototype<::ovix::velmor::models::cdm::device::FlowStep_StepDetails>(),
    Prototype<::ovix::velmor::models::cdm::device::FlowStep_StepOriginDetails>(),
    Prototype<::ovix::velmor::models::cdm::device::SettingsBluetoothEnabledUpdate>(),
    Prototype<::ovix::velmor::models::cdm::device::SettingsDisplayBrightnessGet>(),
    Prototype<::ovix::velmor::models::cdm::device::SettingsDisplayBrightnessUpdate>(),
    Prototype<::ovix::velmor::models::cdm::device::SettingsProcessPriorityUpdate>(),
    Prototype<::ovix::velmor::models::cdm::device::SettingsSmartChargeEnabledUpdate>(),
    Prototype<::ovix::velmor::models::cdm::device::SettingsSystemBatteryStatusGet>(),
    Prototype<::ovix::velmor::models::cdm::device::SettingsSystemMemoryGet>(),
    Prototype<::ovix::velmor::models::cdm::device::SettingsSystemPowerModeUpdate>(),
    Prototype<::ovix::velmor::models::cdm::device::SettingsSystemProcessDelete>(),
    Prototype<::ovix::velmor::models::cdm::device::StepCommand>(),
    Prototype<::ovix::velmor::models::cdm::device::StepTypeRecommendationDetails>(),
    Prototype<::ovix::velmor::models::cdm::device::pcSettingsCommandFlowAsCDM>(),
    // upload/analytics/pcAppInventorySummaryAsCDM.proto
    Prototype<upload::analytics::PcAppInventorySummaryAsCDM>(),
    Prototype<upload::analytics::PcAppInventorySummaryAsCDM_AppInventorySummary>(),
    Prototype<upload::analytics::PcAppInventorySummaryAsCDM_AppInventorySummary_AppInventoryEvent>(),
    // upload/analytics/pcDevicePositionSummaryAsCDM.proto
    Prototype<upload::analytics::PcDevicePositionSummaryAsCDM>(),
    Prototype<upload::analytics::PcDevicePositionSummaryAsCDM_PcDevicePositionSummary>(),
    Prototype<upload::analytics::PcDevicePositionSummaryAsCDM_PcDevicePositionSummary_DevicePositionHours>(),
    // upload/analytics/pcDriverInventorySummaryAsCDM.proto
    Prototype<upload::analytics::PcDriverInventorySummaryAsCDM>(),
    Prototype<upload::analytics::PcDriverInventorySummaryAsCDM_DriverInventorySummary>(),
    Prototype<upload::analytics::PcDriverInventorySummaryAsCDM_DriverInventorySummary_DriverSummary>(),
    // upload/analytics/pcHwBatteryUsageSummaryAsCDM.proto
    Prototype<upload::analytics::PcHwBatteryUsageSummaryAsCDM>(),
    Prototype<upload::analytics::PcHwBatteryUsageSummaryAsCDM_HwBatteryUsageSummary>(),
    Prototype<upload::analytics::PcHwBatteryUsageSummaryAsCDM_HwBatteryUsageSummary_HwBatteryUsageEvent>(),
    // upload/analytics/pcPeripheralsInventorySummaryAsCDM.proto
    Prototype<upload::analytics::PcPeripheralsInventorySummaryAsCDM>(),
    Prototype<upload::analytics::PcPeripheralsInventorySummaryAsCDM_PeripheralsInventorySummary>(),
    Prototype<upload::analytics::PcPeripheralsInventorySummaryAsCDM_PeripheralsInventorySummary_PeripheralSummary>(),
    // upload/analytics/pcTopAppsUsedSummaryAsCDM.proto
    Prototype<upload::analytics::PcTopAppsUsedSummaryAsCDM>(),
    Prototype<upload::analytics::PcTopAppsUsedSummaryAsCDM_TopAppsUsedSummary>(),
    Prototype<upload::analytics::PcTopAppsUsedSummaryAsCDM_TopAppsUsedSummary_AppUsedHours>(),
    // upload/analytics/pcUsageSummaryAsCDM.proto
    Prototype<upload::analytics::AppInventorySummary>(),
    Prototype<upload::analytics::AppInventorySummary_AppInventoryEvent>(),
    Prototype<upload::analytics::DevicePositionSummary>(),
    Prototype<upload::analytics::DevicePositionSummary_DevicePositionHours>(),
    Prototype<upload::analytics::DriverInventorySummary>(),
    Prototype<upload::analytics::DriverInventorySummary_DriverSummary>(),
    Prototype<upload::analytics::HwBatteryUsageSummary>(),
    Prototype<upload::analytics::HwBatteryUsageSummary_HwBatteryUsageEvent>(),
    Prototype<upload::analytics::PcUsageSummaryAsCDM>(),
    Prototype<upload::analytics::PcUsageSummaryAsCDM_SummariesModel>(),
    Prototype<upload::analytics::PeripheralsInventorySummary>(),
    Prototype<upload::analytics::PeripheralsInventorySummary_PeripheralSummary>(),
    Prototype<upload::analytics::TopAppsUsedSummary>(),
    Prototype<upload::analytics::TopAppsUsedSummary_AppUsedHours>(),
    // upload/commercial/PcPowerConsumptionActivatedCarbonInfoAsCDM.proto
    Prototype<upload::commercial::PcPowerConsumptionActivatedCarbonInfoAsCDM>(),
    // upload/device_health/PcDeviceHealthEventAsCDM.proto
    Prototype<upload::device_health::PcDeviceHealthEventAsCDM>(),
    Prototype<upload::device_health::PcDeviceHealthEventAsCDM_ApplicationCrashStatusInfo>(),
    Prototype<upload::device_health::PcDeviceHealthEventAsCDM_BootHealthStatus>(),
    Prototype<upload::device_health::PcDeviceHealthEventAsCDM_DriverCrashStatus>(),
    Prototype<upload::device_health::PcDeviceHealthEventAsCDM_GraphicCardStatus>(),
    Prototype<upload::device_health::PcDeviceHealthEventAsCDM_GraphicCardStatus_CardStatus>(),
    Prototype<upload::device_health::PcDeviceHealthEventAsCDM_HwMotherboardSlotStatus>(),
    Prototype<upload::device_health::PcDeviceHealthEventAsCDM_HwStorageDriveStatus>(),
    Prototype<upload::device_health::PcDeviceHealthEventAsCDM_HwStorageNvmeDriveStatus>(),
    Prototype<upload::device_health::PcDeviceHealthEventAsCDM_LastSyncStatus>(),
    Prototype<upload::device_health::PcDeviceHealthEventAsCDM_NetworkErrorSystem>(),
    Prototype<upload::device_health::PcDeviceHealthEventAsCDM_NetworkErrorWLan>(),
    Prototype<upload::device_health::PcDeviceHealthEventAsCDM_NetworkErrorWired>(),
    Prototype<upload::device_health::PcDeviceHealthEventAsCDM_NetworkOutage>(),
    Prototype<upload::device_health::PcDeviceHealthEventAsCDM_PeripheralDisplayStatus>(),
    Prototype<upload::device_health::PcDeviceHealthEventAsCDM_PeripheralDockingStationStatus>(),
    Prototype<upload::device_health::PcDeviceHealthEventAsCDM_PeripheralStatus>(),
    Prototype<upload::device_health::PcDeviceHealthEventAsCDM_SleepHealthStatus>(),
    Prototype<upload::device_health::PcDeviceHealthEventAsCDM_SleepHealthStatus_PowerRequest>(),
    Prototype<upload::device_health::PcDeviceHealthEventAsCDM_SleepHealthStatus_SleepIntervals>(),
    Prototype<upload::device_health::PcDeviceHealthEventAsCDM_StorageSelfTest>(),
    Prototype<upload::device_health::PcDeviceHealthEventAsCDM_StorageSelfTest_SegmentData>(),
    Prototype<upload::device_health::PcDeviceHealthEventAsCDM_W32TimeServiceStatus>(),
    Prototype<upload::device_health::PcDeviceHealthEventAsCDM_WindowsDefenderStatus>(),
    Prototype<upload::device_health::PcDeviceHealthEventAsCDM_WindowsPerformanceStatus>(),
    Prototype<upload::device_health::PcDeviceHealthEventAsCDM_WindowsPerformanceStatus_WindowsPerformanceResourceConstrained>(),
    Prototype<upload::device_health::PcDeviceHealthEventAsCDM_WindowsPerformanceStatus_WindowsPerformanceResumeStandby>(),
    Prototype<upload::device_health::PcDeviceHealthEventAsCDM_WindowsPerformanceStatus_WindowsPerformanceShutDown>(),
    Prototype<upload::device_health::PcDeviceHealthEventAsCDM_WindowsPerformanceStatus_WindowsPerformanceStartUp>(),
    Prototype<upload::device_health::PcDeviceHealthEventAsCDM_WindowsPerformanceStatus_WindowsPerformanceSystemSlowDown>(),
    Prototype<upload::device_health::PcDeviceHealthEventAsCDM_bgaCracksInfo>(),
    Prototype<upload::device_health::PcDeviceHealthEventAsCDM_bgaCracksInfo_bgaCrackEventsInfo>(),
    // upload/device_profile/deviceInfoAsCDM.proto
    Prototype<upload::device_profile::DeviceInfoAsCDM>(),
    // upload/device_profile/deviceLocationInfoAsCDM.proto
    Prototype<upload::device_profile::DeviceLocationInfoAsCDM>(),
    // upload/device_profile/ExecutableFileInfoAsCDM.proto
    Prototype<upload::device_profile::ExecutableFileInfoAsCDM>(),
    // upload/device_profile/fwComponentsInfoAsCDM.proto
    Prototype<upload::device_profile::FwAmdPsp>(),
    Prototype<upload::device_profile::FwBios>(),
    Prototype<upload::device_profile::FwCameraController>(),
    Prototype<upload::device_profile::FwComponentsInfoAsCDM>(),
    Prototype<upload::device_profile::FwEmbeddedController>(),
    Prototype<upload::device_profile::FwSMBios>(),
    Prototype<upload::device_profile::FwStorageDrive>(),
    // upload/device_profile/hwComponentsInfoAsCDM.proto
    Prototype<upload::device_profile::HwBaseBoard>(),
    Prototype<upload::device_profile::HwBattery>(),
    Prototype<upload::device_profile::HwComponentsInfoAsCDM>(),
    Prototype<upload::device_profile::HwGraphicsCard>(),
    Prototype<upload::device_profile::HwMemory>(),
    Prototype<upload::device_profile::HwMemoryChip>(),
    Prototype<upload::device_profile::HwMotherboardSlot>(),
    Prototype<upload::device_profile::HwNetworkAdapter>(),
    Prototype<upload::device_profile::HwProcessor>(),
    Prototype<upload::device_profile::HwStorageDrive>(),
    Prototype<upload::device_profile::HwTrustedPlatformModule>(),
    // upload/device_profile/identityAsCDM.proto
    Prototype<upload::device_profile::DeviceRefInfo>(),
    Prototype<upload::device_profile::IdentityAsCDM>(),
    // upload/device_profile/operatingSystemAsCDM.proto
    Prototype<upload::device_profile::OperatingSystemAsCDM>(),
    // upload/device_profile/PcDeviceConsentAsCDM.proto
    Prototype<upload::device_profile::PcDeviceConsentAsCDM>(),
    Prototype<upload::device_profile::PcDeviceConsentAsCDM_DeviceConsentInfo>(),
    // upload/device_settings/PcFwSettingsAsCDM.proto
    Prototype<upload::device_settings::PcFwSettingsAsCDM>(),
    Prototype<upload::device_settings::PcFwSettingsAsCDM_OvixBios>(),
    // upload/device_settings/PcOperatingSystemSettingsAsCDM.proto
    Prototype<upload::device_settings::PcOperatingSystemSettingsAsCDM>(),
    Prototype<upload::device_settings::PcOperatingSystemSettingsAsCDM_PowerProfileSettings>(),
    Prototype<upload::device_settings::PcOperatingSystemSettingsAsCDM_PowerProfileSettings_PowerScheme>(),
    Prototype<upload::device_settings::PcOperatingSystemSettingsAsCDM_PowerProfileSettings_PowerScheme_PowerSubgroupScheme>(),
    Prototype<upload::device_settings::PcOperatingSystemSettingsAsCDM_PowerProfileSettings_PowerScheme_PowerSubgroupScheme_PowerSetting>(),
    Prototype<upload::device_settings::PcOperatingSystemSettingsAsCDM_UpdateSettings>(),
    // upload/device_updates/PcWindowsServicesInfoAsCDM.proto
    Prototype<upload::device_updates::PcWindowsServicesInfoAsCDM>(),
    Prototype<upload::device_updates::PcWindowsServicesInfoAsCDM_WindowsServicesInfo>(),
    // upload/device_updates/pcWindowsUpdatesEventAsCDM.proto
    Prototype<upload::device_updates::PcWindowsUpdatesEventAsCDM>(),
    Prototype<upload::device_updates::PcWindowsUpdatesEventAsCDM_WindowsUpdatesEvent>(),
    // upload/device_usage/PcApplicationUsageInfoAsCDM.proto
    Prototype<upload::device_usage::ApplicationUsageInfo>(),
    Prototype<upload::device_usage::ApplicationUsageInfo_ProcessorUsageInfo>(),
    Prototype<upload::device_usage::PcApplicationUsageInfoAsCDM>(),
    // upload/device_usage/PcCameraShutterUsageAsCDM.proto
    Prototype<upload::device_usage::PcCameraShutterUsageAsCDM>(),
    Prototype<upload::device_usage::PcCameraShutterUsageAsCDM_PcCameraShutterUsage>(),
    // upload/device_usage/pcTouchScreenUsageAsCDM.proto
    Prototype<upload::device_usage::pcTouchScreenUsageAsCDM>(),
    Prototype<upload::device_usage::pcTouchScreenUsageAsCDM_TouchScreenMetrics>(),
    // upload/graphics/pcGraphicCardsAsCDM.proto
    Prototype<upload::graphics::PcGraphicCardsAsCDM>(),
    Prototype<upload::graphics::PcGraphicCardsAsCDM_HwGraphicCard>(),
    Prototype<upload::graphics::PcGraphicCardsAsCDM_HwGraphicCard_GraphicsDriver>(),
    Prototype<upload::graphics::PcGraphicCardsAsCDM_HwGraphicCard_GraphicsFw>(),
    // upload/graphics/pcGraphicCardsSettingsAsCDM.proto
    Prototype<upload::graphics::PcGraphicCardsSettingsAsCDM>(),
    Prototype<upload::graphics::PcGraphicCardsSettingsAsCDM_GraphicCardsSettings>(),
    // upload/iolo/pcIoloScanResultsAsCDM.proto
    Prototype<upload::iolo::CommonFields>(),
    Prototype<upload::iolo::pcIoloScanResultsAsCDM>(),
    Prototype<upload::iolo::pcIoloScanResultsAsCDM_pcIoloScanResults>(),
    Prototype<upload::iolo::pcIoloScanResultsAsCDM_pcIoloScanResults_ToolsInfo>(),
    Prototype<upload::iolo::pcIoloScanResultsAsCDM_pcIoloScanResults_ToolsInfo_InternetDataCleaner>(),
    Prototype<upload::iolo::pcIoloScanResultsAsCDM_pcIoloScanResults_ToolsInfo_MemoryDefragmenter>(),
    Prototype<upload::iolo::pcIoloScanResultsAsCDM_pcIoloScanResults_ToolsInfo_RegistryTuner>(),
    Prototype<upload::iolo::pcIoloScanResultsAsCDM_pcIoloScanResults_ToolsInfo_RepairConnection>(),
    Prototype<upload::iolo::pcIoloScanResultsAsCDM_pcIoloScanResults_ToolsInfo_WindowsDataCleaner>(),
    // upload/log/hardware/hwBatteryHealthLogAsCDM.proto
    Prototype<upload::log::hardware::HwBatteryHealthLogAsCDM>(),
    // upload/log/hardware/pcLogHwStorageHealthAsCDM.proto
    Prototype<upload::log::hardware::PcLogHwStorageHealthAsCDM>(),
    Prototype<upload::log::hardware::PcLogHwStorageHealthAsCDM_NvmeDriveHealthLog>(),
    Prototype<upload::log::hardware::PcLogHwStorageHealthAsCDM_SataDriveHealthLog>(),
    // upload/log/pcLogOvixDiagsTestResultAsCDM.proto
    Prototype<upload::log::PcLogOvixDiagsTestResultAsCDM>(),
    // upload/log/PcLogPerformanceSamplesAsCDM.proto
    Prototype<upload::log::PcLogPerformanceSamplesAsCDM>(),
    Prototype<upload::log::PcLogPerformanceSamplesAsCDM_HwInfo>(),
    Prototype<upload::log::PcLogPerformanceSamplesAsCDM_HwInfo_BatteryInfo>(),
    Prototype<upload::log::PcLogPerformanceSamplesAsCDM_HwInfo_CpuInfo>(),
    Prototype<upload::log::PcLogPerformanceSamplesAsCDM_HwInfo_DeviceStateInfo>(),
    Prototype<upload::log::PcLogPerformanceSamplesAsCDM_HwInfo_Fans>(),
    Prototype<upload::log::PcLogPerformanceSamplesAsCDM_HwInfo_Fans_FanStatistics>(),
    Prototype<upload::log::PcLogPerformanceSamplesAsCDM_HwInfo_GraphicsCardInfo>(),
    Prototype<upload::log::PcLogPerformanceSamplesAsCDM_HwInfo_Network>(),
    Prototype<upload::log::PcLogPerformanceSamplesAsCDM_HwInfo_Network_Interfaces>(),
    Prototype<upload::log::PcLogPerformanceSamplesAsCDM_HwInfo_Network_Interfaces_WLanProfiles>(),
    Prototype<upload::log::PcLogPerformanceSamplesAsCDM_HwInfo_Network_TcpIPV4Stats>(),
    Prototype<upload::log::PcLogPerformanceSamplesAsCDM_HwInfo_Network_TcpIPV6Stats>(),
    Prototype<upload::log::PcLogPerformanceSamplesAsCDM_HwInfo_NpuInfo>(),
    Prototype<upload::log::PcLogPerformanceSamplesAsCDM_HwInfo_StorageDriveInfo>(),
    Prototype<upload::log::PcLogPerformanceSamplesAsCDM_HwInfo_SystemBoardInfo>(),
    Prototype<upload::log::PcLogPerformanceSamplesAsCDM_HwInfo_SystemBoardInfo_Error>(),
    Prototype<upload::log::PcLogPerformanceSamplesAsCDM_HwInfo_SystemMemoryInfo>(),
    Prototype<upload::log::PcLogPerformanceSamplesAsCDM_OperatingSystemInfo>(),
    Prototype<upload::log::PcLogPerformanceSamplesAsCDM_OperatingSystemInfo_OperatingSystemProcessInfo>(),
    Prototype<upload::log::PcLogPerformanceSamplesAsCDM_OperatingSystemInfo_OperatingSystemSession>(),
    Prototype<upload::log::PcLogPerformanceSamplesAsCDM_SwInfo>(),
    Prototype<upload::log::PcLogPerformanceSamplesAsCDM_SwInfo_SwNetworkInfo>(),
    Prototype<upload::log::PcLogPerformanceSamplesAsCDM_SwInfo_SwProcessorInfo>(),
    Prototype<upload::log::PowerSensor>(),
    Prototype<upload::log::ProcessResourceUtilizationInfo>(),
    Prototype<upload::log::TemperatureSensor>(),
    // upload/log/pcLogSleepStateAsCDM.proto
    Prototype<upload::log::PcLogSleepStateAsCDM>(),
    Prototype<upload::log::PcLogSleepStateAsCDM_LogSleepStateReport>(),
    Prototype<upload::log::PcLogSleepStateAsCDM_LogSleepStateReport_SrumData>(),
    Prototype<upload::log::PcLogSleepStateAsCDM_LogSleepStateReport_SrumData_EnergyMeterData>(),
    Prototype<upload::log::PcLogSleepStateAsCDM_LogSleepStateReport_SrumData_PowerEstimationData>(),
    Prototype<upload::log::PcLogSleepStateAsCDM_LogSleepStateReport_TopBlocker>(),
    // upload/log/pcLogWindowsBatteryReportAsCDM.proto
    Prototype<upload::log::PcLogWindowsBatteryReportAsCDM>(),
    // upload/log/pcLogWindowsEventAsCDM.proto
    Prototype<upload::log::PcLogWindowsEventAsCDM>(),
    // upload/log/PcToastNotificationsAsCDM.proto
    Prototype<upload::log::PcToastNotificationsAsCDM>(),
    Prototype<upload::log::PcToastNotificationsAsCDM_PcToastNotification>(),
    Prototype<upload::log::PcToastNotificationsAsCDM_PcToastNotification_ToastNotificationAction>(),
    // upload/log/PcWindowsSettingsAsCDM.proto
    Prototype<upload::log::PcWindowsSettingsAsCDM>(),
    // upload/vorlan/BkcDeviceInfoAsCDM.proto
    Prototype<upload::vorlan::BkcDeviceInfoAsCDM>(),
    // upload/peripherals/PcPeripheralDisplayAsCDM.proto
    Prototype<upload::peripherals::ExtendedDisplayIdInfo>(),
    Prototype<upload::peripherals::OvixDisplayInfo>(),
    Prototype<upload::peripherals::PcPeripheralDisplayAsCDM>(),
    Prototype<upload::peripherals::PcPeripheralDisplayAsCDM_PeripheralDisplay>(),
    Prototype<upload::peripherals::WmiDesktopMonitorInfo>(),
    Prototype<upload::peripherals::WmiMonitorConnectionParamsInfo>(),
    Prototype<upload::peripherals::WmiMonitorDataInfo>(),
    // upload/peripherals/PcPeripheralDockingStationAsCDM.proto
    Prototype<upload::peripherals::PcPeripheralDockingStationAsCDM>(),
    Prototype<upload::peripherals::PcPeripheralDockingStationAsCDM_DockingStation>(),
    // upload/peripherals/PcPeripheralNetworkCardAsCDM.proto
    Prototype<upload::peripherals::PcPeripheralNetworkCardAsCDM>(),
    Prototype<upload::peripherals::PcPeripheralNetworkCardAsCDM_NetworkCard>(),
    // upload/peripherals/PcPeripheralPortUsageAsCDM.proto
    Prototype<upload::peripherals::PcPeripheralPortUsageAsCDM>(),
    // upload/upload_options.proto
    Prototype<upload::cdmMessageOptions>(),
};
// clang-format on

ContractsCollection::ContractsCollection() noexcept : cursor_(_collection.data()) {}

ContractsCollection::ContractsCollection(const ContractsCollection& other) noexcept = default;

ContractsCollection& ContractsCollection::operator=(const ContractsCollection& other) noexcept =
    default;

ContractsCollection::~ContractsCollection() = default;

bool ContractsCollection::HasNext() const noexcept {
  return cursor_ != nullptr && cursor_ != _collection.data() + _collection.size();
}

const Message* ContractsCollection::Next() noexcept {
  return HasNext() ? (cursor_++)->get() : nullptr;
}

void ContractsCollection::Restart() noexcept { cursor_ = _collection.data(); }

}  // namespace ovix::telemetry::contract
