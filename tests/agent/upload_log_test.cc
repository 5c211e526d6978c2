// The uploader's own database: whose it is, and what is sent when it is damaged or lost.
#include "uploader/upload_log.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

#ifndef _WIN32
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

#include "ovix/telemetry/contract/storage/device_health/battery.pb.h"
#include "support/folder.h"
#include "support/memory_files.h"
#include "uploader/upload.h"

namespace ovix::tests {
namespace {

using agent::Files;
using agent::StoreError;
using agent::UploadLog;
using agent::UploadResult;

const std::chrono::system_clock::time_point kNow =
    std::chrono::sys_days(std::chrono::year(2026) / 11 / 21);

class UploadLogs : public testing::Test {
 protected:
  UploadLogs() : store_(folder_ / "store", catalogue_, {.clock = [] { return kNow; }}) {
    telemetry::contract::storage::device_health::BatteryHealthLog reading;
    reading.set_serial_number("1");
    store_.Put(reading);
  }
  // Into an outbox of its own, of which all was acknowledged before the next run.
  UploadResult Run(std::chrono::system_clock::time_point now = kNow) {
    UploadLog log(folder_ / "store", Files::System());
    problems_ = log.problems();
    notes_ = log.notes();
    MemoryFiles files;
    agent::Outbox outbox("", agent::UploadLock::IfMissing::kMake, files);
    return agent::Upload(store_, catalogue_, "device", {}, now, log, outbox);
  }
  // A connection to the database, made where it is missing.
  agent::Connection Open() { return agent::Connection(file_, std::chrono::seconds(1)); }
  std::string Bytes() const { return folder_.Read("store/Upload.db"); }
  // The only file with a name like this one.
  std::string Named(const std::string& beginning) const {
    std::string found;
    for (const auto& entry : std::filesystem::directory_iterator(folder_ / "store")) {
      const std::string name = Utf8(entry.path().filename());
      if (!name.starts_with(beginning)) continue;
      EXPECT_EQ(found, "") << name;
      found = name;
    }
    return found;
  }

