// The agent as its user runs it: the program, its output and its exit code.
#include <gtest/gtest.h>

#ifndef _WIN32
#include <sys/stat.h>
#endif

#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "device_id.h"
#include "store/sqlite.h"
#include "support/folder.h"
#include "support/process.h"
#include "uploader/outbox.h"

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
      "collect " + Utf8(folder / "store") + " --root " + Utf8(folder / "machine");
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

  const Outcome shown = RunAgent("show " + Utf8(folder / "store"));
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
  const std::string store = Utf8(folder / "store");
  RunAgent("collect " + store + " --root " + Utf8(folder / "machine"));
  const std::string upload =
      "upload " + store + " " + Utf8(folder / "outbox") + " --root " + Utf8(folder / "machine");

  const Outcome sound = RunAgent(upload + " --show OperatingSystemAsCDM");
  EXPECT_EQ(sound.exit_code, 0) << sound.output;
  for (const char* part : {"category.pcIdentity.version.1  ", " 1.1.0 ", "\"name\": \"Some\""}) {
    EXPECT_NE(sound.output.find(part), std::string::npos) << part << " in:\n" << sound.output;
  }
  const Outcome again = RunAgent(upload + " --show OperatingSystemAsCDM");
  for (const char* part : {"more as they were sent today already", "\"name\": \"Some\""}) {
    EXPECT_NE(again.output.find(part), std::string::npos) << part << " in:\n" << again.output;
  }

  agent::Connection(folder / "store/DeviceProfile.db", std::chrono::seconds(1))
      .Execute("UPDATE OperatingSystem SET sku = 'x'");
  const Outcome damaged = RunAgent(upload);
  EXPECT_EQ(damaged.exit_code, 1);
  for (const char* part :
       {"database DeviceProfile, table OperatingSystem, rowid=1: column sku", "10 more as"}) {
    EXPECT_NE(damaged.output.find(part), std::string::npos) << part << " in:\n" << damaged.output;
  }

  folder.Write("file", "");
  const Outcome refused = RunAgent("upload " + store + " " + Utf8(folder / "file"));
  EXPECT_EQ(refused.exit_code, 1);
  EXPECT_NE(refused.output.find("file: the folder cannot be created"), std::string::npos)
      << refused.output;
}

#ifndef _WIN32
TEST(Agent, KeepsTheOutboxForItsUserAlone) {
  using std::filesystem::perms;
  const Folder folder;
  folder.Write("machine/etc/os-release", "NAME=Some\n");
  const std::string store = Utf8(folder / "store");
  const std::string machine = " --root " + Utf8(folder / "machine");
  std::filesystem::create_directory(folder / "found");
  folder.Write("shared/notes.txt", "");
  // A folder that holds nothing but what only looks like a payload.
  std::filesystem::create_directories(folder /
                                      "taken/20261120T000000000Z-0000000000001-IdentityAsCDM.json");
  const perms shared = std::filesystem::status(folder / "shared").permissions();
  int round = 0;
  for (const mode_t mask : {0, 0277}) {
    const mode_t before = umask(mask);
    RunAgent("collect " + store + machine);
    for (const char* outbox : {"made/outbox", "found", "shared", "taken"}) {
      std::filesystem::remove(folder / "store/Upload.db");  // so that all goes out again
      const Outcome outcome = RunAgent("upload " + store + " " + Utf8(folder / outbox) + machine);
      EXPECT_EQ(outcome.exit_code, outbox == std::string("taken") ? 1 : 0) << outcome.output;
    }
    umask(before);
    ++round;
    for (const char* part : {"shared", "taken"}) {
      EXPECT_EQ(std::filesystem::status(folder / part).permissions(), shared)
          << part << ": somebody else uses it too";
    }
    for (const char* part : {"store", "made", "found"}) {
      for (const auto& entry : std::filesystem::recursive_directory_iterator(folder / part)) {
        EXPECT_EQ(entry.status().permissions(),
                  entry.is_directory() ? perms::owner_all : perms::owner_read | perms::owner_write)
            << round << entry.path();
      }
      EXPECT_EQ(std::filesystem::status(folder / part).permissions(), perms::owner_all) << part;
    }
    for (const char* part : {"made", "found", "shared"}) {
      std::filesystem::remove_all(folder / part);
      if (part != std::string("made")) std::filesystem::create_directory(folder / part);
    }
    folder.Write("shared/notes.txt", "");
  }
}
#endif

