#include "store/store.h"

#include <gtest/gtest.h>

#include <thread>

#include "ovix/telemetry/contract/storage/device_health/battery.pb.h"
#include "ovix/telemetry/contract/storage/device_profile/application.pb.h"
#include "ovix/telemetry/contract/storage/device_profile/device_profile_events.pb.h"
#include "ovix/telemetry/contract/storage/device_usage/windows_events_cache.pb.h"
#include "store_test.pb.h"
#include "support/folder.h"
#include "support/store.h"

namespace ovix::tests {
namespace {

using agent::Catalogue;
using agent::Changes;
using agent::Store;
using google::protobuf::Message;
namespace storage = telemetry::contract::storage;
namespace profile = storage::device_profile;

TEST(StoreErrors, NameWhatCannotBeStored) {
  const Folder folder;
  Store store(folder.path(), Library(), Options());
  ExpectContains(ErrorOf([&] { store.Put(storage::device_health::BatteryStatus()); }),
                 {"ovix.telemetry.contract.storage.device_health.BatteryStatus", "is not a table"});
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
                   {file, "damaged", "was renamed to", ".db.damaged-20261121T000000000Z"});
    EXPECT_EQ(problems[0].find('\n'), std::string::npos);
    EXPECT_TRUE(store.TakeProblems().empty());
    // What was renamed stays, whatever comes after it.
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

TEST(StoreErrors, NameTheAttachedDatabaseThatRefusesARow) {
  const Folder folder;
  profile::Application application;
  Store(folder.path(), Library(), Options()).Put(application);
  agent::Connection(folder / "DeviceProfileEvents.db", std::chrono::milliseconds(0))
      .Execute(
          "CREATE TRIGGER t BEFORE INSERT ON ApplicationEvents "
          "BEGIN SELECT RAISE(ABORT, 'no more'); END");
  application.set_name("new");
  Store store(folder.path(), Library(), Options());
  ExpectContains(ErrorOf([&] { store.Put(application); }), {"DeviceProfileEvents.db: ", "no more"});
}

// Another store may have made a new one before this one has the folder's lock.
TEST(StoreErrors, DoNotSetAsideADatabaseThatIsSoundAgain) {
  static int opens_left = 0;
  static std::function<void()> repair;
  const auto on_open = +[](sqlite3* opened, char**, const void*) {
    const std::string file = sqlite3_db_filename(opened, "main");
    if (file.ends_with("DeviceProfile.db") && --opens_left == 0) repair();
    return SQLITE_OK;
  };
  const auto extension = reinterpret_cast<void (*)()>(on_open);
  // The store opens the file to close it to others, to see whose it is, to write, and to see
  // whether it is still damaged; all that comes later is too late.
  for (const int opens : {4, 5}) {
    const Folder folder;
    Store(folder.path(), Library(), Options()).Put(profile::Application());
    const std::string sound = folder.Read("DeviceProfile.db");
    folder.Write("DeviceProfile.db", "no database, but long enough to be read as one");
    repair = [&] { folder.Write("DeviceProfile.db", sound); };
    opens_left = opens;
    sqlite3_auto_extension(extension);
    Store store(folder.path(), Library(), Options());
    store.Put(profile::Application());
    sqlite3_cancel_auto_extension(extension);
    EXPECT_EQ(store.TakeProblems().size(), opens == 4 ? 0U : 1U);
    EXPECT_EQ(folder.Contents().size(), opens == 4 ? 2U : 3U);
  }
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
      aside += Utf8(entry.path().filename()).find(".damaged-") != std::string::npos;
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
  EXPECT_EQ(log.back().previous_state().find("uint32"), std::string::npos) << "it is not known";
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

}  // namespace
}  // namespace ovix::tests
