#include "store/store.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <thread>

#include "ovix/telemetry/contract/storage/device_health/battery.pb.h"
#include "ovix/telemetry/contract/storage/device_profile/application.pb.h"
#include "ovix/telemetry/contract/storage/device_profile/device_profile_events.pb.h"
#include "ovix/telemetry/contract/storage/device_profile/hw_components.pb.h"
#include "ovix/telemetry/contract/storage/device_updates/windows_updates.pb.h"
#include "ovix/telemetry/contract/storage/device_updates/windows_updates_events.pb.h"
#include "ovix/telemetry/contract/storage/device_usage/windows_events_cache.pb.h"
#include "store/json.h"
#include "store/time.h"
#include "store_test.pb.h"
#include "support/contracts.h"
#include "support/folder.h"
#include "support/store.h"

namespace ovix::tests {
namespace {

using agent::Catalogue;
using agent::Changes;
using agent::Store;
using agent::StoreError;
using agent::Table;
using google::protobuf::Message;
namespace storage = telemetry::contract::storage;
namespace profile = storage::device_profile;

// --- Every table of the library

class StoreOfEveryTable : public testing::TestWithParam<const Message*> {};

std::vector<const Message*> TablePrototypes() {
  std::vector<const Message*> prototypes;
  for (const Table& table : Library().tables()) {
    prototypes.push_back(
        google::protobuf::MessageFactory::generated_factory()->GetPrototype(table.record));
  };
  return prototypes;
}

INSTANTIATE_TEST_SUITE_P(Table, StoreOfEveryTable, testing::ValuesIn(TablePrototypes()),
                         [](const auto& info) { return TestName(*info.param); });

TEST_P(StoreOfEveryTable, GivesBackWhatWasPut) {
  const Folder folder;
  std::vector<std::string> put;
  {
    Store store(folder.path(), Library(), Options());
    for (int i = 0; i < 4; ++i) {
      const std::unique_ptr<Message> record(GetParam()->New());
      // Empty, filled twice over and extreme; all of them with keys of their own.
      if (i == 1 || i == 2) FillAll(record.get(), i);
      if (i == 3) {
        FillExtremes(record.get());
        const std::unique_ptr<Message> keys(GetParam()->New());
        FillAll(keys.get(), i);
        for (const agent::Column& column : Library().Get(GetParam()->GetDescriptor()).key) {
          record->GetReflection()->SwapFields(record.get(), keys.get(), {column.field});
        }
      }
      store.Put(*record);
      put.push_back(record->SerializeAsString());
    }
  }
  Store store(folder.path(), Library(), Options());
  std::vector<std::string> got;
  for (const auto& row : Rows(store, GetParam()->GetDescriptor())) {
    got.push_back(row->SerializeAsString());
  }
  std::sort(put.begin(), put.end());
  std::sort(got.begin(), got.end());
  EXPECT_EQ(got, put);
}

// --- Values

template <typename Float, typename Bits>
Float FromBits(Bits bits) {
  Float value;
  std::memcpy(&value, &bits, sizeof value);
  return value;
}

TEST(StoreValues, AllComeBackTheSame) {
  const std::string nul("a\0b", 3);
  const std::vector<std::pair<const char*, std::function<void(Everything&)>>> cases = {
      {"nothing set", [](Everything&) {}},
      {"largest uint64", [](Everything& e) { e.set_uint64(~uint64_t{0}); }},
      {"2^63 as uint64", [](Everything& e) { e.set_fixed64(uint64_t{1} << 63); }},
      {"smallest int64", [](Everything& e) { e.set_int64(std::numeric_limits<int64_t>::min()); }},
      {"zigzag", [](Everything& e) { e.set_sint64(-5); }},
      {"largest uint32", [](Everything& e) { e.set_uint32(~uint32_t{0}); }},
      {"negative zeros", [](Everything& e) { e.set_single(-0.0F), e.set_real(-0.0); }},
      {"NaN", [](Everything& e) { e.set_real(std::nan("")), e.set_single(std::nanf("")); }},
      {"NaN with a payload",
       [](Everything& e) {
         e.set_real(FromBits<double>(uint64_t{0xfff8dead0000beef}));
         e.set_single(FromBits<float>(uint32_t{0x7fc0beef}));
       }},
      {"infinities", [](Everything& e) { e.set_real(INFINITY), e.set_single(-INFINITY); }},
      {"smallest double", [](Everything& e) { e.set_real(5e-324); }},
      {"a float that no double text has", [](Everything& e) { e.set_single(0.1F); }},
      {"a whole real", [](Everything& e) { e.set_real(3); }},
      {"embedded NUL", [&](Everything& e) { e.set_text(nul), e.set_maybe_text(nul); }},
      {"text like a number", [](Everything& e) { e.set_text("007"); }},
      {"bytes that are no text", [](Everything& e) { e.set_blob("\xff\xfe"); }},
      {"present but empty",
       [](Everything& e) {
         e.set_maybe_text("");
         e.set_maybe_number(0);
         e.set_maybe_real(0);
         e.set_maybe_boolean(false);
         e.mutable_part();
       }},
      {"present and not", [](Everything& e) { e.set_maybe_number(~uint64_t{0}); }},
      {"unknown enumeration number",
       [](Everything& e) { e.set_event(static_cast<storage::StateEventType>(9)); }},
      {"one of", [](Everything& e) { e.set_word(""); }},
      {"other of", [](Everything& e) { e.set_digit(0); }},
      {"a tree",
       [&](Everything& e) {
         e.mutable_part()->set_text(nul + "\"\\\xE2\x82\xAC");
         e.mutable_part()->set_real(-0.0);
         e.mutable_part()->set_count(~uint64_t{0});
         e.mutable_part()->add_parts()->add_parts()->set_count(0);
         e.mutable_part()->add_parts()->set_text("-0,");
       }},
      {"lists",
       [&](Everything& e) {
         e.add_texts(""), e.add_texts("-0"), e.add_texts(nul);
         for (double real : {-0.0, 0.0, double{INFINITY}, std::nan(""), 0.1}) e.add_reals(real);
         e.add_numbers(~uint64_t{0});
         e.add_parts(), e.add_parts()->set_real(-0.0);
       }},
  };
  const Folder folder;
  for (const auto& [name, fill] : cases) {
    SCOPED_TRACE(name);
    Everything record;
    fill(record);
    Store store(folder.path(), Awkward(), Options());
    store.Put(record);
    const auto rows = Rows<Everything>(store);
    ASSERT_EQ(rows.size(), 1U);
    EXPECT_EQ(agent::CanonicalBytes(rows[0]), agent::CanonicalBytes(record))
        << rows[0].DebugString() << " for " << record.DebugString();
    // Putting it once more finds it as it is.
    EXPECT_EQ(store.Put(record).unchanged, 1);
  }
}

TEST(StoreValues, OfMapsComeBackTheSame) {
#if defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "the runtime's maps have another layout under the thread sanitizer";
#else
  const Folder folder;
  Store store(folder.path(), Awkward(), Options());
  std::vector<WithMap> records(2);
  (*records[1].mutable_counts())[""] = -1;
  (*records[1].mutable_counts())["b"] = 0;
  for (const WithMap& record : records) store.Put(record);
  const auto rows = Rows<WithMap>(store);
  for (size_t i = 0; i < records.size(); ++i) {
    EXPECT_EQ(agent::CanonicalBytes(rows.at(i)), agent::CanonicalBytes(records[i]));
  }
#endif
}

TEST(StoreValues, AreRefusedWhereTheyWouldNotComeBack) {
  const std::vector<std::pair<const char*, std::function<void(Everything&)>>> cases = {
      {"Everything.text", [](Everything& e) { e.set_text("\xff"); }},
      {"Part.text", [](Everything& e) { e.add_parts()->add_parts()->set_text("\xff"); }},
      {"Everything.texts", [](Everything& e) { e.add_texts("\xff"); }},
      {"Everything: ",
       [](Everything& e) { ASSERT_TRUE(e.ParseFromString(Tag(999, 0) + Varint(1))); }},
      {"Part: ",
       [](Everything& e) {
         ASSERT_TRUE(e.mutable_part()->ParseFromString(Tag(9, 0) + Varint(1)));
       }},
      {"Everything.reals",
       [](Everything& e) { e.add_reals(FromBits<double>(uint64_t{0xfff8dead0000beef})); }},
  };
  const Folder folder;
  Store store(folder.path(), Awkward(), Options());
  store.Put(Everything());
  const auto before = folder.Contents();
  for (const auto& [named, spoil] : cases) {
    Everything record;
    spoil(record);
    ExpectContains(ErrorOf([&] { store.Put(record); }), {"ovix.tests.", named});
  }
  EXPECT_EQ(folder.Contents(), before);
}

TEST(StoreTables, AreTheSqlOfTheirRecords) {
  namespace tables = telemetry::contract::tables;
  using Sql = std::vector<std::string>;
  EXPECT_EQ(tables::CreateSql(Table(Everything::descriptor()))[0],
            R"(CREATE TABLE "Everything" ("time" TEXT, "second_key" INTEGER NOT NULL, )"
            R"("first_key" TEXT NOT NULL, "boolean" INTEGER, "int32" INTEGER, "uint32" INTEGER, )"
            R"("int64" INTEGER, "uint64" INTEGER, "sint64" INTEGER, "fixed64" INTEGER, )"
            R"("single" REAL, "real" REAL, "text" TEXT, "blob" BLOB, "maybe_number" INTEGER, )"
            R"("maybe_text" TEXT, "maybe_real" REAL, "maybe_boolean" INTEGER, "part" TEXT, )"
            R"("parts" TEXT, "texts" TEXT, "reals" TEXT, "numbers" TEXT, "word" TEXT, )"
            R"("digit" INTEGER, "event" INTEGER, PRIMARY KEY ("first_key", "second_key")))");
  EXPECT_EQ(tables::CreateSql(Table(EverythingNamedEvents::descriptor()), "a\"b"),
            (Sql{R"(CREATE TABLE "a""b"."EverythingNamedEvents" ("time" TEXT NOT NULL, )"
                 R"("type" TEXT, "event" INTEGER, "previous_state" TEXT, "current_state" TEXT, )"
                 R"(PRIMARY KEY ("time")))",
                 R"(CREATE INDEX "a""b"."EverythingNamedEvents.time" ON "EverythingNamedEvents" )"
                 R"(("time"))"}));
  EXPECT_EQ(Table(WithTableName::descriptor()).name, "Another");
  ExpectContains(ErrorOf([] { const Table table(AgedWithoutTime::descriptor()); }),
                 {"AgedWithoutTime: limits without a text field `time`"});
  for (const int order : {0, 1}) {
    std::vector<const google::protobuf::Descriptor*> messages = {
        EverythingEvents::descriptor(), EverythingNamedEvents::descriptor(),
        EverythingNamedSo::descriptor()};
    if (order == 1) std::swap(messages[0], messages[1]);
    const Catalogue catalogue(messages);
    EXPECT_EQ(catalogue.ChangeLog(catalogue.Get(EverythingNamedSo::descriptor()))->name,
              "EverythingNamedEvents");
  }
}

TEST(StoreTables, AreMigratedFromWhatStands) {
  namespace tables = telemetry::contract::tables;
  using storage::device_usage::Events;
  // Of release 1.0.0, in which rows had no number of arrival, and without the index.
  const Table events(Events::descriptor());
  tables::StandingTable standing = tables::Standing(events);
  EXPECT_TRUE(tables::MigrateSql(events, standing).empty());
  standing.columns.erase("_arrival");
  standing.has_time_index = false;
  EXPECT_EQ(tables::MigrateSql(events, standing, "old"),
            (std::vector<std::string>{
                R"(ALTER TABLE "old"."Events" ADD COLUMN "_arrival" INTEGER)",
                R"(UPDATE "old"."Events" SET "_arrival" = "n"."number" FROM (SELECT _rowid_ AS )"
                R"("row", row_number() OVER (ORDER BY _rowid_) AS "number" FROM "old"."Events") )"
                R"(AS "n" WHERE "n"."row" = "Events"._rowid_)",
                R"(CREATE UNIQUE INDEX "old"."Events.arrival" ON "Events" ("_arrival"))",
                R"(CREATE INDEX "old"."Events.time" ON "Events" ("time"))"}));

  const Table everything(Everything::descriptor());
  const std::pair<std::function<void(tables::StandingTable&)>, const char*> cases[] = {
      {[](auto& t) { std::swap(t.columns["first_key"].key, t.columns["second_key"].key); },
       "column second_key has another place in the key"},
      {[](auto& t) {
         t.columns["gone"] = {"TEXT", 3};
       },
       "column gone is in the key, but not in the contract"},
      {[](auto& t) { t.columns["blob"].type = "TEXT"; },
       "column blob is TEXT, but the contract says BLOB"},
  };
  for (const auto& [change, reason] : cases) {
    tables::StandingTable other = tables::Standing(everything);
    change(other);
    ExpectContains(ErrorOf([&] { tables::MigrateSql(everything, other); }), {reason});
  }
}

TEST(StoreValues, OfNoTextAreEmptyTextAndNotNull) {
  const Folder folder;
  agent::Connection connection(folder / "a.db", std::chrono::milliseconds(0));
  agent::Statement types(connection, "SELECT typeof(?), typeof(?)");
  types.Bind(1, std::string_view());
  types.BindBlob(2, std::string_view());
  ASSERT_TRUE(types.Step());
  EXPECT_EQ(types.Bytes(0), "text");
  EXPECT_EQ(types.Bytes(1), "blob");
}

TEST(StoreValues, LieInSqlAsAReaderWouldExpect) {
  const Folder folder;
  {
    Store store(folder.path(), Awkward(), Options());
    Everything record;
    record.set_uint64(~uint64_t{0});
    record.set_real(1.5);
    record.mutable_part()->set_text("x");
    record.add_numbers(7);
    store.Put(record);
  }
  const auto holds = [&](const std::string& condition) {
    return Execute(folder / "Tests.db", "SELECT " + condition + " FROM Everything");
  };
  for (const char* condition :
       {"printf('%u', uint64) = '18446744073709551615'", "real = 1.5", "maybe_text IS NULL",
        "text = '' AND typeof(text) = 'text'", "part ->> '$.text' = 'x'", "numbers ->> 0 = '7'",
        "parts = '[]'", "word IS NULL"}) {
    EXPECT_EQ(holds(condition), 1) << condition;
  }
}

// --- "State" tables and their change logs

TEST(StoreState, RecordsEachInsertUpdateAndDelete) {
  const Folder folder;
  Store store(folder.path(), Library(), Options());
  profile::HwBattery battery;
  battery.set_time(DaysAgo(2));
  battery.set_serial_number("S1");
  battery.set_ct_number("C1");
  battery.set_energy_design(50);
  EXPECT_EQ(store.Put(battery).inserted, 1);
  battery.set_time(DaysAgo(1));
  EXPECT_EQ(store.Put(battery).unchanged, 1) << "seen again is no change";
  EXPECT_EQ(Rows<profile::HwBattery>(store)[0].time(), DaysAgo(1));
  battery.set_energy_design(49);
  EXPECT_EQ(store.Put(battery).updated, 1);
  battery.set_ct_number("C2");
  EXPECT_EQ(store.Put(battery).inserted, 1) << "another key is another row";
  EXPECT_TRUE(store.Erase(battery));
  EXPECT_FALSE(store.Erase(battery));

  const auto log = Rows<profile::HardwareEvents>(store);
  const std::vector<storage::StateEventType> expected = {
      storage::STATE_EVENT_INSERT, storage::STATE_EVENT_UPDATE, storage::STATE_EVENT_INSERT,
      storage::STATE_EVENT_DELETE};
  ASSERT_EQ(log.size(), expected.size());
  for (size_t i = 0; i < log.size(); ++i) {
    EXPECT_EQ(log[i].event(), expected[i]) << i;
    EXPECT_EQ(log[i].type(), "HwBattery");
    EXPECT_EQ(log[i].time(), agent::TimeText(clock_now));
    EXPECT_EQ(log[i].previous_state().empty(), expected[i] == storage::STATE_EVENT_INSERT);
    EXPECT_EQ(log[i].current_state().empty(), expected[i] == storage::STATE_EVENT_DELETE);
  }
  ExpectContains(log[1].previous_state(), {"\"energy_design\":50", "\"serial_number\":\"S1\""});
  ExpectContains(log[1].current_state(), {"\"energy_design\":49"});
  EXPECT_EQ(Rows<profile::HwBattery>(store).size(), 1U);
}

TEST(StoreState, IsReplacedByASnapshot) {
  const Folder folder;
  Store store(folder.path(), Library(), Options());
  const auto replace = [&](std::initializer_list<std::pair<const char*, const char*>> rows) {
    std::vector<profile::Application> applications;
    for (const auto& [name, version] : rows) {
      applications.emplace_back().set_name(name);
      applications.back().set_version(version);
    }
    std::vector<const Message*> pointers;
    for (const auto& application : applications) pointers.push_back(&application);
    return store.Replace(profile::Application::descriptor(), pointers);
  };
  EXPECT_EQ(replace({{"a", "1"}, {"b", "1"}, {"b", "2"}}).inserted, 2) << "one key is one row";
  EXPECT_EQ(Rows<profile::Application>(store).at(1).version(), "2") << "of two the later counts";
  const Changes changes = replace({{"b", "3"}, {"c", "1"}});
  EXPECT_EQ(changes.inserted, 1);
  EXPECT_EQ(changes.updated, 1);
  EXPECT_EQ(changes.deleted, 1);
  EXPECT_EQ(replace({}).deleted, 2);
  EXPECT_EQ(Rows<profile::ApplicationEvents>(store).size(), 2U + 3U + 2U);
  const Table& log = Library().Get(profile::ApplicationEvents::descriptor());
  ExpectContains(ErrorOf([&] { store.Replace(log.record, {}); }), {"Historical"});
  const profile::HwBattery battery;
  ExpectContains(ErrorOf([&] { store.Replace(profile::Application::descriptor(), {&battery}); }),
                 {"device_profile.HwBattery", "no row of", "device_profile.Application"});
}

// The pairing follows names, so it is held against what the contracts mean by them.
TEST(StoreState, FindsTheChangeLogOfEveryRecord) {
  std::map<std::string, std::string> logs;
  for (const Table& table : Library().tables()) {
    if (!table.state) continue;
    const Table* log = Library().ChangeLog(table);
    logs[table.name] = log == nullptr ? "" : log->name;
  }
  const std::map<std::string, std::vector<std::string>> expected = {
      {"DeviceEvents", {"Device"}},
      {"HardwareEvents",
       {"HwBaseBoard", "HwBattery", "HwGraphicsCard", "HwMemory", "HwMemoryChip",
        "HwNetworkAdapter", "HwProcessor", "HwStorageDrive", "HwTrustedPlatformModule",
        "HwMotherboardSlots"}},
      {"FirmwareEvents",
       {"FwBios", "FwSMBios", "FwEmbeddedController", "FwAmdPsp", "FwCameraController",
        "FwStorageDrive"}},
      {"OperatingSystemEvents", {"OperatingSystem"}},
      {"OperatingSystemSettingsEvents", {"OperatingSystemSettings"}},
      {"PeripheralEvents",
       {"Peripherals", "PeripheralDisplays", "PeripheralOVIXDisplays", "PeripheralDockingStations",
        "PeripheralNetworkCards"}},
      {"DeviceLocationEvents", {"DeviceLocation"}},
      {"ExecutableFileInfoEvents", {"ExecutableFileInfo"}},
      {"ApplicationEvents", {"Application"}},
      {"DriverEvents", {"DriverInfo"}},
      {"GraphicsCardsEvents", {"GraphicsCards"}},
      {"AiModelLifeCycleEvents", {"AiModelLifeCycle"}},
      {"HwHealthStateEvents", {"HwHealthState"}},
      {"PeripheralHealthStateEvents", {"PeripheralHealthState"}},
      {"HwHealthStateBGACracksEvents", {"HwHealthStateBGACracks"}},
      {"HwHealthStateClockEvents", {"HwHealthStateClock"}},
      {"WindowsServicesEvents", {"WindowsServicesInfo"}},
      {"WindowsUpdatesEvents", {"WindowsUpdates"}},
  };
  for (const auto& [log, records] : expected) {
    for (const std::string& record : records) {
      EXPECT_EQ(logs[record], log) << record;
      logs.erase(record);
    }
  }
  for (const auto& [record, log] : logs) EXPECT_EQ(log, "") << record << " has no change log";
}

// --- Limits

TEST(StoreLimits, DropTheOldestRowsBeyondMaxRows) {
  const Folder folder;
  Store store(folder.path(), Awkward(), Options());
  // In the order in which they came, whatever a clock that was wrong has dated them: the first ones
  // lie in the future.
  const int hours[] = {-9000, -9000, -9000, -9000, -9000, 9, 1, 8, 2, 7};
  Changes changes;
  for (int i = 0; i < 10; ++i) {
    Sample sample;
    sample.set_time(agent::TimeText(clock_now - std::chrono::hours(hours[i])));
    sample.set_value(i);
    changes += store.Put(sample);
  }
  std::vector<uint32_t> kept;
  for (const Sample& sample : Rows<Sample>(store)) kept.push_back(sample.value());
  EXPECT_EQ(kept, (std::vector<uint32_t>{5, 6, 7, 8, 9}));
  const auto what = std::pair(&Awkward().Get(Sample::descriptor()), agent::Limit::kRows);
  EXPECT_EQ(changes.dropped.at(what), 5) << "what was dropped is told by table and limit";
  EXPECT_EQ(changes.trimmed, 5);
}

TEST(StoreLimits, DropRowsOlderThanMaxTimeDays) {
  const Folder folder;
  Store store(folder.path(), Awkward(), Options());
  const std::vector<std::pair<std::string, bool>> times = {
      {DaysAgo(1), true},
      {DaysAgo(2), true},
      {agent::TimeText(clock_now - std::chrono::days(2) - std::chrono::milliseconds(1)), false},
      {"yesterday", true},
      {"", true},
  };
  for (const auto& [time, kept] : times) {
    SCOPED_TRACE(time);
    Sample sample;
    sample.set_time(time);
    EXPECT_EQ(store.Put(sample).trimmed, kept ? 0 : 1);
  }
  clock_now += std::chrono::days(6);
  EXPECT_EQ(store.Trim().trimmed, 2) << "time alone makes rows old";
  clock_now -= std::chrono::days(6);
  EXPECT_EQ(Rows<Sample>(store).size(), 2U) << "a time that cannot be read never grows old";
}

// The readings of a clock, in days from the first, and whether a row of that day outlives them.
TEST(StoreLimits, AgeByAClockThatIsAheadOnlyOnceItHasGoneOn) {
  const auto today = clock_now;
  struct Case {
    const char* what;
    std::vector<int> days;
    bool is_kept;
  };
  const Case cases[] = {
      {"a clock that goes on", {2, 4}, false},
      {"a year ahead, once", {365}, true},
      {"a year ahead, for less than a week", {365, 366, 367, 368, 369, 370, 371}, true},
      {"a year ahead, time and again", {365, 1, 365, 1, 372, 0}, true},
      {"a year ahead, then two", {365, 730, 731, 1100}, true},
      {"a year ahead, to and fro", {365, 369, 365, 369, 366, 369, 365, 369, 365, 369, 370}, true},
      {"in the past, then right, then ahead", {-9000, 1, 365}, true},
      {"off for a month, then on for a week", {30, 31, 32, 33, 34, 35, 36, 37}, false},
      {"off for a month, then on now and then", {30, 33, 36, 39, 42, 45, 48, 51}, false},
      {"on for a week, then off again", {30, 31, 32, 33, 34, 35, 36, 90}, false},
  };
  for (const auto& [what, days, is_kept] : cases) {
    SCOPED_TRACE(what);
    const Folder folder;
    Store store(folder.path(), Awkward(), Options());
    clock_now = today;
    Sample sample;
    sample.set_time(DaysAgo(0));
    store.Put(sample);
    for (const int day : days) {
      clock_now = today + std::chrono::days(day);
      const Changes changes = store.Trim();
      EXPECT_TRUE(changes.trimmed == 0 || !is_kept) << day;
      if (is_kept && day > 30) {
        EXPECT_GE(changes.clock_ahead_days, day - 10) << "and is told";
      }
    }
    EXPECT_EQ(Rows<Sample>(store).size(), is_kept ? 1U : 0U);
  }
  clock_now = today;
}

TEST(StoreLimits, TrustNoClockAboutADatabaseOfAnOlderRelease) {
  const Folder folder;
  const auto today = clock_now;
  Execute(folder / "Tests.db", "CREATE TABLE Sample (time TEXT, value INTEGER)");
  Execute(folder / "Tests.db", "INSERT INTO Sample VALUES ('" + DaysAgo(1) + "', 1)");
  clock_now += std::chrono::days(365);
  Store store(folder.path(), Awkward(), Options());
  EXPECT_EQ(store.Trim().trimmed, 0);
  clock_now = today;
  EXPECT_EQ(Execute(folder / "Tests.db", "PRAGMA application_id"), 0x4f564958);
}

TEST(StoreLimits, RecordADroppedStateRowAsDeleted) {
  using storage::device_usage::device_updates::WindowsUpdates;
  const Folder folder;
  Store store(folder.path(), Library(), Options());
  for (int days : {10, 400}) {
    WindowsUpdates update;
    update.set_time(DaysAgo(days));
    update.set_update_id(std::to_string(days));
    store.Put(update);
  }
  const auto rows = Rows<WindowsUpdates>(store);
  ASSERT_EQ(rows.size(), 1U);
  EXPECT_EQ(rows[0].update_id(), "10");
  const auto log = Rows<profile::WindowsUpdatesEvents>(store);
  ASSERT_EQ(log.size(), 3U);
  EXPECT_EQ(log[2].event(), storage::STATE_EVENT_DELETE);
}

TEST(StoreLimits, KeepADatabaseUnderItsSizeByDroppingItsOldestLogRows) {
  const Folder folder;
  Store store(folder.path(), Awkward(), Options());
  const std::string kilobytes(4000, 'x');
  SmallState state;
  state.set_data(kilobytes);
  store.Put(state);
  int64_t dropped = 0;
  for (int i = 0; i < 600; i += 10) {
    std::vector<SmallLog> batch(10);
    std::vector<const Message*> pointers;
    for (SmallLog& row : batch) {
      row.set_time(agent::TimeText(clock_now - std::chrono::seconds(600 - i)));
      row.set_data(kilobytes);
      pointers.push_back(&row);
    }
    dropped += store.Put(pointers).trimmed;
    ASSERT_LE(std::filesystem::file_size(folder / "Small.db"), 1U << 20) << i;
  }
  const auto rows = Rows<SmallLog>(store);
  EXPECT_EQ(static_cast<int64_t>(rows.size()) + dropped, 600);
  EXPECT_GT(rows.size(), 150U) << "no more is dropped than is needed";
  EXPECT_EQ(rows.back().time(), agent::TimeText(clock_now - std::chrono::seconds(10)));
  EXPECT_EQ(Rows<SmallState>(store).size(), 1U);

  state.set_name("too large");
  state.set_data(std::string(2 << 20, 'x'));
  ExpectContains(ErrorOf([&] { store.Put(state); }), {"Small.db", "full", "1 MB"});
  EXPECT_EQ(Rows<SmallLog>(store).size(), rows.size()) << "a failed write drops nothing";
}

TEST(StoreLimits, DropTheOldestRowsOfAllTablesOfADatabaseForItsSize) {
  const Folder folder;
  Store store(folder.path(), Awkward(), Options());
  const auto put = [&](auto row, int count, const std::string& time) {
    row.set_time(time);
    row.set_data(std::string(4000, 'x'));
    return store.Put(std::vector<const Message*>(count, &row));
  };
  // Today's rows came first; those of a clock that was ahead are believed to be the oldest.
  put(SmallLog(), 80, DaysAgo(0));
  put(SmallOtherLog(), 20, DaysAgo(-365));
  put(SmallOtherLog(), 80, DaysAgo(100));
  Changes changes;
  for (int i = 0; i < 12; ++i) changes += put(SmallLog(), 10, DaysAgo(0));
  EXPECT_EQ(Rows<SmallLog>(store).size(), 200U) << "today's rows stay";
  const auto rest = Rows<SmallOtherLog>(store);
  EXPECT_GT(rest.size(), 30U);
  EXPECT_EQ(rest.front().time(), DaysAgo(100));
  const auto what = std::pair(&Awkward().Get(SmallOtherLog::descriptor()), agent::Limit::kSize);
  EXPECT_EQ(changes.dropped.at(what), 100 - static_cast<int64_t>(rest.size()));
}

TEST(StoreLimits, ShrinkAFileThatAnotherLimitHasMadeRoomIn) {
  const Folder folder;
  const auto today = clock_now;
  {
    // Grown where the limit was not kept.
    Store store(folder.path(), Awkward(), Options());
    SmallAged row;
    row.set_time(DaysAgo(0));
    store.Put(row);
    Execute(folder / "Small.db",
            "INSERT INTO SmallAged (time, data) SELECT time, printf('%.4000c', 'x') FROM SmallAged,"
            " (WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 400) "
            "SELECT i FROM n)");
    EXPECT_GT(std::filesystem::file_size(folder / "Small.db"), 1U << 20);
  }
  clock_now += std::chrono::days(5);
  Store store(folder.path(), Awkward(), Options());
  EXPECT_EQ(store.Trim().trimmed, 401);
  EXPECT_LE(std::filesystem::file_size(folder / "Small.db"), 1U << 20);
  clock_now = today;
}

TEST(StoreLimits, RefuseOnlyGrowthWhereStateRowsExceedTheSize) {
  const Folder folder;
  Store store(folder.path(), Awkward(), Options());
  SmallState state;
  store.Put(state);
  Execute(folder / "Small.db", "UPDATE SmallState SET data = printf('%.*c', 2 << 20, 'x')");
  Sample old;
  old.set_time(DaysAgo(1));
  store.Put(old);
  const auto today = clock_now;
  clock_now += std::chrono::days(5);
  EXPECT_EQ(store.Trim().trimmed, 1) << "the other databases are trimmed";
  EXPECT_TRUE(store.TakeProblems().empty());
  clock_now = today;
  state.set_data("small again");
  EXPECT_EQ(store.Put(state).updated, 1);
}

// --- Reading in the order of arrival

// What a reader that comes back with its cursor gets, `most` rows at a time.
template <typename Record>
std::vector<uint64_t> ReadOn(Store& store, agent::Cursor& cursor, size_t most = 2) {
  std::vector<uint64_t> got;
  for (agent::Cursor before{-1, -1}; before != cursor;) {
    before = cursor;
    size_t in_batch = 0;
    cursor = store.ReadAfter(
        Record::descriptor(), cursor, most, [&](const Message& row, const agent::Cursor& at) {
          const auto* value = row.GetDescriptor()->field(1);
          got.push_back(value->cpp_type() == google::protobuf::FieldDescriptor::CPPTYPE_UINT32
                            ? row.GetReflection()->GetUInt32(row, value)
                            : static_cast<uint64_t>(at.row));
          ++in_batch;
        });
    EXPECT_LE(in_batch, most);
  }
  return got;
}

TEST(StoreArrivals, GiveEachRowOnceInTheOrderOfItsArrival) {
  using Values = std::vector<uint64_t>;
  const Folder folder;
  agent::Cursor cursor;
  const auto today = clock_now;
  uint32_t next = 1;
  const auto put = [&](Store& store, int rows, int days_ago = 0) {
    for (int i = 0; i < rows; ++i) {
      Sample sample;
      sample.set_time(DaysAgo(days_ago));
      sample.set_value(next++);
      store.Put(sample);
    }
  };
  {
    Store store(folder.path(), Awkward(), Options());
    EXPECT_EQ(ReadOn<Sample>(store, cursor), Values{}) << "where nothing is stored yet";
    put(store, 3);
    EXPECT_EQ(ReadOn<Sample>(store, cursor), (Values{1, 2, 3}));
    EXPECT_EQ(ReadOn<Sample>(store, cursor), Values{});
    put(store, 4);  // of which the first is dropped
  }
  Store store(folder.path(), Awkward(), Options());
  EXPECT_EQ(ReadOn<Sample>(store, cursor), (Values{4, 5, 6, 7}));
  // The newest is dropped as it comes; then all are.
  put(store, 1, 300);
  EXPECT_EQ(ReadOn<Sample>(store, cursor), Values{});
  clock_now += std::chrono::days(5);
  store.Trim();
  EXPECT_EQ(store.CountRows(Awkward().Get(Sample::descriptor())), 0);
  put(store, 2);
  EXPECT_EQ(ReadOn<Sample>(store, cursor), (Values{9, 10}));
  EXPECT_EQ(cursor, store.Newest(Sample::descriptor()));
  // A row that no longer reads is passed over once.
  put(store, 2);
  Execute(folder / "Tests.db", "UPDATE Sample SET value = 'x' WHERE value = 11");
  std::string bad;
  const agent::Cursor behind = store.ReadAfter(
      Sample::descriptor(), cursor, 1, [](const Message&, const agent::Cursor&) { FAIL(); },
      [&](const std::string& line) { bad = line; });
  ExpectContains(bad, {"Sample", "value"});
  cursor = behind;
  EXPECT_EQ(ReadOn<Sample>(store, cursor), Values{12});
  // The number of a row that was deleted by hand is not given again.
  Execute(folder / "Tests.db", "DELETE FROM Sample WHERE value = 12");
  put(store, 1);
  EXPECT_EQ(ReadOn<Sample>(store, cursor), Values{13});
  clock_now = today;
#ifndef _WIN32  // which removes no open file
  // Made anew, the database numbers its rows anew.
  std::filesystem::remove(folder / "Tests.db");
  put(store, 1);
  EXPECT_EQ(ReadOn<Sample>(store, cursor), Values{14});
#endif
}

TEST(StoreArrivals, DoNotFollowAKeyOfTheRecordsOwn) {
  using storage::device_usage::Events;
  const Folder folder;
  agent::Cursor cursor;
  const auto arrived = [&] {
    Store store(folder.path(), Library(),
                {.clock = Options().clock, .access = Store::Access::kRead});
    std::vector<int64_t> keys;
    cursor = store.ReadAfter(Events::descriptor(), cursor, 100,
                             [&](const Message& row, const agent::Cursor&) {
                               keys.push_back(static_cast<const Events&>(row).rowid());
                             });
    return keys;
  };
  // As release 1.0.0 made it.
  Execute(folder / "WindowsEventsCache.db",
          "CREATE TABLE Events (rowid INTEGER NOT NULL, time TEXT, PRIMARY KEY (rowid))");
  Execute(folder / "WindowsEventsCache.db", "INSERT INTO Events VALUES (5, ''), (2, ''), (9, '')");
  EXPECT_EQ(arrived(), (std::vector<int64_t>{2, 5, 9}));
  Store store(folder.path(), Library(), Options());
  for (const int key : {7, 3}) {
    Events event;
    event.set_rowid(key);
    store.Put(event);
  }
  EXPECT_EQ(arrived(), (std::vector<int64_t>{7, 3}));
  Execute(folder / "WindowsEventsCache.db", "DELETE FROM Events");
  Events event;
  store.Put(event);
  EXPECT_EQ(arrived(), std::vector<int64_t>{0});
}

TEST(StoreArrivals, SeeOneStateOfAllDatabasesInASnapshot) {
  const Folder folder;
  Store store(folder.path(), Library(), Options());
  profile::Application application;
  store.Put(application);
  application.set_name("new");
  Store reader(folder.path(), Library(),
               {.clock = Options().clock, .access = Store::Access::kRead});
  const auto rows = [&] {
    return std::pair(reader.CountRows(Library().Get(profile::Application::descriptor())),
                     reader.CountRows(Library().Get(profile::ApplicationEvents::descriptor())));
  };
  {
    const Store::Snapshot snapshot(reader);
    ExpectContains(ErrorOf([&] { store.Put(application); }), {".db", "locked"});
    storage::device_usage::Events event;
    store.Put(event);
    EXPECT_EQ(rows(), std::pair(int64_t{1}, int64_t{1}));
    EXPECT_EQ(reader.CountRows(Library().Get(event.GetDescriptor())), 0)
        << "a database that came later is of another moment";
  }
  store.Put(application);
  EXPECT_EQ(rows(), std::pair(int64_t{2}, int64_t{2}));
}

// --- Sharing

TEST(StoreLimits, LoseNothingToAClockThatGoesBack) {
  const Folder folder;
  Store store(folder.path(), Awkward(), Options());
  const auto today = clock_now;
  for (size_t row = 1; row < 5; ++row, clock_now -= std::chrono::days(30)) {
    Sample sample;
    sample.set_time(agent::TimeText(clock_now));
    store.Put(sample);
    store.Trim();
    EXPECT_EQ(Rows<Sample>(store).size(), row) << "rows of the future do not age";
  }
  clock_now = today;
}

TEST(StoreSharing, LetsThreadsWithStoresOfTheirOwnWriteAtOnce) {
  const Folder folder;
  constexpr int kThreads = 4;
  constexpr int kRows = 20;
  std::vector<std::thread> threads;
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([&, thread] {
      Store store(folder.path(), Library(), {.patience = std::chrono::minutes(1)});
      for (int i = 0; i < kRows; ++i) {
        profile::Application application;
        application.set_name(std::to_string(thread * kRows + i));
        EXPECT_EQ(store.Put(application).inserted, 1);
      }
      EXPECT_TRUE(store.TakeProblems().empty());
    });
  }
  for (auto& thread : threads) thread.join();
  Store store(folder.path(), Library(), {});
  EXPECT_EQ(store.CountRows(Library().Get(profile::Application::descriptor())), kThreads * kRows);
}

TEST(StoreEvolution, GivesAnOlderTableItsMissingColumns) {
  const Folder folder;
  Execute(
      folder / "Tests.db",
      "CREATE TABLE Everything (time TEXT, second_key INTEGER NOT NULL, first_key TEXT NOT NULL,"
      " text TEXT, from_the_future TEXT, PRIMARY KEY (first_key, second_key))");
  Execute(folder / "Tests.db", "INSERT INTO Everything VALUES ('t', 7, 'k', 'old', 'kept')");
  Store store(folder.path(), Awkward(), Options());
  auto rows = Rows<Everything>(store);
  ASSERT_EQ(rows.size(), 1U);
  Everything expected;
  expected.set_time("t");
  expected.set_second_key(7);
  expected.set_first_key("k");
  expected.set_text("old");
  EXPECT_EQ(rows[0].SerializeAsString(), expected.SerializeAsString());
  expected.set_maybe_number(3);
  expected.add_texts("new");
  EXPECT_EQ(store.Put(expected).updated, 1);
  EXPECT_EQ(Rows<Everything>(store)[0].SerializeAsString(), expected.SerializeAsString());
  EXPECT_EQ(Execute(folder / "Tests.db", "SELECT from_the_future = 'kept' FROM Everything"), 1);
}

TEST(StoreEvolution, RefusesATableWithAnotherKeyOrType) {
  for (const char* table :
       {"(time TEXT, value INTEGER, PRIMARY KEY (value))", "(time TEXT, value TEXT)"}) {
    const Folder folder;
    Execute(folder / "Tests.db", "CREATE TABLE Sample " + std::string(table));
    const auto before = folder.Contents();
    Store store(folder.path(), Awkward(), Options());
    ExpectContains(ErrorOf([&] { store.Put(Sample()); }), {"Tests.db", "Sample", "value"});
    EXPECT_EQ(folder.Contents(), before);
  }
}

// --- Bad input

TEST(StoreErrors, NameWhatCannotBeStored) {
  const Folder folder;
  Store store(folder.path(), Library(), Options());
  ExpectContains(ErrorOf([&] { store.Put(storage::device_health::BatteryStatus()); }),
                 {"ovix.telemetry.contract.storage.device_health.BatteryStatus", "no table"});
  ExpectContains(ErrorOf([] { Catalogue({Contradiction::descriptor()}); }),
                 {"ovix.tests.Contradiction", "key"});
  ExpectContains(ErrorOf([] {
                   Catalogue({Sample::descriptor(), Sample::descriptor()});
                 }),
                 {"ovix.tests.Sample", "Tests", "both claim"});
  storage::device_usage::Events event;
  event.set_rowid(5);
  store.Put(event);
  ExpectContains(ErrorOf([&] { store.Put(event); }),
                 {"WindowsEventsCache.db", "key", "Events.rowid"});
  folder.Write("file", "");
  ExpectContains(ErrorOf([&] { Store(folder / "file", Library()); }), {"file", "folder"});
  ExpectContains(
      ErrorOf([&] { Store(folder / "none", Library(), {.access = Store::Access::kRead}); }),
      {"none", "no such folder"});
#ifndef _WIN32  // where the first write says it
  ExpectContains(ErrorOf([&] { Store(folder / "file/below", Library()); }), {"below", "folder"});
#endif
}

TEST(StoreErrors, SetADamagedDatabaseAsideAndBeginANewOne) {
  const Folder folder;
  profile::Application application;
  Store(folder.path(), Library(), Options()).Put(application);
  const auto sound = folder.Contents();
  const std::vector<std::pair<const char*, std::string>> cases = {
      {"DeviceProfile.db", "SQLite format 3, or so it says"},
      {"DeviceProfileEvents.db", "SQLite format 3, or so it says"},
      // A header that is sound, and pages that are not.
      {"DeviceProfile.db",
       folder.Read("DeviceProfile.db").substr(0, 4096) + std::string(90000, 'x')},
      {"DeviceProfileEvents.db",
       folder.Read("DeviceProfileEvents.db").substr(0, 4096) + std::string(90000, 'x')},
  };
  std::map<std::string, std::string> aside;
  int number = 0;
  for (const auto& [file, content] : cases) {
    SCOPED_TRACE(file);
    folder.Write(file, content);
    folder.Write(std::string(file) + "-journal", std::string(28, '\0'));
    {
      Store reader(folder.path(), Library(), {.access = Store::Access::kRead});
      const auto* record = std::string(file) == "DeviceProfile.db"
                               ? profile::Application::descriptor()
                               : profile::ApplicationEvents::descriptor();
      ExpectContains(ErrorOf([&] { reader.Read(record, [](const Message&) {}); }),
                     {file, "damaged"});
    }
    application.set_name(std::to_string(++number));
    Store store(folder.path(), Library(), Options());
    EXPECT_EQ(store.Put(application).inserted, 1);
    const auto problems = store.TakeProblems();
    ASSERT_EQ(problems.size(), 1U);
    ExpectContains(problems[0],
                   {file, "damaged", "set aside as", ".db.damaged-20261121T000000000Z"});
    EXPECT_EQ(problems[0].find('\n'), std::string::npos);
    EXPECT_TRUE(store.TakeProblems().empty());
    // What is set aside stays, whatever comes after it.
    size_t before = aside.size();
    for (const auto& [name, hash] : folder.Contents()) {
      if (name.find(".damaged-") == std::string::npos) continue;
      EXPECT_EQ(aside.emplace(name, hash).first->second, hash) << name;
    }
    EXPECT_EQ(aside.size(), before + 2) << "the database and its journal";
  }
  EXPECT_EQ(folder.Contents().size(), sound.size() + aside.size());
}

TEST(StoreErrors, NameTheDatabaseThatIsLocked) {
  const Folder folder;
  profile::Application application;
  Store(folder.path(), Library(), Options()).Put(application);
  const auto sound = folder.Contents();
  application.set_name("new");
  for (const char* file : {"DeviceProfile.db", "DeviceProfileEvents.db"}) {
    agent::Connection other(folder / file, std::chrono::milliseconds(0));
    other.Execute("BEGIN IMMEDIATE");
    Store waiting(folder.path(), Library(), Options());
    ExpectContains(ErrorOf([&] { waiting.Put(application); }), {file, "locked"});
    other.Execute("ROLLBACK");
    EXPECT_EQ(folder.Contents(), sound);
  }
  Store store(folder.path(), Library(), Options());
  EXPECT_EQ(store.Put(application).inserted, 1) << "once the lock is gone, all goes on";
}

TEST(StoreErrors, SetADatabaseAsideOnceHoweverManyMeetIt) {
  for (int round = 0; round < 5; ++round) {
    const Folder folder;
    folder.Write("DeviceProfile.db", std::string(8192, 'x'));
    std::vector<std::thread> threads;
    for (int i = 0; i < 6; ++i) {
      threads.emplace_back([&, i] {
        Store::Options options = Options();
        options.patience = std::chrono::seconds(20);
        Store store(folder.path(), Library(), options);
        profile::Application application;
        application.set_name("application " + std::to_string(i));
        EXPECT_EQ(store.Put(application).inserted, 1);
      });
    }
    for (std::thread& thread : threads) thread.join();
    int aside = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
      aside += entry.path().filename().string().find(".damaged-") != std::string::npos;
    }
    EXPECT_EQ(aside, 1);
    EXPECT_EQ(Execute(folder / "DeviceProfile.db", "SELECT count(*) FROM Application"), 6);
  }
}

