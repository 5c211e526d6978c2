// The command `diff`: where it reads releases, the changes that it leaves out on request, and the
// formats of systems for continuous integration.
#include <google/protobuf/descriptor.pb.h>
#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/io/gzip_stream.h>
#include <google/protobuf/io/zero_copy_stream_impl_lite.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>

#include "support/folder.h"
#include "support/schema_pair.h"
#include "support/tool.h"

namespace ovix::tests {
namespace {

// Two releases in the files old and new of the folder: a renamed field, and a removed message.
void WriteReleases(const Folder& folder) {
  const char* older = "message M {\n  string a = 1;\n}\nmessage N { }\n=== gone\nmessage O { }\n";
  folder.Write("old", Compiled(folder, {older}).SerializeAsString());
  const char* newer = "message M {\n  string b = 1;\n  string c = 2;\n}\n";
  folder.Write("new", Compiled(folder, {newer}).SerializeAsString());
}

std::string Path(const Folder& folder, const char* name) {
  return " \"" + Utf8(folder / name) + "\"";
}

TEST(ToolDiff, ReportsToContinuousIntegration) {
  const Folder folder;
  WriteReleases(folder);
  const std::string sets = Path(folder, "old") + Path(folder, "new");
  ProgramRun run = RunTool(folder, "diff --format github" + sets);
  EXPECT_EQ(run.exit_code, 1);
  EXPECT_EQ(
      run.output,
      "::error title=file-removed::pair0/gone.proto: removed: programs include its header\n"
      "::error title=message-removed::pair0.O: sub-message removed: what was kept or sent can no "
      "longer be read\n"
      "::error file=pair0/main.proto,line=2,title=field-renamed::pair0.M.a: renamed to b: a "
      "name is a JSON key and a line in somebody's query\n"
      "::error file=pair0/main.proto,title=message-removed::pair0.N: sub-message removed: what was "
      "kept or sent can no longer be read\n"
      "::notice file=pair0/main.proto,line=4,title=field-added::pair0.M.c: added, number 2, "
      "string\n"
      "5 changes: 2 wire-breaking, 4 source-breaking, 0 store-breaking, 1 safe\n");
  run = RunTool(folder, "diff --format junit" + sets);
  EXPECT_EQ(run.exit_code, 1);
  EXPECT_TRUE(
      run.output.starts_with("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites>\n"
                             "  <testsuite name=\"ovix-contracts diff\" tests=\"5\" failures=\"4\">"
                             "\n"))
      << run.output;
  for (const char* part :
       {"    <testcase classname=\"field-renamed\" name=\"pair0.M.a\" file=\"pair0/main.proto\" "
        "line=\"2\">\n      <failure type=\"source-breaking\" message=\"renamed to b: a "
        "name is",
        "    <testcase classname=\"field-added\" name=\"pair0.M.c\" file=\"pair0/main.proto\" "
        "line=\"4\"/>\n",
        "  </testsuite>\n</testsuites>\n"}) {
    EXPECT_NE(run.output.find(part), std::string::npos) << part << " in:\n" << run.output;
  }
  const std::string same = Path(folder, "old") + Path(folder, "old");
  EXPECT_EQ(RunTool(folder, "diff --format github" + same).output, "no change\n");
  run = RunTool(folder, "diff --format junit" + same);
  EXPECT_EQ(run.exit_code, 0);
  EXPECT_NE(run.output.find("tests=\"1\" failures=\"0\">\n    <testcase classname=\"contracts\" "
                            "name=\"no change\"/>"),
            std::string::npos)
      << run.output;
}

// A release that begins to state facts does so everywhere.
TEST(ToolDiff, CountsFactsAddedInAnnotations) {
  const Folder folder;
  std::string older, newer;
  for (char name = 'A'; name <= 'K'; ++name) {
    older += std::string("message ") + name + " {\n  // It.\n  uint32 a = 1;\n}\n";
    newer += std::string("message ") + name + " {\n  // It.\n  // Unit: mm\n  uint32 a = 1;\n}\n";
  }
  folder.Write("old", Compiled(folder, {older}).SerializeAsString());
  folder.Write("new", Compiled(folder, {newer}).SerializeAsString());
  const std::string sets = Path(folder, "old") + Path(folder, "new");
  EXPECT_EQ(RunTool(folder, "diff --format github" + sets).output,
            "::notice title=facts-added::11 messages: the comments state more; --format json names "
            "the fields\n"
            "11 changes: 0 wire-breaking, 0 source-breaking, 0 store-breaking, 11 safe\n");
}

TEST(ToolDiff, EscapesWhatAReportCannotHold) {
  const Folder folder;
  folder.Write("old", Compiled(folder, {"option go_package = \"a\";\n"}).SerializeAsString());
  folder.Write("new",
               Compiled(folder, {"option go_package = \"<b>%&\\n\\\"\";\n"}).SerializeAsString());
  const std::string sets = Path(folder, "old") + Path(folder, "new");
  const std::string github = RunTool(folder, "diff --format github" + sets).output;
  EXPECT_NE(github.find("<b>%25&"), std::string::npos) << github;
  EXPECT_EQ(std::count(github.begin(), github.end(), '\n'), 2) << github;
  const std::string junit = RunTool(folder, "diff --format junit" + sets).output;
  EXPECT_NE(junit.find("&lt;b&gt;%&amp;"), std::string::npos) << junit;
  EXPECT_EQ(junit.find("<b>"), std::string::npos);
}

TEST(ToolDiff, LeavesOutTheChangesThatAFileNames) {
  const Folder folder;
  WriteReleases(folder);
  const std::string diff =
      "diff --ignore" + Path(folder, "ignored") + Path(folder, "old") + Path(folder, "new");
  folder.Write("ignored",
               "# What was agreed upon.\n\nfield-renamed pair0.M.a  # never used\r\n"
               "message-removed\tpair0.N\nmessage-removed pair0.O\nfile-removed pair0/gone.proto\n"
               "field-removed pair0.M.b\nfield-renamed pair0.M\n");
  ProgramRun run = RunTool(folder, diff);
  EXPECT_EQ(run.exit_code, 0);
  EXPECT_EQ(run.output,
            "safe: pair0.M.c\n  added, number 2, string\n"
            "1 change: 0 wire-breaking, 0 source-breaking, 0 store-breaking, 1 safe\n");
  const std::string file = Utf8(folder / "ignored");
  EXPECT_EQ(run.errors, "ovix-contracts: " + file +
                            ": 4 changes are ignored\novix-contracts: " + file +
                            ":7: field-removed pair0.M.b: matches no change; remove the line\n" +
                            "ovix-contracts: " + file +
                            ":8: field-renamed pair0.M: matches no change; remove the line\n");
  const std::pair<const char*, const char*> refused[] = {
      {"\nfield-renamed\n", "ignored:2: is not a rule and a subject"},
      {"field-renamed a b\n", "ignored:1: is not a rule and a subject"},
      {"field-rename a\n", "ignored:1: field-rename is not a rule; is it field-renamed"},
  };
  for (const auto& [text, said] : refused) {
    folder.Write("ignored", text);
    run = RunTool(folder, diff);
    EXPECT_EQ(run.exit_code, 2);
    EXPECT_EQ(run.output, "");
    EXPECT_NE(run.errors.find(said), std::string::npos) << run.errors;
  }
}

TEST(ToolDiff, ReadsStandardInputOnce) {
  const Folder folder;
  WriteReleases(folder);
  const std::string expected =
      RunTool(folder, "diff" + Path(folder, "old") + Path(folder, "new")).output;
  EXPECT_EQ(RunTool(folder, "diff -" + Path(folder, "new"), folder.Read("old")).output, expected);
  const ProgramRun run = RunTool(folder, "diff - -", folder.Read("old"));
  EXPECT_EQ(run.exit_code, 2);
  EXPECT_NE(run.errors.find("standard input: is read for two things; name a file for one"),
            std::string::npos);
}

TEST(ToolDiff, ReadsWhatGzipHasCompressed) {
  const Folder folder;
  WriteReleases(folder);
  std::string compressed;
  {
    google::protobuf::io::StringOutputStream bytes(&compressed);
    google::protobuf::io::GzipOutputStream stream(&bytes);
    google::protobuf::io::CodedOutputStream(&stream).WriteString(folder.Read("old"));
  }
  folder.Write("old.gz", compressed);
  const std::string newer = Path(folder, "new");
  const std::string expected = RunTool(folder, "diff" + Path(folder, "old") + newer).output;
  EXPECT_EQ(RunTool(folder, "diff" + Path(folder, "old.gz") + newer).output, expected);
  EXPECT_EQ(RunTool(folder, "diff -" + newer, compressed).output, expected);
  compressed[compressed.size() / 2] ^= 0x55;
  for (const std::string& damaged : {compressed, compressed.substr(0, compressed.size() / 2)}) {
    folder.Write("old.gz", damaged);
    const ProgramRun run = RunTool(folder, "diff" + Path(folder, "old.gz") + newer);
    EXPECT_EQ(run.exit_code, 2);
    EXPECT_NE(run.errors.find("old.gz: is damaged, gzip cannot uncompress it"), std::string::npos)
        << run.errors;
  }
}

// --- Revisions of a repository

class ToolDiffOfRevisions : public testing::Test {
 protected:
  void SetUp() override {
    for (const char* options : {"storage/storage_options", "upload/upload_options"}) {
      const std::string path = "ovix/telemetry/contract/" + std::string(options) + ".proto";
      std::filesystem::create_directories((folder_ / ("repository/" + path)).parent_path());
      std::filesystem::copy_file(SourceFile(path), folder_ / ("repository/" + path));
    }
    Git("init -q");
    Commit("message M {\n  // A length.\n  // Unit: mm\n  uint32 a = 1;\n}\n", "v1.0.0");
    Commit("message M {\n  // A length.\n  // Unit: cm\n  uint32 a = 1;\n}\n", "unit");
    Commit("message M {\n  // A length.\n  // Unit: cm\n  uint32 b = 1;\n}\n", "renamed");
    Commit("message M {\n  uint32 b = one;\n}\n", "broken");
    folder_.Write("repository/other", "");
    Git("rm -rq --cached ovix");
    Git("add other");
    Git("-c user.name=t -c user.email=t@example.com commit -qm none");
  }
  void Git(const std::string& arguments) {
    const ProgramRun run = RunIn(folder_, "git -C" + Path(folder_, "repository"), arguments);
    ASSERT_EQ(run.exit_code, 0) << arguments << "\n" << run.errors;
  }
  void Commit(const std::string& body, const std::string& tag) {
    folder_.Write("repository/ovix/telemetry/contract/storage/m.proto",
                  "syntax = \"proto3\";\npackage p;\n"
                  "import \"ovix/telemetry/contract/storage/storage_options.proto\";\n" +
                      body);
    folder_.Write("repository/tests.proto", "this is not one of the contracts");
    Git("add .");
    Git("-c user.name=t -c user.email=t@example.com commit -qm change");
    Git("tag " + tag);
  }
  ProgramRun Diff(const std::string& arguments, const char* working_folder = "repository/ovix") {
    return RunIn(folder_, "env -C" + Path(folder_, working_folder) + " " OVIX_TESTS_TOOL,
                 "diff " + arguments);
  }
  const Folder folder_;
};

TEST_F(ToolDiffOfRevisions, CompilesTheirSchemas) {
  const ProgramRun run = Diff("git:renamed~1 git:renamed");
  EXPECT_EQ(run.exit_code, 1);
  EXPECT_EQ(run.errors, "");
  EXPECT_EQ(run.output,
            "source-breaking: p.M.a\n  renamed to b: a name is a JSON key and a line in "
            "somebody's query\n"
            "1 change: 0 wire-breaking, 1 source-breaking, 0 store-breaking, 0 safe\n");
  EXPECT_EQ(Diff("git:v1.0.0 git:v1.0.0").output, "no change\n");
  // Comments come along.
  EXPECT_NE(Diff("git:v1.0.0 git:unit --format json").output.find("\"unit-changed\""),
            std::string::npos);
  EXPECT_NE(Diff("git:v1.0.0 git:renamed --format github")
                .output.find("file=ovix/telemetry/contract/storage/m.proto,line=4,"),
            std::string::npos);
}

TEST_F(ToolDiffOfRevisions, AreRefusedInOneLine) {
  const struct {
    const char* arguments;
    const char* said;
  } cases[] = {
      {"git:nowhere", "git:nowhere: git knows no such revision here"},
      {"git:", "git:: git knows no such revision here"},
      {"'git:$(touch made)'", "git knows no such revision here"},
      {"'git:\"; touch made; \"'", "git knows no such revision here"},
      {"git:--help", "git:--help: git knows no such revision here"},
      {"git:HEAD", "git:HEAD: has no schemas in ovix/telemetry/contract"},
      {"git:broken",
       "git:broken: ovix/telemetry/contract/storage/m.proto:5:14: Expected field number."},
  };
  for (const auto& [arguments, said] : cases) {
    const ProgramRun run = Diff(arguments);
    EXPECT_EQ(run.exit_code, 2) << arguments;
    EXPECT_EQ(run.output, "") << arguments;
    EXPECT_NE(run.errors.find(said), std::string::npos) << said << " in: " << run.errors;
    EXPECT_EQ(std::count(run.errors.begin(), run.errors.end(), '\n'), 1) << run.errors;
  }
  EXPECT_FALSE(std::filesystem::exists(folder_ / "repository/ovix/made"));
  const ProgramRun run = Diff("git:v1.0.0", ".");
  EXPECT_NE(run.errors.find("git knows no such revision here"), std::string::npos) << run.errors;
}

}  // namespace
}  // namespace ovix::tests
