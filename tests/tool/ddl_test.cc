// What ddl --from says of what stays in databases and is no longer read there, and the folder that
// ddl --out writes.
#include <google/protobuf/descriptor.pb.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <stdexcept>
#include <string>

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

DescriptorProto& Record(FileDescriptorSet& set, const std::string& name) {
  for (auto& file : *set.mutable_file()) {
    for (auto& message : *file.mutable_message_type()) {
      if (message.name() == name) return message;
    }
  }
  throw std::runtime_error("no record " + name);
}

auto* Persistance(FileDescriptorSet& set, const std::string& name) {
  return Record(set, name).mutable_options()->MutableExtension(storage::persistance);
}

// The older release is made of this one, so that what is undone here is what this one has done.
TEST(ToolDdl, SaysWhatStaysAndIsNoLongerRead) {
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
        RunTool(folder, "ddl --from \"" + (folder / "old.binpb").string() + "\"" + c.arguments);
    EXPECT_EQ(run.exit_code, 0) << run.errors;
    EXPECT_EQ(run.output.substr(0, c.said.size()), c.said);
    EXPECT_TRUE(run.output.size() == c.said.size() || c.said.ends_with("BEGIN;\n")) << run.output;
  }
}

std::map<std::string, std::string> FilesIn(const std::filesystem::path& folder) {
  std::map<std::string, std::string> files;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    if (entry.is_directory()) continue;
    std::ifstream file(entry.path(), std::ios::binary);
    files[entry.path().lexically_relative(folder).generic_string()] =
        std::string(std::istreambuf_iterator<char>(file), {});
  }
  return files;
}

TEST(ToolDdl, WritesAScriptForEachDatabase) {
  const Folder folder;
  const std::string out = " --out \"" + (folder / "sql").string() + "\"";
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
    run = RunTool(folder, "ddl --from \"" + (folder / from).string() + "\"" + out);
    EXPECT_EQ(run.exit_code, 0) << run.errors;
    files = FilesIn(folder / "sql");
    EXPECT_EQ(files.size(), *names == '\0' ? 1u : 2u);
    EXPECT_TRUE(*names == '\0' || files.contains(names));
  }
}

TEST(ToolDdl, LeavesAFolderThatIsNotItsOwn) {
  const Folder folder;
  FileDescriptorSet evil = DescriptorSet();
  Persistance(evil, "BootHealthLog")->mutable_database()->set_name("../evil");
  folder.Write("evil.binpb", evil.SerializeAsString());
  folder.Write("file", "mine");
  for (const char* name : {"foreign", "changed", "site"}) {
    std::filesystem::create_directory(folder / name);
  }
  folder.Write("foreign/HealthLog.sql", "mine");
  RunTool(folder, "catalogue --out \"" + (folder / "site").string() + "\"");
  RunTool(folder, "ddl --out \"" + (folder / "changed").string() + "\"");
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
      {"new", " --contracts \"" + (folder / "evil.binpb").string() + "\"",
       "database \"../evil\": its name cannot be that of a file"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.said);
    const std::string out = *c.out == '\0' ? "" : (folder / c.out).string();
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
