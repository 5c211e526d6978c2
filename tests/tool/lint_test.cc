// lint: what is found in schemas, at which line, and how it is reported. That it finds what
// scripts/check-contracts finds, in the same words, is held by tests/contracts.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "lint/rules.h"
#include "lint/schemas.h"
#include "support/folder.h"
#include "support/names.h"
#include "support/tool.h"

namespace ovix::tests {
namespace {

namespace fs = std::filesystem;

const std::string kRoot = OVIX_TESTS_SOURCE_ROOT;
const std::string kContracts = "ovix/telemetry/contract/";
const std::string kBoot = kContracts + "storage/device/boot.proto";
const std::string kMarkers = kContracts + "storage/db.proto";
const std::string kPayload = kContracts + "upload/device/pc_boot_as_cdm.proto";
const std::string kFan = kContracts + "storage/device/fan.proto";

// Puts a small tree of contracts, which has no finding, into the folder.
void WriteTree(const Folder& folder) {
  fs::copy(SourceFile("tests/contracts/ovix"), folder / "ovix", fs::copy_options::recursive);
  for (const char* name : {"storage/storage_options.proto", "storage/state_change_utils.proto",
                           "upload/upload_options.proto"}) {
    fs::copy_file(SourceFile(kContracts + name), folder / (kContracts + name));
  }
}

// A record in a file of its own: the options and fields after the ones that it needs.
std::string Record(const std::string& name, const std::string& options,
                   const std::string& fields = "") {
  return "syntax = \"proto3\";\n\npackage ovix.telemetry.contract.storage.device;\n\n"
         "import \"ovix/telemetry/contract/storage/storage_options.proto\";\n\n"
         "// One fan.\nmessage " +
         name + " {\n  option (persistance).type = \"Historical\";\n  option (persistance)." +
         options + ";\n\n  string time = 1;\n" + fields + "}\n";
}

struct Edit {
  std::string file;
  std::string from;  // empty: the file is new
  std::string to;
};

void Apply(const Folder& folder, const std::vector<Edit>& edits) {
  for (const Edit& edit : edits) {
    std::string text = edit.from.empty() ? "" : folder.Read(edit.file);
    const size_t at = text.find(edit.from);
    ASSERT_NE(at, std::string::npos) << edit.from;
    folder.Write(edit.file, text.replace(at, edit.from.size(), edit.to));
  }
}

ProgramRun Lint(const Folder& folder, const std::string& arguments = "") {
  return RunTool(folder, "lint \"" + Utf8(folder.path()) + "\" " + arguments);
}

struct Case {
  const char* name;
  std::vector<Edit> edits;
  std::vector<std::string> lines;  // from the file on; empty: no finding
};

std::string Database(const std::string& name) { return "database.name = \"" + name + "\""; }

TEST(ToolLint, FindsWhatIsWrong) {
  const std::string fan = "ovix.telemetry.contract.storage.device.FanLog";
  const std::string boot = "ovix.telemetry.contract.storage.device.BootLog";
  const std::string log =
      "\n// A log.\nmessage log {\n  option (persistance).database.max_size_mb "
      "= 1;\n\n  // Values: 0\n  uint32 do_not_use = 1;\n}\n";
  const std::vector<Case> cases = {
      {"nothing", {}, {}},
      {"a record", {{kFan, "", Record("FanLog", Database("Log"))}}, {}},
      // What the SQL and the files of databases cannot have.
      {"a column of the store",
       {{kFan, "", Record("FanLog", Database("Log"), "  bool _Arrival = 2;\n")}},
       {kFan + ":13: table-column: " + fan +
        "._Arrival: is the name of a column of SQLite or the store; give it another name"}},
      {"two columns of one name in any case",
       {{kFan, "",
         Record("FanLog", Database("Log"), "  optional bool a = 2;\n  optional bool A = 3;\n")},
        {kFan, "proto3", "proto2"},
        {kFan, "  string", "  optional string"}},
       {kFan + ":14: table-column: " + fan +
        ".A: differs from a in case only: one column for SQLite; give it another name"}},
      {"an option in braces",
       {{kFan, "", Record("FanLog", Database("Log"))},
        {kFan, "option (persistance).type = \"Historical\";\n  option (persistance).database",
         "// Kept.\n  option (persistance) = {\n    type: \"Cache\"\n  };\n  option "
         "(persistance).database"}},
       {kFan + ":10: table-type: " + fan +
        ": the type of table 'Cache' does not exist; set \"State\" or \"Historical\""}},
      {"a table of the store",
       {{kFan, "",
         Record("FanLog", Database("Log") + ";\n  option (persistance).table.name = \"_store\"")}},
       {kFan + ":11: table-name: " + fan +
        ": '_store' is the name of a table of SQLite or the store; give it another name"}},
      {"two databases in one file",
       {{kFan, "", Record("FanLog", Database("log"))}, {kMarkers, "\n// ", log + "\n// "}},
       {kMarkers + ":15: contract-name: ovix.telemetry.contract.storage.Log: differs from "
                   "ovix.telemetry.contract.storage.log in case only: one page in the catalogue; "
                   "give it another name",
        kFan + ":10: database-name: " + fan +
            ": databases 'log' and 'Log' are one file on Windows; write them alike, or give one "
            "another "
            "name"}},
      {"a database in another folder",
       {{kFan, "", Record("FanLog", Database("../Log"))}},
       {kFan + ":10: database-name: " + fan +
            ": '../Log' cannot be the name of a file on every system; use letters, digits, _ and -",
        kFan + ":10: table-database: " + fan + ": database '../Log' has no marker in " + kMarkers +
            "; add a marker with its size limit there"}},
      {"a database that Windows cannot have",
       {{kFan, "", Record("FanLog", Database("Aux"))}},
       {kFan + ":10: database-name: " + fan +
            ": 'Aux' cannot be the name of a file on every system; use letters, digits, _ and -",
        kFan + ":10: table-database: " + fan + ": database 'Aux' has no marker in " + kMarkers +
            "; add a marker with its size limit there"}},
      // What the catalogue cannot have.
      {"two pages in one file",
       {{kFan, "", Record("Bootlog", Database("Profile"))}},
       {kFan + ":7: contract-name: ovix.telemetry.contract.storage.device.Bootlog: differs from " +
        boot + " in case only: one page in the catalogue; give it another name"}},
#ifndef _WIN32
      {"two schemas in one file",
       {{kContracts + "storage/device/bOOt.proto", "", Record("FanLog", Database("Log"))}},
       {kBoot + ":1: schema-name: differs from " + kContracts +
        "storage/device/bOOt.proto in case only: one file on Windows; give it another name"}},
      {"a schema that Windows cannot have",
       {{kContracts + "storage/Aux/con.x.proto", "", Record("FanLog", Database("Log"))}},
       {kContracts + "storage/Aux/con.x.proto:1: schema-name: has the name of a device on Windows, "
                     "which cannot have such a file; give it another name"}},
#endif
      // Options that are not those of the tool: their rules say nothing.
      {"options of another number",
       {{kContracts + "storage/storage_options.proto", "column = 50000", "column = 50009"}},
       {kContracts + "storage/storage_options.proto:31: extension: ovix.telemetry.contract.storage."
                     "column: changed from .google.protobuf.FieldOptions 50000 "
                     "ovix.telemetry.contract.storage.ColumnFieldOptions to "
                     ".google.protobuf.FieldOptions 50009 "
                     "ovix.telemetry.contract.storage.ColumnFieldOptions; undo it: what was "
                     "released never changes; what is new gets a new field, message or schema"}},
      // What does not compile: each error, but none that only follows from another.
      {"errors in two schemas",
       {{kBoot, "string time", "sting time"}, {kMarkers, "message", "massage"}},
       {kMarkers +
            ":8: protoc: Expected top-level statement (e.g. \"message\"); correct the schema",
        kBoot + ":19: protoc: \"sting\" is not defined; correct the schema"}},
      {"an import that is in no folder",
       {{kFan, "", "syntax = \"proto3\";\nimport \"../../secret.proto\";\nmessage A {}\n"}},
       {kFan + ":2: protoc: Import \"../../secret.proto\" was not found or had errors; correct the "
               "schema"}},
      {"what is not UTF-8",
       {{kFan, "", "// \r\n// \xc3\xa4 \xe4\r\n"}},
       {kFan + ":2: protoc: byte 0xe4 is not UTF-8; save the schema as UTF-8"}},
      // Files that are not schemas, and schemas from elsewhere in the folder.
      {"a hidden file", {{kContracts + "storage/.fan.proto", "", "what an editor left"}}, {}},
      {"an import from outside of ovix",
       {{"common/fan.proto", "", "syntax = \"proto3\";\nmessage NoComment {}\n"},
        {kFan, "", Record("FanLog", Database("Log"), "  NoComment fan = 2;\n")},
        {kFan, "import ", "import \"common/fan.proto\";\nimport "}},
       {}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const Folder folder;
    WriteTree(folder);
    Apply(folder, c.edits);
    std::string expected;
    for (const std::string& line : c.lines) expected += line + "\n";
    const ProgramRun run = Lint(folder);
    EXPECT_EQ(run.output, expected);
    EXPECT_EQ(run.exit_code, c.lines.empty() ? 0 : 1) << run.errors;
    EXPECT_TRUE(run.errors.ends_with(c.lines.empty()       ? " checked, 0 findings\n"
                                     : c.lines.size() == 1 ? " checked, 1 finding\n"
                                                           : " checked, 2 findings\n"))
        << run.errors;
  }
}

// What ddl and catalogue refuse when they meet it, lint finds before.
TEST(ToolLint, FindsWhatOtherCommandsRefuse) {
  const std::string name = ";\n  option (persistance).table.name = ";
  const std::string records[] = {
      Record("FanLog", Database("Log"), "  bool _rowid_ = 2;\n"),
      Record("FanLog", Database("Log") + name + "\"BootLog\""),
      Record("FanLog", "table.max_rows = 1"),
      Record("FanLog", Database("Log") + ";\n  option (persistance).table.max_rows = 1",
             "  reserved 2;\n"),
      Record("FanLog", Database("a b")),
  };
  for (std::string record : records) {
    SCOPED_TRACE(record);
    const Folder folder;
    WriteTree(folder);
    if (const size_t at = record.find("  reserved"); at != std::string::npos) {
      const std::string time = "string time";
      record.replace(record.find(time), time.size(), "string when");
    }
    folder.Write(kFan, record);
    EXPECT_EQ(Lint(folder).exit_code, 1);
    const tool::lint::CompiledFolder compiled = tool::lint::CompileFolder(Utf8(folder.path()));
    ASSERT_TRUE(compiled.findings.empty()) << compiled.findings.front().what;
    folder.Write("set", compiled.set);
    const std::string ddl =
        "ddl --contracts \"" + Utf8(folder / "set") + "\" --out \"" + Utf8(folder / "sql") + "\"";
    EXPECT_EQ(RunTool(folder, ddl).exit_code, 2);
  }
}

TEST(ToolLint, HoldsAgainstARelease) {
  const Folder folder;
  WriteTree(folder);
  const std::string service = "service Boots {\n  rpc Get(BootLog) returns (BootLog);\n}\n";
  folder.Write(kBoot, folder.Read(kBoot) + service);
  const tool::lint::CompiledFolder released = tool::lint::CompileFolder(Utf8(folder.path()));
  folder.Write("old.binpb", released.set);
  const std::string against = "--against \"" + Utf8(folder / "old.binpb") + "\"";
  EXPECT_EQ(Lint(folder, against).exit_code, 0);

  fs::remove(folder / (kContracts + "upload/device/pc_system_as_cdm.proto"));
  Apply(folder, {{kPayload, "  // Values: \"warm\", \"cold\"\n  string kind", "  int32 kind"},
                 {kBoot, "max_time_days = 360", "max_time_days = 361"},
                 {kBoot, "string reason", "string cause"},
                 {kBoot, "returns (BootLog)", "returns (BootPhase)"},
                 {kBoot, "Format: GUID", "Format: guid"}});
  const ProgramRun run = Lint(folder, against);
  EXPECT_EQ(run.exit_code, 1) << run.errors;
  const std::string boot = "ovix.telemetry.contract.storage.device.BootLog";
  const std::string never =
      "; undo it: what was released never changes; what is new gets a new field, message or schema";
  const std::string gone = kContracts + "upload/device/pc_system_as_cdm.proto";
  for (const std::string& line : std::vector<std::string>{
           kBoot + ":13: table-limit-changed: " + boot +
               ": limit of days changed from 360 to 361: "
               "rows are dropped sooner, or fill the disk" +
               never,
           kBoot + ":26: comment: " + boot +
               ".boot_guid: 'guid' is not a value of Format; use a "
               "format of docs/contracts.md, or unspecified",
           kBoot + ":26: format-changed: " + boot + ".boot_guid: ",
           kBoot + ":13: field-renamed: " + boot + ".reason: renamed to cause: ",
           kBoot + ":32: method-changed: ovix.telemetry.contract.storage.device.Boots.Get: ",
           kPayload + ":18: field-type-changed: ",
           kPayload + ":7: version-not-raised: ovix.telemetry.contract.upload.device.PcBootAsCDM: ",
           gone + ":1: file-removed: removed: programs include its header" + never,
           gone + ":1: message-removed: ovix.telemetry.contract.upload.device.PcSystemAsCDM: "}) {
    EXPECT_NE(("\n" + run.output).find("\n" + line), std::string::npos) << line << run.output;
  }
  // Safe changes, and what contradicts itself in one release, are not of the release.
  EXPECT_EQ(run.output.find("facts-"), std::string::npos) << run.output;
  Apply(folder, {{kPayload, "\"1.1.0\"", "\"2.0.0\""}});
  const std::string output = Lint(folder, against).output;
  EXPECT_NE(output.find(": payload-gun: "), std::string::npos) << output;
  EXPECT_EQ(output.find("version-not-of-gun"), std::string::npos) << output;
}

TEST(ToolLint, ReportsInEveryFormat) {
  const Folder folder;
  WriteTree(folder);
  EXPECT_EQ(Lint(folder, "--format json").output, "{\n  \"findings\": []\n}\n");
  EXPECT_NE(Lint(folder, "--format junit")
                .output.find("<testcase classname=\"contracts\" "
                             "name=\"no finding\"/>"),
            std::string::npos);
  Apply(folder, {{kBoot, "  // Values: \"warm\", \"cold\"", "  // Values: \"50%\", <a>"}});
  const std::string what =
      "ovix.telemetry.contract.storage.device.BootLog.kind: '\"50%\", <a>' is not a value of "
      "Values";
  const std::string fix =
      "list \"words\" or integers with \", \" between them, and in no meaning, with ... at the end "
      "of "
      "an open list, or write unspecified";
  EXPECT_EQ(Lint(folder, "--format github").output,
            "::error file=" + kBoot +
                ",line=20,title=comment::ovix.telemetry.contract.storage.device.BootLog.kind: "
                "'\"50%25\", <a>' is not a value of Values; " +
                fix + "\n");
  const std::string junit = Lint(folder, "--format junit").output;
  EXPECT_NE(
      junit.find("    <testcase classname=\"comment\" name=\"" + kBoot + ":20\" file=\"" + kBoot +
                 "\" line=\"20\">\n      <failure type=\"comment\" message=\""
                 "ovix.telemetry.contract.storage.device.BootLog.kind: '&quot;50%&quot;, "
                 "&lt;a&gt;'"),
      std::string::npos)
      << junit;
  const auto json = Json(Lint(folder, "--format json").output);
  const auto& findings = json.fields().at("findings").list_value();
  ASSERT_EQ(findings.values_size(), 1);
  const auto& finding = findings.values(0).struct_value().fields();
  EXPECT_EQ(finding.at("file").string_value(), kBoot);
  EXPECT_EQ(finding.at("line").number_value(), 20);
  EXPECT_EQ(finding.at("rule").string_value(), "comment");
  EXPECT_EQ(finding.at("what").string_value(), what);
  EXPECT_EQ(finding.at("fix").string_value(), fix);
}

TEST(ToolLint, SaysWhatItCannotCheck) {
  const Folder folder;
  folder.Write("bad.binpb", "no set");
  const std::string path = Utf8(folder.path());
  const struct {
    std::string arguments;
    std::string error;
  } cases[] = {
      {"\"" + path + "\"",
       path + ": has no schema under ovix/; name the folder that has ovix/, the import root"},
      {"\"" + Utf8(folder / "absent") + "\"", "absent: has no schema under ovix/"},
      {"\"" + Utf8(folder / "bad.binpb") + "\"",
       "bad.binpb: is a file; name the folder that has ovix/, the import root"},
      {"\"\"", "names no folder"},
      {"--against \"" + Utf8(folder / "bad.binpb") + "\" \"" + path + "\"",
       "bad.binpb: is not a descriptor set"},
      {"--against \"\" .", "names no file"},
      {"--format xml", "'xml' is none of text, json, github or junit"},
      {"--rules --format github", "--rules: the rules are printed as text or json"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.arguments);
    const ProgramRun run = RunTool(folder, "lint " + c.arguments);
    EXPECT_EQ(run.exit_code, 2);
    EXPECT_EQ(run.output, "");
    EXPECT_NE(run.errors.find(c.error), std::string::npos) << run.errors;
    EXPECT_EQ(std::count(run.errors.begin(), run.errors.end(), '\n'), 1) << run.errors;
  }
}

// This tree, alone and against its newest release.
TEST(ToolLint, FindsNothingInTheContracts) {
  const Folder folder;
  std::string newest;
  for (const auto& entry : fs::directory_iterator(SourceFile("compat"))) {
    const std::string name = Utf8(entry.path().filename());
    if (entry.is_directory() && name > newest) newest = name;
  }
  ASSERT_FALSE(newest.empty());
  const std::string root = "lint \"" + kRoot + "\"";
  for (const std::string& arguments :
       {root, root + " --against \"" + kRoot + "/compat/" + newest + "/contracts.binpb\""}) {
    SCOPED_TRACE(arguments);
    const ProgramRun run = RunTool(folder, arguments);
    EXPECT_EQ(run.exit_code, 0) << run.errors;
    EXPECT_EQ(run.output, "");
  }
}

TEST(ToolLint, ThePageListsTheRules) {
  const Folder folder;
  const std::string page = ReadFile(SourceFile("docs/tool.md"));
  size_t at = page.find("\n## lint\n");
  ASSERT_NE(at, std::string::npos);
  const std::string printed = RunTool(folder, "lint --rules").output;
  const auto json = Json(RunTool(folder, "lint --rules --format json").output);
  const auto& rules = json.fields().at("rules").list_value();
  ASSERT_EQ(static_cast<size_t>(rules.values_size()), tool::lint::Rules().size());
  std::string table = "| Rule | What it asks for | Why |\n|---|---|---|\n";
  for (int i = 0; i < rules.values_size(); ++i) {
    const auto& rule = rules.values(i).struct_value().fields();
    table += "| `" + rule.at("rule").string_value() + "` | " + rule.at("asks").string_value() +
             " | " + rule.at("why").string_value() + " |\n";
    EXPECT_NE(("\n" + printed).find("\n" + rule.at("rule").string_value() + "\n  "),
              std::string::npos)
        << printed;
  }
  EXPECT_NE(page.find(table, at), std::string::npos) << table;
}

}  // namespace
}  // namespace ovix::tests