TEST(Agent, AcknowledgesWhatTheCloudHas) {
  const Folder folder;
  folder.Write("machine/etc/os-release", "NAME=Some\n");
  folder.Write("machine/etc/machine-id", "0123\n");
  const std::string store = Utf8(folder / "store");
  const std::string outbox = Utf8(folder / "outbox");
  const std::string machine = " --root " + Utf8(folder / "machine");
  RunAgent("collect " + store + machine);
  ASSERT_EQ(RunAgent("upload " + store + " " + outbox + machine).exit_code, 0);
  std::vector<std::string> ids;
  for (const auto& entry : std::filesystem::directory_iterator(folder / "outbox")) {
    if (entry.path().extension() != ".json") continue;
    const std::string label = folder.Read("outbox/" + Utf8(entry.path().filename()));
    EXPECT_NE(label.find("\"device\": \"5c91a2bf-2873-8c8c-9f56-07345e9936b3\""), std::string::npos)
        << label;
    ids.push_back(label.substr(label.find("\"id\": \"") + 7, 36));
  }
  ASSERT_GT(ids.size(), 3U);
  const std::string unknown = "00000000-0000-8000-8000-000000000000";
  folder.Write("ids", "\xEF\xBB\xBF" + ids[1] + "\r\n\n \t" + ids[2] + "\n");
  folder.Write("long", std::string(3000000, 'x'));
  folder.Write("bad-ids", ids[0] + "\n" + "x\x1b[31m\n");
  const size_t files = folder.Contents().size();
  const auto expect = [&](const std::string& arguments, int exit_code, const std::string& said,
                          size_t removed) {
    const Outcome outcome = RunAgent("ack " + arguments);
    EXPECT_EQ(outcome.exit_code, exit_code) << arguments << "\n" << outcome.output;
    EXPECT_NE(outcome.output.find(said), std::string::npos) << said << " in:\n" << outcome.output;
    EXPECT_EQ(folder.Contents().size(), files - removed * 2) << arguments;
  };
  expect(outbox, 1, "no ids", 0);
  expect(outbox + " " + ids[0] + " nonsense", 1, "\"nonsense\" is not the id", 0);
  expect(outbox + " --file " + Utf8(folder / "bad-ids"), 1, "bad-ids:2: \"x", 0);
  expect(outbox + " --file " + Utf8(folder / "long"), 1, "xxx...\" is not the id", 0);
  expect(outbox + " --file " + Utf8(folder / "none"), 1, "none: cannot be read", 0);
  expect(store + " " + ids[0], 1, "is not an outbox", 0);
  expect(Utf8(folder / "nowhere") + " " + ids[0], 1, "nowhere", 0);
  expect(outbox + " " + ids[0], 0, "1 payload acknowledged", 1);
  expect(outbox + " " + ids[0] + " " + ids[0], 2, ids[0] + ": is not in the outbox", 1);
  expect(outbox + " " + unknown + " --file " + Utf8(folder / "ids"), 2,
         unknown + ": is not in the outbox", 3);

  expect(outbox + " --file " + Utf8(folder.path()), 1, ": cannot be read", 3);
#ifndef _WIN32  // whose shell has no such input
  expect(outbox + " --file - <" + outbox, 1, "standard input: cannot be read (Is a directory", 3);
  expect(outbox + " --file - <&-", 1, "standard input: cannot be read (Bad file descriptor", 3);
  expect(outbox + " --file - </dev/null", 0, "0 payloads acknowledged", 3);
#endif

  // Metadata that is not valid is reported once, and not taken for the payload that is asked for.
  const std::string stem = "20261120T000000000Z-0000000000001-IdentityAsCDM";
  folder.Write("outbox/" + stem + ".json", "not JSON");
  folder.Write("outbox/" + stem + ".binpb", "x");
  const Outcome unread = RunAgent("ack " + outbox + " " + unknown);
  EXPECT_EQ(unread.exit_code, 1);
  const size_t said = unread.output.find(stem + ".json: is not a metadata file");
  EXPECT_NE(said, std::string::npos) << unread.output;
  EXPECT_EQ(unread.output.find(stem, said + 1), std::string::npos) << unread.output;
  std::filesystem::remove(folder / ("outbox/" + stem + ".json"));
  std::filesystem::remove(folder / ("outbox/" + stem + ".binpb"));

  // The second one is refused, whichever command it is.
  const agent::Outbox held(folder / "outbox", agent::UploadLock::IfMissing::kMake,
                           agent::Files::System());
  expect(outbox + " " + ids[3], 1, "outbox: another ovix-agent works on this outbox", 3);
  const Outcome second = RunAgent("upload " + store + " " + outbox + machine);
  EXPECT_EQ(second.exit_code, 1);
  EXPECT_NE(second.output.find("another ovix-agent"), std::string::npos) << second.output;
}

