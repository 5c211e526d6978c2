// Uploads: every row goes out once, whatever stops them, and the outbox keeps its limits.
#include "uploader/upload.h"

#include <gtest/gtest.h>

#include <set>

#include "ovix/telemetry/contract/storage/device_health/battery.pb.h"
#include "ovix/telemetry/contract/storage/device_profile/application.pb.h"
#include "ovix/telemetry/contract/storage/device_profile/device.pb.h"
#include "ovix/telemetry/contract/upload/analytics/pcAppInventorySummaryAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/log/hardware/hwBatteryHealthLogAsCDM.pb.h"
#include "store/time.h"
#include "support/folder.h"
#include "support/memory_files.h"
#include "support/outbox.h"

namespace ovix::tests {
namespace {

using agent::Catalogue;
using agent::Label;
using agent::Outbox;
using agent::Store;
using agent::UploadLog;
using agent::UploadResult;
namespace storage = telemetry::contract::storage;
namespace upload = telemetry::contract::upload;

class Uploads : public testing::Test {
 protected:
  Uploads() : store_(folder_ / "store", catalogue_, {.clock = [] { return kNow; }}) {}

  void AddReading(const std::string& serial) {
    storage::device_health::BatteryHealthLog log;
    log.set_time(agent::TimeText(kNow));
    log.set_serial_number(serial);
    store_.Put(log);
  }
  UploadResult Run(std::chrono::system_clock::time_point now = kNow,
                   agent::OutboxLimits limits = {}) {
    UploadLog log(folder_ / "store", files_);
    Outbox outbox("", kMake, files_);
    return agent::Upload(store_, catalogue_, kDevice, limits, now, log, outbox);
  }
  // The ids under which each event of the store is in the outbox, by its name.
  void SeeEvents(std::map<std::string, std::multiset<std::string>>& seen) {
    for (const auto& [name, content] : files_.Contents()) {
      const auto label = name.ends_with(".json") ? Label::FromJson(content) : std::nullopt;
      if (!label) continue;
      const std::string payload = files_.Contents().at(label->FileStem() + ".binpb");
      upload::log::hardware::HwBatteryHealthLogAsCDM reading;
      upload::analytics::PcAppInventorySummaryAsCDM inventory;
      if (label->message == reading.GetDescriptor()->full_name()) {
        ASSERT_TRUE(reading.ParseFromString(payload));
        seen[reading.battery_serial_number()].insert(label->id);
      } else if (label->message == inventory.GetDescriptor()->full_name()) {
        ASSERT_TRUE(inventory.ParseFromString(payload));
        for (const auto& entry : inventory.app_inventory().summary()) {
          seen[entry.app_product_name()].insert(label->id);
        }
      }
    }
  }
  static std::set<std::string> Messages(const UploadResult& result) {
    std::set<std::string> messages;
    for (const auto& sent : result.sent) {
      messages.insert(sent.label.message.substr(sent.label.message.rfind('.') + 1));
    }
    return messages;
  }

