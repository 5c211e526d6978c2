#include "uploader/payloads.h"

#include <google/protobuf/util/json_util.h>

#include <charconv>
#include <cstdio>
#include <functional>
#include <optional>
#include <set>

#include "ovix/telemetry/contract/storage/device_health/battery.pb.h"
#include "ovix/telemetry/contract/storage/device_profile/application.pb.h"
#include "ovix/telemetry/contract/storage/device_profile/device.pb.h"
#include "ovix/telemetry/contract/storage/device_profile/device_location.pb.h"
#include "ovix/telemetry/contract/storage/device_profile/device_profile_events.pb.h"
#include "ovix/telemetry/contract/storage/device_profile/fw_components.pb.h"
#include "ovix/telemetry/contract/storage/device_profile/hw_components.pb.h"
#include "ovix/telemetry/contract/storage/device_profile/hw_motherboard_slots.pb.h"
#include "ovix/telemetry/contract/storage/device_profile/operating_system.pb.h"
#include "ovix/telemetry/contract/upload/agent/tarvelAgentTelemetryStorageUsageAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/analytics/pcAppInventorySummaryAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/analytics/pcDriverInventorySummaryAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/device_profile/deviceInfoAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/device_profile/deviceLocationInfoAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/device_profile/fwComponentsInfoAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/device_profile/hwComponentsInfoAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/device_profile/identityAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/device_profile/operatingSystemAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/log/hardware/hwBatteryHealthLogAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/upload_options.pb.h"
#include "store/time.h"
#include "system/files.h"
#include "uploader/convert.h"

namespace ovix::agent {
namespace {

namespace storage = telemetry::contract::storage;
namespace upload = telemetry::contract::upload;
namespace record = storage::device_profile;
namespace profile = upload::device_profile;
using google::protobuf::Message;

// Of a table in one upload: what is read is held in memory.
constexpr size_t kMostRows = 10000;

// One run: what it reads, and what it has built so far.
class Builder {
 public:
  Builder(Store& store, const Catalogue& catalogue, Cursors& cursors,
          std::chrono::system_clock::time_point now, Built& built)
      : store_(store),
        catalogue_(catalogue),
        cursors_(cursors),
        now_(TimeText(now)),
        built_(built) {}

  const std::string& now() const { return now_; }
  Store& store() { return store_; }
  const Catalogue& catalogue() const { return catalogue_; }

  // The rows of a table; one that can no longer be read is a problem and skipped.
  template <typename Record>
  std::vector<Record> Read() {
    std::vector<Record> rows;
    store_.Read(
        Record::descriptor(),
        [&](const Message& row) { rows.push_back(static_cast<const Record&>(row)); },
        [&](const std::string& problem) { AddProblem(problem); });
    return rows;
  }

  // The rows of a "Historical" table that have not gone out yet, as they came. One that does not
  // read is never sent.
  template <typename Record>
  std::vector<Record> ReadNew() {
    const Table& table = catalogue_.Get(Record::descriptor());
    std::vector<Record> rows;
    const Cursor read = store_.ReadAfter(
        Record::descriptor(), cursors_.After(table), kMostRows,
        [&](const Message& row, const Cursor&) { rows.push_back(static_cast<const Record&>(row)); },
        [&](const std::string& problem) { AddProblem(problem); });
    // A database that is not there may come back.
    if (read != Cursor()) built_.read_up_to[&table] = read;
    return rows;
  }

  // The row of the latest time: what a table of one row per device has.
  template <typename Record>
  std::vector<Record> ReadLatest() {
    std::vector<Record> rows = Read<Record>();
    if (rows.size() > 1) {
      std::swap(rows[0],
                *std::max_element(rows.begin(), rows.end(), [](const auto& a, const auto& b) {
                  return a.time() < b.time();
                }));
      rows.resize(1);
    }
    return rows;
  }

