// What ddl --from says of what stays in databases and is no longer read there, and the folder that
// ddl --out writes.
#include <google/protobuf/descriptor.pb.h>
#include <google/protobuf/text_format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "ovix/telemetry/contract/storage/storage_options.pb.h"
#include "support/contracts.h"
#include "support/folder.h"
#include "support/tool.h"

namespace ovix::tests {
namespace {

namespace storage = telemetry::contract::storage;
using google::protobuf::DescriptorProto;
using google::protobuf::FieldDescriptorProto;
using google::protobuf::FileDescriptorSet;

DescriptorProto& Record(FileDescriptorSet& set, const char* name) {
  for (auto& file : *set.mutable_file()) {
    for (auto& message : *file.mutable_message_type()) {
      if (message.name() == name) return message;
    }
  }
  throw std::runtime_error(std::string("no record ") + name);
}

auto* Persistance(FileDescriptorSet& set, const char* name) {
  return Record(set, name).mutable_options()->MutableExtension(storage::persistance);
}

constexpr char kStatus[] = "ovix.telemetry.contract.storage.device_health.BatteryStatus";

int AgeOf(FileDescriptorSet& set) {
  const DescriptorProto& log = Record(set, "BatteryHealthLog");
  for (int i = 0; i < log.field_size(); ++i) {
    if (log.field(i).name() == "age") return i;
  }
  throw std::runtime_error("no field age");
}

// A set with a schema more: records, each the text of a DescriptorProto, and enumerations.
FileDescriptorSet WithRecords(const std::vector<std::string>& records,
                              const std::string& enums = "", const std::string& syntax = "proto3") {
  FileDescriptorSet set = DescriptorSet();
  auto* file = set.add_file();
  std::string text =
      "name: 'more.proto' package: 'more' dependency: "
      "'ovix/telemetry/contract/storage/storage_options.proto' syntax: '" +
      syntax + "' " + enums;
  for (const std::string& record : records) text += " message_type { " + record + " }";
  EXPECT_TRUE(google::protobuf::TextFormat::ParseFromString(text, file)) << text;
  return set;
}

std::string RecordText(const std::string& name, const std::string& database,
                       const std::string& fields, const std::string& table = "") {
  return "name: '" + name +
         "' options { [ovix.telemetry.contract.storage.persistance] { type: 'Historical' "
         "database { name: '" +
         database + "' } " + (table.empty() ? "" : "table { name: '" + table + "' }") + " } } " +
         fields;
}

std::string FieldText(const std::string& name, int number, const std::string& type = "TYPE_STRING",
                      const std::string& label = "LABEL_OPTIONAL") {
  return "field { name: '" + name + "' number: " + std::to_string(number) + " label: " + label +
         " " + (type.find(':') == std::string::npos ? "type: " : "") + type + " } ";
}

// SQLite refuses the SQL of these, or takes two for one.
TEST(ToolDdl, RefusesNamesThatAreOneForSqlite) {
  const std::string a = FieldText("a", 1);
  const struct {
    std::vector<std::string> records;
    const char* said;
  } cases[] = {
      {{RecordText("T", "D", a), RecordText("t", "D", a)},
       "more.t and more.T both claim table t of database D"},
      {{RecordText("T", "D", a), RecordText("U", "D", a, "t")},
       "more.U and more.T both claim table t of database D"},
      {{RecordText("T", "D", a), RecordText("U", "d", a)},
       "more.U: database d differs only in case from database D of more.T"},
      {{RecordText("T", "D", a + FieldText("A", 2))},
       "more.T: SQLite takes the columns a and A for one"},
      {{RecordText("T", "D", FieldText("_RowId_", 2))},
       "more.T: the name _RowId_ is the store's own"},
      {{RecordText("T", "D", a, "_Store")}, "more.T: the table name _Store is the store's own"},
      {{RecordText("T", "D", a, "SQLITE_t")}, "more.T: the table name SQLITE_t is SQLite's own"},
  };
  const Folder folder;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.said);
    folder.Write("new.binpb", WithRecords(c.records, "", "proto2").SerializeAsString());
    const ProgramRun run =
        RunTool(folder, "ddl --contracts \"" + Utf8(folder / "new.binpb") + "\"");
    EXPECT_EQ(run.exit_code, 2);
    EXPECT_EQ(run.output, "");
    EXPECT_NE(run.errors.find(c.said), std::string::npos) << run.errors;
  }
  folder.Write("new.binpb",
               WithRecords({RecordText("T", "D", a + FieldText("ab", 2)),
                            RecordText("sqlite", "D", a), RecordText("T2", "E", a, "T")})
                   .SerializeAsString());
  EXPECT_EQ(RunTool(folder, "ddl --contracts \"" + Utf8(folder / "new.binpb") + "\"").exit_code, 0);
}

