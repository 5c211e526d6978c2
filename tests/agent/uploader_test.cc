// Payloads one by one: what is built of which rows, and how their values are converted.
#include <gtest/gtest.h>

#include <limits>
#include <set>

#include "ovix/telemetry/contract/storage/cache.pb.h"
#include "ovix/telemetry/contract/storage/device_health/battery.pb.h"
#include "ovix/telemetry/contract/storage/device_health/storage.pb.h"
#include "ovix/telemetry/contract/storage/device_profile/application.pb.h"
#include "ovix/telemetry/contract/storage/device_profile/device.pb.h"
#include "ovix/telemetry/contract/storage/device_profile/graphics_cards.pb.h"
#include "ovix/telemetry/contract/storage/device_profile/hw_components.pb.h"
#include "ovix/telemetry/contract/storage/device_profile/operating_system.pb.h"
#include "ovix/telemetry/contract/upload/agent/tarvelAgentTelemetryStorageUsageAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/analytics/pcAppInventorySummaryAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/device_profile/deviceInfoAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/device_profile/hwComponentsInfoAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/device_profile/identityAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/device_profile/operatingSystemAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/graphics/pcGraphicCardsAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/log/hardware/hwBatteryHealthLogAsCDM.pb.h"
#include "store/time.h"
#include "support/folder.h"
#include "support/payloads.h"
#include "uploader/convert.h"