  void Fill(const Message& row, Message* part, const Renamed& renamed = {}) {
    agent::Fill(row, renamed, *part, built_.notes);
  }

  // Adds an element to a list of the payload for each row of a table; returns how many.
  template <typename Record, typename Add>
  int64_t FillEach(const Add& add) {
    const auto rows = Read<Record>();
    for (const Record& row : rows) Fill(row, add());
    return static_cast<int64_t>(rows.size());
  }

  // Fills one part of the payload from a table of one row; returns 1, or 0 where there is none.
  template <typename Record, typename Mutable>
  int64_t FillLatest(const Mutable& part) {
    const auto rows = ReadLatest<Record>();
    for (const Record& row : rows) Fill(row, part());
    return static_cast<int64_t>(rows.size());
  }

  // A payload whose record has no row is not sent.
  template <typename Contract>
  void SendState(Contract payload, int64_t records, const std::string& part = "") {
    Send(std::move(payload), records, Contract::descriptor()->full_name() + part);
  }
  template <typename Contract>
  void SendEvents(Contract payload, int64_t records) {
    Send(std::move(payload), records, "");
  }

  void AddNote(const std::string& note) { built_.notes.push_back(note); }
  // What several payloads meet is said once.
  void AddProblem(const std::string& problem) {
    if (said_.insert(problem).second) built_.problems.push_back(problem);
  }

 private:
  template <typename Contract>
  void Send(Contract payload, int64_t records, const std::string& snapshot) {
    if (records == 0) return;
    payload.set_version(Contract::descriptor()->options().GetExtension(upload::cdm).version());
    built_.payloads.push_back({std::make_unique<Contract>(std::move(payload)), records, snapshot});
  }