// Two releases of a record.
TEST(ToolDdl, SaysWhatValuesOfAColumnBecome) {
  const std::string enums[] = {
      "enum_type { name: 'E' value { name: 'ZERO' number: 0 } value { name: 'A' number: 1 } }",
      "enum_type { name: 'E' value { name: 'ZERO' number: 0 } value { name: 'A' number: 2 } }",
      "enum_type { name: 'E' value { name: 'ZERO' number: 0 } value { name: 'B' number: 1 } }"};
  const std::string part = "name: 'N' " + FieldText("x", 1);
  const std::string text = FieldText("a", 1);
  const std::string list = FieldText("a", 1, "TYPE_STRING", "LABEL_REPEATED");
  const std::string message = FieldText("a", 1, "type: TYPE_MESSAGE type_name: '.more.N'");
  const std::string number = FieldText("a", 1, "type: TYPE_ENUM type_name: '.more.E'");
  const std::string names =
      FieldText("a", 1, "type: TYPE_ENUM type_name: '.more.E'", "LABEL_REPEATED");
  // In another database a table that keeps numbers and names of the enumeration.
  const std::string other = RecordText(
      "U", "F",
      number + FieldText("b", 2, "type: TYPE_ENUM type_name: '.more.E'", "LABEL_REPEATED"));
  const struct {
    const char* what;
    std::string before, after;  // fields
    int enum_before, enum_after;
    std::string said;  // an error, or the output after its heading
  } cases[] = {
      {"nothing", text, text, 0, 0, ""},
      {"text becomes a list", text, list, 0, 0,
       "database D, table T: column a is text, but the contract says a list in JSON"},
      {"text becomes a message", text, message, 0, 0,
       "column a is text, but the contract says a message in JSON"},
      {"a list becomes a message", list, message, 0, 0,
       "column a is a list in JSON, but the contract says a message in JSON"},
      {"a number of an enumeration", number, number, 0, 1,
       "-- Table T: more.E: number of value A changed from 1 to 2; the values stay as they are.\n"},
      {"a name of an enumeration that is kept by number", number, number, 0, 2, ""},
      {"a number of an enumeration that is kept by name", names, names, 0, 1, ""},
      {"a name of an enumeration that is kept by name", names, names, 0, 2,
       "-- Table T: more.E: value 1 renamed from A to B; the values stay as they are.\n"},
  };
  const Folder folder;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    folder.Write("old.binpb",
                 WithRecords({RecordText("T", "D", c.before), other, part}, enums[c.enum_before])
                     .SerializeAsString());
    folder.Write("new.binpb",
                 WithRecords({RecordText("T", "D", c.after), other, part}, enums[c.enum_after])
                     .SerializeAsString());
    const ProgramRun run =
        RunTool(folder, "ddl --database D --from " + Quoted(folder, "old.binpb") + " --contracts " +
                            Quoted(folder, "new.binpb"));
    if (c.said.find("but the contract says") != std::string::npos) {
      EXPECT_EQ(run.exit_code, 2);
      EXPECT_EQ(run.output, "");
      EXPECT_NE(run.errors.find(c.said), std::string::npos) << run.errors;
    } else {
      EXPECT_EQ(run.exit_code, 0) << run.errors;
      EXPECT_EQ(run.output, c.said.empty() ? "" : "-- Database D, file D.db\n" + c.said);
    }
  }
  // One file on Windows, two elsewhere.
  folder.Write("old.binpb", WithRecords({RecordText("T", "d", text)}).SerializeAsString());
  folder.Write("new.binpb", WithRecords({RecordText("T", "D", text)}).SerializeAsString());
  const ProgramRun run =
      RunTool(folder, "ddl --from \"" + Utf8(folder / "old.binpb") + "\" --contracts \"" +
                          Utf8(folder / "new.binpb") + "\"");
  EXPECT_EQ(run.exit_code, 2);
  EXPECT_NE(run.errors.find("database d is D now, which is the same file on Windows"),
            std::string::npos)
      << run.errors;
}

