// What a command reads: one thing at a time, which it never writes, and which errors name whole.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "support/folder.h"
#include "support/tool.h"

namespace ovix::tests {
namespace {

constexpr char kGun[] =
    "com.ovix.cdm.domain.telemetry.type.eventDetail.category.pcLogHwBatteryHealth.version.1";

// A label of the payload "payload", whose hash is wrong.
std::string LabelOf(const std::string& payload, const std::string& bytes) {
  return "{\"gun\":\"" + std::string(kGun) +
         "\",\"version\":\"1.0.0\",\"message\":"
         "\"ovix.telemetry.contract.upload.log.hardware.HwBatteryHealthLogAsCDM\",\"payload\":\"" +
         payload + "\",\"bytes\":" + bytes + ",\"sha256\":\"00\"}";
}

void CopyRelease(const Folder& folder, const std::string& name) {
  std::filesystem::copy_file(SourceFile("compat/1.0.0/contracts.binpb"), folder / name);
}

TEST(ToolInputs, AreNotWritten) {
  const Folder folder;
  CopyRelease(folder, "set");
  folder.Write("label.json", LabelOf("payload", "7"));
  folder.Write("second.json", LabelOf("payload", "2"));
  folder.Write("payload",
               "\x0a\x05"
               "1.0.0");
  folder.Write("empty", "");
  const std::string set = Quoted(folder, "set"), label = Quoted(folder, "label.json");
  const std::string cases[] = {
      "sample BatteryHealthLog --contracts " + set + " -o " + set,
      "encode BatteryHealthLog --contracts " + set + " -o " + set,
      "decode BatteryHealthLog --contracts " + set + " " + Quoted(folder, "empty") + " -o " + set,
      "export BatteryHealthLog --as jsonschema --contracts " + set + " -o " + set,
      "sample " + label + " -o " + label,
      "encode " + label + " -o " + label,
      // Though the payloads are not what their labels say, one is not even read.
      "decode " + label + " " + Quoted(folder, "second.json") + " -o " + label,
      "decode " + label + " " + Quoted(folder, "second.json") + " -o " + Quoted(folder, "payload"),
      "decode " + Quoted(folder, "second.json") + " " + Quoted(folder, "second.json") + " -o " +
          Quoted(folder, "payload"),
  };
  const auto before = folder.Contents();
  for (const std::string& arguments : cases) {
    SCOPED_TRACE(arguments);
    const ProgramRun run = RunTool(folder, arguments, "{}");
    EXPECT_EQ(run.exit_code, 2);
    EXPECT_NE(run.errors.find("would destroy it; name another file"), std::string::npos)
        << run.errors;
    for (const char* name : {"in", "out", "err"}) std::filesystem::remove(folder / name);
    EXPECT_EQ(folder.Contents(), before);
  }
}

TEST(ToolInputs, AreOneForStandardInput) {
  const Folder folder;
  CopyRelease(folder, "set");
  const std::string cases[] = {
      "decode BatteryHealthLog --contracts -",
      "encode BatteryHealthLog --contracts -",
      "check BatteryHealthLog --contracts -",
      "check IdentityAsCDM - -",
      "ddl --from - --contracts -",
      "diff - -",
  };
  for (const std::string& arguments : cases) {
    SCOPED_TRACE(arguments);
    const ProgramRun run = RunTool(folder, arguments, folder.Read("set"));
    EXPECT_EQ(run.exit_code, 2) << run.output;
    EXPECT_NE(run.errors.find("standard input: is read for two things; name a file for one of"),
              std::string::npos)
        << run.errors;
  }
}

TEST(ToolInputs, AreNotNamedByAnEmptyText) {
  const Folder folder;
  const std::string cases[] = {
      "encode BatteryHealthLog -o \"\"",
      "encode BatteryHealthLog \"\"",
      "decode BatteryHealthLog -o \"\"",
      "decode BatteryHealthLog \"\"",
      "check BatteryHealthLog \"\"",
      "sample BatteryHealthLog -o \"\"",
      "diff \"\"",
      "diff - \"\"",
      "diff - --ignore \"\"",
      "ddl --from \"\"",
      "list --contracts \"\"",
      "export BatteryHealthLog --as jsonschema -o \"\"",
      "lint --against \"\"",
      "decode --raw \"\"",
  };
  for (const std::string& arguments : cases) {
    SCOPED_TRACE(arguments);
    const ProgramRun run = RunTool(folder, arguments, "{}");
    EXPECT_EQ(run.exit_code, 2);
    EXPECT_EQ(run.output, "");
    EXPECT_NE(run.errors.find("names no file"), std::string::npos) << run.errors;
  }
}

TEST(ToolInputs, AreNamedWholeInErrors) {
  const Folder folder;
  CopyRelease(folder, "deep");
  std::filesystem::create_directory(folder / "below");
  CopyRelease(folder, "below/set");
  folder.Write("zero.json", LabelOf("a\\u0000b", "1"));
  folder.Write("a", "1");
  folder.Write("gun.json", "{\"gun\":\"a\\u0000b\"}");
  const struct {
    std::string arguments;
    std::string said;
  } cases[] = {
      {"decode " + Quoted(folder, "zero.json"),
       "zero.json: \"a\\u0000b\" does not name a file next to the metadata file"},
      {"sample " + Quoted(folder, "gun.json"), "gun.json: a b: no payload has this gun"},
      {"privacy --contracts " + Quoted(folder, "below/set"),
       "ovix-contracts: " + Utf8(folder / "below/set") + ": its comments state no"},
      {"--bogus", "ovix-contracts: --bogus: is not an option; see ovix-contracts --help"},
      {"--versio", "--versio: is not an option; is it --version?"},
      {"list --forma json", "--forma: is not an option of list; is it --format?"},
      {"list --bogus=7 json", "--bogus: is not an option of list; see ovix-contracts list --help"},
      {"list one two", "'one' is one word too many; see ovix-contracts list --help"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.arguments);
    const ProgramRun run = RunTool(folder, c.arguments);
    EXPECT_EQ(run.exit_code, 2);
    EXPECT_NE(run.errors.find(c.said), std::string::npos) << run.errors;
  }
}

TEST(ToolInputs, AreNotTestedByGuessesWhereTheyAreRedacted) {
  const Folder folder;
  folder.Write("payload",
               "\x0a\x05"
               "1.0.0");
  folder.Write("hash.json", LabelOf("payload", "7"));
  folder.Write("size.json", LabelOf("payload", "99"));
  const struct {
    const char* label;
    const char* said;
    const char* value;
  } cases[] = {
      {"hash.json", "the payload does not have the SHA-256 that its metadata file states",
       "aee3165fb74b4e1c"},
      {"size.json", "the payload does not have the size that its metadata file states", " 7 bytes"},
  };
  for (const auto& c : cases) {
    for (const bool is_redacted : {false, true}) {
      const ProgramRun run = RunTool(
          folder, "decode " + Quoted(folder, c.label) + (is_redacted ? " --redact all" : ""));
      EXPECT_EQ(run.exit_code, 2);
      EXPECT_NE(run.errors.find(c.said), std::string::npos) << run.errors;
      EXPECT_EQ(run.errors.find(c.value) == std::string::npos, is_redacted) << run.errors;
    }
  }
}

#ifndef _WIN32

// By links of the folder's own, as those of /dev.
TEST(ToolInputs, AreNotWrittenThroughDescriptors) {
  const Folder folder;
  const std::string cases[] = {
      "\"$tool\" encode BatteryHealthLog text -o three 3<>text",
      "\"$tool\" encode BatteryHealthLog -o three <text 3>>text",
      "\"$tool\" decode BatteryHealthLog --delimited stream -o one >>stream",
      "\"$tool\" decode BatteryHealthLog --delimited stream >>stream",
      "\"$tool\" decode BatteryHealthLog --delimited <stream >>stream",
      "\"$tool\" check BatteryHealthLog --delimited stream >>stream",
      "\"$tool\" decode label.json label.json >>label.json",
      "\"$tool\" decode label.json label.json -o three 3>>label.json",
  };
  for (const std::string& arguments : cases) {
    SCOPED_TRACE(arguments);
    folder.Write("text", "{\"age\":1}");
    folder.Write("stream", "\x02\x38\x01");
    folder.Write("label.json", LabelOf("text", "9"));
    const ProgramRun run = RunShell(
        folder,
        "ln -sf /proc/self/fd/1 one; ln -sf /proc/self/fd/3 three\nulimit -f 100\n" + arguments);
    EXPECT_NE(run.exit_code, 0);
    EXPECT_NE(run.errors.find("is read too"), std::string::npos) << run.errors;
    EXPECT_EQ(folder.Read("text"), "{\"age\":1}");
    EXPECT_EQ(folder.Read("stream"), "\x02\x38\x01");
    EXPECT_EQ(folder.Read("label.json"), LabelOf("text", "9"));
  }
}

// The sanitizers take more than any limit.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
#if !defined(__has_feature)
#define __has_feature(feature) 0
#endif
#if !__has_feature(address_sanitizer) && !__has_feature(thread_sanitizer)
TEST(ToolInputs, AreNamedWhereTheyNeedTooMuchMemory) {
  const Folder folder;
  {
    std::ofstream file(folder / "big.json", std::ios::binary);
    file << "{\"time\":\"";
    const std::string piece(1 << 20, 'x');
    for (int i = 0; i < 60; ++i) file << piece;
    file << "\"}";
  }
  // The file is read, and the text in it is not: its parser, the message and its encoding need
  // more.
  int failed = 0;
  for (int megabytes = 130; megabytes <= 270; megabytes += 10) {
    const ProgramRun run =
        RunShell(folder, "ulimit -c 0; ulimit -v " + std::to_string(megabytes * 1024) +
                             "; \"$tool\" encode BatteryHealthLog big.json -o made; said=$?; ls -A "
                             "| grep tmp; exit $said");
    SCOPED_TRACE(std::to_string(megabytes) + " MB: " + run.errors);
    EXPECT_EQ(run.output, "");
    if (run.exit_code == 0 || run.errors.find("loading shared") != std::string::npos) continue;
    ++failed;
    EXPECT_EQ(run.exit_code, 2);
    EXPECT_NE(run.errors.find("big.json: there is not enough memory"), std::string::npos);
  }
  EXPECT_NE(failed, 0);
}
#endif
#endif

#endif

}  // namespace
}  // namespace ovix::tests
