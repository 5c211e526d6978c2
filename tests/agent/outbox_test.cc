// The outbox and the upload: what is acknowledged stands, what is refused does not, whatever fails.
#include "uploader/outbox.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "device_id.h"
#include "ovix/telemetry/contract/storage/device_health/battery.pb.h"
#include "ovix/telemetry/contract/storage/device_profile/application.pb.h"
#include "ovix/telemetry/contract/storage/device_profile/device.pb.h"
#include "ovix/telemetry/contract/upload/agent/tarvelAgentTelemetryStorageUsageAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/analytics/pcAppInventorySummaryAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/device_profile/identityAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/log/hardware/hwBatteryHealthLogAsCDM.pb.h"
#include "store/json.h"
#include "store/time.h"
#include "support/folder.h"
#include "support/memory_files.h"
#include "system/hash.h"
#include "uploader/upload.h"

namespace ovix::tests {
namespace {

using agent::Catalogue;
using agent::Files;
using agent::Label;
using agent::Outbox;
using agent::Store;
using agent::UploadLock;
using agent::UploadLog;
using agent::UploadResult;
namespace storage = telemetry::contract::storage;
namespace upload = telemetry::contract::upload;
using upload::device_profile::IdentityAsCDM;

const std::chrono::system_clock::time_point kNow =
    std::chrono::sys_days(std::chrono::year(2026) / 11 / 21);
constexpr char kDevice[] = "5c91a2bf-2873-8c8c-9f56-07345e9936b3";
constexpr auto kMake = UploadLock::IfMissing::kMake;

Label LabelOf(const std::string& bytes, int64_t sequence) {
  return agent::MakeLabel(IdentityAsCDM::descriptor(), bytes, kDevice, agent::TimeText(kNow),
                          sequence);
}

// The payloads by id, as a sender finds them. Fails the test where a label and its payload do not
// fit.
std::map<std::string, std::string> Labelled(const std::map<std::string, std::string>& contents) {
  std::map<std::string, std::string> whole;
  for (const auto& [name, content] : contents) {
    if (!agent::ParseOutboxName(name) || !name.ends_with(".json")) continue;
    const auto label = Label::FromJson(content);
    if (!label) {
      ADD_FAILURE() << name << " is no label: " << content;
      continue;
    }
    const auto payload = contents.find(label->FileStem() + ".binpb");
    if (payload == contents.end() ||
        agent::Hexadecimal(agent::Sha256(payload->second)) != label->sha256) {
      ADD_FAILURE() << name << " has not the payload that it says";
      continue;
    }
    EXPECT_EQ(label->FileStem() + ".json", name);
    whole[label->id] = payload->second;
  }
  return whole;
}

// The same where an upload has cleaned up: there is nothing else of ours.
std::map<std::string, std::string> Whole(const std::map<std::string, std::string>& contents) {
  const auto whole = Labelled(contents);
  const auto is_ours = [](const auto& file) {
    return agent::ParseOutboxName(file.first).has_value();
  };
  EXPECT_EQ(std::count_if(contents.begin(), contents.end(), is_ours),
            static_cast<int64_t>(whole.size() * 2))
      << "something is left over";
  return whole;
}

// --- Labels and ids

TEST(Labels, SayWhatTheyShouldAndReadBack) {
  const std::string bytes(
      "\x0a\x05"
      "1.1.0"
      "\x12\x03"
      "abc");
  const Label label = LabelOf(bytes, 7);
  const std::string stem = "20261121T000000000Z-0000000000007-IdentityAsCDM";
  // The hash and the id by another program.
  EXPECT_EQ(label.ToJson(),
            "{\n  \"gun\": \"com.ovix.cdm.domain.telemetry.type.eventDetail.category.pcIdentity."
            "version.1\",\n  \"version\": \"1.1.0\",\n  \"message\": "
            "\"ovix.telemetry.contract.upload.device_profile.IdentityAsCDM\",\n  \"payload\": \"" +
                stem +
                ".binpb\",\n  \"bytes\": 12,\n  \"sha256\": "
                "\"5f558f7826b06b2b747c4b75030327f6ca2ce1a5ebe577aa94ae23298d21f668\",\n  "
                "\"device\": \"5c91a2bf-2873-8c8c-9f56-07345e9936b3\",\n  \"created\": "
                "\"2026-11-21T00:00:00.000Z\",\n  \"sequence\": 7,\n  \"id\": "
                "\"a9e73958-18c0-8ad4-a805-3c67749f04cd\"\n}\n");
  const auto read = Label::FromJson(label.ToJson());
  ASSERT_TRUE(read);
  EXPECT_EQ(read->ToJson(), label.ToJson());
  EXPECT_FALSE(Label::FromJson("{}"));
  EXPECT_FALSE(Label::FromJson("{\"id\": \"../etc/passwd\"}"));
  EXPECT_THROW(agent::MakeLabel(storage::device_profile::Device::descriptor(), "", kDevice, "", 1),
               std::runtime_error)
      << "a record is no payload";
}

TEST(Labels, NameOnlyTheAgentsOwnFiles) {
  const std::string stem = "20261121T043109120Z-0000000000007-IdentityAsCDM";
  for (const std::string& name :
       {stem + ".binpb", stem + ".json", "." + stem + ".binpb.part",
        std::string("20261121T043109120Z-0001-pcIoloScanResultsAsCDM.json.part")}) {
    EXPECT_TRUE(agent::ParseOutboxName(name)) << name;
  }
  for (const std::string& name :
       {std::string("a.part"), std::string("report.binpb"), "." + stem + ".json", stem + ".txt",
        "x" + stem + ".json", stem + ".json.bak", stem + "\n.json", std::string("2026-0001-A.json"),
        std::string("20261121T043109120Z-1-IdentityAsCDM.json"),
        std::string("20261121T043109120Z-0001-MyOwnThing.json"),  // is not a contract
        std::string("20261121T043109120Z-0001-Device.json"),      // is not a payload
        stem}) {
    EXPECT_FALSE(agent::ParseOutboxName(name)) << name;
  }
}

TEST(DeviceIds, AreDerivedFromTheMachineIdOrKept) {
  const Folder folder;
  folder.Write("machine/etc/machine-id", "0123\n");
  EXPECT_EQ(agent::DeviceId(folder / "machine"), kDevice);
  folder.Write("new/etc/machine-id", "uninitialized\n");
  EXPECT_EQ(agent::DeviceId(folder / "new"), std::nullopt);

  Files& files = Files::System();
  const std::string kept = agent::DeviceIdOrKept(folder / "new", folder.path(), files);
  EXPECT_TRUE(agent::IsUuid(kept)) << kept;
  EXPECT_EQ(agent::DeviceIdOrKept(folder / "new", folder.path(), files), kept);
  EXPECT_EQ(agent::DeviceIdOrKept(folder / "machine", folder.path(), files), kDevice);
  folder.Write("device-id", "x");
  EXPECT_THROW(agent::DeviceIdOrKept(folder / "new", folder.path(), files), std::runtime_error);
  EXPECT_THROW(agent::DeviceIdOrKept(folder / "new", folder / "nowhere", files),
               std::runtime_error);
}

TEST(Text, BecomesUtf8AndFitsOneLine) {
  EXPECT_EQ(agent::ToUtf8("a\xC3\xA9\xF0\x9F\x98\x80"), "a\xC3\xA9\xF0\x9F\x98\x80");
  EXPECT_EQ(agent::ToUtf8("\xC3x\xE9t\xE9\xED\xA0\x80"),
            "\xEF\xBF\xBDx\xEF\xBF\xBDt\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD");
}

// --- The folder

TEST(OutboxFolder, LetsOneProgramAtATimeIn) {
  const Folder folder;
  std::filesystem::create_directory(folder / "outbox");
  {
    Outbox first(folder / "outbox", kMake, Files::System());
    try {
      Outbox second(folder / "outbox", kMake, Files::System());
      FAIL() << "two are in";
    } catch (const std::runtime_error& error) {
      EXPECT_NE(std::string(error.what()).find("outbox: another ovix-agent"), std::string::npos)
          << error.what();
    }
    first.Write(LabelOf("a", 1), "a");
  }
  Outbox third(folder / "outbox", UploadLock::IfMissing::kRefuse, Files::System());
  EXPECT_TRUE(third.Has(LabelOf("a", 1).id));
  EXPECT_THROW(Outbox(folder.path(), UploadLock::IfMissing::kRefuse, Files::System()),
               std::runtime_error)
      << "is no outbox";
  folder.Write("file", "");
  EXPECT_THROW(Outbox(folder / "file", kMake, Files::System()), std::runtime_error);
}

TEST(OutboxFolder, DropsTheOldestAndNoMoreThanItMust) {
  const Folder folder;
  std::filesystem::create_directories(folder / "outbox");
  const std::string third = LabelOf("a", 3).FileStem();
  {
    Outbox outbox(folder / "outbox", kMake, Files::System());
    for (const int sequence : {2, 1, 3}) outbox.Write(LabelOf("a", sequence), "a");
    uint64_t bytes = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder / "outbox")) {
      bytes += entry.file_size();
    }
    std::vector<std::string> problems;
    EXPECT_EQ(outbox.DropBeyond(bytes, problems).payloads, 0);
    EXPECT_EQ(outbox.DropBeyond(bytes - 1, problems).payloads, 1);
    EXPECT_FALSE(outbox.Has(LabelOf("a", 1).id));
    EXPECT_TRUE(outbox.Has(LabelOf("a", 2).id) && outbox.Has(LabelOf("a", 3).id));
  }
  folder.Write("outbox/" + third + ".binpb", "cut off, or more than was written");
  const Outbox outbox(folder / "outbox", kMake, Files::System());
  EXPECT_FALSE(outbox.Has(LabelOf("a", 3).id));
  EXPECT_EQ(outbox.remarks().size(), 1U);
}