  const Folder folder_;
  const std::filesystem::path file_ = folder_ / "store/Upload.db";
  const agent::Catalogue catalogue_;
  agent::Store store_;
  std::vector<std::string> problems_;
  std::vector<std::string> notes_;
};

TEST_F(UploadLogs, OfOthersAreRefusedAndNotTouched) {
  const std::pair<const char*, const char*> cases[] = {
      {"PRAGMA application_id = 77; PRAGMA user_version = 9; CREATE TABLE a (b)",
       "another program's (application_id 77)"},
      {"CREATE TABLE state (name)", "another program's (application_id 0)"},
      {"PRAGMA application_id = 77; PRAGMA journal_mode = WAL; CREATE TABLE a (b)",
       "another program's (application_id 77)"},
      {"PRAGMA application_id = 1331058000; PRAGMA user_version = 2; CREATE TABLE a (b)",
       "newer release"},
  };
  for (const auto& [sql, said] : cases) {
    SCOPED_TRACE(sql);
    for (const char* suffix : {"", "-wal", "-shm"}) {
      std::filesystem::remove(FromUtf8(Utf8(file_) + suffix));
    }
    {
      agent::Connection connection = Open();
      sqlite3_db_config(connection.handle(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
      connection.Execute(sql);
    }
    const auto before = folder_.Contents();
    try {
      Run();
      ADD_FAILURE() << "was used";
    } catch (const StoreError& error) {
      EXPECT_EQ(error.kind(), StoreError::Kind::kForeign);
      EXPECT_NE(std::string(error.what()).find(said), std::string::npos) << error.what();
      EXPECT_NE(std::string(error.what()).find("Upload.db: "), std::string::npos) << error.what();
    }
    EXPECT_EQ(folder_.Contents(), before);
  }
}

#ifndef _WIN32  // which has no such file
// To open a pipe waits for its other end.
TEST_F(UploadLogs, ArePipesThatAreRefusedAndNotOpened) {
  ASSERT_EQ(mkfifo(file_.c_str(), 0600), 0);
  const std::jthread other_end([&] {
    std::this_thread::sleep_for(std::chrono::seconds(1));
    close(open(file_.c_str(), O_WRONLY | O_NONBLOCK));
  });
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_THROW(Run(), StoreError);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(900));
}
#endif

// A number that JSON readers would round, or with more digits than the names of the outbox have,
// could not be acknowledged; it can only come from a file that somebody else has written.
TEST_F(UploadLogs, GiveNoNumberBeyondTheLargest) {
  EXPECT_TRUE(agent::ParseOutboxName("20261121T043109120Z-999999999999999-IdentityAsCDM.json"));
  EXPECT_FALSE(agent::ParseOutboxName("20261121T043109120Z-1000000000000000-IdentityAsCDM.json"));
  folder_.Write("store/Upload.sequence", "999999999999997");
  const UploadResult last = Run();
  ASSERT_EQ(last.sent.size(), 2U);
  EXPECT_EQ(last.sent[1].label.sequence, 999999999999999);
  try {
    Run(kNow + std::chrono::days(1));
    ADD_FAILURE() << "gave a number";
  } catch (const StoreError& error) {
    EXPECT_NE(std::string(error.what()).find("Upload.db: no sequence number is left"),
              std::string::npos)
        << error.what();
  }
  EXPECT_EQ(folder_.Read("store/Upload.sequence"), "999999999999999");
  for (const char* text : {"1000000000000000", "9223372036854775807"}) {
    std::filesystem::remove(file_);
    folder_.Write("store/Upload.sequence", text);
    EXPECT_EQ(Run().sent.size(), 2U);
    ASSERT_EQ(problems_.size(), 1U) << text;
    EXPECT_NE(problems_[0].find("holds no sequence number"), std::string::npos) << problems_[0];
  }
}

TEST_F(UploadLogs, CarryAnIdAndAVersion) {
  Run();
  agent::Connection connection = Open();
  EXPECT_EQ(connection.Number("PRAGMA application_id"), 0x4f565550);
  EXPECT_EQ(connection.Number("PRAGMA user_version"), 1);
  connection.Execute("PRAGMA journal_mode = WAL");
  EXPECT_TRUE(Run().sent.empty()) << "it is still known what was sent";
  EXPECT_TRUE(problems_.empty() && notes_.empty());
}

TEST_F(UploadLogs, ThatAreDamagedAreSetAsideAndMadeAnew) {
  const std::string sound = [&] {
    Run();
    return Bytes();
  }();
  std::string no_schema = sound;
  no_schema.replace(100, 900, 900, '\xff');
  std::string no_last_page = sound;
  no_last_page.replace(sound.size() - 4096, 4096, 4096, '\0');
  const std::string label_only =
      "INSERT INTO waiting VALUES (1, '{\"id\": \"00000000-0000-8000-8000-000000000000\"}', '', 1)";
  const std::pair<std::string, std::string> cases[] = {
      {"garbage", std::string(5000, 'x')},
      {"short", "a text"},
      {"schema", no_schema},
      {"page", no_last_page},
      {"waiting", ""},
  };
  int64_t last = 0;
  for (const auto& [name, content] : cases) {
    SCOPED_TRACE(name);
    for (const auto& sent : Run().sent) last = std::max(last, sent.label.sequence);
    if (content.empty()) {
      Open().Execute(label_only);
    } else {
      folder_.Write("store/Upload.db", content);
    }
    const std::string damaged = Bytes();
    // The clock has gone back, and the outbox is empty.
    const UploadResult again = Run(kNow - std::chrono::days(400));
    ASSERT_EQ(problems_.size(), 1U);
    EXPECT_NE(problems_[0].find("Upload.db: the database is damaged ("), std::string::npos);
    EXPECT_NE(problems_[0].find("; it was renamed to Upload.db.damaged-"), std::string::npos);
    EXPECT_EQ(problems_[0].find('\n'), std::string::npos);
    EXPECT_TRUE(notes_.empty());
    const std::string aside = Named("Upload.db.damaged-");
    EXPECT_EQ(folder_.Read("store/" + aside), damaged);
    std::filesystem::remove(folder_ / "store" / aside);
    EXPECT_TRUE(again.problems.empty());
    ASSERT_EQ(again.sent.size(), 2U) << "the reading goes out again, and what the store takes";
    for (const auto& sent : again.sent) EXPECT_GT(sent.label.sequence, last);
    EXPECT_TRUE(Run(kNow - std::chrono::days(400)).sent.empty());
    EXPECT_TRUE(problems_.empty());
  }
}

TEST_F(UploadLogs, ThatAreLostAreSaid) {
  const int64_t last = Run().sent.back().label.sequence;
  for (const bool is_empty : {false, true}) {
    std::filesystem::remove(file_);
    if (is_empty) folder_.Write("store/Upload.db", "");
    EXPECT_GT(Run(kNow - std::chrono::days(400)).sent.front().label.sequence, last);
    EXPECT_TRUE(problems_.empty());
    ASSERT_EQ(notes_.size(), 1U);
    EXPECT_NE(notes_[0].find("Upload.db: is new, though"), std::string::npos) << notes_[0];
  }
}

TEST_F(UploadLogs, KeepTheLastNumberInAFileOfItsOwn) {
  const int64_t last = Run().sent.back().label.sequence;
  EXPECT_EQ(folder_.Read("store/Upload.sequence"), std::to_string(last));
  for (const char* wrong : {"", "x", "12x", "-1", "99999999999999999999999999"}) {
    folder_.Write("store/Upload.sequence", wrong);
    Run(kNow + std::chrono::days(1));
    ASSERT_EQ(problems_.size(), 1U) << wrong;
    EXPECT_NE(problems_[0].find("Upload.sequence: holds no sequence number; it was renamed to"),
              std::string::npos)
        << problems_[0];
    const std::string aside = Named("Upload.sequence.damaged-");
    EXPECT_EQ(folder_.Read("store/" + aside), wrong);
    std::filesystem::remove(folder_ / "store" / aside);
    EXPECT_GE(folder_.Read("store/Upload.sequence"), std::to_string(last));
  }
}

TEST_F(UploadLogs, HaveANameThatNoContractGives) {
  for (const agent::Table& table : catalogue_.tables()) {
    EXPECT_NE(table.database + ".db", UploadLog::kFile) << table.record->full_name();
  }
}

}  // namespace
}  // namespace ovix::tests
