// sample: messages that obey their contracts, the same everywhere.
#include <google/protobuf/util/message_differencer.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "check/checker.h"
#include "contracts/contracts.h"
#include "contracts/facts.h"
#include "ovix/telemetry/contract/upload/upload_options.pb.h"
#include "sample/sampler.h"
#include "support/contracts.h"
#include "support/folder.h"
#include "support/tool.h"

namespace ovix::tests {
namespace {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;

// The fields that a message and those in it do not have.
void CollectAbsent(const Message& message, std::set<std::string>& absent) {
  const auto* type = message.GetDescriptor();
  const auto* reflection = message.GetReflection();
  for (int i = 0; i < type->field_count(); ++i) {
    const FieldDescriptor* field = type->field(i);
    if (field->is_repeated() ? reflection->FieldSize(message, field) == 0
                             : field->has_presence() && !reflection->HasField(message, field)) {
      absent.insert(field->full_name());
    } else if (field->message_type() != nullptr && !field->is_repeated()) {
      CollectAbsent(reflection->GetMessage(message, field), absent);
    } else if (field->message_type() != nullptr) {
      CollectAbsent(reflection->GetRepeatedMessage(message, field, 0), absent);
    }
  }
}

// Every contract: the checker finds nothing in what the sampler makes, of any seed.
TEST(ToolSample, ObeysEveryContract) {
  const tool::Contracts& contracts = tool::Contracts::Installed();
  tool::Checker checker(contracts);
  size_t messages = 0;
  for (const Message* prototype : AllPrototypes()) {
    const auto* type = prototype->GetDescriptor();
    SCOPED_TRACE(type->full_name());
    ++messages;
    std::set<std::string> made, absent;
    for (const uint64_t seed : {1ULL, 2ULL, ~0ULL}) {
      tool::Sampler sampler(contracts, seed), again(contracts, seed);
      for (uint64_t number = 0; number < 5; ++number) {
        const std::unique_ptr<Message> message(prototype->New()), same(prototype->New());
        sampler.Fill(*message, number);
        again.Fill(*same, number);
        const std::string bytes = message->SerializeAsString();
        EXPECT_EQ(bytes, same->SerializeAsString());
        made.insert(bytes);
        for (const auto& finding : checker.Check(bytes, type)) {
          ADD_FAILURE() << finding.rule << " " << finding.place << ": " << finding.what;
        }
        if (number == 0) CollectAbsent(*message, absent);
      }
    }
    EXPECT_EQ(absent, std::set<std::string>()) << "the first message has every field";
    // Whatever has more than a few possible values is not the same twice.
    EXPECT_GE(made.size(), type->field_count() > 8 ? 15u : 1u);
  }
  EXPECT_EQ(messages, 324u);
}

TEST(ToolSample, KeepsQuantitiesPlausibleAndSharesAreSeen) {
  const tool::Contracts& contracts = tool::Contracts::Installed();
  tool::Sampler sampler(contracts, 3);
  size_t percentages = 0, present = 0, optional = 0;
  for (const Message* prototype : AllPrototypes()) {
    const auto* type = prototype->GetDescriptor();
    for (uint64_t number = 0; number < 8; ++number) {
      const std::unique_ptr<Message> message(prototype->New());
      sampler.Fill(*message, number);
      for (int i = 0; i < type->field_count(); ++i) {
        const FieldDescriptor* field = type->field(i);
        const auto* reflection = message->GetReflection();
        if (number != 0 && !field->is_repeated() && field->has_presence()) {
          ++optional;
          present += reflection->HasField(*message, field) ? 1 : 0;
        }
        if (field->is_repeated() || field->cpp_type() != FieldDescriptor::CPPTYPE_FLOAT) continue;
        if (tool::FactsOf(contracts, field).unit != "%") continue;
        ++percentages;
        const float value = reflection->GetFloat(*message, field);
        EXPECT_TRUE(value >= 0 && value <= 100) << field->full_name() << " " << value;
      }
    }
  }
  EXPECT_GT(percentages, 100u);
  // Three of four.
  EXPECT_NEAR(static_cast<double>(present) / static_cast<double>(optional), 0.75, 0.05);
}

// To the letter: the numbers come from no library.
TEST(ToolSample, IsTheSameEverywhere) {
  const Folder folder;
  EXPECT_EQ(RunTool(folder, "sample Events -n 2 --seed 7").output,
            R"({"rowid":956,"time":"2026-03-30T10:05:56.095Z","data":"data 858"}
{"rowid":567,"time":"2026-08-27T22:01:54.066Z","data":"data 763"}
)");
}

TEST(ToolSample, WritesLinesOfJsonOrDelimitedBytes) {
  const Folder folder;
  const std::string sample = "sample HwBatteryHealthLogAsCDM --seed 3";
  const ProgramRun lines = RunTool(folder, sample + " -n 20");
  EXPECT_EQ(lines.exit_code, 0) << lines.errors;
  EXPECT_EQ(std::count(lines.output.begin(), lines.output.end(), '\n'), 20);
  const ProgramRun bytes = RunTool(folder, sample + " --count 20 --delimited");
  EXPECT_EQ(bytes.output,
            RunTool(folder, "encode HwBatteryHealthLogAsCDM --delimited", lines.output).output);
  const ProgramRun checked =
      RunTool(folder, "check HwBatteryHealthLogAsCDM --delimited", bytes.output);
  EXPECT_EQ(checked.exit_code, 0) << checked.output;
  EXPECT_EQ(checked.errors, "ovix-contracts: 20 messages checked, 0 findings\n");
  // One by default, of the seed 1; more of a seed begin with the fewer.
  EXPECT_TRUE(lines.output.starts_with(RunTool(folder, sample + " -n 5").output));
  EXPECT_EQ(RunTool(folder, "sample BatteryHealthLog").output,
            RunTool(folder, "sample BatteryHealthLog -n 1 --seed 1").output);
  EXPECT_NE(RunTool(folder, "sample BatteryHealthLog --seed 2").output,
            RunTool(folder, "sample BatteryHealthLog").output);
  EXPECT_EQ(RunTool(folder, "sample BatteryHealthLog -n 0").output, "");
  const std::string out = "\"" + Utf8(folder / "made") + "\"";
  EXPECT_EQ(RunTool(folder, sample + " -n 20 -o " + out).exit_code, 0);
  EXPECT_EQ(folder.Read("made"), lines.output);
  for (const char* wrong :
       {"sample", "sample BatteryHealthLog -n x", "sample BatteryHealthLog -n -1",
        "sample BatteryHealthLog --seed -1", "sample StateEventType", "sample Events --out made",
        "sample --out made -o made", "sample --out \"\""}) {
    SCOPED_TRACE(wrong);
    const ProgramRun run = RunTool(folder, wrong);
    EXPECT_EQ(run.exit_code, 2);
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(std::count(run.errors.begin(), run.errors.end(), '\n'), 1) << run.errors;
  }
}

TEST(ToolSample, WritesEveryPayloadToAFolder) {
  const Folder folder;
  const std::string out = " --out \"" + Utf8(folder / "made") + "\" --seed 9 -n 3";
  for (const std::string form : {"", " --delimited"}) {
    const std::string ending = form.empty() ? ".jsonl" : ".binpb";
    ASSERT_EQ(RunTool(folder, "sample" + out + form).exit_code, 0);
    size_t payloads = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder / "made")) {
      if (entry.path().extension() != ending) continue;  // what is listed there
      ++payloads;
      const std::string name = Utf8(entry.path().stem());
      const std::string one = RunTool(folder, "sample " + name + " --seed 9 -n 3" + form).output;
      EXPECT_EQ(folder.Read("made/" + name + ending), one) << name;
    }
    EXPECT_EQ(payloads, tool::Contracts::Installed().payloads().size());
  }
  // Two packages can have payloads of one name.
  const auto released = DescriptorSet();
  auto set = released;
  for (const auto& file : released.file()) {
    if (!file.name().ends_with("/identityAsCDM.proto")) continue;
    auto& other = *set.add_file() = file;
    other.set_name("other.proto");
    other.set_package("other");
    other.add_dependency(file.name());  // of whose parts its fields are
    other.mutable_message_type(other.message_type_size() - 1)
        ->mutable_options()
        ->MutableExtension(telemetry::contract::upload::cdm)
        ->set_gun("other");
  }
  folder.Write("two.binpb", set.SerializeAsString());
  ASSERT_EQ(RunTool(folder, "sample" + out + " --contracts \"" + Utf8(folder / "two.binpb") + "\"")
                .exit_code,
            0);
  EXPECT_TRUE(std::filesystem::exists(folder / "made/other.IdentityAsCDM.jsonl"));
  folder.Write("mine/notes.txt", "");
  const ProgramRun refused = RunTool(folder, "sample --out \"" + Utf8(folder / "mine") + "\"");
  EXPECT_NE(refused.exit_code, 0);
  EXPECT_FALSE(std::filesystem::exists(folder / "mine/files.txt"));
}