TEST(StoreErrors, OfOneDatabaseStopNoOther) {
  const Folder folder;
  Sample sample;
  sample.set_time(DaysAgo(0));
  Store(folder.path(), Awkward(), Options()).Put(sample);
  Execute(folder / "Tests.db", "UPDATE Sample SET time = '" + DaysAgo(30) + "'");
  Execute(folder / "Small.db", "PRAGMA application_id = 7");
  Execute(folder / "Small.db", "CREATE TABLE t (c)");
  Store store(folder.path(), Awkward(), Options());
  EXPECT_EQ(store.Trim().trimmed, 1);
  const auto problems = store.TakeProblems();
  ASSERT_EQ(problems.size(), 1U);
  ExpectContains(problems[0], {"Small.db", "another program's"});
}

TEST(StoreErrors, LeaveDatabasesThatAreNotTheStoresAlone) {
  const std::pair<const char*, const char*> cases[] = {
      {"PRAGMA application_id = 7", "another program's (application_id 7)"},
      {"CREATE TABLE Photos (name TEXT)", "another program's (application_id 0)"},
      {"PRAGMA application_id = 0x4f564958; PRAGMA user_version = 2", "newer release"},
  };
  for (const auto& [sql, why] : cases) {
    const Folder folder;
    agent::Connection(folder / "DeviceProfileEvents.db", std::chrono::seconds(1)).Execute(sql);
    const auto before = folder.Contents();
    Store store(folder.path(), Library(), Options());
    const std::initializer_list<const char*> parts = {"DeviceProfileEvents.db", why};
    ExpectContains(ErrorOf([&] { store.Put(profile::Application()); }), parts);
    ExpectContains(ErrorOf([&] { Rows<profile::ApplicationEvents>(store); }), parts);
    EXPECT_EQ(folder.Contents(), before);
  }
}

