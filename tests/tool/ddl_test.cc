// What ddl --from says of what stays in databases and is no longer read there.
#include <google/protobuf/descriptor.pb.h>
#include <gtest/gtest.h>

#include <functional>
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

}  // namespace
}  // namespace ovix::tests
