#include "store/store.h"

#include <gtest/gtest.h>

#include <thread>

#include "ovix/telemetry/contract/storage/device_profile/application.pb.h"
#include "ovix/telemetry/contract/storage/device_profile/device_profile_events.pb.h"
#include "ovix/telemetry/contract/storage/device_profile/hw_components.pb.h"
#include "ovix/telemetry/contract/storage/device_usage/windows_events_cache.pb.h"
#include "store/time.h"
#include "store_test.pb.h"
#include "support/folder.h"
#include "support/store.h"

namespace ovix::tests {
namespace {

using agent::Catalogue;
using agent::Changes;
using agent::Store;
using agent::Table;
using google::protobuf::Message;
namespace storage = telemetry::contract::storage;
namespace profile = storage::device_profile;

// --- Tables

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
                 {"AgedWithoutTime: limits without a string field `time`"});
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

// SQLite takes names that differ in case for one.
TEST(StoreEvolution, KnowsATableByNamesOfAnotherCase) {
  const Folder folder;
  Execute(folder / "Tests.db",
          "CREATE TABLE EVERYTHING (TIME TEXT, Second_Key INTEGER NOT NULL, First_Key TEXT NOT "
          "NULL, Text TEXT, PRIMARY KEY (First_Key, Second_Key))");
  Execute(folder / "Tests.db", "CREATE INDEX \"everything.TIME\" ON EVERYTHING (TIME)");
  Execute(folder / "Tests.db", "INSERT INTO EVERYTHING VALUES ('t', 7, 'k', 'old')");
  Store store(folder.path(), Awkward(), Options());
  auto rows = Rows<Everything>(store);
  ASSERT_EQ(rows.size(), 1U);
  EXPECT_EQ(rows[0].text(), "old");
  rows[0].set_text("new");
  rows[0].add_texts("more");
  EXPECT_EQ(store.Put(rows[0]).updated, 1);
  EXPECT_EQ(Rows<Everything>(store)[0].SerializeAsString(), rows[0].SerializeAsString());
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
  EXPECT_EQ(store.Put(battery).unchanged, 1) << "seen again is not a change";
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
                 {"device_profile.HwBattery", "not a row of", "device_profile.Application"});
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
  // A row that can no longer be read is skipped once.
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
  // A new database numbers its rows again.
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

// Otherwise two writers read, and neither can write before the other has ended.
TEST(StoreSharing, LocksADatabaseBeforeItReads) {
  const Folder folder;
  bool was_locked = false;
  Store(folder.path(), Library(), Options()).Put(profile::Application());
  agent::Connection other(folder / "DeviceProfile.db", std::chrono::milliseconds(0));
  // Asked for the time, a write is within its transaction.
  Store store(folder.path(), Library(), {.clock = [&] {
                was_locked = ErrorOf([&] { other.Execute("BEGIN IMMEDIATE"); }) != "no error";
                other.RollBack();
                return clock_now;
              }});
  store.Put(profile::Application());
  EXPECT_TRUE(was_locked);
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
