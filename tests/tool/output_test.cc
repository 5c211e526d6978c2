// What -o does to the files of its user: nothing but what is asked for.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "support/folder.h"
#include "support/tool.h"

#ifndef _WIN32
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace ovix::tests {
namespace {

constexpr char kAge1[] = "\x38\x01";

// The names in a folder, without those that RunTool makes.
std::vector<std::string> Names(const Folder& folder) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
    const std::string name = Utf8(entry.path().filename());
    if (name != "in" && name != "out" && name != "err") names.push_back(name);
  }
  std::sort(names.begin(), names.end());
  return names;
}

TEST(ToolOutput, IsStandardOutputByTheNameOfMinus) {
  const Folder folder;
  folder.Write("age", "{\"age\":1}");
  EXPECT_EQ(RunTool(folder, "encode BatteryHealthLog " + Quoted(folder, "age") + " -o -").output,
            kAge1);
}

TEST(ToolOutput, LeavesItsNeighboursAlone) {
  const Folder folder;
  const std::vector<std::string> names = {".made.part", ".made.tmp", "made.part", "made.tmp"};
  for (const std::string& name : names) folder.Write(name, "{\"age\":1}");
  const std::string out = " -o " + Quoted(folder, "made");
  for (const std::string& name : names) {
    const ProgramRun run = RunTool(folder, "encode BatteryHealthLog " + Quoted(folder, name) + out);
    EXPECT_EQ(run.exit_code, 0) << run.errors;
    EXPECT_EQ(folder.Read("made"), kAge1);
    std::filesystem::remove(folder / "made");
  }
  EXPECT_EQ(RunTool(folder, "encode BatteryHealthLog" + out, "{").exit_code, 2);
  EXPECT_EQ(Names(folder), names);
  for (const std::string& name : names) EXPECT_EQ(folder.Read(name), "{\"age\":1}") << name;
}

#ifdef _WIN32
// In UTF-8 it would be the name of another file.
TEST(ToolOutput, RefusesNamesThatAreNotUnicode) {
  const Folder folder;
  folder.Write("made", "mine");
  std::filesystem::rename(folder / "made", folder.path() / u8"made\uFFFD");
  const std::wstring command =
      FromUtf8("\"" OVIX_TESTS_TOOL " sample BatteryHealthLog -o ").native() +
      (folder.path() / L"made\xD800").native() + L" 2>" + (folder / "err").native() + L"\"";
  EXPECT_EQ(_wsystem(command.c_str()), 2);
  EXPECT_NE(folder.Read("err").find("is not Unicode"), std::string::npos) << folder.Read("err");
  EXPECT_EQ(folder.Contents().size(), 2u);
  EXPECT_EQ(std::filesystem::file_size(folder.path() / u8"made\uFFFD"), 4u);
}
#endif

TEST(ToolOutput, RefusesToDestroyWhatItReads) {
  const Folder folder;
  const std::string key = "a key of at least 16 bytes";
  folder.Write("made", "{\"age\":1}");
  folder.Write("key", key);
  folder.Write("payload", "");
  std::filesystem::create_hard_link(folder / "made", folder / "twin");
  const std::string made = Quoted(folder, "made");
  const std::string cases[] = {
      "encode BatteryHealthLog " + made + " -o " + made,
      "encode BatteryHealthLog " + made + " -o " + Quoted(folder, "./made"),
      "encode BatteryHealthLog " + made + " -o " + Quoted(folder, "twin"),
      "encode BatteryHealthLog --delimited " + made + " -o " + made,
      "decode BatteryHealthLog " + made + " -o " + made,
      "decode IdentityAsCDM " + Quoted(folder, "payload") + " --redact all --key " +
          Quoted(folder, "key") + " -o " + Quoted(folder, "key"),
  };
  for (const std::string& arguments : cases) {
    SCOPED_TRACE(arguments);
    const ProgramRun run = RunTool(folder, arguments);
    EXPECT_EQ(run.exit_code, 2);
    EXPECT_NE(run.errors.find("would destroy it; name another file"), std::string::npos)
        << run.errors;
    EXPECT_EQ(folder.Read("made"), "{\"age\":1}");
    EXPECT_EQ(folder.Read("key"), key);
  }
  // Standard input is the folder's file "in".
  const ProgramRun run =
      RunTool(folder, "encode BatteryHealthLog -o " + Quoted(folder, "in"), "{\"age\":1}");
  EXPECT_EQ(run.exit_code, 2);
  EXPECT_NE(run.errors.find("standard input"), std::string::npos) << run.errors;
  EXPECT_EQ(folder.Read("in"), "{\"age\":1}");
}

#ifndef _WIN32

// Starts the tool with a pipe as its input, which descriptor 3 writes, and waits until it has its
// hidden file. A shell would start it with SIGINT ignored.
constexpr char kStart[] = R"(
start() {
  mkfifo input
  env --default-signal=INT,QUIT "$tool" encode BatteryHealthLog --delimited -o made <input &
  exec 3>input
  rm input
  for try in $(seq 200); do
    ls .ovix-contracts-*.tmp >/dev/null 2>&1 && return
    sleep 0.05
  done
  echo 'no hidden file' >&2
}
)";