namespace ovix::tests {
namespace {

using agent::Built;
using agent::Store;
using google::protobuf::Message;
namespace storage = telemetry::contract::storage;
namespace upload = telemetry::contract::upload;
namespace record = storage::device_profile;

const std::chrono::system_clock::time_point kNow =
    std::chrono::sys_days(std::chrono::year(2026) / 11 / 21);

Store OpenStore(const Folder& folder) {
  return Store(folder / "store", Library(), {.clock = [] { return kNow; }});
}

template <typename Contract>
std::vector<const Contract*> Of(const Built& built) {
  std::vector<const Contract*> found;
  for (const auto& payload : built.payloads) {
    if (const auto* contract = dynamic_cast<const Contract*>(payload.message.get())) {
      found.push_back(contract);
    }
  }
  return found;
}

TEST(Payloads, TellTheChangesBeyondTheCursorAndNoOthers) {
  const Folder folder;
  auto clock = kNow - std::chrono::minutes(150);
  Store store(folder / "store", Library(), {.clock = [&] { return clock; }});
  record::Application application;
  application.set_name("a");
  application.set_install_time("i");
  application.set_update_time("u");
  application.set_uninstall_time("x");
  application.set_size("51201");
  store.Put(application);
  clock = kNow + std::chrono::hours(1);  // a clock that was ahead
  application.set_size("many");
  store.Put(application);
  store.Erase(application);

  const Built built = Build(store, kNow);
  const auto payloads = Of<upload::analytics::PcAppInventorySummaryAsCDM>(built);
  ASSERT_EQ(payloads.size(), 1U);
  const auto& entries = payloads[0]->app_inventory().summary();
  std::string told;
  for (const auto& e : entries) {
    told += e.app_product_name() + " " + e.app_event() + " " + e.install_time() + e.update_time() +
            e.uninstall_time() + (e.has_size_mb() ? " " + std::to_string(e.size_mb()) : "") + "; ";
  }
  EXPECT_EQ(told, "a install i 51; a update u; a uninstall x; ");
  EXPECT_EQ(payloads[0]->total_aggregation_hours(), 3U) << "since the first of them, rounded up";
  EXPECT_FALSE(built.read_up_to.contains(
      &Library().Get(storage::device_health::BatteryHealthLog::descriptor())))
      << "a database that is not there may come back";

  class AllSent : public agent::Cursors {
   public:
    explicit AllSent(const Built& built) : built_(built) {}
    agent::Cursor After(const agent::Table& table) override {
      const auto at = built_.read_up_to.find(&table);
      return at == built_.read_up_to.end() ? agent::Cursor() : at->second;
    }

   private:
    const Built& built_;
  } all_sent(built);
  EXPECT_TRUE(Of<upload::analytics::PcAppInventorySummaryAsCDM>(
                  agent::BuildPayloads(store, Library(), all_sent, kNow))
                  .empty());
}

TEST(Payloads, TellWhichRowWentThoughItNoLongerRead) {
  const Folder folder;
  Store store = OpenStore(folder);
  record::Application application;
  application.set_name("a");
  application.set_vendor("v");
  store.Put(application);
  agent::Connection(folder / "store/DeviceProfile.db", std::chrono::seconds(1))
      .Execute("UPDATE Application SET version = x'ff'");
  store.Replace(record::Application::descriptor(), {});
  const Built built = Build(store, kNow);
  EXPECT_TRUE(built.problems.empty() && built.notes.empty());
  const auto payloads = Of<upload::analytics::PcAppInventorySummaryAsCDM>(built);
  ASSERT_EQ(payloads.size(), 1U);
  const auto& entries = payloads[0]->app_inventory().summary();
  ASSERT_EQ(entries.size(), 2);
  EXPECT_EQ(entries[1].app_product_name() + " " + entries[1].app_event(), "a uninstall");
}

TEST(Payloads, GiveTheBatterysFlagsTheBitsOfItsStatusWord) {
  const Folder folder;
  Store store = OpenStore(folder);
  const auto* descriptor = storage::device_health::BatteryStatus::descriptor();
  const std::map<std::string, uint32_t> bits = {{"discharging", 6},
                                                {"fully_charged", 5},
                                                {"fully_discharged", 4},
                                                {"initialized", 7},
                                                {"remaining_time_alarm", 8},
                                                {"remaining_capacity_alarm", 9},
                                                {"reserved_10", 10},
                                                {"terminate_discharge_alarm", 11},
                                                {"over_temp_alarm", 12},
                                                {"reserved_13", 13},
                                                {"terminate_charge_alarm", 14},
                                                {"over_charged_alarm", 15}};
  for (const auto& [name, bit] : bits) {
    storage::device_health::BatteryHealthLog log;
    log.set_time(agent::TimeText(kNow));
    auto* status = log.mutable_battery_status();
    status->GetReflection()->SetBool(status, descriptor->FindFieldByName(name), true);
    store.Put(log);
  }
  const Built built = Build(store, kNow);
  const auto payloads = Of<upload::log::hardware::HwBatteryHealthLogAsCDM>(built);
  ASSERT_EQ(payloads.size(), bits.size());
  for (const auto* payload : payloads) {
    ASSERT_TRUE(bits.contains(payload->status())) << payload->status();
    EXPECT_EQ(payload->status_word(), 1U << bits.at(payload->status()));
  }
}

// --- Conversions

TEST(Payloads, TellTheLatestRowAndTheSizeInKilobytes) {
  const Folder folder;
  Store store(folder / "store", Library());
  for (const char* time :
       {"2026-11-20T00:00:00.000Z", "2026-11-21T00:00:00.000Z", "2026-11-19T00:00:00.000Z"}) {
    record::Device device;
    device.set_time(time);
    device.set_device_unique_id(time);
    device.set_device_name(time);
    store.Put(device);
  }
  std::vector<record::Application> applications(100);
  std::vector<const Message*> rows;
  for (auto& application : applications) {
    application.set_name("application " + std::to_string(rows.size()));
    application.set_install_folder(std::string(4000, 'x'));
    rows.push_back(&application);
  }
  store.Put(rows);
  const Built built = Build(store, kNow);
  const auto infos = Of<upload::device_profile::DeviceInfoAsCDM>(built);
  ASSERT_EQ(infos.size(), 1U);
  EXPECT_NE(infos[0]->ShortDebugString().find("2026-11-21"), std::string::npos);
  for (const auto* usage : Of<upload::agent::TarvelAgentTelemetryStorageUsageAsCDM>(built)) {
    if (!usage->has_table_size_kb()) continue;  // this SQLite does not know
    EXPECT_EQ(usage->table_size_kb() % 4, 0U) << "whole pages";
  }
}

TEST(Conversions, CarryWhatFitsAndLeaveTheRestAbsentAndSaid) {
  const int32_t ends[] = {0, 1, -1, std::numeric_limits<int32_t>::max(),
                          std::numeric_limits<int32_t>::min()};
  for (const int32_t value : ends) {
    record::Device device;
    device.set_supported_sleep_states(value);
    record::HwStorageDrive drive;
    drive.set_physical_index(value);
    std::vector<std::string> notes;
    upload::device_profile::DeviceInfoAsCDM payload;
    agent::Fill(device, {}, payload, notes);
    upload::device_profile::HwStorageDrive drive_told;
    agent::Fill(drive, {}, drive_told, notes);
    EXPECT_TRUE(payload.has_supported_sleep_states() && notes.empty());
    EXPECT_EQ(payload.supported_sleep_states(), static_cast<uint32_t>(value)) << "bits stay";
    EXPECT_EQ(drive_told.physical_index(), static_cast<uint32_t>(value));
  }

  std::vector<std::string> notes;
  record::OperatingSystem system;
  upload::device_profile::OperatingSystemAsCDM told;
  system.set_architecture(record::OS_ARCH_64_BITS);
  agent::Fill(system, {}, told, notes);
  EXPECT_EQ(told.architecture(), "OS_ARCH_64_BITS");
  EXPECT_FALSE(told.has_name()) << "an empty string is absent";
  EXPECT_TRUE(notes.empty());
  told.Clear();
  system.set_architecture(static_cast<record::OSArchitecture>(7));
  agent::Fill(system, {}, told, notes);
  EXPECT_FALSE(told.has_architecture());
  EXPECT_EQ(notes.size(), 1U);

  notes.clear();
  record::GraphicsCards card;
  card.set_bus_id(7);
  card.set_pcie_generation(-0.0F);
  card.set_is_multi_gpu_support(false);
  upload::graphics::PcGraphicCardsAsCDM_HwGraphicCard graphic;
  agent::Fill(card, {}, graphic, notes);
  EXPECT_EQ(graphic.bus_id(), "7");

  record::Device negative;
  negative.set_supported_sleep_states(-7);
  upload::device_profile::DeviceInfoAsCDM digits;
  agent::Fill(negative, {{"device_name", "supported_sleep_states"}}, digits, notes);
  EXPECT_EQ(digits.device_name(), "-7");

  // Between the integer types at their ends, by messages that have them.
  storage::device_health::StorageNVMEHealthLog wide;
  const std::pair<uint64_t, bool> counts[] = {
      {0, true}, {~uint32_t{0}, true}, {uint64_t{1} << 32, false}, {~uint64_t{0}, false}};
  for (const auto& [count, fits] : counts) {
    wide.set_power_cycle(count);
    storage::device_health::BatteryHealthLog narrow;
    notes.clear();
    agent::Fill(wide, {{"cycle_count", "power_cycle"}}, narrow, notes);
    EXPECT_EQ(notes.empty(), fits) << count;
    EXPECT_EQ(narrow.cycle_count(), fits ? count : 0);
  }
}

// --- Bad rows

TEST(Payloads, GoOutWithoutTheRowsAndDatabasesThatCannotBeRead) {
  const Folder folder;
  {
    Store store = OpenStore(folder);
    record::Device device;
    device.set_device_unique_id("sound");
    device.set_time("2");
    store.Put(device);
    device.set_device_unique_id("damaged");
    device.set_time("3");
    store.Put(device);
    storage::device_health::BatteryHealthLog log;
    log.set_time(agent::TimeText(kNow));
    store.Put(log);
    storage::CollectorCache cache;
    store.Put(cache);
  }
  agent::Connection(folder / "store/DeviceProfile.db", std::chrono::seconds(1))
      .Execute("UPDATE Device SET supported_sleep_states = 'x' WHERE device_unique_id = 'damaged'");
  agent::Connection(folder / "store/DeviceProfileEvents.db", std::chrono::seconds(1))
      .Execute(
          "CREATE TABLE ApplicationEvents (time TEXT, type TEXT, event INTEGER,"
          " previous_state TEXT, current_state TEXT);"
          "INSERT INTO ApplicationEvents VALUES ('2026-11-20T12:00:00.000Z', '', 1, '', '{');"
          "INSERT INTO ApplicationEvents VALUES ('2026-11-20T13:00:00.000Z', '', 3, '', '')");
  folder.Write("store/HealthLog.db", "this is not a database, though it is long enough");

  Store store = OpenStore(folder);
  const Built built = Build(store, kNow);
  ASSERT_EQ(Of<upload::device_profile::IdentityAsCDM>(built).size(), 1U);
  EXPECT_EQ(Of<upload::device_profile::IdentityAsCDM>(built)[0]->device_unique_id(), "sound");
  std::string all;
  for (const std::string& problem : built.problems) {
    EXPECT_EQ(problem.find('\n'), std::string::npos);
    EXPECT_EQ(all.find(problem), std::string::npos) << "is said twice: " << problem;
    all += problem + "\n";
  }
  std::set<std::string> measured;
  for (const auto* usage : Of<upload::agent::TarvelAgentTelemetryStorageUsageAsCDM>(built)) {
    measured.insert(usage->database_name());
  }
  EXPECT_EQ(measured, (std::set<std::string>{"Cache", "DeviceProfile", "DeviceProfileEvents"}));
  for (const char* part : {"database DeviceProfile, table Device, device_unique_id=damaged",
                           "database DeviceProfileEvents, table ApplicationEvents, time=2026-11-20",
                           "HealthLog.db: the database is damaged"}) {
    EXPECT_NE(all.find(part), std::string::npos) << part << " in:\n" << all;
  }
  // The store said so when it deleted a row that it could not read.
  EXPECT_EQ(all.find("time=2026-11-20T13"), std::string::npos) << all;
  ASSERT_EQ(built.notes.size(), 1U);
  EXPECT_NE(built.notes[0].find("time=2026-11-20T13:00:00.000Z: the row that was deleted"),
            std::string::npos)
      << built.notes[0];
}

}  // namespace
}  // namespace ovix::tests
