// What was acknowledged survives a kill in the middle of a write and a disk without space.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <random>
#include <set>

#include "ovix/telemetry/contract/storage/device_profile/application.pb.h"
#include "ovix/telemetry/contract/storage/device_profile/device_profile_events.pb.h"
#include "ovix/telemetry/contract/upload/device_profile/identityAsCDM.pb.h"
#include "store/store.h"
#include "support/folder.h"
#include "uploader/outbox.h"

namespace ovix::tests {
namespace {

using agent::Catalogue;
using agent::Store;
using google::protobuf::Message;
namespace profile = telemetry::contract::storage::device_profile;

profile::Application Application(int number) {
  profile::Application application;
  application.set_name("application " + std::to_string(number));
  application.set_install_folder(std::string(2000, 'x'));
  return application;
}

// Runs `work` in a process of its own, which must not return from it.
pid_t Fork(const std::function<void()>& work) {
  const pid_t child = fork();
  if (child != 0) return child;
  try {
    work();
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    _exit(1);
  }
  _exit(0);
}

int64_t Number(const std::filesystem::path& file, const std::string& sql) {
  agent::Connection connection(file, std::chrono::seconds(1));
  return connection.Number(sql);
}

TEST(StoreDurability, LosesNothingAcknowledgedToAKill) {
  const Folder folder;
  const Catalogue catalogue;
  std::mt19937 random(20261121);
  std::set<std::string> acknowledged;
  int next = 0;
  int acknowledgements_read = 0;
  // More than a hundred rounds where somebody has the time: see scripts/fuzz.
  const char* rounds = std::getenv("OVIX_TESTS_KILLS");
  for (int round = rounds == nullptr ? 100 : std::atoi(rounds); round > 0; --round) {
    // Before the database is as large as it may be, however quick the disk is: the writer stops by
    // itself after kMost writes.
    constexpr int kMost = 200;
    if (next > 600) {
      std::filesystem::remove_all(folder.path());
      acknowledged.clear();
      next = 0;
    }
    int acknowledgements[2];
    ASSERT_EQ(pipe(acknowledgements), 0);
    const pid_t writer = Fork([&] {
      Store store(folder.path(), catalogue);
      for (int number = next; number < next + kMost; ++number) {
        // Five rows and their five changes are one write.
        std::vector<profile::Application> batch;
        for (int i = 0; i < 5; ++i) batch.push_back(Application(number * 5 + i));
        std::vector<const Message*> pointers;
        for (const auto& row : batch) pointers.push_back(&row);
        store.Put(pointers);
        if (write(acknowledgements[1], &number, sizeof number) != sizeof number) _exit(1);
      }
      pause();
    });
    close(acknowledgements[1]);
    int number = 0;
    const auto read_one = [&] {
      if (read(acknowledgements[0], &number, sizeof number) != sizeof number) return false;
      for (int i = 0; i < 5; ++i) acknowledged.insert(Application(number * 5 + i).name());
      next = number + 1;
      ++acknowledgements_read;
      return true;
    };
    // However slow the disk is: some writes have ended, and the kill falls into one.
    for (int writes = std::uniform_int_distribution(0, 3)(random); writes > 0; --writes) {
      ASSERT_TRUE(read_one());
    }
    usleep(std::uniform_int_distribution<useconds_t>(0, 10000)(random));
    kill(writer, SIGKILL);
    int status = 0;
    ASSERT_EQ(waitpid(writer, &status, 0), writer);
    ASSERT_TRUE(WIFSIGNALED(status)) << "the writer failed without a kill";
    while (read_one()) {
    }
    close(acknowledgements[0]);

    Store store(folder.path(), catalogue);
    std::set<std::string> kept;
    store.Read(profile::Application::descriptor(), [&](const Message& row) {
      kept.insert(static_cast<const profile::Application&>(row).name());
    });
    for (const std::string& name : acknowledged) ASSERT_TRUE(kept.contains(name)) << name;
    ASSERT_EQ(kept.size() % 5, 0U) << "half a write is there";
    ASSERT_EQ(store.CountRows(catalogue.Get(profile::ApplicationEvents::descriptor())),
              static_cast<int64_t>(kept.size()))
        << "a row and the record of its change are one write";
    next = std::max(next, static_cast<int>(kept.size() / 5));
    for (const char* file : {"DeviceProfile.db", "DeviceProfileEvents.db"}) {
      ASSERT_EQ(Number(folder / file, "SELECT integrity_check = 'ok' FROM pragma_integrity_check"),
                1);
    }
  }
  EXPECT_GT(acknowledgements_read, 0);
  Store(folder.path(), catalogue).Trim();
  for (const auto& [name, hash] : folder.Contents()) EXPECT_EQ(name.find("-mj"), name.npos) << name;
}

TEST(StoreDurability, LeavesTheDatabasesAsTheyWereWhenTheDiskIsFull) {
  const Folder folder;
  const Catalogue catalogue;
  Store(folder.path(), catalogue).Put(Application(0));
  const auto before = folder.Contents();

  int errors[2];
  ASSERT_EQ(pipe(errors), 0);
  const pid_t writer = Fork([&] {
    // No file may grow beyond this: what a full disk does, without needing one.
    signal(SIGXFSZ, SIG_IGN);
    const rlimit limit = {64 << 10, 64 << 10};
    setrlimit(RLIMIT_FSIZE, &limit);
    Store store(folder.path(), catalogue);
    std::vector<profile::Application> many;
    for (int i = 1; i < 2000; ++i) many.push_back(Application(i));
    std::vector<const Message*> pointers;
    for (const auto& row : many) pointers.push_back(&row);
    std::string said = "no error";
    try {
      store.Put(pointers);
    } catch (const agent::StoreError& error) {
      said = error.what();
    }
    if (write(errors[1], said.data(), said.size()) < 0) _exit(1);
  });
  close(errors[1]);
  int status = 0;
  ASSERT_EQ(waitpid(writer, &status, 0), writer);
  char said[1000] = {};
  ASSERT_GT(read(errors[0], said, sizeof said - 1), 0);
  close(errors[0]);
  EXPECT_NE(std::string(said).find("no space is left"), std::string::npos) << said;
  EXPECT_EQ(folder.Contents(), before);
  EXPECT_EQ(Store(folder.path(), catalogue).Put(Application(1)).inserted, 1);
}

bool WriteTo(const char* path, const std::string& text) {
  const int file = open(path, O_WRONLY);
  const bool is_written = file >= 0 && write(file, text.data(), text.size()) > 0;
  if (file >= 0) close(file);
  return is_written;
}

// The same with a real file system that has no space left, and space again afterwards.
TEST(StoreDurability, GoesOnWhenAFullDiskHasSpaceAgain) {
  const Folder folder;
  const Catalogue catalogue;
  int answers[2];
  ASSERT_EQ(pipe(answers), 0);
  const pid_t writer = Fork([&] {
    const auto answer = [&](const std::string& text) {
      if (write(answers[1], text.data(), text.size()) < 0) _exit(1);
    };
    // A mount that only this process sees. Files on it need an owner whom its user namespace knows.
    const bool as_root = geteuid() == 0;
    const std::string user = "0 " + std::to_string(geteuid()) + " 1";
    const std::string group = "0 " + std::to_string(getegid()) + " 1";
    if (unshare(CLONE_NEWNS | (as_root ? 0 : CLONE_NEWUSER)) != 0 ||
        (!as_root &&
         !(WriteTo("/proc/self/setgroups", "deny") && WriteTo("/proc/self/uid_map", user) &&
           WriteTo("/proc/self/gid_map", group))) ||
        mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount("tmpfs", folder.path().c_str(), "tmpfs", 0, "size=1m") != 0) {
      return answer(std::string("skipped: ") + std::strerror(errno));
    }
    folder.Write("ballast", std::string(300 << 10, 'x'));
    Store store(folder / "store", catalogue);
    int kept = 0;
    std::string said;
    while (said.empty()) {
      try {
        store.Put(Application(kept));
        ++kept;
      } catch (const agent::StoreError& error) {
        said = error.what();
      }
    }
    const auto rows = [&] {
      return Store(folder / "store", catalogue)
          .CountRows(catalogue.Get(profile::Application::descriptor()));
    };
    const int64_t rows_when_full = rows();
    std::filesystem::remove(folder / "ballast");
    store.Put(Application(kept));
    answer(rows_when_full == kept && rows() == kept + 1 && kept > 10 &&
                   Number(folder / "store/DeviceProfile.db",
                          "SELECT integrity_check = 'ok' FROM pragma_integrity_check") == 1
               ? said
               : "rows were lost");
  });
  close(answers[1]);
  int status = 0;
  ASSERT_EQ(waitpid(writer, &status, 0), writer);
  char text[1000] = {};
  ASSERT_GT(read(answers[0], text, sizeof text - 1), 0);
  close(answers[0]);
  const std::string said = text;
  if (said.starts_with("skipped")) GTEST_SKIP() << "this system mounts no tmpfs: " << said;
  EXPECT_NE(said.find("no space is left"), std::string::npos) << said;
}

TEST(StoreDurability, LetsProcessesWriteAtOnce) {
  const Folder folder;
  const Catalogue catalogue;
  constexpr int kWriters = 3;
  constexpr int kRows = 40;
  std::vector<pid_t> writers;
  for (int writer = 0; writer < kWriters; ++writer) {
    writers.push_back(Fork([&] {
      Store store(folder.path(), catalogue, {.patience = std::chrono::minutes(1)});
      for (int i = 0; i < kRows; ++i) store.Put(Application(writer * kRows + i));
    }));
  }
  for (const pid_t writer : writers) {
    int status = 0;
    ASSERT_EQ(waitpid(writer, &status, 0), writer);
    EXPECT_EQ(status, 0) << "a writer failed";
  }
  Store store(folder.path(), catalogue);
  for (const auto* record :
       {profile::Application::descriptor(), profile::ApplicationEvents::descriptor()}) {
    EXPECT_EQ(store.CountRows(catalogue.Get(record)), kWriters * kRows) << record->name();
  }
}

// --- Who may read

int ModeOf(const std::filesystem::path& path) {
  return static_cast<int>(std::filesystem::status(path).permissions()) & 0777;
}

TEST(StorePermissions, AreTheOwnersAloneWhateverTheUmask) {
  const Catalogue catalogue;
  for (const mode_t mask : {0, 0022, 0277}) {
    SCOPED_TRACE(mask);
    const Folder folder;
    const mode_t before = umask(mask);
    Store(folder / "above/store", catalogue).Put(Application(0));
    umask(before);
    EXPECT_EQ(ModeOf(folder / "above"), 0700);
    EXPECT_EQ(ModeOf(folder / "above/store"), 0700);
    for (const char* name : {"DeviceProfile.db", "DeviceProfileEvents.db"}) {
      EXPECT_EQ(ModeOf(folder / ("above/store/" + std::string(name))), 0600) << name;
    }
    umask(0);
    agent::Connection connection(folder / "above/store/DeviceProfile.db", std::chrono::seconds(1));
    connection.Execute("BEGIN; DELETE FROM Application");
    EXPECT_EQ(ModeOf(folder / "above/store/DeviceProfile.db-journal"), 0600);
    umask(before);
  }
}

TEST(StorePermissions, AreTakenFromOthersWhereTheStoreIsOlder) {
  namespace fs = std::filesystem;
  const Folder folder;
  const Catalogue catalogue;
  Store(folder / "store", catalogue).Put(Application(0));
  // All that the agent may have in the folder of its store.
  for (const char* name : {"Upload.db", "Upload.db-journal", "Upload.lock", "Upload.sequence",
                           "device-id", "device-id.1.part", "Cache.db.damaged-20261121T000000000Z",
                           "Cache.db-wal", "DeviceProfile.db-mj0A1B2C9D4"}) {
    folder.Write(std::string("store/") + name, "");
  }
  const auto own = folder.Contents();
  const fs::perms wide = fs::perms(0755);
  for (const char* strange : {"", "somebody's.txt", "Upload.db.old", "Cache.dbase",
                              "DeviceProfile.db-mj0a1b2c9d4", "MyUpload.db", "HealthLog.db"}) {
    SCOPED_TRACE(strange);
    const bool is_shared = *strange != '\0';
    if (is_shared) folder.Write(std::string("store/") + strange, "");
    if (strange == std::string("HealthLog.db")) {
      agent::Connection(folder / "store/HealthLog.db", std::chrono::seconds(1))
          .Execute("PRAGMA application_id = 77");
    }
    for (const auto& entry : fs::directory_iterator(folder / "store")) {
      fs::permissions(entry.path(), wide);
    }
    fs::permissions(folder / "store", wide);
    Store(folder / "store", catalogue).Put(Application(1));
    EXPECT_EQ(ModeOf(folder / "store"), is_shared ? 0755 : 0700);
    for (const auto& entry : fs::directory_iterator(folder / "store")) {
      const std::string name = Utf8(entry.path().filename());
      EXPECT_EQ(ModeOf(entry.path()), own.contains(name) ? 0600 : 0755) << name;
    }
    if (is_shared) fs::remove(folder / (std::string("store/") + strange));
  }
}

TEST(StorePermissions, ThatAreMissingAreAnErrorAndNotAnEmptyStore) {
  const Folder folder;
  const Catalogue catalogue;
  Store(folder / "store", catalogue).Put(Application(0));
  const auto before = folder.Contents();
  const auto denied = [&](const std::function<void(Store&)>& use) {
    const pid_t stranger = Fork([&] {
      // The superuser may read everything; nobody may not.
      if (geteuid() == 0 && (setgid(65534) != 0 || setuid(65534) != 0)) _exit(2);
      try {
        Store store(folder / "store", catalogue, {.access = Store::Access::kRead});
        use(store);
      } catch (const agent::StoreError& error) {
        _exit(error.kind() == agent::StoreError::Kind::kDenied ? 3 : 4);
      }
    });
    int status = 0;
    waitpid(stranger, &status, 0);
    return WEXITSTATUS(status) == 3;
  };
  namespace fs = std::filesystem;
  const auto nothing = [](Store&) {};
  const auto count = [&](Store& store) {
    store.CountRows(catalogue.Get(profile::Application::descriptor()));
  };
  fs::permissions(folder / "store", fs::perms(0));
  EXPECT_TRUE(denied(nothing)) << "the folder cannot be read";
  fs::permissions(folder / "store", fs::perms(0444));
  EXPECT_TRUE(denied(count)) << "the files cannot be reached";
  fs::permissions(folder / "store", fs::perms(0755));
  fs::permissions(folder / "store/DeviceProfile.db", fs::perms(0));
  EXPECT_TRUE(denied(count)) << "the file cannot be read";
  fs::permissions(folder / "store/DeviceProfile.db", fs::perms(0600));  // for this test to read
  EXPECT_EQ(folder.Contents(), before);
}

TEST(OutboxDurability, LeavesNothingHalfWrittenWhenTheDiskIsFull) {
  const Folder folder;
  std::filesystem::create_directory(folder / "outbox");
  // Files can grow to 1000 bytes: the small payloads go out, the large one does not.
  const pid_t child = fork();
  if (child == 0) {
    signal(SIGXFSZ, SIG_IGN);
    const rlimit limit = {1000, 1000};
    setrlimit(RLIMIT_FSIZE, &limit);
    int refused = 0;
    agent::Outbox outbox(folder / "outbox", agent::UploadLock::IfMissing::kMake,
                         agent::Files::System());
    for (const size_t size : {10, 5000, 20}) {
      const std::string payload(size, 'x');
      try {
        outbox.Write(agent::MakeLabel(
                         telemetry::contract::upload::device_profile::IdentityAsCDM::descriptor(),
                         payload, "", "2026-11-21T00:00:00.000Z", static_cast<int64_t>(size)),
                     payload);
      } catch (const std::runtime_error& error) {
        refused += std::string(error.what()).find("cannot be written (File too large)") !=
                   std::string::npos;
      }
    }
    _exit(refused);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(WEXITSTATUS(status), 1) << "the one large payload is refused, and says why";
  std::set<std::string> extensions;
  for (const auto& [name, content] : folder.Contents()) {
    extensions.insert(std::filesystem::path(name).extension().string());
  }
  EXPECT_EQ(extensions, (std::set<std::string>{".binpb", ".json", ".lock"}));
  EXPECT_EQ(folder.Contents().size(), 5U);
}

}  // namespace
}  // namespace ovix::tests
