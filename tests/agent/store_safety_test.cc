// What other programs and people do to a store's files: whatever it is, it stops nothing else, and
// the store touches nothing that is not its own.
#include <gtest/gtest.h>

#include <fstream>
#include <future>
#include <optional>

#ifndef _WIN32
#include <sys/stat.h>
#endif

#include "ovix/telemetry/contract/storage/cache.pb.h"
#include "ovix/telemetry/contract/storage/device_profile/application.pb.h"
#include "ovix/telemetry/contract/storage/device_profile/device_profile_events.pb.h"
#include "store/files/files.h"
#include "support/folder.h"
#include "support/store.h"

namespace ovix::tests {
namespace {

using agent::Store;
using agent::Table;
namespace fs = std::filesystem;
namespace storage = telemetry::contract::storage;
namespace profile = storage::device_profile;

storage::CollectorCache CacheRow() {
  storage::CollectorCache row;
  row.set_collector("c");
  return row;
}

Store Reader(const Folder& folder) {
  Store::Options options = Options();
  options.access = Store::Access::kRead;
  return Store(folder.path(), Library(), options);
}

TEST(StoreSafety, OneDatabaseThatCannotBeReadStopsNoOther) {
  struct Case {
    const char* said;
    std::function<void(const fs::path&)> spoil;
  };
  std::unique_ptr<agent::Connection> other;
  const Case cases[] = {
      {"switched the database to a write-ahead log",
       [](const fs::path& file) { Execute(file, "PRAGMA journal_mode = WAL"); }},
      {"locked by another program",
       [&](const fs::path& file) {
         other = std::make_unique<agent::Connection>(file, std::chrono::milliseconds(0));
         other->Execute("BEGIN EXCLUSIVE");
       }},
      {"another program's",
       [](const fs::path& file) { Execute(file, "PRAGMA application_id = 7"); }},
  };
  for (const auto& [said, spoil] : cases) {
    SCOPED_TRACE(said);
    const Folder folder;
    const auto row = CacheRow();
    const profile::Application application;
    Store(folder.path(), Library(), Options()).Put({&row, &application});
    spoil(folder / "Cache.db");
    {
      Store reader = Reader(folder);
      const Store::Snapshot snapshot(reader);
      EXPECT_EQ(Rows<profile::Application>(reader).size(), 1U);
      for (int i = 0; i < 2; ++i) {
        ExpectContains(ErrorOf([&] { Rows<storage::CollectorCache>(reader); }), {"Cache.db", said});
      }
    }
    other.reset();
  }
}

// A name in place of a database's, and what the store says of it.
struct NoDatabase {
  const char* said;
  std::function<void(const fs::path&)> make;
};

std::vector<NoDatabase> NoDatabases() {
  std::vector<NoDatabase> all = {
      {"is a folder, not a database; move it away",
       [](const fs::path& file) { fs::create_directory(file); }},
  };
#ifndef _WIN32  // where a link needs a right that few have
  const char* link = "is a symbolic link, which is not followed; move it away";
  all.push_back({link, [](const fs::path& file) {
                   fs::create_symlink(file.parent_path() / "elsewhere.db", file);
                 }});
  all.push_back({link, [](const fs::path& file) { fs::create_symlink("none.db", file); }});
  all.push_back({link, [](const fs::path& file) { fs::create_symlink(file, file); }});
  all.push_back(
      {"is not a file; move it away", [](const fs::path& file) { mkfifo(file.c_str(), 0600); }});
#endif
  return all;
}

TEST(StoreSafety, WhatIsNotAFileIsRefusedAndLeftAlone) {
  for (const auto& [said, make] : NoDatabases()) {
    for (const std::string name : {"DeviceProfile.db", "DeviceProfileEvents.db"}) {
      SCOPED_TRACE(name + " " + said);
      const Folder folder;
      Store(folder.path(), Library(), Options()).Put(profile::Application());
      fs::rename(folder / name, folder / "elsewhere.db");
      make(folder / name);
      const auto before = folder.Contents();
      const std::string line = name + ": " + said;
      Store store(folder.path(), Library(), Options());
      const auto& table =
          Library().Get(name == "DeviceProfile.db" ? profile::Application::descriptor()
                                                   : profile::ApplicationEvents::descriptor());
      ExpectContains(ErrorOf([&] { store.CountRows(table); }), {line.c_str()});
      ExpectContains(ErrorOf([&] { store.Put(profile::Application()); }), {line.c_str()});
      ExpectContains(ErrorOf([&] { agent::Connection(folder / name, Options().patience); }),
                     {line.c_str()});
      EXPECT_EQ(folder.Contents(), before);
    }
  }
}

// Not before it is known whose it is either: SQLite copies what a write-ahead log holds when it
// opens a database.
TEST(StoreSafety, ADatabaseOfAnotherProgramIsNotTouched) {
  struct Case {
    const char* state;
    std::function<void(const fs::path&)> bring_about;
    const char* said;
  };
  const std::string create = "PRAGMA application_id = 77; CREATE TABLE a (b); ";
  const char* const another = "the database is another program's (application_id 77)";
  const auto execute = [](const fs::path& file, const std::string& sql, bool checkpoint) {
    agent::Connection connection(file, std::chrono::seconds(1));
    sqlite3_db_config(connection.handle(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, checkpoint ? 0 : 1,
                      nullptr);
    connection.Execute(sql);
  };
  const Case cases[] = {
      {"with a write-ahead log",
       [&](const fs::path& file) { execute(file, "PRAGMA journal_mode = WAL; " + create, true); },
       another},
      {"with a write-ahead log and no application_id",
       [&](const fs::path& file) {
         execute(file, "PRAGMA journal_mode = WAL; CREATE TABLE a (b)", true);
       },
       "the database has a write-ahead log and no application_id"},
      {"with a write-ahead log that holds rows",
       [&](const fs::path& file) {
         execute(file,
                 create +
                     "PRAGMA journal_mode = WAL; "
                     "CREATE TABLE c (d)",
                 false);
       },
       another},
      {"damaged",
       [&](const fs::path& file) {
         execute(file, create, true);
         std::fstream(file, std::ios::in | std::ios::out | std::ios::binary).seekp(100)
             << "\xff\xff\xff\xff\xff\xff\xff";
       },
       another},
  };
  for (const auto& [state, bring_about, said] : cases) {
    for (const std::string name : {"DeviceProfile.db", "DeviceProfileEvents.db"}) {
      SCOPED_TRACE(name + " " + state);
      const Folder folder;
      Store(folder.path(), Library(), Options()).Put(profile::Application());
      fs::remove(folder / name);
      bring_about(folder / name);
      const auto before = folder.Contents();
      Store store(folder.path(), Library(), Options());
      const auto& table =
          Library().Get(name == "DeviceProfile.db" ? profile::Application::descriptor()
                                                   : profile::ApplicationEvents::descriptor());
      const std::string line = name + ": " + said;
      ExpectContains(ErrorOf([&] { store.CountRows(table); }), {line.c_str()});
      ExpectContains(ErrorOf([&] { store.Put(profile::Application()); }), {line.c_str()});
      store.Trim();
      EXPECT_EQ(folder.Contents(), before);
    }
  }
}

#ifndef _WIN32  // where a link needs a right that few have
// SQLite would write the journal of an attached database over what the link leads to, and wait for
// ever for the other end of a pipe.
TEST(StoreSafety, AJournalThatIsNotAFileIsRefusedAndLeftAlone) {
  for (const std::string name : {"DeviceProfile.db-journal", "DeviceProfileEvents.db-journal"}) {
    for (const bool is_link : {true, false}) {
      SCOPED_TRACE(name);
      const Folder folder;
      folder.Write("of another", "");
      Store(folder.path(), Library(), Options()).Put(profile::Application());
      if (is_link) {
        fs::create_symlink("of another", folder / name);
      } else {
        fs::create_directory(folder / name);
      }
      const auto before = folder.Contents();
      const std::string line = name + ": is a " + (is_link ? "symbolic link" : "folder");
      Store store(folder.path(), Library(), Options());
      ExpectContains(ErrorOf([&] { store.Put(profile::Application()); }), {line.c_str()});
      EXPECT_EQ(folder.Contents(), before);
      EXPECT_TRUE(fs::exists(fs::symlink_status(folder / name)));
    }
  }
}
#endif

TEST(StoreSafety, WhatAKillLeftOfATransactionIsRemovedOnceNothingNeedsIt) {
  const Folder folder;
  Store store(folder.path(), Library(), Options());
  store.Put(profile::Application());
  const std::string left[] = {"DeviceProfile.db-mj0A1B2C9D4", "Cache.db-mjFFFFFF900"};
  const std::string others[] = {"Photos.db-mj0A1B2C9D4", "DeviceProfile.db-mj0A1B2C9D",
                                "DeviceProfile.db-mj0A1B2C8D4"};
  for (const auto& name : left) folder.Write(name, "");
  for (const auto& name : others) folder.Write(name, "");
  store.Put(CacheRow());
  fs::create_directory(folder / "Cache.db-mj000000900");
  // Journals that may refer to them: of a database that may come back, and of one that is written.
  for (const char* database : {"HealthLog.db", "Cache.db"}) {
    const std::string journal = std::string(database) + "-journal";
    agent::Connection other(folder / "Cache.db", std::chrono::milliseconds(0));
    if (std::string(database) == "Cache.db") other.Execute("BEGIN IMMEDIATE");
    folder.Write(journal, std::string(512, '\0'));
    store.Trim();
    for (const auto& name : left) EXPECT_TRUE(fs::exists(folder / name)) << name;
    if (std::string(database) == "HealthLog.db") fs::remove(folder / journal);
  }
  store.TakeProblems();
  store.Trim();
  for (const auto& name : left) EXPECT_FALSE(fs::exists(folder / name)) << name;
  for (const auto& name : others) EXPECT_TRUE(fs::exists(folder / name)) << name;
  EXPECT_TRUE(fs::exists(folder / "Cache.db-mj000000900"));
}

TEST(StoreSafety, ADatabaseThatWasEmptiedIsBegunAnewAndReported) {
  for (const char* name : {"DeviceProfile.db", "DeviceProfileEvents.db"}) {
    SCOPED_TRACE(name);
    const Folder folder;
    profile::Application application;
    {
      Store store(folder.path(), Library(), Options());
      store.Put(application);
      EXPECT_TRUE(store.TakeProblems().empty()) << "a new database is not one that was emptied";
    }
    fs::resize_file(folder / name, 0);
    Store store(folder.path(), Library(), Options());
    for (const size_t reports : {1, 0}) {
      application.set_version(application.version() + "+");
      store.Put(application);
      const auto problems = store.TakeProblems();
      ASSERT_EQ(problems.size(), reports);
      for (const auto& line : problems) {
        ExpectContains(line, {name, ": the database was empty", "a new one was begun"});
      }
    }
  }
}

// How long it takes until an action has failed for a lock, in milliseconds.
int64_t WaitInVain(const std::function<void()>& action) {
  const auto begin = std::chrono::steady_clock::now();
  ExpectContains(ErrorOf(action), {"locked by another program"});
  return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() -
                                                               begin)
      .count();
}

TEST(StoreSafety, LocksAreWaitedForOnceAndNotForEachTable) {
  constexpr int64_t kPatience = 400;
  const Folder folder;
  const auto row = CacheRow();
  const profile::Application application;
  Store::Options options = Options();
  options.patience = std::chrono::milliseconds(kPatience);
  Store store(folder.path(), Library(), options);
  store.Put({&row, &application});
  const auto write = [&] { store.Put(application); };
  const auto write_cache = [&] { store.Put(row); };
  const auto lock = [&](const char* name) {
    auto other = std::make_unique<agent::Connection>(folder / name, std::chrono::milliseconds(0));
    other->Execute("BEGIN EXCLUSIVE");
    return other;
  };
  {
    const auto profile_locked = lock("DeviceProfile.db");
    EXPECT_GE(WaitInVain(write), kPatience);
    int64_t more = 0;
    int tables = 0;
    for (const Table& table : Library().tables()) {
      if (table.database != "DeviceProfile") continue;
      more += WaitInVain([&] { store.CountRows(table); }) + WaitInVain(write);
      ++tables;
    }
    EXPECT_LT(more, tables * kPatience / 4) << "for " << tables << " tables";
    store.Put(row);  // one that is free is not affected
    const auto cache_locked = lock("Cache.db");
    EXPECT_GE(WaitInVain(write_cache), kPatience / 20) << "a short lock stops no other database";
  }
  store.Put({&row, &application});
  const auto locked_again = lock("DeviceProfile.db");
  EXPECT_GE(WaitInVain(write), kPatience) << "what was waited for came in between";
}

TEST(StoreSafety, TheLockOfAFolderIsWaitedForOnce) {
  constexpr int64_t kPatience = 400;
  const Folder folder;
  const auto row = CacheRow();
  Store::Options options = Options();
  options.patience = std::chrono::milliseconds(kPatience);
  Store(folder.path(), Library(), options).Put(row);
  // Held by another thread: on Windows the lock is that of a thread.
  std::promise<void> is_held;
  std::promise<void> can_end;
  auto holder = std::async(std::launch::async, [&] {
    agent::Patience patience(options.patience);
    const agent::FolderLock held(folder.path(), patience);
    is_held.set_value();
    can_end.get_future().wait();
  });
  is_held.get_future().wait();
  Store writer(folder.path(), Library(), options);
  const auto write = [&] { writer.Put(row); };
  EXPECT_EQ(ErrorOf(write).find(agent::Printable(folder.path()) + ": the folder is locked"), 0U);
  EXPECT_LT(WaitInVain(write), kPatience / 2) << "it was waited for already";
  Store second(folder.path(), Library(), options);
  EXPECT_GE(WaitInVain([&] { second.Put(row); }), kPatience);
#ifndef _WIN32  // where readers need no lock
  options.access = Store::Access::kRead;
  Store reader(folder.path(), Library(), options);
  EXPECT_GE(WaitInVain([&] { Rows<storage::CollectorCache>(reader); }), kPatience);
  EXPECT_LT(WaitInVain([&] { const Store::Snapshot snapshot(reader); }), kPatience / 2);
#endif
  can_end.set_value();
  holder.wait();
  write();
  EXPECT_EQ(Rows<storage::CollectorCache>(writer).size(), 1U);
}

#ifndef _WIN32  // where no open file is renamed
TEST(StoreSafety, ReadingWaitsForWhoRenamesFiles) {
  const Folder folder;
  Store(folder.path(), Library(), Options()).Put(profile::Application());
  Store::Options options = Options();
  options.patience = std::chrono::seconds(5);
  options.access = Store::Access::kRead;
  Store reader(folder.path(), Library(), options);
  for (const bool is_open : {false, true}) {
    SCOPED_TRACE(is_open);
    agent::Patience patience(options.patience);
    std::optional<agent::FolderLock> renaming(std::in_place, folder.path(), patience);
    auto rows =
        std::async(std::launch::async, [&] { return Rows<profile::Application>(reader).size(); });
    EXPECT_EQ(rows.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
    renaming.reset();
    EXPECT_EQ(rows.get(), 1U);
  }
}

TEST(StoreSafety, TheFolderMayBeALink) {
  const Folder folder;
  fs::create_directory(folder / "store");
  fs::create_directory_symlink("store", folder / "link");
  Store(folder / "link", Library(), Options()).Put(profile::Application());
  Store store(folder / "store", Library(), Options());
  EXPECT_EQ(Rows<profile::Application>(store).size(), 1U);
}
#endif

}  // namespace
}  // namespace ovix::tests
