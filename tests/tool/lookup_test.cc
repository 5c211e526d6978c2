// How a contract is found: by its names, its gun, a label, and what is said where it is not.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

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
  folder.Write("BatteryHealthLog", "not a label; the contract's name goes first");
  const std::string table = kStorage + std::string("device_profile.HwBattery");
  const std::string part = "ovix.telemetry.contract.upload.device_profile.HwBattery";
  const std::string services = kStorage + std::string("device_updates.WindowsServicesInfo");
  const struct {
    std::string name;
    std::string found;
    std::string said;
  } cases[] = {
      {kGun, kPayload, ""},
      {(folder / "label.json").string(), kPayload, ""},
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
    for (const std::string& name : {std::string(kGun), std::string("HwBattery"),
                                    "\"" + (folder / "label.json").string() + "\""}) {
      SCOPED_TRACE(arguments + name);
      const ProgramRun run = RunTool(folder, arguments + name);
      EXPECT_EQ(run.exit_code, 0) << run.errors;
      EXPECT_EQ(run.errors, name == "HwBattery" ? cases[5].said : "");
    }
  }
}

TEST(ToolLookup, SaysInOneLineWhatComesNear) {
  const Folder folder;
  const auto write = [&](const char* name, const std::string& text) {
    folder.Write(name, text);
    return (folder / name).string();
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
      {folder.path().string(), "is a folder; name a file"},
      {write("other.json", "{\"gun\": \"com.ovix.other.version.1\"}"),
       "other.json: com.ovix.other.version.1: no payload has this gun; "
       "`ovix-contracts list --payloads` shows them all"},
      {write("next.json", "{\"gun\": \"" + std::string(kGun, sizeof(kGun) - 2) + "2\"}"),
       "pcLogHwBatteryHealth.version.2: no payload has this gun; is it com.ovix.cdm.domain."
       "telemetry.type.eventDetail.category.pcLogHwBatteryHealth.version.1"},
      {write("number.json", "{\"gun\": 1}"), "number.json: is not a label: it has no gun"},
      {write("list.json", "[]"), "list.json: is not a label: it is not a JSON object"},
      {write("broken.json", "{\n\"gun\": \"a\",\n}"), "is not a label: line 3 is not JSON"},
      {write("payload.binpb", "\x0a\x05"), "is not a label: line 2 is not JSON"},
      {write("deep.json", std::string(1000000, '[')), "is not a label: line 1 is not JSON"},
      {write("large.json", std::string(1100000, ' ')), "is not a label: it is larger than 1 MiB"},
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

}  // namespace
}  // namespace ovix::tests
