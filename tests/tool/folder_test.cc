// What --out does to the folders of its user: it changes the files that are its own, and no others.
#include "terminal/folder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <filesystem>
#include <iterator>
#include <map>
#include <string>
#include <thread>

#include "support/folder.h"
#include "support/tool.h"
#include "terminal/error.h"
#include "terminal/platform.h"

#ifndef _WIN32
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#endif

namespace ovix::tests {
namespace {

namespace fs = std::filesystem;
using Files = std::map<std::string, std::string>;

constexpr char kKind[] = "test";
constexpr char kTitle[] = "The files of this test, written by ovix-contracts:\n";

// What the writing said; "" where it was done.
std::string Write(const Files& files, const fs::path& out) {
  try {
    tool::WriteFolder(files, Utf8(out), kKind);
  } catch (const tool::Error& error) {
    return error.what();
  }
  return "";
}

Files WithList(Files files, const std::string& list) {
  files["files.txt"] = kTitle + list;
  return files;
}

TEST(ToolFolder, ReplacesWhatIsItsOwnAndRefusesTheRest) {
  const Folder folder;
  const Files files = {{"a/one", "1"}, {"two", "2"}};
  const Files written = WithList(files, "a/one\ntwo\n");
  const struct {
    const char* name;
    Files before;
    Files after;  // nothing where it is refused
    const char* said = "";
  } cases[] = {
      {"new", {}, written},
      {"earlier", WithList({{"a/one", "0"}, {"two", "0"}}, "a/one\ntwo\n"), written},
      {"with old files", WithList({{"a/b/c", "0"}, {"d", "0"}}, "a/b/c\nd\n"), written},
      {"without files", WithList({}, ""), written},
      {"killed half way", WithList({{"two", "0"}}, "a/one\nb/gone\ntwo\n"), written},
      // As git checks it out on Windows.
      {"with other line ends",
       {{"files.txt", std::string(kTitle, sizeof(kTitle) - 2) + "\r\ntwo\r\n"}, {"two", "0"}},
       written},
      {"with a temporary folder of another run",
       WithList({{".ovix-contracts-1.tmp/0", "theirs"}}, ""),
       [&] {
         Files both = written;
         both[".ovix-contracts-1.tmp/0"] = "theirs";
         return both;
       }()},
      {"with a file", WithList({{"mine", "m"}}, ""), {}, "holds mine, which is not of a test"},
      {"with a file deep down",
       WithList({{"a/one", ""}, {"a/mine", "m"}}, "a/one\n"),
       {},
       "holds a/mine, which"},
      {"with a folder", WithList({{"x/", ""}}, ""), {}, "holds x, which is not of a test"},
      {"with a folder of folders",
       WithList({{"a/one", ""}, {"a/x/", ""}}, "a/one\n"),
       {},
       "holds a/x, which"},
      {"of another kind",
       {{"files.txt", "The files of this site:\ntwo\n"}},
       {},
       "holds files.txt, which"},
      {"without a list", {{"two", "0"}}, {}, "holds two, which"},
      {"with a folder of that name", WithList({{"two/", ""}}, "two\n"), {}, "holds two, which"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const fs::path out = folder / c.name;
    for (const auto& [name, content] : c.before) {
      if (name.ends_with('/')) {
        fs::create_directories(out / name);
      } else {
        folder.Write(std::string(c.name) + "/" + name, content);
      }
    }
    const std::string said = Write(files, out);
    if (*c.said == '\0') {
      EXPECT_EQ(said, "");
      EXPECT_EQ(FilesIn(out), c.after);
    } else {
      EXPECT_NE(said.find(c.said), std::string::npos) << said;
      EXPECT_EQ(FilesIn(out), c.before);
    }
  }
}

TEST(ToolFolder, RemovesNothingThatAListNamesElsewhere) {
  const Folder folder;
  folder.Write("mine", "m");
  folder.Write("out/files.txt", kTitle + std::string("../mine\nold\n/x\n//x/y\n/\nC:x\n"));
  folder.Write("out/old", "");
  EXPECT_EQ(Write({{"two", "2"}}, folder / "out"), "");
  EXPECT_EQ(FilesIn(folder / "out"), WithList({{"two", "2"}}, "two\n"));
  EXPECT_EQ(folder.Read("mine"), "m");
}

TEST(ToolFolder, KnowsItsFoldersHoweverTheListSpellsThem) {
  const Folder folder;
  folder.Write("out/files.txt", kTitle + std::string("a//b/c\n"));
  fs::create_directories(folder / "out/a/b");
  EXPECT_EQ(Write({{"two", "2"}}, folder / "out"), "");
}

#ifdef _WIN32
// The C++ library would list and write other folders.
TEST(ToolFolder, IsRefusedWhereItWouldBeAnother) {
  const Folder folder;
  const struct {
    fs::path out;
    const char* said;
  } cases[] = {
      {R"(\\server\share\x)", "give the share a drive letter"},
      {"//server/share/x", "give the share a drive letter"},
      {folder / std::string(120, 'x') / std::string(80, 'x'), "more than 200 characters"},
      {R"(Q:\x\y)", "cannot be written"},
  };
  for (const auto& c : cases) {
    const std::string said = Write({{"one", "1"}}, c.out);
    EXPECT_NE(said.find(c.said), std::string::npos) << c.said << " in: " << said;
    EXPECT_EQ(FilesIn(folder.path()), Files());
  }
  const fs::path there = folder / std::string(140, 'y');
  fs::create_directories(there);
  for (const std::string command : {"check", "lint"}) {
    const ProgramRun run = RunTool(folder, command + " \"" + Utf8(there) + "\"");
    EXPECT_NE(run.errors.find("more than 200 characters"), std::string::npos) << run.errors;
  }
}
#endif

TEST(ToolFolder, HasAnyName) {
  const struct {
    const char* name;
    const char* said = "";
  } cases[] = {
      {"new"},
      {"deep/below/new"},
      {"a-slash/"},
      {"behind/../dots"},
      {"file", "file: is a file; name a folder"},
      {"file/below", "file/below: cannot be written"},
      {"", "the folder of the test has no name; name one"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const Folder folder;
    folder.Write("file", "mine");
    const fs::path out = *c.name == '\0' ? fs::path() : folder / c.name;
    const std::string said = Write({{"one", "1"}}, out);
    if (*c.said == '\0') {
      EXPECT_EQ(said, "");
      EXPECT_EQ(FilesIn(out.lexically_normal()), WithList({{"one", "1"}}, "one\n"));
      EXPECT_EQ(FilesIn(folder.path()).size(), 3u) << "something was left next to it";
    } else {
      EXPECT_NE(FromUtf8(said).generic_u8string().find(FromUtf8(c.said).u8string()),
                std::string::npos)
          << said;
      EXPECT_EQ(FilesIn(folder.path()), (Files{{"file", "mine"}}));
    }
  }
}

TEST(ToolFolder, StaysTheFolderThatItIs) {
  const Folder folder;
  const fs::path before = fs::current_path();
  fs::create_directories(folder / "out");
  fs::current_path(folder / "out");
  for (const char* content : {"1", "2"}) {
    EXPECT_EQ(Write({{"one", content}}, "."), "");
    // By the same name: a shell in the folder is not in one that is gone.
    EXPECT_EQ(ReadFile("one"), content);
  }
  fs::current_path(before);
}

// Whatever is saved into the folder while it is written is there afterwards.
TEST(ToolFolder, LeavesWhatIsSavedIntoItMeanwhile) {
  Files files;
  for (int i = 0; i < 300; ++i) files["file" + std::to_string(i)] = std::string(1000, 'x');
  for (int i = 0; i < 5; ++i) {
    const Folder folder;
    const fs::path out = folder / "out";
    ASSERT_EQ(Write({{"file0", "before"}}, out), "");
    const auto entries = [&] {
      std::error_code ignored;
      return std::distance(fs::directory_iterator(folder.path()), {}) +
             std::distance(fs::directory_iterator(out, ignored), {});
    };
    const auto before = entries();
    std::atomic<bool> is_done = false;
    std::thread other([&] {
      while (!is_done && entries() == before) std::this_thread::yield();
      folder.Write("out/mine", "m");
    });
    // A run that sees it in time refuses the folder.
    const std::string said = Write(files, out);
    is_done = true;
    other.join();
    EXPECT_TRUE(said.empty() || said.find("holds mine, which is not of a test") != said.npos)
        << said;
    EXPECT_EQ(folder.Read("out/mine"), "m");
    EXPECT_EQ(folder.Read("out/file0"), said.empty() ? files["file0"] : "before");
  }
}

TEST(ToolFolder, RenamesToNewNamesOnly) {
  const Folder folder;
  folder.Write("ours", "o");
  folder.Write("theirs", "t");
  EXPECT_FALSE(tool::RenameToNew(folder / "ours", folder / "theirs"));
  EXPECT_EQ(errno, EEXIST);
  EXPECT_EQ(folder.Read("theirs"), "t");
  EXPECT_TRUE(tool::RenameToNew(folder / "ours", folder / "new"));
  EXPECT_EQ(FilesIn(folder.path()), (Files{{"new", "o"}, {"theirs", "t"}}));
}

#ifndef _WIN32

TEST(ToolFolder, KeepsModeAndOwner) {
  const Folder folder;
  ASSERT_EQ(Write({{"a/one", "1"}}, folder / "out"), "");
  const std::pair<const char*, mode_t> paths[] = {
      {"out", 0700}, {"out/a", 0750}, {"out/a/one", 0640}, {"out/files.txt", 0604}};
  for (const auto& [path, mode] : paths) {
    ASSERT_EQ(chmod((folder / path).c_str(), mode), 0);
    if (geteuid() == 0) {
      ASSERT_EQ(chown((folder / path).c_str(), 1234, 5678), 0);
    }
  }
  ASSERT_EQ(Write({{"a/one", "2"}, {"two", "2"}}, folder / "out"), "");
  EXPECT_EQ(folder.Read("out/a/one"), "2");
  for (const auto& [path, mode] : paths) {
    SCOPED_TRACE(path);
    struct stat status {};
    ASSERT_EQ(stat((folder / path).c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, mode);
    if (geteuid() == 0) {
      EXPECT_EQ(status.st_uid, 1234u);
    }
    if (geteuid() == 0) {
      EXPECT_EQ(status.st_gid, 5678u);
    }
  }
}

// Runs it in a process of its own; how that ended.
template <typename Call>
int InProcess(const Call& call) {
  const pid_t child = fork();
  if (child == 0) {
    call();
    _exit(0);
  }
  int status = -1;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  return status;
}

TEST(ToolFolder, IsAsBeforeOrNewWhereASignalEndsTheProgram) {
  const Folder folder;
  Files files;
  for (int i = 0; i < 400; ++i) files["new/" + std::to_string(i)] = std::string(5000, 'x');
  const fs::path out = folder / "out";
  ASSERT_EQ(Write({{"old", "before"}}, out), "");
  const Files before = FilesIn(out);
  ASSERT_EQ(Write(files, folder / "other"), "");
  const Files after = FilesIn(folder / "other");
  int ended = 0;
  // In steps, so that the signal comes at every stage.
  for (int wait = 200; wait < 200'000; wait = wait * 5 / 4) {
    SCOPED_TRACE(wait);
    const int status = InProcess([&] {
      const itimerval timer{{0, 0}, {0, wait}};
      setitimer(ITIMER_REAL, &timer, nullptr);
      Write(files, out);
    });
    const bool is_ended = WIFSIGNALED(status);
    if (is_ended) {
      EXPECT_EQ(WTERMSIG(status), SIGALRM);
    }
    const Files now = FilesIn(out);
    EXPECT_TRUE(now == before || now == after) << now.size() << " files";
    EXPECT_EQ(std::distance(fs::directory_iterator(folder.path()), {}), 2) << "something was left";
    if (!is_ended) {
      EXPECT_EQ(now, after);
      break;
    }
    ++ended;
    if (now == after) {
      ASSERT_EQ(Write({{"old", "before"}}, out), "");
    }
  }
  EXPECT_NE(ended, 0);
}

TEST(ToolFolder, SaysWhatItHoldsWhereOnlyARenameFails) {
  const Folder folder;
  const fs::path out = folder / "out";
  ASSERT_EQ(Write({{"a/one", "1"}, {"two", "1"}}, out), "");
  ASSERT_EQ(Write({{"a/one", "1"}}, folder / "closed"), "");
  const bool is_root = geteuid() == 0;
  if (is_root) {
    ASSERT_EQ(chmod(folder.path().c_str(), 0777), 0);
    for (const auto& entry : fs::recursive_directory_iterator(folder.path())) {
      ASSERT_EQ(chown(entry.path().c_str(), 65534, 65534), 0);
    }
  }
  // The error for a user who may not write a folder. Root may write all.
  const Files files = {{"a/new", "2"}, {"a/one", "2"}, {"two", "2"}};
  const auto said = [&](const fs::path& into) {
    fs::remove(folder / "said");
    InProcess([&] {
      if (is_root && (setgid(65534) != 0 || setuid(65534) != 0)) _exit(1);
      folder.Write("said", Write(files, into));
    });
    return folder.Read("said");
  };
  ASSERT_EQ(chmod((out / "a").c_str(), 0555), 0);
  EXPECT_EQ(said(out), Utf8(out) +
                           ": cannot be written: Permission denied; it holds files of this run and "
                           "of the one before, run it again");
  EXPECT_EQ(FilesIn(out), WithList({{"a/one", "1"}, {"two", "1"}}, "a/one\ntwo\n"));
  ASSERT_EQ(chmod((out / "a").c_str(), 0755), 0);
  EXPECT_EQ(said(out), "");
  EXPECT_EQ(FilesIn(out), WithList(files, "a/new\na/one\ntwo\n"));

  const Files closed = FilesIn(folder / "closed");
  ASSERT_EQ(chmod((folder / "closed").c_str(), 0555), 0);
  EXPECT_NE(said(folder / "closed").find("nothing was changed"), std::string::npos);
  ASSERT_EQ(chmod((folder / "closed").c_str(), 0755), 0);
  ASSERT_EQ(chmod((folder / "closed/a/one").c_str(), 0444), 0);
  EXPECT_EQ(said(folder / "closed"),
            Utf8(folder / "closed") +
                ": a/one may not be written (Permission denied); make it writable or name another "
                "folder, nothing was changed");
  EXPECT_EQ(FilesIn(folder / "closed"), closed);
}

// As on a full disk: a file cannot be written to its end.
TEST(ToolFolder, StaysAsItWasWhereAFileCannotBeWritten) {
  const Folder folder;
  const fs::path out = folder / "out";
  ASSERT_EQ(Write({{"one", "1"}, {"two", "1"}}, out), "");
  const Files before = FilesIn(out);
  const int status = InProcess([&] {
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit small{20000, 20000};
    if (setrlimit(RLIMIT_FSIZE, &small) != 0) _exit(1);
    folder.Write("said", Write({{"one", "2"}, {"two", std::string(30000, 'x')}}, out));
  });
  EXPECT_EQ(status, 0);
  EXPECT_NE(folder.Read("said").find("cannot be written: File too large; name a folder that can "
                                     "be, nothing was changed"),
            std::string::npos);
  EXPECT_EQ(FilesIn(out), before);
}

TEST(ToolFolder, IsWholeWhereASignalComesWhileFilesTakeTheirPlaces) {
  const Folder folder;
  const fs::path out = folder / "out";
  Files files;
  for (int i = 0; i < 300; ++i) files["new" + std::to_string(i)] = "x";
  for (int i = 0; i < 5; ++i) {
    fs::remove_all(out);
    ASSERT_EQ(Write({{"old", "before"}}, out), "");
    const auto list = [&] {
      struct stat status {};
      stat((out / "files.txt").c_str(), &status);
      return status.st_ino;
    };
    const auto before = list();
    const pid_t child = fork();
    if (child == 0) {
      Write(files, out);
      _exit(0);
    }
    while (list() == before && waitpid(child, nullptr, WNOHANG) == 0) {
    }
    kill(child, SIGTERM);
    waitpid(child, nullptr, 0);
    EXPECT_EQ(FilesIn(out).size(), files.size() + 1);
  }
}

#endif

}  // namespace
}  // namespace ovix::tests
