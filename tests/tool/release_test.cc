// Commands that read another release of the contracts: --contracts.
#include <google/protobuf/descriptor.pb.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <string>

#include "contracts/contracts.h"
#include "support/contracts.h"
#include "support/folder.h"
#include "support/tool.h"

namespace ovix::tests {
namespace {

using google::protobuf::FieldDescriptorProto;
using google::protobuf::FileDescriptorSet;

// These contracts with other names of a column and of a payload.
FileDescriptorSet OtherRelease() {
  FileDescriptorSet set = DescriptorSet();
  for (auto& file : *set.mutable_file()) {
    for (auto& message : *file.mutable_message_type()) {
      if (message.name() == "BootHealthLog") message.mutable_field(1)->set_name("boot_code");
      if (message.name() == "IdentityAsCDM") message.set_name("WhoAsCDM");
    }
  }
  return set;
}

TEST(ToolRelease, IsReadByEveryCommandThatReadsContracts) {
  const Folder folder;
  folder.Write("other.binpb", OtherRelease().SerializeAsString());
  const std::string site = Utf8(folder / "site");
  const struct {
    std::string arguments;
    const char* other;      // in the other release only
    const char* installed;  // in these only
  } cases[] = {
      {"list", "WhoAsCDM", "IdentityAsCDM"},
      {"show BootHealthLog", "boot_code", "post_code_value"},
      {"privacy --payloads", "WhoAsCDM (payload)", "IdentityAsCDM (payload)"},
      {"ddl --database HealthLog", "\"boot_code\" TEXT", "\"post_code_value\""},
      {"catalogue --out \"" + site + "\"", "contracts other.binpb, written", "IdentityAsCDM"},
  };
  for (const auto& c : cases) {
    for (const bool is_other : {true, false}) {
      SCOPED_TRACE(c.arguments);
      const std::string option =
          is_other ? " --contracts \"" + Utf8(folder / "other.binpb") + "\"" : "";
      const ProgramRun run = RunTool(folder, c.arguments + option);
      EXPECT_EQ(run.exit_code, 0) << run.errors;
      const std::string text = run.output.empty() ? folder.Read("site/index.html") : run.output;
      EXPECT_EQ(text.find(c.other) != std::string::npos, is_other);
      EXPECT_EQ(text.find(c.installed) == std::string::npos, is_other);
    }
  }
}

TEST(ToolRelease, IsRefusedInOneLineWhereItIsNone) {
  const Folder folder;
  FileDescriptorSet set = DescriptorSet();
  const auto write = [&](const char* name, const std::string& bytes) {
    folder.Write(name, bytes);
    return Utf8(folder / name);
  };
  FileDescriptorSet foreign;
  google::protobuf::DescriptorProto::descriptor()->file()->CopyTo(foreign.add_file());
  FileDescriptorSet without = set;
  without.mutable_file()->DeleteSubrange(0, 1);
  const struct {
    std::string file;
    const char* said;
  } cases[] = {
      {write("text", "no descriptor set at all"), "is not a descriptor set; make one with protoc"},
      {write("cut", set.SerializeAsString().substr(0, 5000)), "is not a descriptor set"},
      {write("without", without.SerializeAsString()),
       ", which is not in the set; make it with protoc --include_imports"},
      {write("foreign", foreign.SerializeAsString()),
       "holds no telemetry contracts: no message is a table or a payload"},
      {Utf8(folder / "nowhere"), "nowhere: cannot be read (No such file"},
      {Utf8(folder.path()), "is a folder; name a file"},
      {"", "--contracts: names no file"},
  };
  for (const auto& c : cases) {
    for (const std::string command : {"list", "show X", "privacy", "ddl", "catalogue --out made"}) {
      SCOPED_TRACE(command + " " + c.file);
      const ProgramRun run = RunTool(folder, command + " --contracts \"" + c.file + "\"");
      EXPECT_EQ(run.exit_code, 2);
      EXPECT_EQ(run.output, "");
      EXPECT_NE(run.errors.find(c.said), std::string::npos) << run.errors;
      EXPECT_EQ(std::count(run.errors.begin(), run.errors.end(), '\n'), 1) << run.errors;
    }
  }
}

// The set where IdentityAsCDM also holds a message of another schema, and the schemas whose names
// have this end have no comments.
std::string WithoutComments(const std::string& end) {
  FileDescriptorSet set = DescriptorSet();
  for (auto& file : *set.mutable_file()) {
    if (file.name().ends_with(end)) file.clear_source_code_info();
    if (!file.name().ends_with("/identityAsCDM.proto")) continue;
    file.add_dependency(
        "ovix/telemetry/contract/upload/log/hardware/hwBatteryHealthLogAsCDM.proto");
    auto* field = file.mutable_message_type(0)->add_field();
    field->set_name("battery");
    field->set_number(99);
    field->set_label(FieldDescriptorProto::LABEL_OPTIONAL);
    field->set_type(FieldDescriptorProto::TYPE_MESSAGE);
    field->set_type_name(".ovix.telemetry.contract.upload.log.hardware.HwBatteryHealthLogAsCDM");
  }
  // Imports come first.
  std::stable_partition(
      set.mutable_file()->begin(), set.mutable_file()->end(),
      [](const auto& file) { return !file.name().ends_with("/identityAsCDM.proto"); });
  return set.SerializeAsString();
}

// Without comments nothing is known to be personal, which is not the same as nothing.
TEST(ToolRelease, HandlesPersonalDataOnlyWhereItIsStated) {
  const Folder folder;
  folder.Write("bare.binpb", WithoutComments(""));
  folder.Write("partly.binpb", WithoutComments("/identityAsCDM.proto"));
  folder.Write("nested.binpb", WithoutComments("/hwBatteryHealthLogAsCDM.proto"));
  folder.Write("other.binpb", WithoutComments("/fwComponentsInfoAsCDM.proto"));
  std::filesystem::copy_file(SourceFile("compat/1.0.0/contracts.binpb"), folder / "first.binpb");
  const std::string none = ": its comments state no privacy class";
  const std::string some = ": it has no comments of ovix/telemetry/contract/upload/";
  const struct {
    std::string set;
    std::string said;  // empty: it is decoded
  } cases[] = {{"bare", none},
               {"first", none},
               {"partly", some + "device_profile/identityAsCDM.proto"},
               {"nested", some + "log/hardware/hwBatteryHealthLogAsCDM.proto"},
               {"other", ""}};
  for (const auto& c : cases) {
    for (const std::string command : {"privacy IdentityAsCDM", "decode IdentityAsCDM --redact all",
                                      "decode IdentityAsCDM --redact all --delimited --skip-bad"}) {
      SCOPED_TRACE(command + " " + c.set);
      const std::string file = c.set + ".binpb";
      const ProgramRun run = RunTool(folder, command + " --contracts " + Quoted(folder, file), "");
      EXPECT_EQ(run.exit_code, c.said.empty() ? 0 : 2) << run.errors;
      if (c.said.empty()) continue;
      EXPECT_EQ(run.output, "");
      EXPECT_NE(run.errors.find(file + c.said), std::string::npos) << run.errors;
    }
  }
}

TEST(ToolRelease, MakesMessagesOfItsOwnSchemas) {
  const std::string name = "ovix.telemetry.contract.storage.device_health.BootHealthLog";
  const tool::Contracts other(OtherRelease().SerializeAsString(), "other");
  for (const auto& [contracts, field] :
       {std::pair(&other, "boot_code"),
        std::pair(&tool::Contracts::Installed(), "post_code_value")}) {
    const auto message = contracts->NewMessage(contracts->pool().FindMessageTypeByName(name));
    EXPECT_EQ(message->GetDescriptor()->field(1)->name(), field);
    EXPECT_TRUE(message->ParseFromString("\x12\x01x"));
    EXPECT_NE(message->ShortDebugString().find(field), std::string::npos);
  }
}

}  // namespace
}  // namespace ovix::tests