TEST(StoreErrors, LeaveNothingOfARefusedWriteToANewStore) {
  const Folder folder;
  Store store(folder / "above/store", Awkward(), Options());
  SmallState too_large;
  too_large.set_data(std::string(2 << 20, 'x'));
  ExpectContains(ErrorOf([&] { store.Put(too_large); }), {"Small.db", "full"});
  EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
  store.Put(SmallState());
  EXPECT_EQ(folder.Contents().size(), 1U);
}

TEST(StoreErrors, PutARowThatNoLongerReadsRight) {
  const Folder folder;
  Store store(folder.path(), Awkward(), Options());
  Everything record;
  for (const char* key : {"same", "other\n\x1b[2J\"\u202e", "gone"}) {
    record.set_first_key(key);
    store.Put(record);
  }
  const auto damage = [&] { Execute(folder / "Tests.db", "UPDATE Everything SET uint32 = 'x'"); };
  damage();
  record.set_first_key("same");
  Changes changes = store.Put(record);
  EXPECT_EQ(changes.updated, 1);
  EXPECT_EQ(changes.unreadable, 1);
  auto problems = store.TakeProblems();
  ASSERT_EQ(problems.size(), 1U);
  ExpectContains(problems[0], {"Tests.db", "Everything", "first_key=same", "uint32", "replaced"});

  damage();
  record.set_first_key("other\n\x1b[2J\"\u202e");
  changes = store.Replace(Everything::descriptor(), {&record});
  EXPECT_EQ(changes.updated, 1);
  EXPECT_EQ(changes.deleted, 2);
  EXPECT_EQ(changes.unreadable, 3);
  std::string all;
  for (const auto& line : store.TakeProblems()) all += line + "\n";
  ExpectContains(all, {"first_key=other\\n\\x1b[2J\\\"\\u202e:", "first_key=gone"});
  EXPECT_EQ(std::count(all.begin(), all.end(), '\n'), 3);

  // Nothing is kept open that would shut out another program.
  agent::Connection(folder / "Tests.db", std::chrono::milliseconds(0)).Execute("BEGIN EXCLUSIVE");
  damage();
  EXPECT_TRUE(store.Erase(record));
  EXPECT_TRUE(Rows<Everything>(store).empty());
  const auto log = Rows<EverythingEvents>(store);
  ASSERT_EQ(log.size(), 8U);
  EXPECT_EQ(log.back().event(), storage::STATE_EVENT_DELETE);
  ExpectContains(log.back().previous_state(), {"\"first_key\":"});
  EXPECT_EQ(log.back().previous_state().find("uint32"), std::string::npos) << "it cannot be told";
}

