// check: what is found in payloads and records, what is not, and how it is reported.
#include <google/protobuf/descriptor.pb.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <limits>
#include <string>
#include <vector>

#include "check/checker.h"
#include "check/formats.h"
#include "contracts/contracts.h"
#include "ovix/telemetry/contract/storage/device_health/battery.pb.h"
#include "ovix/telemetry/contract/upload/log/hardware/hwBatteryHealthLogAsCDM.pb.h"
#include "support/contracts.h"
#include "support/folder.h"
#include "support/tool.h"
#include "uploader/label.h"

namespace ovix::tests {
namespace {

using telemetry::contract::storage::device_health::BatteryHealthLog;
using telemetry::contract::upload::log::hardware::HwBatteryHealthLogAsCDM;

constexpr char kGoodTime[] = "2026-11-21T04:31:09.120Z";

size_t Lines(const std::string& text) {
  return static_cast<size_t>(std::count(text.begin(), text.end(), '\n'));
}

std::string Text(int number, const std::string& text) {
  return Tag(number, 2) + Varint(text.size()) + text;
}

TEST(ToolCheck, FindsWhatTheContractDoesNotAllow) {
  const Folder folder;
  const std::string version = Text(1, "1.0.0");
  const std::string time = Text(1, kGoodTime);
  const struct {
    const char* message;
    std::string bytes;
    const char* finding;  // empty: none
  } cases[] = {
      {"HwBatteryHealthLogAsCDM", version + Tag(7, 0) + "\x03", ""},
      // The version, which is the first field.
      {"HwBatteryHealthLogAsCDM", "",
       "HwBatteryHealthLogAsCDM.version: is empty; these contracts have version 1.0.0 [version]"},
      {"HwBatteryHealthLogAsCDM", Text(1, "1.0.1"),
       "HwBatteryHealthLogAsCDM.version: is \"1.0.1\"; these contracts have version 1.0.0 "
       "[version]"},
      // What does not parse.
      {"HwBatteryHealthLogAsCDM", version + Tag(2, 2) + "\x7f",
       "byte 7: ovix.telemetry.contract.upload.log.hardware.HwBatteryHealthLogAsCDM."
       "battery_serial_number needs 127 bytes, but 0 are left; it is not of type ovix."},
      {"HwBatteryHealthLogAsCDM", version + Text(4, "\xff"),
       "test_result is text that is not UTF-8"},
      // Fields that the contract does not have, in a part too.
      {"HwBatteryHealthLogAsCDM", version + Tag(100, 0) + "\x01",
       "HwBatteryHealthLogAsCDM: field 100 (varint) is not in ovix.telemetry.contract.upload.log."
       "hardware.HwBatteryHealthLogAsCDM [unknown]"},
      {"BatteryHealthLog", time + Text(19, Tag(99, 5) + "abcd"),
       "BatteryHealthLog.battery_status: field 99 (i32) is not in ovix.telemetry.contract.storage."
       "device_health.BatteryStatus [unknown]"},
      {"BatteryHealthLog", time + Text(7, "x"),
       "BatteryHealthLog.age: has the wire type len, which is not that of uint32 [unknown]"},
      // Numbers of more bits than their type.
      {"BatteryHealthLog", time + Tag(7, 0) + Varint(1ULL << 32),
       "BatteryHealthLog.age: 4294967296 does not fit uint32: readers see its lowest 32 bits "
       "[range]"},
      {"BatteryHealthLog", time + Tag(7, 0) + Varint((1ULL << 32) - 1), ""},
      {"BatteryHealthLog", time + Text(18, Varint(1) + Varint(1ULL << 40)),
       "BatteryHealthLog.cell_voltages[1]: 1099511627776 does not fit uint32"},
      {"storage.device_profile.HwStorageDrive", Tag(10, 0) + Varint(static_cast<uint64_t>(-5)), ""},
      // Quantities are finite.
      {"BatteryHealthLog", time + Tag(10, 5) + std::string("\0\0\xc0\x7f", 4),
       "BatteryHealthLog.full_energy_capacity_perc: is not a finite number"},
      // Values of an enumeration, and those that a comment lists.
      {"HardwareEvents", Tag(3, 0) + "\x01", ""},
      {"HardwareEvents", Tag(3, 0) + "\x63",
       "HardwareEvents.event: 99 is not a value of ovix.telemetry.contract.storage."},
      {"storage.HealthLog", Tag(1, 0) + "\x01", "HealthLog.do_not_use: 1 is not one of 0 [values]"},
      {"storage.PersistanceMessageOptions", Text(1, "Stat"),
       "PersistanceMessageOptions.type: \"Stat\" is not one of \"State\", \"Historical\"; is it "
       "State? [values]"},
      {"storage.PersistanceMessageOptions", Text(1, "State"), ""},
      // Open lists are not held.
      {"OperatingSystemAsCDM", Text(1, "1.0.0"), ""},
      // The time of a table that ages by it.
      {"BatteryHealthLog", Text(1, "12:00"),
       "BatteryHealthLog.time: \"12:00\" is not RFC 3339 in UTC with milliseconds and a second up "
       "to "
       "59; the store never removes this row for its age [time]"},
      {"BatteryHealthLog", Text(1, "2026-11-21T04:31:09.120+01:00"), "BatteryHealthLog.time: "},
      {"BatteryHealthLog", "", "BatteryHealthLog.time: is empty"},
      {"HwBattery", Text(1, "12:00"), ""},
      // Line ends and what drives a terminal stay out of the line.
      {"storage.PersistanceMessageOptions", Text(1, "\x1b[1m\n"),
       ".type: \"\\u001b[1m\\n\" is not one of"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.message) + ": " + c.finding);
    const ProgramRun run = RunTool(folder, "check " + std::string(c.message), c.bytes);
    const bool is_clean = *c.finding == '\0';
    EXPECT_EQ(run.exit_code, is_clean ? 0 : 1) << run.output << run.errors;
    EXPECT_EQ(Lines(run.output), is_clean ? 0u : 1u) << run.output;
    if (is_clean) continue;
    EXPECT_TRUE(run.output.starts_with("standard input: ")) << run.output;
    EXPECT_NE(run.output.find(c.finding), std::string::npos) << run.output;
  }
}

// Facts that hardly any contract states: those of a contract of the test's own.
TEST(ToolCheck, HoldsTheFactsOfComments) {
  auto set = DescriptorSet();
  for (auto& file : *set.mutable_file()) {
    if (!file.name().ends_with("device_health/battery.proto")) continue;
    for (auto& place : *file.mutable_source_code_info()->mutable_location()) {
      // Fields of BatteryHealthLog.
      if (place.path_size() != 4 || place.path(0) != 4 || place.path(2) != 2) continue;
      const auto& field = file.message_type(place.path(1)).field(place.path(3));
      if (file.message_type(place.path(1)).name() != "BatteryHealthLog") continue;
      const std::string comment =
          field.name() == "test_result"     ? " Values: \"PASS\", \"FAIL\"\n"
          : field.name() == "serial_number" ? " Format: GUID\n Privacy: identifier\n"
          : field.name() == "ct_number"     ? " Values: \"a\"\n Privacy: identifier\n"
          : field.name() == "test_version"  ? " Format: version\n"
          : field.name() == "cycle_count"   ? " Flags of the test.\n Values: 1 = a, 2 = b, 8 = c\n"
          : field.name() == "cell_voltages" ? " Values: 3, 5\n"
          : field.name() == "full_energy_capacity_perc" ? " Values: -1, 2\n"
          : field.name() == "abo_info"                  ? " Values: \"a\", ...\n"
                                                        : "";
      if (!comment.empty()) place.set_leading_comments(comment);
    }
  }
  const tool::Contracts contracts(set.SerializeAsString(), "set");
  const auto* type =
      contracts.pool().FindMessageTypeByName(BatteryHealthLog::descriptor()->full_name());
  const auto check = [&](const std::function<void(BatteryHealthLog&)>& fill) {
    BatteryHealthLog log;
    log.set_time(kGoodTime);
    fill(log);
    std::vector<std::string> said;
    for (const auto& finding : tool::Checker(contracts).Check(log.SerializeAsString(), type)) {
      said.push_back(finding.rule + " " + finding.place + " " + finding.what);
    }
    return said;
  };
  using Said = std::vector<std::string>;
  const std::pair<std::function<void(BatteryHealthLog&)>, Said> cases[] = {
      {[](auto& log) {
         log.set_test_result("PASS");
         log.set_test_version("1.2");
         log.set_cycle_count(11);
         log.add_cell_voltages(3);
         log.set_full_energy_capacity_perc(-1);
         log.set_abo_info("not listed, but the list is open");
       },
       {}},
      {[](auto& log) { log.set_full_energy_capacity_perc(0.5F); },
       {"values BatteryHealthLog.full_energy_capacity_perc 0.5 is not one of -1, 2"}},
      {[](auto& log) { log.set_test_result("PASSED"); },
       {"values BatteryHealthLog.test_result \"PASSED\" is not one of \"PASS\", \"FAIL\"; is it "
        "PASS?"}},
      {[](auto& log) { log.set_test_version("1.2a"); },
       {"format BatteryHealthLog.test_version \"1.2a\" is not of the format version"}},
      {[](auto& log) { log.set_cycle_count(4); },
       {"values BatteryHealthLog.cycle_count 4 is not made of 1, 2, 8"}},
      {[](auto& log) {
         log.add_cell_voltages(5);
         log.add_cell_voltages(4);
       },
       {"values BatteryHealthLog.cell_voltages[1] 4 is not one of 3, 5"}},
      // What is about a person is not shown.
      {[](auto& log) { log.set_serial_number("secret"); },
       {"format BatteryHealthLog.serial_number the value (identifier) is not of the format GUID"}},
      {[](auto& log) { log.set_ct_number("b"); },
       {"values BatteryHealthLog.ct_number the value (identifier) is not one of \"a\""}},
  };
  for (const auto& [fill, said] : cases) EXPECT_EQ(check(fill), said);
  EXPECT_EQ(check([](auto& log) { log.set_test_version(std::string(100, 'x')); }).front(),
            "format BatteryHealthLog.test_version \"" + std::string(60, 'x') +
                "\"... is not of the format version");
}

TEST(ToolCheck, KnowsEveryFormat) {
  const struct {
    const char* format;
    std::vector<std::string> good;
    std::vector<std::string> bad;
  } cases[] = {
      {"RFC 3339",
       {"2026-11-21T04:31:09Z", "2026-11-21T04:31:09.120Z", "2024-02-29T23:59:60+05:30"},
       {"", "2026-11-21", "2026-11-21T04:31:09", "2026-02-29T04:31:09Z", "2026-13-01T04:31:09Z",
        "2026-11-21 04:31:09Z", "2026-11-21T24:00:00Z", "2026-11-21T04:60:09Z",
        "2026-11-21T04:31:61Z", "2026-11-21T04:31:09.Z", "2026-11-21T04:31:09Zx",
        "2026-11-21T04:31:09+1:00"}},
      {"date", {"2026-11-21"}, {"", "2026-11-31", "2026-1-21", "2026-11-21T"}},
      {"decimal number", {"0", "-1.5", "+2e-3", ".5"}, {"", ".", "1.5.1", "1e", "0x1", "1 "}},
      {"integer", {"0", "-12", "+7", "007"}, {"", "-", "1.0", "1e3"}},
      {"hexadecimal", {"0", "0xFf", "0X1a"}, {"", "0x", "1g"}},
      {"boolean", {"true", "false"}, {"", "True", "1"}},
      {"version", {"1", "10.0.22631.1"}, {"", "1.", ".1", "1.a"}},
      {"semantic version", {"1.0.0", "1.0.0-beta.4"}, {"", "1.0", "01.0.0", "1x0x0"}},
      {"GUID",
       {"5c91a2bf-2873-8c8c-9f56-07345e9936b3", "{5C91A2BF-2873-8C8C-9F56-07345E9936B3}"},
       {"", "5c91a2bf28738c8c9f5607345e9936b3", "{5c91a2bf-2873-8c8c-9f56-07345e9936b3",
        "5c91a2bf-2873-8c8c-9f56-07345e9936b3}", "5c91a2bf-2873-8c8c-9f56-07345e9936bg"}},
      {"MAC address",
       {"02:00:5e:10:00:00", "02-00-5E-10-00-00", "02005e100000"},
       {"", "02:00:5e:10:00", "02:00-5e:10:00:00", "0g:00:5e:10:00:00"}},
      {"JSON",
       {"{}", " [1, \"a\"]\n", "null"},
       {"", "{", "{'a':1}", "{}x", std::string("1\0", 2), "\"\xff\""}},
      {"SHA-256", {std::string(64, 'a')}, {"", std::string(63, 'a'), std::string(64, 'g')}},
      {"path", {"/a", "C:\\a b"}, {"", std::string("a\0b", 3)}},
      {"unspecified", {"", "anything"}, {}},
      {"", {"", "anything"}, {}},
  };
  std::set<std::string_view> covered;
  for (const auto& c : cases) {
    covered.insert(c.format);
    for (const auto& text : c.good)
      EXPECT_TRUE(tool::HasFormat(text, c.format)) << c.format << ": " << text;
    for (const auto& text : c.bad)
      EXPECT_FALSE(tool::HasFormat(text, c.format)) << c.format << ": " << text;
  }
  for (const auto& format : tool::Formats()) EXPECT_TRUE(covered.contains(format)) << format;
}

// SQLite reads the time of a row for its age, and knows no leap seconds.
TEST(ToolCheck, KnowsTimesByWhichRowsAge) {
  for (const char* good : {"2026-11-21T04:31:09.120Z", "2026-11-21T23:59:59.999Z"}) {
    EXPECT_TRUE(tool::IsRowTime(good)) << good;
  }
  for (const char* bad :
       {"2026-11-21T04:31:60.000Z", "2016-12-31T23:59:60.000Z", "2026-11-21T04:31:09.12Z",
        "2026-11-21t04:31:09.120Z", "2026-11-21T04:31:09.120z", "2026-11-21T04:31:09+01:00"}) {
    EXPECT_FALSE(tool::IsRowTime(bad)) << bad;
  }
}

// A stream that is none from a place on is a finding like other damaged bytes; the inputs after it
// are checked.
TEST(ToolCheck, FindsDamagedStreams) {
  const struct {
    std::string bytes;
    const char* said;
    const char* checked;
  } cases[] = {
      {"38 01 6", "", ""},  // not hexadecimal: an input that cannot be read
      {"02 3801 05 38", "byte 4: message number 2 needs 5 bytes, but 1 are left", "1 message "},
      {"02 3801 ff", "byte 3: the input ends within the length of a message", "1 message "},
      {"ffffffffff01", "byte 0: a message cannot be that long; is the stream --delimited?",
       "0 messages "},
  };
  const Folder folder;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.bytes);
    folder.Write("whole", "02 3801");
    const ProgramRun run = RunTool(
        folder,
        "check BatteryStatus --delimited --input-encoding hex - \"" + Utf8(folder / "whole") + "\"",
        c.bytes);
    if (*c.said == '\0') {
      EXPECT_EQ(run.exit_code, 2);
      continue;
    }
    EXPECT_EQ(run.exit_code, 1) << run.errors;
    EXPECT_NE(run.output.find("standard input: " + std::string(c.said) +
                              "; what follows is not checked [encoding]\n"),
              std::string::npos)
        << run.output;
    const int whole = 1 + std::stoi(c.checked);
    EXPECT_NE(run.errors.find(std::to_string(whole) + " message"), std::string::npos) << run.errors;
  }
}