TEST(Agent, GoesOnAroundWhatFailsAndHealsIt) {
  const Folder folder;
  folder.Write("machine/etc/os-release", "NAME=x\n");
  folder.Write("machine/var/lib/dpkg/status", "Package: a\nStatus: install ok installed\n");
  const std::string collect =
      "collect " + Utf8(folder / "store") + " --root " + Utf8(folder / "machine");
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
  // A damaged one is replaced by a new one.
  folder.Write("store/DeviceProfile.db", "no database, but long enough to be read as one");
  run(1, {"DeviceProfile.db: the database is damaged", "was renamed to DeviceProfile.db.damaged-",
          "3 new"});
  run(0, {"3 as before"});
}

TEST(Agent, ShowsHelpInPlainTermsAndEightyColumns) {
  const std::pair<const char*, std::vector<const char*>> cases[] = {
      {"", {"  collect ", "  ack "}},
      {"collect", {"store DIR REQUIRED", "--root DIR "}},
      {"show", {"store DIR REQUIRED"}},
      {"upload",
       {"outbox DIR REQUIRED", "--root DIR", "--max-bytes SIZE", "268435456",
        "--max-age-days NUMBER", "30", "--show MESSAGE "}},
      {"pack", {"outbox DIR REQUIRED", "batch FILE REQUIRED"}},
      {"ack", {"outbox DIR REQUIRED", "id ID ...", "--file FILE "}},
  };
  for (const auto& [command, shown] : cases) {
    const Outcome outcome = RunAgent(std::string(command) + " --help");
    EXPECT_EQ(outcome.exit_code, 0) << command;
    for (const char* part : shown) {
      EXPECT_NE(outcome.output.find(part), std::string::npos) << part << " in:\n" << outcome.output;
    }
    std::istringstream lines(outcome.output);
    for (std::string line; std::getline(lines, line);) EXPECT_LE(line.size(), 80) << line;
  }
}

TEST(Agent, SaysBadInputInOneLineAndFails) {
  const Folder folder;
  folder.Write("file", "");
  folder.Write("damaged/DeviceProfile.db", "no database, but long enough to be read as one");
  folder.Write("machine/etc/os-release", "NAME=x\n");
  const std::string machine = " --root " + Utf8(folder / "machine");
  const std::pair<std::string, const char*> cases[] = {
      {"collect " + Utf8(folder / "file") + machine, "folder"},
      {"show " + Utf8(folder / "damaged"), "DeviceProfile.db: the database is damaged"},
      {"show " + Utf8(folder / "nowhere"), "nowhere"},
      {"show", "store is required; see `ovix-agent show --help`"},
      {"", "A subcommand is required; see `ovix-agent --help`"},
      {"collect x --root " + Utf8(folder / "nowhere"), "nowhere"},
      {"upload " + Utf8(folder / "machine") + " " + Utf8(folder / "outbox"), "holds no databases"},
      {"upload " + Utf8(folder / "machine") + " x --max-bytes -1", "--max-bytes: Value -1 "},
      {"upload " + Utf8(folder / "machine") + " x --max-bytes 0kb", "--max-bytes: Value 0 is"},
      {"upload " + Utf8(folder / "machine") + " x --max-bytes 99999999999999999999999",
       "--max-bytes: Value 99999999999999999999999 "},
      {"upload " + Utf8(folder / "machine") + " x --show Nope", "--show: Nope is not a payload"},
      {"upload " + Utf8(folder / "machine") + " \"\"", "outbox: Name of the folder is empty"},
      {"collect \"\"", "store: Name of the folder is empty"},
      {"upload " + Utf8(folder / "machine") + " x --max-age-days 1", "--max-age-days"},
#ifndef _WIN32  // whose shell has no such text
      {"show \"$(printf 'a\\nb\\033[31m\\377')\"", "a\\nb\\x1b[31m\\xff; see"},
      {"show / \"$(printf -- '--c\\nd')\"", "--c\\nd; see"},
#endif
  };
  const auto before = folder.Contents();
  for (const auto& [arguments, named] : cases) {
    const Outcome outcome = RunAgent(arguments);
    EXPECT_EQ(outcome.exit_code, 1) << arguments;
    const std::string errors =
        outcome.output.substr(std::min(outcome.output.find("ovix-agent: "), outcome.output.size()));
    EXPECT_NE(errors.find(named), std::string::npos) << outcome.output;
    EXPECT_EQ(errors.find('\n'), errors.size() - 1) << "one line, no more: " << errors;
    EXPECT_EQ(folder.Contents(), before) << arguments;
  }
}

