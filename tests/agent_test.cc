// The agent as its user runs it: the program, its output and its exit code.
#include <gtest/gtest.h>

#include "store/sqlite.h"
#include "support/folder.h"
#include "support/process.h"

namespace ovix::tests {
namespace {

Outcome RunAgent(const std::string& arguments) { return RunProgram(OVIX_TESTS_AGENT, arguments); }

TEST(Agent, CollectsStoresAndTellsWhatChanged) {
  const Folder folder;
  folder.Write("machine/etc/os-release", "NAME=Old\n");
  folder.Write(
      "machine/var/lib/dpkg/status",
      "Package: a\nStatus: install ok installed\n\nPackage: b\nStatus: install ok installed\n");
  const std::string collect =
      "collect " + (folder / "store").string() + " --root " + (folder / "machine").string();
  const std::string summary = "Since the last run: ";
  const auto expect = [&](const std::string& expected) {
    const Outcome outcome = RunAgent(collect);
    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_NE(outcome.output.find(summary + expected), std::string::npos) << outcome.output;
  };
  expect("4 new, 0 changed, 0 gone, 0 as before");  // with the location
  expect("0 new, 0 changed, 0 gone, 4 as before");
  folder.Write("machine/etc/os-release", "NAME=New\n");
  folder.Write("machine/var/lib/dpkg/status", "Package: a\nStatus: install ok installed\n");
  expect("0 new, 1 changed, 1 gone, 2 as before");

  const Outcome shown = RunAgent("show " + (folder / "store").string());
  EXPECT_EQ(shown.exit_code, 0);
  for (const char* part :
       {"DeviceProfile ", "Application ", "name, vendor", "OperatingSystemEvents",
        "10000 rows, 128 MB in all", "CollectorCache"}) {
    EXPECT_NE(shown.output.find(part), std::string::npos) << part << " in:\n" << shown.output;
  }
}

TEST(Agent, UploadsWhatItCanAndFailsForTheRest) {
  const Folder folder;
  folder.Write("machine/etc/os-release", "NAME=Some\n");
  folder.Write("machine/etc/machine-id", "0123\n");
  const std::string store = (folder / "store").string();
  RunAgent("collect " + store + " --root " + (folder / "machine").string());
  const std::string upload = "upload " + store + " " + (folder / "outbox").string();

  const Outcome sound = RunAgent(upload + " --show OperatingSystemAsCDM");
  EXPECT_EQ(sound.exit_code, 0) << sound.output;
  for (const char* part : {"category.pcIdentity.version.1  ", " 1.1.0 ", "\"name\": \"Some\""}) {
    EXPECT_NE(sound.output.find(part), std::string::npos) << part << " in:\n" << sound.output;
  }

  agent::Connection(folder / "store/DeviceProfile.db", std::chrono::seconds(1))
      .Execute("UPDATE OperatingSystem SET sku = 'x'");
  const Outcome damaged = RunAgent(upload);
  EXPECT_EQ(damaged.exit_code, 1);
  for (const char* part :
       {"database DeviceProfile, table OperatingSystem, rowid=1: column sku", "IdentityAsCDM"}) {
    EXPECT_NE(damaged.output.find(part), std::string::npos) << part << " in:\n" << damaged.output;
  }

  folder.Write("file", "");
  const Outcome refused = RunAgent("upload " + store + " " + (folder / "file").string());
  EXPECT_EQ(refused.exit_code, 1);
  EXPECT_NE(refused.output.find("outbox"), std::string::npos) << refused.output;
}

TEST(Agent, GoesOnAroundWhatFailsAndHealsIt) {
  const Folder folder;
  folder.Write("machine/etc/os-release", "NAME=x\n");
  folder.Write("machine/var/lib/dpkg/status", "Package: a\nStatus: install ok installed\n");
  const std::string collect =
      "collect " + (folder / "store").string() + " --root " + (folder / "machine").string();
  ASSERT_EQ(RunAgent(collect).exit_code, 0);
  const auto run = [&](int exit_code, std::initializer_list<const char*> parts) {
    const Outcome outcome = RunAgent(collect);
    EXPECT_EQ(outcome.exit_code, exit_code);
    for (const char* part : parts) {
      EXPECT_NE(outcome.output.find(part), std::string::npos) << part << " in:\n" << outcome.output;
    }
  };
  // A row that no longer reads.
  agent::Connection(folder / "store/DeviceProfile.db", std::chrono::seconds(1))
      .Execute("UPDATE OperatingSystem SET sku = 'x'");
  run(1, {"ovix-agent: ", "OperatingSystem, rowid=1: column sku", "replaced by the row that came",
          "1 changed, 0 gone, 2 as before"});
  run(0, {"0 changed, 0 gone, 3 as before"});
  // A database that is another program's: it alone is left out.
  agent::Connection(folder / "store/Cache.db", std::chrono::seconds(1))
      .Execute("PRAGMA application_id = 7");
  run(1, {"Cache.db: the database is another program's", "3 as before"});
  std::filesystem::remove(folder / "store/Cache.db");
  // A damaged one is begun anew.
  folder.Write("store/DeviceProfile.db", "no database, but long enough to be read as one");
  run(1, {"DeviceProfile.db: the database is damaged", "set aside as DeviceProfile.db.damaged-",
          "3 new"});
  run(0, {"3 as before"});
}

TEST(Agent, SaysBadInputInOneLineAndFails) {
  const Folder folder;
  folder.Write("file", "");
  folder.Write("damaged/DeviceProfile.db", "no database, but long enough to be read as one");
  folder.Write("machine/etc/os-release", "NAME=x\n");
  const std::string machine = " --root " + (folder / "machine").string();
  const std::pair<std::string, const char*> cases[] = {
      {"collect " + (folder / "file").string() + machine, "folder"},
      {"show " + (folder / "damaged").string(), "DeviceProfile.db: the database is damaged"},
      {"show " + (folder / "nowhere").string(), "nowhere"},
      {"show", "store"},
      {"collect x --root " + (folder / "nowhere").string(), "nowhere"},
  };
  const auto before = folder.Contents();
  for (const auto& [arguments, named] : cases) {
    const Outcome outcome = RunAgent(arguments);
    EXPECT_GT(outcome.exit_code, 0) << arguments;
    EXPECT_NE(outcome.output.find(named), std::string::npos) << outcome.output;
    EXPECT_EQ(folder.Contents(), before) << arguments;
  }
}

}  // namespace
}  // namespace ovix::tests