TEST(StoreErrors, NameTheRowThatNoLongerReads) {
  const Folder folder;
  {
    Store store(folder.path(), Awkward(), Options());
    Everything record;
    record.set_first_key("k");
    record.set_second_key(7);
    store.Put(record);
    store.Put(Sample());
  }
  const std::vector<std::pair<const char*, const char*>> damages = {
      {"UPDATE Everything SET part = '{'", "part"},
      {"UPDATE Everything SET part = NULL, uint32 = -1", "uint32"},
      {"UPDATE Everything SET uint32 = 'x'", "uint32"},
      {"UPDATE Everything SET uint32 = 1, text = CAST(x'ff' AS TEXT)", "text"},
      {"UPDATE Everything SET text = '', single = x'00'", "single"},
      {"UPDATE Everything SET single = 0, boolean = 2", "boolean"},
  };
  for (const auto& [sql, column] : damages) {
    Execute(folder / "Tests.db", sql);
    Store store(folder.path(), Awkward(), Options());
    ExpectContains(ErrorOf([&] { Rows<Everything>(store); }),
                   {"Tests", "Everything", "first_key=k", "second_key=7", column});
  }
  Execute(folder / "Tests.db", "UPDATE Sample SET value = 'x'");
  Store store(folder.path(), Awkward(), Options());
  ExpectContains(ErrorOf([&] { Rows<Sample>(store); }), {"Sample", "_rowid_=1", "value"});
}