  const Folder folder_;
  const Catalogue catalogue_;
  Store store_;
  MemoryFiles files_;
};

TEST_F(Uploads, LeaveAloneWhatStandsInTheOutboxAlready) {
  AddReading("1");
  const std::filesystem::path log = folder_ / "store/Upload.db";
  const std::filesystem::path log_then = folder_ / "Upload.db";
  int call = 0;
  for (bool happened = true; happened; ++call) {
    files_ = MemoryFiles();
    std::filesystem::remove(log);
    files_.Plan(MemoryFiles::Fault::kKill, call);
    try {
      Run();
    } catch (const MemoryFiles::Killed&) {
    }
    happened = files_.happened();
    files_.Restart();
    if (!happened || !std::filesystem::exists(log)) continue;
    const MemoryFiles files_then = files_;
    const auto stood = files_.Contents();
    // Removed first: MinGW's copy_file does not overwrite.
    std::filesystem::remove(log_then);
    std::filesystem::copy_file(log, log_then);
    // The next run goes on from there, and meets a full disk at any call.
    bool failed = true;
    for (int next = 0; failed; ++next) {
      SCOPED_TRACE(std::to_string(call) + " " + std::to_string(next));
      files_ = files_then;
      std::filesystem::remove(log);
      std::filesystem::copy_file(log_then, log);
      files_.Plan(MemoryFiles::Fault::kFail, next);
      try {
        Run();
      } catch (const std::runtime_error&) {
      }
      failed = files_.happened();
      files_.Restart();
      const auto stands = files_.Contents();
      for (const auto& [name, content] : stood) {
        const auto label = name.ends_with(".json") ? Label::FromJson(content) : std::nullopt;
        if (!label) continue;
        EXPECT_TRUE(stands.contains(name)) << name;
        EXPECT_TRUE(stands.contains(label->FileStem() + ".binpb")) << name;
      }
    }
  }
  EXPECT_GT(call, 10);
}

TEST_F(Uploads, SendEveryEventOnceWhateverStopsThem) {
  storage::device_profile::Application application;
  application.set_name("application");
  store_.Put(application);
  for (const char* serial : {"1", "2"}) AddReading(serial);
  int call = 0;
  for (bool happened = true; happened; ++call) {
    for (const int kept : {-2, -1, 0}) {
      SCOPED_TRACE(std::to_string(call) + " " + std::to_string(kept));
      files_ = MemoryFiles();
      std::filesystem::remove(folder_ / "store/Upload.db");
      files_.Plan(kept == -2 ? MemoryFiles::Fault::kFail : MemoryFiles::Fault::kKill, call);
      try {
        Run();
      } catch (const MemoryFiles::Killed&) {
      } catch (const std::runtime_error&) {
      }
      happened = files_.happened();
      std::map<std::string, std::multiset<std::string>> before;
      if (kept >= 0) files_.LosePower(static_cast<unsigned>(kept));
      files_.Restart();
      Labelled(files_.Contents());
      SeeEvents(before);
      EXPECT_TRUE(Run().problems.empty());
      Whole(files_.Contents());
      std::map<std::string, std::multiset<std::string>> after;
      SeeEvents(after);
      ASSERT_EQ(after.size(), 3U);
      for (const auto& [name, ids] : after) {
        ASSERT_EQ(ids.size(), 1U) << name << " went out more than once";
        if (before.contains(name)) {
          EXPECT_EQ(before[name], ids) << name << " went out under two ids";
        }
      }
    }
  }
  EXPECT_GT(call, 40);

  // And only what is new from then on.
  AddReading("3");
  const UploadResult next = Run();
  EXPECT_EQ(Messages(next), (std::set<std::string>{"HwBatteryHealthLogAsCDM",
                                                   "TarvelAgentTelemetryStorageUsageAsCDM"}));
  std::map<std::string, std::multiset<std::string>> all;
  SeeEvents(all);
  EXPECT_EQ(all.size(), 4U);
  for (const auto& [name, ids] : all) EXPECT_EQ(ids.size(), 1U) << name;
}

TEST_F(Uploads, NumberEachPayloadAnewAndNeverTwice) {
  std::set<int64_t> numbers;
  int64_t last = 0;
  const auto note = [&](const UploadResult& result) {
    ASSERT_EQ(result.sent.size(), 2U);
    for (const auto& sent : result.sent) {
      EXPECT_GT(sent.label.sequence, last);
      last = sent.label.sequence;
      EXPECT_EQ(sent.label.device, kDevice);
      EXPECT_EQ(sent.label.created, agent::TimeText(kNow));
    }
  };
  AddReading("1");
  note(Run());
  AddReading("2");
  note(Run());
  // The store's files are lost and the clock has gone back: the outbox still knows.
  std::filesystem::remove(folder_ / "store/Upload.db");
  files_.Remove(UploadLog::kSequenceFile);
  AddReading("3");
  const UploadResult again = Run(kNow - std::chrono::days(400));
  for (const auto& sent : again.sent) EXPECT_GT(sent.label.sequence, last);
}

TEST_F(Uploads, SendASnapshotAgainWhenItChangesAndOnceADay) {
  storage::device_profile::Device device;
  device.set_device_unique_id("a");
  store_.Put(device);
  EXPECT_TRUE(Messages(Run()).contains("IdentityAsCDM"));
  const UploadResult second = Run(kNow + std::chrono::hours(23));
  EXPECT_TRUE(second.sent.empty());
  EXPECT_GT(second.as_before, 2);
  device.set_manufacturer("m");
  store_.Put(device);
  EXPECT_EQ(Messages(Run(kNow + std::chrono::hours(23))),
            (std::set<std::string>{"IdentityAsCDM", "TarvelAgentTelemetryStorageUsageAsCDM"}));
  EXPECT_TRUE(Messages(Run(kNow + std::chrono::hours(24))).contains("IdentityAsCDM"));
}

TEST_F(Uploads, KeepTheOutboxWithinItsLimitsAndSayWhatTheyDrop) {
  AddReading(std::string(1000, 'x'));
  Run();
  const size_t first = Whole(files_.Contents()).size();
  // A clock that is a year ahead, or goes back and forth, makes nothing old.
  for (const int days : {365, 0, 365, 0}) {
    EXPECT_TRUE(Run(kNow + std::chrono::days(days)).notes.empty());
  }
  // Thirty-one days of a run each do.
  std::string said;
  int day = 1;
  for (; said.empty() && day < 40; ++day) {
    const UploadResult result = Run(kNow + std::chrono::days(day));
    if (!result.notes.empty()) said = result.notes[0];
  }
  EXPECT_EQ(day - 1, 28) << "two jumps cost two days";
  EXPECT_NE(said.find("dropped from the outbox: " + std::to_string(first) + " payloads ("),
            std::string::npos)
      << said;
  EXPECT_NE(said.find("older than 30 days"), std::string::npos) << said;

  // The oldest go for space.
  AddReading(std::string(1000, 'y'));
  const UploadResult full = Run(kNow + std::chrono::days(day), {.max_bytes = 3000});
  ASSERT_FALSE(full.notes.empty());
  EXPECT_NE(full.notes.back().find("the oldest, beyond 3000 bytes"), std::string::npos);
  uint64_t bytes = 0;
  for (const auto& [name, content] : files_.Contents()) {
    if (agent::ParseOutboxName(name)) bytes += content.size();
  }
  EXPECT_LE(bytes, 3000U);
  EXPECT_GT(bytes, 1000U);
}

TEST_F(Uploads, WaitInTheStoreWhereTheOutboxCannotBeWritten) {
  AddReading("1");
  files_.Plan(MemoryFiles::Fault::kFail, 12);  // the first payload's content
  const UploadResult failed = Run();
  ASSERT_EQ(failed.problems.size(), 1U);
  EXPECT_NE(failed.problems[0].find("1 payload waits in the store"), std::string::npos)
      << failed.problems[0];
  EXPECT_EQ(failed.problems[0].find('\n'), std::string::npos);
  files_.Restart();
  EXPECT_EQ(Messages(Run()), (std::set<std::string>{"HwBatteryHealthLogAsCDM"}));
}

TEST_F(Uploads, BuildNothingMoreWhileEarlierPayloadsWait) {
  AddReading("1");
  files_.Plan(MemoryFiles::Fault::kFail, 12);
  Run();
  files_.Restart();
  AddReading("2");
  files_.Plan(MemoryFiles::Fault::kFail, 5);
  const UploadResult waiting = Run();
  EXPECT_TRUE(waiting.built.payloads.empty() && waiting.sent.empty());
  ASSERT_EQ(waiting.problems.size(), 1U);
  EXPECT_NE(waiting.problems[0].find("1 payload waits in the store"), std::string::npos);
  files_.Restart();
  const UploadResult then = Run();
  ASSERT_EQ(then.sent.size(), 3U);
  for (size_t i = 1; i < then.sent.size(); ++i) {
    EXPECT_LT(then.sent[i - 1].label.sequence, then.sent[i].label.sequence);
  }
}

}  // namespace
}  // namespace ovix::tests
