// Every operation of the store over a disk that fails at every one of its own: what was
// acknowledged is there, what was refused is not, in all files of a write alike.
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <chrono>
#include <functional>
#include <set>

#include "store/store.h"
#include "store/time.h"
#include "store_faults_test.pb.h"
#include "support/fault_vfs.h"
#include "support/folder.h"

namespace ovix::tests {
namespace {

using agent::Catalogue;
using agent::Store;
using agent::StoreError;
using std::filesystem::path;

constexpr std::chrono::sys_days kToday{std::chrono::year(2026) / 11 / 21};
// The same length as a page and no database.
const std::string kRubbish(4096, 'x');

const Catalogue& Tables() {
  static const Catalogue catalogue({Thing::descriptor(), ThingEvents::descriptor(),
                                    Reading::descriptor(), FaultsBulk::descriptor(),
                                    Bulk::descriptor()});
  return catalogue;
}

std::string DaysAgo(int days) { return agent::TimeText(kToday - std::chrono::days(days)); }

Thing MakeThing(const std::string& name, uint32_t value, int days_ago = 0) {
  Thing thing;
  thing.set_time(DaysAgo(days_ago));
  thing.set_name(name);
  thing.set_value(value);
  return thing;
}

Reading MakeReading(uint64_t id, int days_ago = 0) {
  Reading reading;
  reading.set_id(id);
  reading.set_time(DaysAgo(days_ago));
  reading.set_value(7);
  return reading;
}

Bulk MakeBulk(int number) {
  Bulk bulk;
  bulk.set_time(DaysAgo(1));
  bulk.set_data(std::string(60'000, static_cast<char>('a' + number)));
  return bulk;
}

template <typename... Records>
void Put(Store& store, const Records&... records) {
  store.Put(std::vector<const google::protobuf::Message*>{&records...});
}

Store::Options Options(int days_ago = 0) {
  return {.patience = std::chrono::milliseconds(0),
          .clock = [=] { return kToday - std::chrono::days(days_ago); }};
}

// --- What is in the files, read by SQLite alone

struct Close {
  void operator()(sqlite3* handle) const { sqlite3_close(handle); }
};

std::unique_ptr<sqlite3, Close> Open(const path& file, int flags = 0) {
  sqlite3* handle = nullptr;
  sqlite3_open_v2(file.c_str(), &handle, SQLITE_OPEN_READWRITE | flags, nullptr);
  return std::unique_ptr<sqlite3, Close>(handle);
}

// The rows of a query, a line each; where it fails, why.
std::string Query(sqlite3* handle, const std::string& sql) {
  std::string rows;
  const auto add = [](void* text, int columns, char** values, char**) {
    for (int i = 0; i < columns; ++i) {
      const std::string value = values[i] == nullptr ? "NULL" : values[i];
      *static_cast<std::string*>(text) +=
          (value.size() < 500 ? value : "#" + std::to_string(std::hash<std::string>()(value))) +
          (i + 1 < columns ? "|" : "\n");
    }
    return 0;
  };
  const int code = sqlite3_exec(handle, sql.c_str(), add, &rows, nullptr);
  return code == SQLITE_OK ? rows : sqlite3_errmsg(handle);
}

// Every table, index and row of every database; an empty file is not a database.
std::string Dump(const path& folder) {
  std::string dump;
  for (const char* name : {"Faults", "FaultsLog", "FaultsBulk"}) {
    const path file = folder / (std::string(name) + ".db");
    if (!std::filesystem::exists(file)) continue;
    const auto database = Open(file);
    const std::string check = Query(database.get(), "PRAGMA integrity_check");
    std::string content;
    if (check != "ok\n") content += check + "\n";
    content += Query(database.get(), "SELECT sql FROM sqlite_schema ORDER BY name");
    for (const agent::Table& table : Tables().tables()) {
      if (table.database == name && content.find("TABLE \"" + table.name) != std::string::npos) {
        content += Query(database.get(), "SELECT _rowid_, * FROM \"" + table.name + "\"");
      }
    }
    if (content.find("\"_store\"") != std::string::npos) {
      content += Query(database.get(), "SELECT * FROM _store WHERE name <> 'database'");
    }
    if (!content.empty()) dump += std::string("--- ") + name + "\n" + content;
  }
  return dump;
}

using Files = std::map<std::string, std::string>;

Files ReadFiles(const path& folder) {
  Files files;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    files[Utf8(entry.path().filename())] = ReadFile(entry.path());
  }
  return files;
}

void WriteFiles(const path& folder, const Files& files) {
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    std::filesystem::remove(entry.path());
  }
  for (const auto& [name, bytes] : files) std::ofstream(folder / name, std::ios::binary) << bytes;
}

// --- The operations

struct Scenario {
  const char* name;
  std::function<void(FaultVfs&, const path&)> prepare;
  std::function<void(Store&)> act;
  // Does several writes, of which each is whole or not at all.
  bool several = false;
  bool heals = false;  // may report what it found damaged
};

void Fill(FaultVfs&, const path& folder) {
  {
    Store store(folder, Tables(), Options(4));
    Put(store, MakeThing("old", 1, 4), MakeThing("kept", 2, 4), MakeReading(10, 4),
        MakeReading(4, 4));
  }
  Store store(folder, Tables(), Options(1));
  Put(store, MakeThing("new", 3, 1), MakeReading(7, 1), MakeReading(5, 1));
}

// What release 1.0.0 would have left, with a column less.
void FillOld(FaultVfs& vfs, const path& folder) {
  Fill(vfs, folder);
  const auto database = Open(folder / "Faults.db");
  EXPECT_EQ(Query(database.get(),
                  "DROP INDEX \"Reading.arrival\"; DROP INDEX \"Reading.time\";"
                  "ALTER TABLE Reading DROP COLUMN _arrival;"
                  "ALTER TABLE Reading DROP COLUMN value; ALTER TABLE Thing DROP COLUMN value;"
                  "DROP TABLE _store; PRAGMA application_id = 0; PRAGMA user_version = 0"),
            "");
}

// On large pages, so that few operations move much.
void FillBulk(FaultVfs&, const path& folder) {
  EXPECT_EQ(Query(Open(folder / "FaultsBulk.db", SQLITE_OPEN_CREATE).get(),
                  "PRAGMA page_size = 65536; PRAGMA auto_vacuum = INCREMENTAL;"
                  "CREATE TABLE t (c); DROP TABLE t"),
            "");
  Store store(folder, Tables(), Options(1));
  for (int i = 0; i < 16; ++i) Put(store, MakeBulk(i));
}

// A write over two files that lost its power as late as it could without being done.
void FillAndCrash(FaultVfs& vfs, const path& folder) {
  Fill(vfs, folder);
  const Files before = ReadFiles(folder);
  Files crashed;
  for (int at = 1;; ++at) {
    WriteFiles(folder, before);
    vfs.Arm({.kind = Fault::Kind::kPowerLoss, .at = at});
    try {
      Store store(folder, Tables(), Options());
      Put(store, MakeThing("lost", 1), MakeReading(99));
    } catch (const StoreError&) {
    }
    const bool struck = vfs.Disarm();
    vfs.RestorePower(FaultVfs::Unsynced::kKept, 0);
    Files files = ReadFiles(folder);
    const bool has_super_journal = std::any_of(files.begin(), files.end(), [](const auto& file) {
      return file.first.find("-mj") != std::string::npos;
    });
    if (has_super_journal) crashed = std::move(files);
    if (!struck) break;
  }
  ASSERT_FALSE(crashed.empty());
  WriteFiles(folder, crashed);
}

const std::set<std::string> kRows = {"old", "kept", "new"};

std::vector<Scenario> Scenarios() {
  return {
      {"CreatesItsDatabases", [](FaultVfs&, const path&) {},
       [](Store& store) { Put(store, MakeThing("a", 1), MakeReading(2)); }},
      {"PutsAndUpdates", Fill,
       [](Store& store) {
         Put(store, MakeThing("kept", 9), MakeThing("another", 9), MakeReading(1));
       }},
      {"PutsAndDropsRows", Fill,
       [](Store& store) { Put(store, MakeReading(1), MakeReading(2), MakeReading(3)); }},
      {"Replaces", Fill,
       [](Store& store) {
         const Thing changed = MakeThing("kept", 9);
         const Thing added = MakeThing("another", 9);
         store.Replace(Thing::descriptor(), {&changed, &added});
       }},
      {"Erases", Fill,
       [](Store& store) {
         if (!store.Erase(MakeThing("old", 0))) throw StoreError("was not there");
       }},
      {"Trims", Fill,
       [](Store& store) {
         store.Trim();
         const auto problems = store.TakeProblems();
         if (!problems.empty()) throw StoreError(problems[0]);
       },
       true},
      {"KeepsItsSize", FillBulk,
       [](Store& store) { Put(store, MakeBulk(16), MakeBulk(17), MakeBulk(18)); }},
      {"MigratesATable", FillOld,
       [](Store& store) { Put(store, MakeThing("kept", 9), MakeReading(1)); }},
      {"RollsBackACrashAndWrites", FillAndCrash,
       [](Store& store) { Put(store, MakeThing("kept", 9), MakeReading(1)); }},
      {"RollsBackACrashAndReads", FillAndCrash,
       [](Store& store) {
         std::set<std::string> rows;
         store.Read(Thing::descriptor(), [&](const google::protobuf::Message& row) {
           rows.insert(static_cast<const Thing&>(row).name());
         });
         EXPECT_EQ(rows, kRows);
       }},
      {"ReadsAndCounts", Fill,
       [](Store& store) {
         const Store::Snapshot snapshot(store);
         std::vector<uint64_t> ids;
         store.ReadAfter(Reading::descriptor(), {}, 10,
                         [&](const google::protobuf::Message& row, const agent::Cursor&) {
                           ids.push_back(static_cast<const Reading&>(row).id());
                         });
         EXPECT_EQ(ids, (std::vector<uint64_t>{10, 4, 7, 5}));
         EXPECT_EQ(store.CountChanges(Tables().Get(Thing::descriptor())), 3);
       }},
      {"SetsADamagedDatabaseAside",
       [](FaultVfs& vfs, const path& folder) {
         Fill(vfs, folder);
         std::ofstream(folder / "Faults.db", std::ios::binary) << kRubbish;
       },
       [](Store& store) { Put(store, MakeThing("kept", 9), MakeReading(1)); }, true, true},
  };
}

struct Case {
  Fault fault;
  const char* name;
};

std::vector<Case> Cases() {
  using Kind = Fault::Kind;
  std::vector<Case> cases;
  for (const auto& [operation, name] :
       std::initializer_list<std::pair<Operation, const char*>>{{Operation::kOpen, "open"},
                                                                {Operation::kRead, "read"},
                                                                {Operation::kWrite, "write"},
                                                                {Operation::kSync, "sync"},
                                                                {Operation::kTruncate, "truncate"},
                                                                {Operation::kDelete, "delete"}}) {
    cases.push_back({{Kind::kFail, operation}, name});
    cases.push_back({{Kind::kBreak, operation}, name});
  }
  cases.push_back({{Kind::kTear}, "torn write"});
  cases.push_back({{Kind::kFull}, "full disk"});
  return cases;
}

class StoreFaults : public testing::TestWithParam<Scenario> {
 protected:
  void SetUp() override {
    GetParam().prepare(vfs_, folder_.path());
    template_ = ReadFiles(folder_.path());
    ASSERT_FALSE(HasFatalFailure());
    before_ = Dump(folder_.path());
    WriteFiles(folder_.path(), template_);
    Store store(folder_.path(), Tables(), Options());
    ASSERT_TRUE(Acts(store));
    after_ = Dump(folder_.path());
    if (GetParam().several) between_.insert(after_);
    if (!GetParam().heals) return;
    // Renamed, and nothing begun in its place.
    Files files = template_;
    files.erase("Faults.db");
    WriteFiles(folder_.path(), files);
    between_.insert(Dump(folder_.path()));
  }