// Every command for messages, with a release whose payload has another version and field.
TEST(ToolSample, TakesAnotherReleaseAsItsNeighboursDo) {
  const Folder folder;
  auto set = DescriptorSet();
  for (auto& file : *set.mutable_file()) {
    for (auto& message : *file.mutable_message_type()) {
      if (message.name() != "HwBatteryHealthLogAsCDM") continue;
      message.mutable_options()
          ->MutableExtension(telemetry::contract::upload::cdm)
          ->set_version("1.7.0");
      for (auto& field : *message.mutable_field()) {
        if (field.name() != "age") continue;
        field.set_name("years");
        field.set_json_name("years");
      }
    }
  }
  folder.Write("other.binpb", set.SerializeAsString());
  const std::string with =
      " HwBatteryHealthLogAsCDM --delimited --contracts \"" + Utf8(folder / "other.binpb") + "\"";
  const std::string bytes = RunTool(folder, "sample -n 3" + with).output;
  EXPECT_EQ(RunTool(folder, "check" + with, bytes).exit_code, 0);
  const ProgramRun installed = RunTool(folder, "check HwBatteryHealthLogAsCDM --delimited", bytes);
  EXPECT_EQ(installed.exit_code, 1);
  EXPECT_NE(installed.output.find("is \"1.7.0\"; these contracts have version 1.0.0 [version]"),
            std::string::npos)
      << installed.output;
  const ProgramRun decoded = RunTool(folder, "decode" + with, bytes);
  EXPECT_NE(decoded.output.find("\"years\":"), std::string::npos) << decoded.output;
  EXPECT_EQ(RunTool(folder, "encode" + with, decoded.output).output, bytes);
}

}  // namespace
}  // namespace ovix::tests
