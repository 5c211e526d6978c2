#include "store/store.h"

#include <gtest/gtest.h>

#include "ovix/telemetry/contract/storage/device_profile/device_profile_events.pb.h"
#include "ovix/telemetry/contract/storage/device_updates/windows_updates.pb.h"
#include "ovix/telemetry/contract/storage/device_updates/windows_updates_events.pb.h"
#include "ovix/telemetry/contract/storage/device_usage/windows_events_cache.pb.h"
#include "store/time.h"
#include "store_test.pb.h"
#include "support/folder.h"
#include "support/store.h"

namespace ovix::tests {
namespace {

using agent::Changes;
using agent::Store;
using google::protobuf::Message;
namespace storage = telemetry::contract::storage;
namespace profile = storage::device_profile;

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
  EXPECT_EQ(changes.dropped.at(what), 5) << "what was dropped is reported by table and limit";
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
        EXPECT_GE(changes.clock_ahead_days, day - 10) << "and is reported";
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

}  // namespace
}  // namespace ovix::tests