  // Whether the operation was acknowledged; any exception but the store's own fails the test.
  bool Acts(Store& store) {
    try {
      GetParam().act(store);
    } catch (const StoreError& error) {
      EXPECT_EQ(std::string(error.what()).find('\n'), std::string::npos);
      last_error_ = error.what();
      return false;
    } catch (const std::exception& error) {
      ADD_FAILURE() << "not an error of the store's own: " << error.what();
    }
    return true;
  }

  void ExpectWhole(bool is_acknowledged, bool may_be_done = false) {
    const std::string found = Dump(folder_.path());
    if (is_acknowledged) {
      EXPECT_EQ(found, after_) << "acknowledged, but not there";
    } else if (!(may_be_done && found == after_) && !between_.contains(found)) {
      EXPECT_EQ(found, before_) << "refused, but there: " << last_error_;
    }
    for (const auto& [name, bytes] : template_) {
      if (bytes != kRubbish) continue;
      const Files files = ReadFiles(folder_.path());
      EXPECT_TRUE(std::any_of(files.begin(), files.end(), [](const auto& file) {
        return file.second == kRubbish;
      })) << "what was damaged is gone";
    }
  }

  const Folder folder_;
  FaultVfs vfs_{folder_.path()};
  Files template_;
  std::string before_, after_, last_error_;
  std::set<std::string> between_;
};

INSTANTIATE_TEST_SUITE_P(Store, StoreFaults, testing::ValuesIn(Scenarios()),
                         [](const auto& info) { return info.param.name; });

TEST_P(StoreFaults, LeaveEachWriteWholeOrUndone) {
  int runs = 0;
  for (const auto& [planned, name] : Cases()) {
    Fault fault = planned;
    for (bool struck = true; struck; ++fault.at, ++runs) {
      SCOPED_TRACE(std::string(name) + " " + std::to_string(fault.at) +
                   (fault.kind == Fault::Kind::kBreak ? ", and all after it" : ""));
      WriteFiles(folder_.path(), template_);
      vfs_.Arm(fault);
      Store store(folder_.path(), Tables(), Options());
      const bool is_acknowledged = Acts(store);
      struck = vfs_.Disarm();
      EXPECT_TRUE(struck || is_acknowledged) << last_error_;
      ExpectWhole(is_acknowledged);
      // The same store goes on when the disk is well again.
      if (!is_acknowledged) {
        const bool was_done = Dump(folder_.path()) == after_;
        EXPECT_TRUE(Acts(store)) << last_error_;
        if (!was_done) ExpectWhole(true);
      }
      // A disk that lets nothing be undone or removed keeps the empty files of a first write.
      for (const std::string& line : store.TakeProblems()) {
        const bool is_left = before_.empty() && line.find("was empty") != std::string::npos;
        EXPECT_TRUE(GetParam().heals || (is_left && !is_acknowledged)) << line;
      }
      if (HasFailure()) return;
    }
  }
  RecordProperty("runs", runs);
}

TEST_P(StoreFaults, LoseNothingAcknowledgedToALossOfPower) {
  int runs = 0;
  for (const auto unsynced :
       {FaultVfs::Unsynced::kLost, FaultVfs::Unsynced::kKept, FaultVfs::Unsynced::kSomeKept}) {
    int at = 1;
    for (bool struck = true; struck; ++at, ++runs) {
      SCOPED_TRACE("power lost at change " + std::to_string(at) + ", unsynced changes " +
                   std::to_string(static_cast<int>(unsynced)));
      WriteFiles(folder_.path(), template_);
      vfs_.Arm({.kind = Fault::Kind::kPowerLoss, .at = at});
      bool is_acknowledged;
      {
        Store store(folder_.path(), Tables(), Options());
        is_acknowledged = Acts(store);
      }
      struck = vfs_.Disarm();
      vfs_.RestorePower(unsynced, static_cast<uint32_t>(at));
      ExpectWhole(is_acknowledged, true);
      if (HasFailure()) return;
    }
  }
  RecordProperty("runs", runs);
}

}  // namespace
}  // namespace ovix::tests