TEST(OutboxFolder, RefusesAPayloadWhoseFileDoesNotClose) {
  class Files : public MemoryFiles {
   public:
    std::error_code Close(Handle file) override {
      MemoryFiles::Close(file);
      return std::make_error_code(std::errc::no_space_on_device);
    }
  } files;
  {
    Outbox outbox("outbox", kMake, files);
    EXPECT_THROW(outbox.Write(LabelOf("a", 1), "a"), std::runtime_error);
    EXPECT_FALSE(outbox.Has(LabelOf("a", 1).id));
  }
  for (const auto& [name, content] : files.Contents()) EXPECT_EQ(name, ".ovix-agent.lock");
}

#ifndef _WIN32
TEST(OutboxFolder, FollowsNoLinkToWhatItWritesOrReads) {
  const Folder folder;
  std::filesystem::create_directories(folder / "outbox");
  folder.Write("secret", "s");
  std::filesystem::create_symlink(folder / "secret", folder / "link");
  std::string content;
  EXPECT_TRUE(Files::System().Read(folder / "link", 10, content));
  std::filesystem::create_symlink(folder / "made", folder / "outbox/.ovix-agent.lock");
  EXPECT_THROW(Outbox(folder / "outbox", kMake, Files::System()), std::runtime_error);
  EXPECT_FALSE(std::filesystem::exists(folder / "made"));
}
#endif