TEST(ToolCheck, TakesOutboxesLabelsAndStreams) {
  const Folder folder;
  const auto write = [&](int64_t sequence, const std::string& bytes) {
    const auto label =
        agent::MakeLabel(HwBatteryHealthLogAsCDM::descriptor(), bytes,
                         "5c91a2bf-2873-8c8c-9f56-07345e9936b3", kGoodTime, sequence);
    folder.Write("outbox/" + label.FileStem() + ".binpb", bytes);
    folder.Write("outbox/" + label.FileStem() + ".json", label.ToJson());
    return Utf8((folder / ("outbox/" + label.FileStem())).make_preferred());
  };
  const auto quoted = [](const std::string& text) { return "\"" + text + "\""; };
  const std::string good = write(1, Text(1, "1.0.0"));
  EXPECT_EQ(RunTool(folder, "check " + quoted(Utf8(folder / "outbox"))).errors,
            "ovix-contracts: 1 message checked, 0 findings\n");
  const std::string as_json = "check --format json " + quoted(Utf8(folder / "outbox"));
  EXPECT_EQ(RunTool(folder, as_json).output, "{\n  \"findings\": [],\n  \"messages\": 1\n}\n");
  const std::string old = write(2, Text(1, "0.9.0"));
  const std::string damaged = write(3, Text(1, "1.0.0"));
  std::filesystem::resize_file(FromUtf8(damaged + ".binpb"), 3);

  const ProgramRun run = RunTool(folder, "check " + quoted(Utf8(folder / "outbox")));
  EXPECT_EQ(run.exit_code, 1);
  EXPECT_EQ(run.output,
            old +
                ".binpb: HwBatteryHealthLogAsCDM.version: is \"0.9.0\"; these "
                "contracts have version 1.0.0 [version]\n" +
                damaged +
                ".json: the payload does not have the size that its metadata file states: it has "
                "3 bytes, the metadata file states 7 [bytes]\n");
  EXPECT_EQ(run.errors, "ovix-contracts: 3 messages checked, 2 findings\n");
  const auto json = Json(RunTool(folder, as_json).output).fields();
  EXPECT_EQ(json.at("messages").number_value(), 3);
  std::string same;
  for (const auto& value : json.at("findings").list_value().values()) {
    const auto text = [&](const char* key) {
      return value.struct_value().fields().at(key).string_value();
    };
    const std::string place = text("place");
    same += text("input") + ": " + (place.empty() ? "" : place + ": ") + text("what") + " [" +
            text("rule") + "]\n";
  }
  EXPECT_EQ(same, run.output);
  EXPECT_EQ(RunTool(folder, "check " + quoted(good + ".json")).exit_code, 0);

  // What cannot be read does not keep the others from being checked.
  const ProgramRun some = RunTool(
      folder, "check " + quoted(Utf8(folder / "nowhere.json")) + " " + quoted(old + ".json"));
  EXPECT_EQ(some.exit_code, 2);
  EXPECT_EQ(Lines(some.output), 1u) << some.output;
  EXPECT_NE(some.errors.find("nowhere.json: cannot be read"), std::string::npos) << some.errors;
  const ProgramRun files =
      RunTool(folder, "check HwBatteryHealthLogAsCDM nowhere " + quoted(old + ".binpb"));
  EXPECT_EQ(files.exit_code, 2);
  EXPECT_EQ(Lines(files.output), 1u) << files.output;

  // A stream, as text.
  const ProgramRun stream =
      RunTool(folder, "check BatteryHealthLog --delimited --input-encoding hex", "00 03 380160");
  EXPECT_EQ(stream.exit_code, 1);
  EXPECT_TRUE(stream.output.starts_with("standard input: message 1: BatteryHealthLog.time: "));
  EXPECT_NE(stream.output.find("standard input: message 2: byte 5: "), std::string::npos)
      << stream.output;
  EXPECT_EQ(RunTool(folder, "check " + quoted(good + ".json") + " --delimited").exit_code, 2);
  EXPECT_EQ(RunTool(folder, "check").exit_code, 2);
}

}  // namespace
}  // namespace ovix::tests