TEST(StoreErrors, ReadingAStoreThatIsNotThereFindsNothingAndMakesNothing) {
  const Folder folder;
  Store store(folder / "none", Library(), Options());
  EXPECT_TRUE(Rows<profile::Application>(store).empty());
  EXPECT_EQ(store.CountRows(Library().tables()[0]), 0);
  EXPECT_EQ(store.Trim().trimmed, 0);
  EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

// --- Files

TEST(StoreFiles, AreSwitchedBackFromAWriteAheadLog) {
  const Folder folder;
  Store(folder.path(), Library(), Options()).Put(profile::Application());
  for (const char* file : {"DeviceProfile.db", "DeviceProfileEvents.db"}) {
    Execute(folder / file, "PRAGMA journal_mode = WAL");
  }
  const auto before = folder.Contents();
  Store reader(folder.path(), Library(), {.access = Store::Access::kRead});
  ExpectContains(ErrorOf([&] { Rows<profile::Application>(reader); }),
                 {"DeviceProfile.db", "write-ahead log", "collect"});
  EXPECT_EQ(folder.Contents(), before) << "reading creates nothing";
  Store(folder.path(), Library(), Options()).Put(profile::Application());
  for (const char* file : {"DeviceProfile.db", "DeviceProfileEvents.db"}) {
    EXPECT_EQ(folder.Read(file)[18], 1) << file;
  }
}

TEST(StoreFiles, AreOpenedToLastAndTrustNobody) {
  const Folder folder;
  Store(folder.path(), Library(), Options()).Put(profile::Application());
  for (const char* file : {"DeviceProfile.db", "DeviceProfileEvents.db"}) {
    EXPECT_EQ(Execute(folder / file, "PRAGMA application_id"), 0x4f564958);
    EXPECT_EQ(Execute(folder / file, "PRAGMA user_version"), 1);
  }
  agent::Connection connection(folder / "DeviceProfile.db", std::chrono::milliseconds(0));
  connection.Attach(folder / "DeviceProfileEvents.db", "log");
  for (const char* schema : {"main", "log"}) {
    EXPECT_EQ(connection.Number("PRAGMA " + std::string(schema) + ".synchronous"), 3) << schema;
  }
  EXPECT_EQ(connection.Number("PRAGMA trusted_schema"), 0);
  connection.Execute("PRAGMA writable_schema = ON");
  ExpectContains(ErrorOf([&] { connection.Execute("DELETE FROM sqlite_schema"); }), {"sqlite"});
}

}  // namespace
}  // namespace ovix::tests