  Store& store_;
  const Catalogue& catalogue_;
  Cursors& cursors_;
  const std::string now_;
  Built& built_;
  std::set<std::string> said_;
};

// A payload whose fields are those of one record.
template <typename Record, typename Contract>
void BuildFromLatest(Builder& builder) {
  Contract payload;
  const int64_t records = builder.FillLatest<Record>([&] { return &payload; });
  builder.SendState(std::move(payload), records);
}

void BuildFirmware(Builder& builder) {
  profile::FwComponentsInfoAsCDM p;
  int64_t records = 0;
  records += builder.FillLatest<record::FwBios>([&] { return p.mutable_bios(); });
  records += builder.FillLatest<record::FwSMBios>([&] { return p.mutable_smbios(); });
  records += builder.FillLatest<record::FwEmbeddedController>([&] { return p.mutable_ec(); });
  records += builder.FillLatest<record::FwAmdPsp>([&] { return p.mutable_amd_psp(); });
  records +=
      builder.FillLatest<record::FwCameraController>([&] { return p.mutable_camera_controller(); });
  records += builder.FillEach<record::FwStorageDrive>([&] { return p.add_storage_drives(); });
  builder.SendState(std::move(p), records);
}

void BuildHardware(Builder& builder) {
  profile::HwComponentsInfoAsCDM p;
  int64_t records = 0;
  records += builder.FillLatest<record::HwBaseBoard>([&] { return p.mutable_base_board(); });
  records += builder.FillEach<record::HwProcessor>([&] { return p.add_processors(); });
  records += builder.FillLatest<record::HwMemory>([&] { return p.mutable_memory(); });
  records += builder.FillEach<record::HwMemoryChip>(
      [&] { return p.mutable_memory()->add_memory_chips(); });
  records += builder.FillEach<record::HwStorageDrive>([&] { return p.add_storage_drives(); });
  records += builder.FillEach<record::HwBattery>([&] { return p.add_batteries(); });
  records += builder.FillEach<record::HwGraphicsCard>([&] { return p.add_graphics_cards(); });
  records += builder.FillEach<record::HwNetworkAdapter>([&] { return p.add_network_cards(); });
  records += builder.FillLatest<record::HwTrustedPlatformModule>([&] { return p.mutable_tpm(); });
  records +=
      builder.FillEach<record::HwMotherboardSlots>([&] { return p.add_hw_motherboard_slots(); });
  builder.SendState(std::move(p), records);
}

// The word for a change of an inventory; empty for a kind of change that has none.
std::string InventoryEvent(storage::StateEventType event) {
  switch (event) {
    case storage::STATE_EVENT_INSERT:
      return "install";
    case storage::STATE_EVENT_UPDATE:
      return "update";
    case storage::STATE_EVENT_DELETE:
      return "uninstall";
    default:
      return "";
  }
}

// What a summary covers.
struct Period {
  int64_t changes = 0;
  std::string begin;  // the time of its first change
};

// Calls `add` with the row and the word of each change that has not gone out yet: the row as it
// became, or as it was before it went.
template <typename Record, typename Log>
Period ForEachChange(Builder& builder,
                     const std::function<void(const Record&, const std::string&)>& add) {
  Period period;
  for (const Log& change : builder.ReadNew<Log>()) {
    const std::string event = InventoryEvent(change.event());
    const std::string place = Printable(builder.store().FileOf("DeviceProfileEvents")) +
                              ": database DeviceProfileEvents, table " + Log::descriptor()->name() +
                              ", time=" + Escaped(change.time());
    const bool is_delete = change.event() == storage::STATE_EVENT_DELETE;
    const std::string& state = is_delete ? change.previous_state() : change.current_state();
    if (is_delete && state.empty()) {
      builder.AddNote(place +
                      ": the row that was deleted could not be read, so which one it was is not "
                      "known; the change is left out");
      continue;
    }
    Record row;
    google::protobuf::util::JsonParseOptions options;
    options.ignore_unknown_fields = true;
    if (event.empty() || !google::protobuf::util::JsonStringToMessage(state, &row, options).ok()) {
      builder.AddProblem(place + ": the change cannot be read (event or state) and is left out");
      continue;
    }
    add(row, event);
    if (period.changes++ == 0 || change.time() < period.begin) period.begin = change.time();
  }
  return period;
}

// Text of KiB to megabytes, rounded up; nothing for text that is not a number.
void SetMegabytes(const std::string& kib, const std::function<void(uint32_t)>& set) {
  uint64_t size = 0;
  const auto result = std::from_chars(kib.data(), kib.data() + kib.size(), size);
  if (!kib.empty() && result.ec == std::errc() && result.ptr == kib.data() + kib.size() &&
      size / 1024 < std::numeric_limits<uint32_t>::max()) {
    set(static_cast<uint32_t>(size / 1024 + (size % 1024 != 0)));
  }
}

// Hours from one time in the form of TimeText to another, rounded up; nothing where the strings are
// no such times or the first is the later.
std::optional<uint32_t> HoursBetween(const std::string& from, const std::string& to) {
  const auto seconds = [](const std::string& text) -> std::optional<int64_t> {
    int year, hour, minute, second;
    unsigned month, day;
    if (std::sscanf(text.c_str(), "%4d-%2u-%2uT%2d:%2d:%2d", &year, &month, &day, &hour, &minute,
                    &second) != 6) {
      return std::nullopt;
    }
    const std::chrono::sys_days date(std::chrono::year(year) / month / day);
    return ((date.time_since_epoch().count() * int64_t{24} + hour) * 60 + minute) * 60 + second;
  };
  const auto begin = seconds(from);
  const auto end = seconds(to);
  if (!begin || !end || *begin > *end) return std::nullopt;
  return static_cast<uint32_t>((*end - *begin + 3599) / 3600);
}

template <typename Summary>
void SetPeriod(const Builder& builder, const Period& period, Summary& payload) {
  payload.set_aggregation_time(builder.now());
  payload.set_aggregation_level("upload");
  if (const auto hours = HoursBetween(period.begin, builder.now())) {
    payload.set_total_aggregation_hours(*hours);
  }
}

void BuildApplicationInventory(Builder& builder) {
  upload::analytics::PcAppInventorySummaryAsCDM payload;
  const Renamed renamed = {{"app_product_name", "name"},
                           {"app_publisher_name", "vendor"},
                           {"application_version", "version"},
                           {"application_vendor", "vendor"},
                           {"application_type", "type"}};
  const Period period = ForEachChange<record::Application, record::ApplicationEvents>(
      builder, [&](const record::Application& row, const std::string& event) {
        auto* entry = payload.mutable_app_inventory()->add_summary();
        builder.Fill(row, entry, renamed);
        entry->set_app_event(event);
        // Only the time that fits the event is sent.
        if (event != "install") entry->clear_install_time();
        if (event != "update") entry->clear_update_time();
        if (event != "uninstall") entry->clear_uninstall_time();
        SetMegabytes(row.size(), [&](uint32_t size) { entry->set_size_mb(size); });
      });
  SetPeriod(builder, period, payload);
  builder.SendEvents(std::move(payload), period.changes);
}

void BuildDriverInventory(Builder& builder) {
  upload::analytics::PcDriverInventorySummaryAsCDM payload;
  const Renamed renamed = {{"device_name", "name"},
                           {"driver_install_path", "install_path"},
                           {"driver_manufacturer", "manufacturer"},
                           {"driver_version", "version"},
                           {"driver_build_date", "build_date"},
                           {"driver_install_date", "install_date"},
                           {"driver_service_type", "service_type"},
                           {"driver_service_start_mode", "service_start_mode"},
                           {"device_class", "class"}};
  const Period period = ForEachChange<record::DriverInfo, record::DriverEvents>(
      builder, [&](const record::DriverInfo& row, const std::string& event) {
        auto* entry = payload.mutable_driver_inventory()->add_summary();
        builder.Fill(row, entry, renamed);
        entry->set_event_type(event);
      });
  SetPeriod(builder, period, payload);
  builder.SendEvents(std::move(payload), period.changes);
}

// The battery's status word: its flags at the bits that the battery gives them.
uint32_t StatusWord(const storage::device_health::BatteryStatus& status) {
  const std::pair<bool, int> flags[] = {
      {status.fully_discharged(), 4},
      {status.fully_charged(), 5},
      {status.discharging(), 6},
      {status.initialized(), 7},
      {status.remaining_time_alarm(), 8},
      {status.remaining_capacity_alarm(), 9},
      {status.reserved_10(), 10},
      {status.terminate_discharge_alarm(), 11},
      {status.over_temp_alarm(), 12},
      {status.reserved_13(), 13},
      {status.terminate_charge_alarm(), 14},
      {status.over_charged_alarm(), 15},
  };
  uint32_t word = 0;
  for (const auto& [is_set, bit] : flags) word |= static_cast<uint32_t>(is_set) << bit;
  return word;
}

// The names of the flags that are set, as the record has them.
std::string StatusText(const storage::device_health::BatteryStatus& status) {
  std::vector<const google::protobuf::FieldDescriptor*> fields;
  status.GetReflection()->ListFields(status, &fields);
  std::string text = status.error();
  for (const auto* field : fields) {
    if (field->cpp_type() != google::protobuf::FieldDescriptor::CPPTYPE_BOOL) continue;
    text += (text.empty() ? "" : ", ") + field->name();
  }
  return text;
}

void BuildBatteryHealth(Builder& builder) {
  const Renamed renamed = {{"battery_serial_number", "serial_number"},
                           {"battery_c_t_number", "ct_number"},
                           {"full_charge_capacity", "full_energy_capacity"},
                           {"full_charge_capacity_perc", "full_energy_capacity_perc"},
                           {"remaining_charge_capacity", "remaining_energy_capacity"},
                           {"remaining_charge_capacity_perc", "remaining_energy_capacity_perc"}};
  for (const auto& row : builder.ReadNew<storage::device_health::BatteryHealthLog>()) {
    upload::log::hardware::HwBatteryHealthLogAsCDM payload;
    builder.Fill(row, &payload, renamed);
    if (row.has_battery_status()) {
      payload.set_status_word(StatusWord(row.battery_status()));
      payload.set_status(StatusText(row.battery_status()));
    }
    builder.SendEvents(std::move(payload), 1);
  }
}

// How much the agent itself keeps: a payload for each table that is there.
void BuildStorageUsage(Builder& builder) {
  for (const Table& table : builder.catalogue().tables()) {
    std::optional<Store::Usage> usage;
    try {
      usage = builder.store().MeasureTable(table);
    } catch (const StoreError& unreadable) {
      builder.AddProblem(unreadable.what());
    }
    if (!usage.has_value()) continue;
    upload::agent::TarvelAgentTelemetryStorageUsageAsCDM payload;
    payload.set_database_path(PathText(builder.store().FileOf(table.database)));
    payload.set_database_name(table.database);
    payload.set_table_name(table.name);
    payload.set_table_rows(static_cast<uint32_t>(usage->rows));
    if (usage->bytes.has_value())
      payload.set_table_size_kb(static_cast<uint32_t>(*usage->bytes / 1024));
    if (usage->age_days.has_value()) payload.set_table_age_in_days(*usage->age_days);
    builder.SendState(std::move(payload), std::max<int64_t>(usage->rows, 1),
                      " of " + table.database + "." + table.name);
  }
}

struct Entry {
  const google::protobuf::Descriptor* (*payload)();
  void (*build)(Builder&);
};

// A new payload is a function and a line here; the tests of payloads and the list of
// docs/payloads.md take it from here.
constexpr Entry kPayloads[] = {
    {profile::IdentityAsCDM::descriptor, BuildFromLatest<record::Device, profile::IdentityAsCDM>},
    {profile::DeviceInfoAsCDM::descriptor,
     BuildFromLatest<record::Device, profile::DeviceInfoAsCDM>},
    {profile::DeviceLocationInfoAsCDM::descriptor,
     BuildFromLatest<record::DeviceLocation, profile::DeviceLocationInfoAsCDM>},
    {profile::OperatingSystemAsCDM::descriptor,
     BuildFromLatest<record::OperatingSystem, profile::OperatingSystemAsCDM>},
    {profile::FwComponentsInfoAsCDM::descriptor, BuildFirmware},
    {profile::HwComponentsInfoAsCDM::descriptor, BuildHardware},
    {upload::analytics::PcAppInventorySummaryAsCDM::descriptor, BuildApplicationInventory},
    {upload::analytics::PcDriverInventorySummaryAsCDM::descriptor, BuildDriverInventory},
    {upload::log::hardware::HwBatteryHealthLogAsCDM::descriptor, BuildBatteryHealth},
    {upload::agent::TarvelAgentTelemetryStorageUsageAsCDM::descriptor, BuildStorageUsage},
};

}  // namespace

std::vector<const google::protobuf::Descriptor*> BuiltPayloads() {
  std::vector<const google::protobuf::Descriptor*> payloads;
  for (const Entry& entry : kPayloads) payloads.push_back(entry.payload());
  return payloads;
}

Built BuildPayloads(Store& store, const Catalogue& catalogue, Cursors& cursors,
                    std::chrono::system_clock::time_point now) {
  Built built;
  const Store::Snapshot snapshot(store);
  Builder builder(store, catalogue, cursors, now, built);
  for (const Entry& entry : kPayloads) {
    try {
      entry.build(builder);
    } catch (const StoreError& error) {
      // A database that cannot be read takes its own payloads with it, and no others.
      builder.AddProblem(error.what());
    }
  }
  return built;
}

}  // namespace ovix::agent