// The older release is made of this one, so that what is undone here is what this one has done.
TEST(ToolDdl, SaysWhatStaysAndIsNoLongerRead) {
  FileDescriptorSet now = DescriptorSet();
  const struct {
    const char* what;
    std::function<void(FileDescriptorSet&)> older;
    const char* arguments;
    std::string said;
  } cases[] = {
      {"a column is renamed",
       [](auto& set) { Record(set, "BootHealthLog").mutable_field(1)->set_name("code"); }, "",
       "-- Database HealthLog, file HealthLog.db, at most 128 MB\n"
       "-- Table BootHealthLog: column code is post_code_value now, which is a new column; the "
       "values stay in code.\n"
       "BEGIN;\n"},
      {"a column is removed",
       [](auto& set) {
         FieldDescriptorProto* field = Record(set, "BootHealthLog").add_field();
         field->set_name("gone");
         field->set_number(9);
         field->set_type(FieldDescriptorProto::TYPE_STRING);
         field->set_label(FieldDescriptorProto::LABEL_OPTIONAL);
       },
       "",
       "-- Database HealthLog, file HealthLog.db, at most 128 MB\n"
       "-- Table BootHealthLog: column gone is no longer in the contracts; it stays as it is.\n"},
      {"a table is in another database",
       [](auto& set) {
         Persistance(set, "BootHealthLog")->mutable_database()->set_name("DeviceUsage");
       },
       "",
       "-- Database DeviceUsage, file DeviceUsage.db, at most 512 MB\n"
       "-- Table BootHealthLog is in database HealthLog now, as a new table; the rows stay here.\n"
       "\n"
       "-- Database HealthLog, file HealthLog.db, at most 128 MB\n"
       "-- Table BootHealthLog was in database DeviceUsage; the rows stay there.\n"
       "BEGIN;\n"},
      {"a table has another name",
       [](auto& set) { Persistance(set, "BootHealthLog")->mutable_table()->set_name("Boots"); }, "",
       "-- Database HealthLog, file HealthLog.db, at most 128 MB\n"
       "-- Table Boots is BootHealthLog now, which is a new table; the rows stay in Boots.\n"
       "BEGIN;\n"},
      // A line of its own would be SQL.
      {"a table had a name of two lines",
       [](auto& set) { Persistance(set, "BootHealthLog")->mutable_table()->set_name("a\nb"); }, "",
       "-- Database HealthLog, file HealthLog.db, at most 128 MB\n"
       "-- Table a b is BootHealthLog now, which is a new table; the rows stay in a b.\n"
       "BEGIN;\n"},
      {"a database vanished",
       [](auto& set) { Persistance(set, "BootHealthLog")->mutable_database()->set_name("Old"); },
       " --database Old",
       "-- Database Old, file Old.db, is no longer in the contracts; it stays as it is.\n"
       "-- Table BootHealthLog is in database HealthLog now, as a new table; the rows stay "
       "here.\n"},
      // SQLite takes both for one name, so that a statement would fail.
      {"a column differs in case",
       [](auto& set) {
         Record(set, "BootHealthLog").mutable_field(1)->set_name("Post_Code_VALUE");
       },
       "",
       "-- Database HealthLog, file HealthLog.db, at most 128 MB\n"
       "-- Table BootHealthLog: column Post_Code_VALUE is post_code_value now, which is the same "
       "for "
       "SQLite: it ignores the case of names.\n"},
      {"a table differs in case",
       [](auto& set) {
         Persistance(set, "BootHealthLog")->mutable_table()->set_name("boothealthLOG");
       },
       "",
       "-- Database HealthLog, file HealthLog.db, at most 128 MB\n"
       "-- Table boothealthLOG is BootHealthLog now, which is the same for SQLite: it ignores the "
       "case of names.\n"},
      // What the rows hold, and no statement changes.
      {"a field of a message in JSON is renamed",
       [](auto& set) { Record(set, "BatteryStatus").mutable_field(0)->set_name("before"); }, "",
       "-- Database HealthLog, file HealthLog.db, at most 128 MB\n"
       "-- Table BatteryHealthLog: " +
           std::string(kStatus) + ".before: renamed to " +
           Record(now, "BatteryStatus").field(0).name() + "; the values stay as they are.\n"},
      {"a field of a message in JSON takes a reserved name",
       [&](auto& set) {
         DescriptorProto& status = Record(set, "BatteryStatus");
         status.add_reserved_name(status.field(0).name());
         status.mutable_field()->DeleteSubrange(0, 1);
       },
       "",
       "-- Database HealthLog, file HealthLog.db, at most 128 MB\n"
       "-- Table BatteryHealthLog: " +
           std::string(kStatus) + "." + Record(now, "BatteryStatus").field(0).name() +
           ": takes a name that was reserved; the values stay as they are.\n"},
      {"a column has another sign",
       [](auto& set) {
         Record(set, "BatteryHealthLog")
             .mutable_field(AgeOf(set))
             ->set_type(FieldDescriptorProto::TYPE_SINT64);
       },
       "",
       "-- Database HealthLog, file HealthLog.db, at most 128 MB\n"
       "-- Table BatteryHealthLog: ovix.telemetry.contract.storage.device_health.BatteryHealthLog"
       ".age: type changed from sint64 to uint32; the values stay as they are.\n"},
      {"a database vanished with its table",
       [](auto& set) {
         DescriptorProto* gone = set.mutable_file(set.file_size() - 1)->add_message_type();
         gone->set_name("GoneLog");
         auto* options = gone->mutable_options()->MutableExtension(storage::persistance);
         options->set_type("Historical");
         options->mutable_database()->set_name("Gone");
         FieldDescriptorProto* field = gone->add_field();
         field->set_name("time");
         field->set_number(1);
         field->set_type(FieldDescriptorProto::TYPE_STRING);
         field->set_label(FieldDescriptorProto::LABEL_OPTIONAL);
       },
       "",
       "-- Database Gone, file Gone.db, is no longer in the contracts; it stays as it is.\n"
       "-- Table GoneLog is no longer in the contracts; it stays as it is.\n"},
  };
  const Folder folder;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    FileDescriptorSet older = DescriptorSet();
    c.older(older);
    folder.Write("old.binpb", older.SerializeAsString());
    const ProgramRun run =
        RunTool(folder, "ddl --from \"" + Utf8(folder / "old.binpb") + "\"" + c.arguments);
    EXPECT_EQ(run.exit_code, 0) << run.errors;
    EXPECT_EQ(run.output.substr(0, c.said.size()), c.said);
    EXPECT_TRUE(run.output.size() == c.said.size() || c.said.ends_with("BEGIN;\n")) << run.output;
  }
}