#ifndef _WIN32  // where a link needs a right that few have
TEST(Agent, SaysOfDatabasesThatAreLinksWhatTheyAre) {
  const Folder folder;
  folder.Write("machine/etc/machine-id", "0123\n");
  std::filesystem::create_directory(folder / "st\nore");
  std::filesystem::create_symlink("Cache.db", folder / "st\nore/Cache.db");
  const Outcome outcome = RunAgent("upload '" + Utf8(folder / "st\nore") + "' " +
                                   Utf8(folder / "outbox") + " --root " + Utf8(folder / "machine"));
  EXPECT_EQ(outcome.exit_code, 1);
  EXPECT_NE(outcome.output.find("st\\nore/Cache.db: is a symbolic link"), std::string::npos)
      << outcome.output;
}

// As some systems have /etc/machine-id.
TEST(Agent, TakesTheMachineIdThatALinkLeadsTo) {
  const Folder folder;
  folder.Write("machine/var/id", "0123\n");
  std::filesystem::create_directories(folder / "machine/etc");
  std::filesystem::create_symlink("../var/id", folder / "machine/etc/machine-id");
  folder.Write("plain/etc/machine-id", "0123\n");
  EXPECT_EQ(agent::DeviceId(folder / "machine"), agent::DeviceId(folder / "plain"));
}
#endif

#ifdef _WIN32
// In UTF-8 it would be the name of another folder.
TEST(Agent, RefusesNamesThatAreNotUnicode) {
  const Folder folder;
  const std::wstring command = FromUtf8("\"" OVIX_TESTS_AGENT " collect ").native() +
                               (folder.path() / L"made\xD800").native() + L" 2>" +
                               (folder / "err").native() + L"\"";
  EXPECT_EQ(_wsystem(command.c_str()), 1);
  EXPECT_NE(folder.Read("err").find("is not Unicode; give it another name"), std::string::npos)
      << folder.Read("err");
  EXPECT_EQ(folder.Contents().size(), 1u);
}
#endif

#ifndef _WIN32  // whose shell closes no stream and has no full device
TEST(Agent, FailsWhereItsOutputCannotBeWritten) {
  const Folder folder;
  folder.Write("machine/etc/os-release", "NAME=x\n");
  const std::string collect =
      "collect " + Utf8(folder / "store") + " --root " + Utf8(folder / "machine");
  for (const std::string& arguments :
       {collect + " 2>&1 >/dev/full", collect + " 2>&1 >&-",
        "show " + Utf8(folder / "store") + " 2>&1 >/dev/full",
        std::string("--help 2>&1 >/dev/full"), std::string("--version 2>&1 >&-")}) {
    const Outcome outcome = RunProgram("{ " OVIX_TESTS_AGENT, arguments + "; }");
    EXPECT_EQ(outcome.exit_code, 1) << arguments;
    EXPECT_TRUE(outcome.output.starts_with("ovix-agent: standard output: cannot be written") &&
                outcome.output.find('\n') == outcome.output.size() - 1)
        << arguments << "\n"
        << outcome.output;
  }
  // A reader that is gone ends no run in the middle.
  RunProgram("{ sleep 0.2; { " OVIX_TESTS_AGENT, collect + " 2>" + Utf8(folder / "said") +
                                                     "; echo $? >" + Utf8(folder / "code") +
                                                     "; }; } | true");
  EXPECT_EQ(folder.Read("code"), "1\n");
  EXPECT_NE(folder.Read("said").find("standard output: cannot be written"), std::string::npos);
  EXPECT_EQ(RunAgent(collect).exit_code, 0) << "the store is sound";
}
#endif

}  // namespace
}  // namespace ovix::tests
