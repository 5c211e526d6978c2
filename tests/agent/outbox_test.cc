// The outbox: what is acknowledged is gone, what is refused is not there, whatever fails.
#include "uploader/outbox.h"

#include <gtest/gtest.h>

#include <set>

#include "device_id.h"
#include "ovix/telemetry/contract/storage/device_profile/device.pb.h"
#include "ovix/telemetry/contract/upload/device_profile/identityAsCDM.pb.h"
#include "store/time.h"
#include "support/folder.h"
#include "support/memory_files.h"
#include "support/outbox.h"
#include "system/hash.h"

namespace ovix::tests {
namespace {

using agent::Files;
using agent::Label;
using agent::Outbox;
using agent::UploadLock;
namespace storage = telemetry::contract::storage;
using telemetry::contract::upload::device_profile::IdentityAsCDM;

Label LabelOf(const std::string& bytes, int64_t sequence) {
  return agent::MakeLabel(IdentityAsCDM::descriptor(), bytes, kDevice, agent::TimeText(kNow),
                          sequence);
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
      << "a record is not a payload";
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
      << "is not an outbox";
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
  [[maybe_unused]] constexpr char kLink[] = "HwComponentsInfoAsCDM.binpb";
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
              3U
#else
              5U
#endif
    );
  }
  EXPECT_TRUE(problems.empty());
  std::set<std::string> left;
  for (const auto& entry : std::filesystem::directory_iterator(folder / "outbox")) {
    left.insert(Utf8(entry.path().filename()));
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
          EXPECT_EQ(name.find(label.FileStem()), std::string::npos) << name << " is left";
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

}  // namespace
}  // namespace ovix::tests