TEST(ToolDdl, WritesAScriptForEachDatabase) {
  const Folder folder;
  const std::string out = " --out \"" + Utf8(folder / "sql") + "\"";
  ProgramRun run = RunTool(folder, "ddl" + out);
  EXPECT_EQ(run.exit_code, 0) << run.errors;
  EXPECT_EQ(run.output, "");
  auto files = FilesIn(folder / "sql");
  std::string all;
  for (const auto& [name, sql] : files) {
    if (name == "files.txt") continue;
    EXPECT_EQ(sql, RunTool(folder, "ddl --database " + name.substr(0, name.find('.'))).output);
    all += (all.empty() ? "" : "\n") + sql;
  }
  EXPECT_EQ(all, RunTool(folder, "ddl").output);

  // A migration has those that change, and takes the place of what was there; none is a folder too.
  FileDescriptorSet older = DescriptorSet();
  folder.Write("same.binpb", older.SerializeAsString());
  Record(older, "BootHealthLog").mutable_field(1)->set_name("code");
  folder.Write("old.binpb", older.SerializeAsString());
  for (const auto& [from, names] :
       {std::pair("old.binpb", "HealthLog.sql"), std::pair("same.binpb", "")}) {
    run = RunTool(folder, "ddl --from \"" + Utf8(folder / from) + "\"" + out);
    EXPECT_EQ(run.exit_code, 0) << run.errors;
    files = FilesIn(folder / "sql");
    EXPECT_EQ(files.size(), *names == '\0' ? 1u : 2u);
    EXPECT_TRUE(*names == '\0' || files.contains(names));
  }
}