mode_t ModeOf(const std::filesystem::path& file) {
  struct stat status {};
  EXPECT_EQ(stat(file.c_str(), &status), 0) << file;
  return status.st_mode & 07777;
}

TEST(ToolOutput, KeepsModeAndOwner) {
  const Folder folder;
  const std::string encode =
      "umask 027; echo '{\"age\":1}' | \"$tool\" encode BatteryHealthLog -o made";
  EXPECT_EQ(RunShell(folder, encode).exit_code, 0);
  EXPECT_EQ(ModeOf(folder / "made"), 0640u) << "a new file has what the umask leaves";
  for (const mode_t mode : {0600u, 0644u, 0666u, 0751u}) {
    ASSERT_EQ(chmod((folder / "made").c_str(), mode), 0);
    EXPECT_EQ(RunShell(folder, encode).exit_code, 0);
    EXPECT_EQ(ModeOf(folder / "made"), mode);
  }
  if (geteuid() != 0) GTEST_SKIP() << "only root can give a file to another user";
  ASSERT_EQ(chown((folder / "made").c_str(), 1234, 5678), 0);
  EXPECT_EQ(RunShell(folder, encode).exit_code, 0);
  struct stat status {};
  ASSERT_EQ(stat((folder / "made").c_str(), &status), 0);
  EXPECT_EQ(status.st_uid, 1234u);
  EXPECT_EQ(status.st_gid, 5678u);
  EXPECT_EQ(status.st_mode & 07777, 0751u);
}

TEST(ToolOutput, HasNoWiderModeWhileItIsWritten) {
  const Folder folder;
  folder.Write("made", "as it was");
  ASSERT_EQ(chmod((folder / "made").c_str(), 0640), 0);
  const ProgramRun run =
      RunShell(folder, std::string(kStart) +
                           "umask 0; start; stat -c %a .ovix-contracts-*.tmp; exec 3>&-; wait");
  EXPECT_EQ(run.output, "640\n") << run.errors;
  EXPECT_EQ(run.errors, "");
}

TEST(ToolOutput, RefusesAFileThatItsUserMayNotWrite) {
  const Folder folder;
  folder.Write("made", "as it was");
  std::string other_user;
  if (geteuid() == 0) {
    other_user = "setpriv --reuid=65534 --regid=65534 --clear-groups ";
    ASSERT_EQ(chmod(folder.path().c_str(), 0777), 0);
    if (RunShell(folder, other_user + "\"$tool\" list").exit_code != 0) {
      GTEST_SKIP() << "no other user can run the tool here";
    }
    ASSERT_EQ(chown((folder / "made").c_str(), 65534, 65534), 0);
  }
  const std::string encode =
      "echo '{\"age\":1}' | " + other_user + "\"$tool\" encode BatteryHealthLog -o made";
  ASSERT_EQ(chmod((folder / "made").c_str(), 0444), 0);
  ProgramRun run = RunShell(folder, encode);
  EXPECT_EQ(run.exit_code, 2);
  EXPECT_NE(run.errors.find("made: cannot be written (Permission denied); no part of it was left"),
            std::string::npos)
      << run.errors;
  EXPECT_EQ(folder.Read("made"), "as it was");
  if (geteuid() == 0) {
    // Whose owner cannot be kept.
    ASSERT_EQ(chown((folder / "made").c_str(), 0, 0), 0);
    ASSERT_EQ(chmod((folder / "made").c_str(), 0666), 0);
    run = RunShell(folder, encode);
    EXPECT_EQ(run.exit_code, 2);
    EXPECT_NE(run.errors.find("Operation not permitted"), std::string::npos) << run.errors;
    EXPECT_EQ(folder.Read("made"), "as it was");
  }
  EXPECT_EQ(Names(folder), (std::vector<std::string>{"made", "script"}));
}

TEST(ToolOutput, FollowsLinks) {
  const Folder folder;
  folder.Write("deep/real", "as it was");
  std::filesystem::create_symlink("real", folder / "deep/second");
  std::filesystem::create_symlink("deep/second", folder / "first");
  std::filesystem::create_symlink("deep/new", folder / "dangling");
  std::filesystem::create_symlink("loop", folder / "loop");
  for (const auto& [link, target] : {std::pair("first", "deep/real"), {"dangling", "deep/new"}}) {
    SCOPED_TRACE(link);
    const std::string out = " -o " + Quoted(folder, link);
    EXPECT_EQ(RunTool(folder, "encode BatteryHealthLog" + out, "{").exit_code, 2);
    const ProgramRun run = RunTool(folder, "encode BatteryHealthLog" + out, "{\"age\":1}");
    EXPECT_EQ(run.exit_code, 0) << run.errors;
    EXPECT_TRUE(std::filesystem::is_symlink(folder / link));
    EXPECT_FALSE(std::filesystem::is_symlink(folder / target));
    EXPECT_EQ(folder.Read(target), kAge1);
  }
  EXPECT_TRUE(std::filesystem::is_symlink(folder / "deep/second"));
  const ProgramRun run =
      RunTool(folder, "encode BatteryHealthLog -o " + Quoted(folder, "loop"), "{\"age\":1}");
  EXPECT_EQ(run.exit_code, 2);
  EXPECT_NE(run.errors.find("Too many levels of symbolic links"), std::string::npos) << run.errors;
  std::filesystem::remove(folder / "loop");
  EXPECT_EQ(Names(folder), (std::vector<std::string>{"dangling", "deep", "first"}));
}

