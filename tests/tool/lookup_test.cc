// How a contract is found: by its names, its gun, a label, and what is said where it is not.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>

#include "support/contracts.h"
#include "support/folder.h"
#include "support/tool.h"

namespace ovix::tests {
namespace {

constexpr char kStorage[] = "ovix.telemetry.contract.storage.";
constexpr char kGun[] =
    "com.ovix.cdm.domain.telemetry.type.eventDetail.category.pcLogHwBatteryHealth.version.1";
constexpr char kPayload[] = "ovix.telemetry.contract.upload.log.hardware.HwBatteryHealthLogAsCDM";

TEST(ToolLookup, FindsAMessageByWhatItsUserHas) {
  const Folder folder;
  folder.Write("label.json", std::string("{\"id\": 7, \"gun\": \"") + kGun + "\"}");
  const std::string table = kStorage + std::string("device_profile.HwBattery");
  const std::string part = "ovix.telemetry.contract.upload.device_profile.HwBattery";
  const std::string services = kStorage + std::string("device_updates.WindowsServicesInfo");
  const struct {
    std::string name;
    std::string found;
    std::string said;
  } cases[] = {
      {kGun, kPayload, ""},
      {Utf8(folder / "label.json"), kPayload, ""},
      {kPayload, kPayload, ""},
      {"hardware.HwBatteryHealthLogAsCDM", kPayload, ""},
      {"BatteryHealthLog", kStorage + std::string("device_health.BatteryHealthLog"), ""},
      {"HwBattery", table,
       "ovix-contracts: HwBattery: taken as the table " + table + "; also of this name: " + part +
           "\n"},
      {"device_profile.HwBattery", table,
       "ovix-contracts: device_profile.HwBattery: taken as the table " + table +
           "; also of this name: " + part + "\n"},
      {"upload.device_profile.HwBattery", part, ""},
      {"WindowsServicesInfo", services,
       "ovix-contracts: WindowsServicesInfo: taken as the table " + services +
           "; also of this name: ovix.telemetry.contract.upload.device_updates."
           "PcWindowsServicesInfoAsCDM.WindowsServicesInfo\n"},
      {"PcWindowsServicesInfoAsCDM.WindowsServicesInfo",
       "ovix.telemetry.contract.upload.device_updates.PcWindowsServicesInfoAsCDM."
       "WindowsServicesInfo",
       ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const ProgramRun run = RunTool(folder, "show \"" + c.name + "\"");
    EXPECT_EQ(run.exit_code, 0);
    EXPECT_EQ(run.output.substr(0, run.output.find(" (")), c.found);
    EXPECT_EQ(run.errors, c.said);
  }
  // Every command that takes a message.
  for (const std::string arguments : {"privacy ", "decode ", "encode --format text "}) {
    for (const std::string& name :
         {std::string(kGun), std::string("HwBattery"), "\"" + Utf8(folder / "label.json") + "\""}) {
      // Of a label decode reads the payload.
      if (arguments == "decode " && name.ends_with("json\"")) continue;
      SCOPED_TRACE(arguments + name);
      const ProgramRun run = RunTool(folder, arguments + name);
      EXPECT_EQ(run.exit_code, 0) << run.errors;
      EXPECT_EQ(run.errors, name == "HwBattery" ? cases[5].said : "");
    }
  }
}

TEST(ToolLookup, LooksForANameBeforeAFile) {
  const Folder folder;
  folder.Write("BatteryHealthLog", "not a label");
  folder.Write("BatteryHealthLog.age", "not a label");
  const auto before = std::filesystem::current_path();
  std::filesystem::current_path(folder.path());
  for (const std::string name : {"BatteryHealthLog", "BatteryHealthLog.age"}) {
    EXPECT_EQ(RunTool(folder, "show " + name).errors, "");
  }
  std::filesystem::current_path(before);
}

TEST(ToolLookup, TakesAFullNameThatIsTheEndOfAnother) {
  const Folder folder;
  auto set = DescriptorSet();
  auto* file = set.add_file();
  file->set_name("other.proto");
  file->set_syntax("proto3");
  file->add_message_type()->set_name("BatteryHealthLog");
  folder.Write("other.binpb", set.SerializeAsString());
  const ProgramRun run =
      RunTool(folder, "show BatteryHealthLog --contracts \"" + Utf8(folder / "other.binpb") + "\"");
  EXPECT_EQ(run.errors, "");
  EXPECT_TRUE(run.output.starts_with("BatteryHealthLog (sub-message)\n")) << run.output;
}

TEST(ToolLookup, ShowsOneFieldByItsPath) {
  const Folder folder;
  const std::string log = kStorage + std::string("device_health.BatteryHealthLog");
  const struct {
    std::string name;
    std::string heading;
    std::string has;      // in addition to the heading
    const char* has_not;  // what belongs to other fields
  } cases[] = {
      {"BatteryHealthLog.age", log + ".age", "\n     7  age  uint32  implicit\n", "cycle_count"},
      {log + ".age", log + ".age", "of        table BatteryHealthLog\n", "cycle_count"},
      {"BatteryHealthLog.battery_status.discharging",
       kStorage + std::string("device_health.BatteryStatus.discharging"),
       "discharging  bool  implicit\n          Bit 6.", "fully_charged"},
      {"BatteryHealthLog.battery_status", log + ".battery_status", "BatteryStatus (sub-message)\n",
       "cycle_count"},
      {kGun + std::string(".battery_serial_number"),
       kPayload + std::string(".battery_serial_number"),
       "from BatteryHealthLog.serial_number: renamed", "battery_c_t_number"},
      {"HwBattery.serial_number", kStorage + std::string("device_profile.HwBattery.serial_number"),
       "key", "ct_number"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const ProgramRun run = RunTool(folder, "show " + c.name);
    EXPECT_EQ(run.exit_code, 0) << run.errors;
    EXPECT_TRUE(run.output.starts_with(c.heading + " (field)\n")) << run.output;
    EXPECT_NE(run.output.find(c.has), std::string::npos) << run.output;
    EXPECT_EQ(run.output.find(c.has_not), std::string::npos) << run.output;
    const auto json = Json(RunTool(folder, "show --format json " + c.name).output);
    const std::string csv = RunTool(folder, "show --format csv " + c.name).output;
    const std::string field = c.heading.substr(c.heading.rfind('.') + 1);
    const std::string message = c.heading.substr(0, c.heading.rfind('.'));
    EXPECT_EQ(json.fields().at("message").string_value(), message);
    EXPECT_EQ(json.fields().at("field").struct_value().fields().at("name").string_value(), field);
    EXPECT_EQ(csv.rfind("message,number,field,", 0), 0u);
    EXPECT_EQ(csv.find("\r\n" + message + ","), csv.find("\r\n")) << csv;
    EXPECT_NE(csv.find("," + field + ","), std::string::npos) << csv;
  }
}

TEST(ToolLookup, SaysInOneLineWhatComesNear) {
  const Folder folder;
  const auto write = [&](const char* name, const std::string& text) {
    folder.Write(name, text);
    return Utf8(folder / name);
  };
  const struct {
    std::string name;
    const char* said;
  } cases[] = {
      {"HwBatery", "HwBatery: no contract has this name; is it HwBattery?"},
      {"", ": no contract has this name; `ovix-contracts list` shows them all"},
      {std::string(kGun) + "1", "version.11: no contract has this name; is it com.ovix.cdm."},
      {"ovix.telemetry.contract.storage.device_helth.BatteryHealthLog",
       "is it ovix.telemetry.contract.storage.device_health.BatteryHealthLog?"},
      {"nowhere.json", "nowhere.json: cannot be read (No such file or directory)"},
      {Utf8(folder.path()), "is a folder; name a file"},
      {write("other.json", "{\"gun\": \"com.ovix.other.version.1\"}"),
       "other.json: com.ovix.other.version.1: no payload has this gun; "
       "`ovix-contracts list --payloads` shows them all"},
      {write("next.json", "{\"gun\": \"" + std::string(kGun, sizeof(kGun) - 2) + "2\"}"),
       "pcLogHwBatteryHealth.version.2: no payload has this gun; is it com.ovix.cdm.domain."
       "telemetry.type.eventDetail.category.pcLogHwBatteryHealth.version.1"},
      {write("number.json", "{\"gun\": 1}"), "number.json: is not a metadata file: it has no gun"},
      {write("twice.json", "{\"gun\": \"" + std::string(kGun) + "\", \"g\\u0075n\": \"b\"}"),
       "is not a metadata file: it has the key \"gun\" twice"},
      {write("bom.json", "\xef\xbb\xbf{\"gun\": \"" + std::string(kGun) + "\"}"),
       "is not a metadata file: it begins with a byte order mark"},
      {write("zero.json",
             "{\"gun\": \"" + std::string(kGun) + "\"}\n" + std::string(1, '\0') + "x"),
       "is not a metadata file: line 2 is not JSON"},
      {write("list.json", "[]"), "list.json: is not a metadata file: it is not a JSON object"},
      {write("broken.json", "{\n\"gun\": \"a\",\n}"), "is not a metadata file: line 3 is not JSON"},
      {write("payload.binpb", "\x0a\x05"), "is not a metadata file: line 2 is not JSON"},
      {write("deep.json", std::string(1000000, '[')), "is not a metadata file: line 1 is not JSON"},
      {write("large.json", std::string(1100000, ' ')),
       "is not a metadata file: it is larger than 1 MiB"},
      {"BatteryHealthLog.agee", "BatteryHealthLog has no field agee; is it age?"},
      {"BatteryHealthLog.age.x", "BatteryHealthLog.age is of type uint32 and has no fields"},
      {"BatteryHealthLog.battery_status.discharing",
       "device_health.BatteryStatus has no field discharing; is it discharging?"},
      {"BatteryHealthLog.zzzzzzzz", "`ovix-contracts show BatteryHealthLog` shows them all"},
      {"BatteryHealthLog.", "BatteryHealthLog has no field "},
      {"PcWindowsServicesInfoAsCDM.WindowsServicesInf", "is it WindowsServicesInfo?"},
      {"PowerScheme", "PowerScheme: is ambiguous; write ovix."},
      {"FwBios.x", "ovix.telemetry.contract.storage.device_profile.FwBios has no field x"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const ProgramRun run = RunTool(folder, "show \"" + c.name + "\"");
    EXPECT_EQ(run.exit_code, 2);
    EXPECT_EQ(run.output, "");
    EXPECT_NE(run.errors.find(c.said), std::string::npos) << run.errors;
    EXPECT_EQ(std::count(run.errors.begin(), run.errors.end(), '\n'), 1) << run.errors;
  }
}

TEST(ToolLookup, RefusesAFieldWhereAMessageBelongs) {
  const Folder folder;
  for (const std::string command : {"decode", "encode", "privacy"}) {
    const ProgramRun run = RunTool(folder, command + " BatteryHealthLog.age");
    EXPECT_EQ(run.exit_code, 2);
    EXPECT_EQ(run.errors, "ovix-contracts: BatteryHealthLog.age: is a field; name a message\n");
  }
}

TEST(ToolLookup, HelpsWithTheProgramAndItsCommands) {
  const Folder folder;
  for (const std::string command : {"", "list", "help", "decode"}) {
    SCOPED_TRACE(command);
    const ProgramRun run = RunTool(folder, "help " + command);
    EXPECT_EQ(run.exit_code, 0) << run.errors;
    EXPECT_EQ(run.output, RunTool(folder, command + " --help").output);
    EXPECT_NE(run.output.find("Usage: ovix-contracts " + (command.empty() ? "[" : command)),
              std::string::npos)
        << run.output;
  }
  const ProgramRun run = RunTool(folder, "help lst");
  EXPECT_EQ(run.exit_code, 2);
  EXPECT_EQ(run.errors, "ovix-contracts: lst: is not a command; is it list or lint?\n");
}

}  // namespace
}  // namespace ovix::tests