TEST(ToolDdl, LeavesAFolderThatIsNotItsOwn) {
  const Folder folder;
  for (const auto& [file, name] : {std::pair("evil", "../evil"), std::pair("device", "con")}) {
    FileDescriptorSet set = DescriptorSet();
    Persistance(set, "BootHealthLog")->mutable_database()->set_name(name);
    folder.Write(std::string(file) + ".binpb", set.SerializeAsString());
  }
  folder.Write("file", "mine");
  for (const char* name : {"foreign", "changed", "site"}) {
    std::filesystem::create_directory(folder / name);
  }
  folder.Write("foreign/HealthLog.sql", "mine");
  RunTool(folder, "catalogue --out \"" + Utf8(folder / "site") + "\"");
  RunTool(folder, "ddl --out \"" + Utf8(folder / "changed") + "\"");
  folder.Write("changed/notes.txt", "mine");
  const struct {
    const char* out;
    std::string arguments;
    const char* said;
  } cases[] = {
      {"foreign", "", "holds HealthLog.sql, which is not of a folder of SQL scripts; name a new"},
      {"changed", "", "holds notes.txt, which is not"},
      {"site", "", ", which is not of a folder of SQL scripts"},
      {"file", "", "is a file; name a folder"},
      {"", "", "--out: names no folder"},
      {"new", " --database HealtLog", "is it HealthLog?"},
      {"new", " --contracts \"" + Utf8(folder / "evil.binpb") + "\"",
       "database \"../evil\": its name cannot be that of a file"},
      {"new", " --contracts \"" + Utf8(folder / "device.binpb") + "\"",
       "database \"con\": its name cannot be that of a file"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.said);
    const std::string out = *c.out == '\0' ? "" : Utf8(folder / c.out);
    auto before = FilesIn(folder.path());
    const ProgramRun run = RunTool(folder, "ddl --out \"" + out + "\"" + c.arguments);
    EXPECT_EQ(run.exit_code, 2);
    EXPECT_NE(run.errors.find(c.said), std::string::npos) << run.errors;
    EXPECT_EQ(std::count(run.errors.begin(), run.errors.end(), '\n'), 1) << run.errors;
    auto after = FilesIn(folder.path());
    for (auto* files : {&before, &after}) {
      for (const char* name : {"in", "out", "err"}) files->erase(name);  // of the run itself
    }
    EXPECT_EQ(after, before);
  }
}

}  // namespace
}  // namespace ovix::tests