TEST(ToolOutput, IsWholeWhereTwoRunsWriteIt) {
  const Folder folder;
  // The first begins before the second and ends after it.
  const ProgramRun run = RunShell(folder, std::string(kStart) + R"(
start
echo '{"age":1}' >&3
echo '{"age":2}' | "$tool" encode BatteryHealthLog -o made 3>&-; echo $?
od -An -tx1 made
echo '{"age":1}' >&3
exec 3>&-
wait $!; echo $?
od -An -tx1 made)");
  EXPECT_EQ(run.output, "0\n 38 02\n0\n 02 38 01 02 38 01\n") << run.errors;
  EXPECT_EQ(run.errors, "");
  EXPECT_EQ(Names(folder), (std::vector<std::string>{"made", "script"}));
}

TEST(ToolOutput, IsRemovedOnASignal) {
  const Folder folder;
  folder.Write("made", "as it was");
  for (const char* signal :
       {"HUP", "INT", "QUIT", "TERM", "USR1", "USR2", "ALRM", "VTALRM", "XCPU", "ABRT", "SEGV"}) {
    SCOPED_TRACE(signal);
    // The sanitizers leave a fault of memory to the program.
    const ProgramRun run =
        RunShell(folder,
                 "export ASAN_OPTIONS=handle_segv=0:$ASAN_OPTIONS "
                 "TSAN_OPTIONS=handle_segv=0:$TSAN_OPTIONS; ulimit -c 0" +
                     std::string(kStart) + "start; kill -" + signal + " $!; wait $!; kill -l $?");
    EXPECT_EQ(run.output, std::string(signal) + "\n") << run.errors;
    EXPECT_EQ(Names(folder), (std::vector<std::string>{"made", "script"}));
    EXPECT_EQ(folder.Read("made"), "as it was");
  }
  // What nohup ignores does not end it.
  const ProgramRun run = RunShell(
      folder, "trap '' HUP" + std::string(kStart) +
                  "start; kill -HUP $!; echo '{\"age\":1}' >&3; exec 3>&-; wait $!; echo $?");
  EXPECT_EQ(run.output, "0\n") << run.errors;
  EXPECT_EQ(folder.Read("made"), "\x02\x38\x01");
}

TEST(ToolOutput, IsRemovedWhereTheDiskTakesNoMore) {
  const Folder folder;
  folder.Write("made", "as it was");
  // Less than a buffer, so that only the last flush fails, and more.
  for (const char* lines : {"1000", "100000"}) {
    const ProgramRun run =
        RunShell(folder, "ulimit -f 1; yes '{\"age\":1}' | head -n " + std::string(lines) +
                             " | \"$tool\" encode BatteryHealthLog --delimited -o made");
    EXPECT_EQ(run.exit_code, 2);
    EXPECT_NE(run.errors.find("made: cannot be written (File too large); no part of it was left"),
              std::string::npos)
        << run.errors;
    EXPECT_EQ(folder.Read("made"), "as it was");
    EXPECT_EQ(Names(folder), (std::vector<std::string>{"made", "script"}));
  }
}

// By links of the folder's own: a tool with a fault, run by root, would replace those of /dev.
TEST(ToolOutput, WritesPipesAndOpenFilesAsTheyAre) {
  const Folder folder;
  const std::pair<const char*, const char*> cases[] = {
      {"-o stdout | od -An -tx1", " 38 01\n"},
      // What was in the file stays.
      {"-o stdout >>kept; od -An -tx1 kept", " 61 38 01\n"},
      {"-o pipe & od -An -tx1 pipe; wait", " 38 01\n"},
  };
  for (const auto& [end, output] : cases) {
    SCOPED_TRACE(end);
    folder.Write("kept", "a");
    const ProgramRun run =
        RunShell(folder,
                 "rm -f pipe stdout; mkfifo pipe; ln -s /proc/self/fd/1 stdout\n"
                 "echo '{\"age\":1}' | \"$tool\" encode BatteryHealthLog " +
                     std::string(end) + "\ntest -p pipe && test -L stdout && echo kept");
    EXPECT_EQ(run.output, std::string(output) + "kept\n") << run.errors;
    EXPECT_EQ(run.errors, "");
  }
}

#endif

}  // namespace
}  // namespace ovix::tests