TEST(OutboxFolder, TouchesOnlyTheAgentsOwnFiles) {
  const Folder folder;
  const std::string old = "20261120T000000000Z-0000000000001-";
  constexpr char kFolder[] = "FwComponentsInfoAsCDM.binpb";
  constexpr char kLink[] = "HwComponentsInfoAsCDM.binpb";
  folder.Write("outbox/." + old + "IdentityAsCDM.binpb.part", "half");
  folder.Write("outbox/" + old + "DeviceInfoAsCDM.binpb", "whole, but its label was never written");
  folder.Write("outbox/" + old + "PcFwSettingsAsCDM.json", "{}");  // its payload is gone
  folder.Write("outbox/" + old + "OperatingSystemAsCDM.binpb", "of an older agent");
  folder.Write("outbox/" + old + "OperatingSystemAsCDM.json", "{}");
  const std::set<std::string> strangers = {
      "a.part",     "report.binpb",      "2026-0001-IdentityAsCDM.binpb",
      "notes.json", old + "MyOwn.binpb", "." + old + "MyOwn.binpb.part",
      ".hidden",    old + "Device.binpb"};
  for (const std::string& name : strangers) folder.Write("outbox/" + name, "somebody's own");
  std::filesystem::create_directories(folder / ("outbox/" + old + kFolder));
  std::filesystem::create_directories(folder / "outbox/empty.binpb");
  folder.Write("target", "elsewhere");
#ifndef _WIN32
  std::filesystem::create_symlink(folder / "target", folder / ("outbox/" + old + kLink));
  std::filesystem::create_symlink(folder / "target", folder / ("outbox/." + old + kLink + ".part"));
#endif
  std::vector<std::string> problems;
  {
    Outbox outbox(folder / "outbox", kMake, Files::System());
    outbox.Write(LabelOf("a", 2), "a");
    EXPECT_EQ(outbox.DropUpTo(1, problems).payloads, 1);
    EXPECT_EQ(outbox.remarks().size(),
#ifdef _WIN32
              2U
#else
              4U
#endif
    );
  }
  EXPECT_TRUE(problems.empty());
  std::set<std::string> left;
  for (const auto& entry : std::filesystem::directory_iterator(folder / "outbox")) {
    left.insert(entry.path().filename().string());
  }
  std::set<std::string> expected = strangers;
  expected.insert({".ovix-agent.lock", LabelOf("a", 2).FileStem() + ".binpb",
                   LabelOf("a", 2).FileStem() + ".json", old + kFolder, "empty.binpb"});
#ifndef _WIN32
  expected.insert({old + kLink, "." + old + kLink + ".part"});
#endif
  EXPECT_EQ(left, expected);
  EXPECT_EQ(folder.Read("target"), "elsewhere");
}

#ifndef _WIN32
TEST(Payloads, AreUtf8WhateverTheFoldersName) {
  const Folder folder;
  const Catalogue catalogue;
  Store store(folder / "s\xE9t\xC3\xA9", catalogue);
  storage::device_profile::Device device;
  device.set_device_unique_id("a");
  store.Put(device);
  UploadLog log(folder.path(), Files::System());
  int told = 0;
  for (const auto& payload : agent::BuildPayloads(store, catalogue, log, kNow).payloads) {
    EXPECT_EQ(agent::FindUnkeepable(*payload.message), "");
    const auto* usage = dynamic_cast<const upload::agent::TarvelAgentTelemetryStorageUsageAsCDM*>(
        payload.message.get());
    if (usage == nullptr) continue;
    ++told;
    EXPECT_NE(usage->database_path().find("s\xEF\xBF\xBDt\xC3\xA9"), std::string::npos);
  }
  EXPECT_GT(told, 0);
}
#endif

// --- Every call of the outbox fails once, or is the last one

class OutboxFaults : public testing::Test {
 protected:
  // Writes two payloads and acknowledges one of two that are there; notes what was said to be done.
  void Work() {
    Outbox outbox("", kMake, files_);
    for (const char* bytes : {"c", "d"}) {
      const Label label = LabelOf(bytes, bytes[0]);
      try {
        outbox.Write(label, bytes);
        standing_.insert(label.id);
      } catch (const std::runtime_error&) {
        gone_.insert(label.id);
        for (const auto& [name, content] : files_.Contents()) {
          EXPECT_EQ(name.find(label.FileStem()), std::string::npos) << name << " is left behind";
        }
      }
    }
    std::vector<std::string> unknown;
    std::vector<std::string> problems;
    outbox.Acknowledge({LabelOf("a", 1).id, LabelOf("x", 9).id}, unknown, problems);
    if (!problems.empty()) return;
    EXPECT_EQ(unknown, std::vector{LabelOf("x", 9).id});
    gone_.insert(LabelOf("a", 1).id);
  }
  void Begin() {
    files_ = MemoryFiles();
    standing_ = {LabelOf("b", 2).id};
    gone_.clear();
    for (const auto& [bytes, sequence] : {std::pair{"a", 1}, {"b", 2}}) {
      const Label label = LabelOf(bytes, sequence);
      files_.Put(label.FileStem() + ".binpb", bytes);
      files_.Put(label.FileStem() + ".json", label.ToJson());
    }
    files_.Put("stranger.part", "somebody's own");
  }
  void Check() {
    Labelled(files_.Contents());
    { Outbox next("", kMake, files_); }
    const auto whole = Whole(files_.Contents());
    for (const std::string& id : standing_) EXPECT_TRUE(whole.contains(id)) << id;
    for (const std::string& id : gone_) EXPECT_FALSE(whole.contains(id)) << id;
    EXPECT_EQ(files_.Contents().at("stranger.part"), "somebody's own");
  }

  MemoryFiles files_;
  std::set<std::string> standing_;
  std::set<std::string> gone_;
};

TEST_F(OutboxFaults, LeaveWhatWasAcknowledgedAndNothingThatWasRefused) {
  int call = 0;
  for (bool happened = true; happened; ++call) {
    SCOPED_TRACE(call);
    Begin();
    files_.Plan(MemoryFiles::Fault::kFail, call);
    try {
      Work();
    } catch (const std::runtime_error&) {  // could not begin
    }
    happened = files_.happened();
    files_.Restart();
    Check();
  }
  EXPECT_GT(call, 20);
}

TEST_F(OutboxFaults, LeaveWholePayloadsWhenTheProcessOrThePowerStops) {
  int call = 0;
  for (bool happened = true; happened; ++call) {
    for (const int kept : {-1, 0, 1, 2, 3, 4, 0xff}) {
      SCOPED_TRACE(std::to_string(call) + (kept < 0 ? " killed" : " kept " + std::to_string(kept)));
      Begin();
      files_.Plan(MemoryFiles::Fault::kKill, call);
      try {
        Work();
      } catch (const MemoryFiles::Killed&) {
      }
      happened = files_.happened();
      if (kept < 0) {
        files_.Restart();
      } else {
        files_.LosePower(static_cast<unsigned>(kept));
      }
      Check();
    }
  }
  EXPECT_GT(call, 20);
}

// --- Uploads

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
  // The ids under which each event of the store stands in the outbox, by its name.
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
