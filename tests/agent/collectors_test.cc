#include "collectors/collectors.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <map>
#include <sstream>

#include "collectors/serials.h"
#include "collectors/smbios_records.h"
#include "ovix/telemetry/contract/storage/device_profile/application.pb.h"
#include "ovix/telemetry/contract/storage/device_profile/device_location.pb.h"
#include "ovix/telemetry/contract/storage/device_profile/hw_components.pb.h"
#include "ovix/telemetry/contract/storage/device_profile/operating_system.pb.h"
#include "support/machine.h"
#include "support/names.h"

namespace ovix::tests {
namespace {

using agent::Collection;
using google::protobuf::Message;
namespace profile = telemetry::contract::storage::device_profile;

constexpr char kTime[] = "2026-11-21T00:00:00.000Z";

// The rows of a record that the collectors find of the Linux machine in a folder.
template <typename Record>
std::vector<Record> RowsOf(const std::filesystem::path& root) {
  std::vector<Record> rows;
  for (const auto& collector : agent::Collectors(root)) {
    const Collection found = agent::Run(collector, kTime);
    for (const auto& snapshot : found.snapshots()) {
      if (snapshot.record != Record::descriptor()) continue;
      for (const auto& row : snapshot.rows) rows.push_back(static_cast<const Record&>(*row));
    }
  }
  return rows;
}

// What is expected of a machine, by collector; each begins with a line of its name.
std::map<std::string, std::string> Sections(const std::string& expected) {
  std::map<std::string, std::string> sections;
  std::string collector;
  std::istringstream lines(expected);
  for (std::string line; std::getline(lines, line);) {
    if (!line.starts_with(' ')) collector = line;
    sections[collector] += line + "\n";
  }
  return sections;
}

class Machines : public testing::TestWithParam<const char*> {};

TEST_P(Machines, AreCollectedFieldByField) {
  const std::string text =
      ReadFile(SourceFile("tests/agent/machines") / (std::string(GetParam()) + ".txt"));
#ifdef _WIN32
  if (text.find(" -> ") != std::string::npos) GTEST_SKIP() << "symbolic links are not Windows' way";
#endif
  const Folder root;
  std::map<std::string, std::string> expected = Sections(WriteMachine(text, root));
  for (const auto& collector : agent::Collectors(root.path())) {
    const Collection found = agent::Run(collector, kTime);
    const auto section = expected.extract(collector.name);
    if (!section.empty()) {
      EXPECT_EQ(Describe(collector.name, found), section.mapped());
    } else {
      EXPECT_TRUE(found.snapshots().empty() && found.appended().empty())
          << "the machine does not say what is expected:\n"
          << Describe(collector.name, found);
    }
  }
  for (const auto& [collector, lines] : expected) ADD_FAILURE() << "no collector " << collector;
}

INSTANTIATE_TEST_SUITE_P(Linux, Machines,
                         testing::Values("notebook", "server", "board", "container"),
                         [](const auto& test) { return std::string(test.param); });

#ifndef _WIN32  // whose file names have no colon
TEST(Collectors, TakeTheTimeOfInstallationFromThePackagesList) {
  const Folder root;
  root.Write("var/lib/dpkg/status",
             "Package: a\nStatus: install ok installed\n\n"
             "Package: b\nStatus: install ok installed\nArchitecture: amd64\n\n"
             "Package: c\nStatus: install ok installed\n\n");
  root.Write("var/lib/dpkg/info/a.list", "");
  root.Write("var/lib/dpkg/info/b:amd64.list", "");
  const auto rows = RowsOf<profile::Application>(root.path());
  ASSERT_EQ(rows.size(), 3U);
  EXPECT_EQ(rows[0].install_time().size(), rows[0].time().size());
  EXPECT_EQ(rows[1].install_time().size(), rows[0].time().size());
  EXPECT_EQ(rows[2].install_time(), "");
}

TEST(Collectors, TellTheTimeZoneInMinutesEastOfGreenwich) {
  const Folder root;
  const char* before = std::getenv("TZ");
  const std::string zone = before == nullptr ? "" : before;
  const std::pair<const char*, int> cases[] = {{"AAA0", 0}, {"AAA-5:45", 345}, {"AAA9:30", -570}};
  for (const auto& [name, minutes] : cases) {
    setenv("TZ", name, 1);
    tzset();
    EXPECT_EQ(RowsOf<profile::DeviceLocation>(root.path()).at(0).current_time_zone(), minutes)
        << name;
  }
  before == nullptr ? unsetenv("TZ") : setenv("TZ", zone.c_str(), 1);
  tzset();
}
#endif

TEST(Collectors, SayWhatAMachineLacksAndDeleteNothing) {
  const Folder root;
  for (const auto& collector : agent::Collectors(root.path())) {
    const Collection found = agent::Run(collector, kTime);
    if (std::string(collector.name) == "location") continue;
    EXPECT_EQ(found.skipped().size(), 1U) << collector.name;
    EXPECT_TRUE(found.snapshots().empty()) << collector.name << " says that its rows are gone";
    EXPECT_TRUE(found.appended().empty()) << collector.name;
  }
}

TEST(Collectors, ThatFailAreSaidAndLeaveNothingHalf) {
  const Collection found = agent::Run({"failing",
                                       [](Collection& half) {
                                         half.Add<profile::HwBattery>().set_serial_number("1");
                                         throw std::runtime_error("the bus\nis gone");
                                       }},
                                      kTime);
  EXPECT_EQ(found.failure(), "the bus?is gone");
  EXPECT_EQ(Describe("failing", found), "failing\n");
}

TEST(Collectors, SayWhichRowsShareAKey) {
  const Collection found = agent::Run({"twins",
                                       [](Collection& twins) {
                                         for (const char* name : {"first", "second", "third"}) {
                                           auto& row = twins.Add<profile::HwBattery>();
                                           row.set_serial_number(name[0] == 't' ? "2" : "1");
                                           row.set_device_name(name);
                                         }
                                       }},
                                      kTime);
  EXPECT_EQ(Describe("twins", found),
            "twins\n"
            "  HwBattery serial_number: \"1\" device_name: \"second\"\n"
            "  HwBattery serial_number: \"2\" device_name: \"third\"\n"
            "  skipped: 1 of 3 rows of HwBattery: another has the same serial_number, ct_number\n");
}

TEST(Serials, OfMakersThatLeftThemOutAreNoKeys) {
  for (const char* none : {"", "0", "00000000", "FFFFFFFF", "........", "Unknown", "NOT SPECIFIED",
                           "To Be Filled By O.E.M.", "1234567890"}) {
    EXPECT_TRUE(agent::IsPlaceholder(none)) << none;
  }
  for (const char* serial : {"10000000", "FFFFFFF0", "N1", "12", "77"}) {
    EXPECT_FALSE(agent::IsPlaceholder(serial)) << serial;
  }
}

TEST(Smbios, ThatIsDamagedIsReadUpToTheDamage) {
  const std::string table = SmbiosBytes(
      "17 40 12=8192:2 16=1:1 24=2:1 39=1:1 | DIMM 0 | \xff\xfe\n"
      "1 27 8=0x0102030405060708:8 16=0x090a0b0c0d0e0f10:8\n"
      "127 4\n");
  for (size_t length = 0; length < table.size(); ++length) {
    const agent::SmbiosTable cut = agent::ParseSmbios(table.substr(0, length));
    EXPECT_EQ(cut.whole, length == 40 + 7 + 3 + 1 || length == 40 + 11 + 27 + 2) << length;
  }
  const agent::SmbiosTable whole = agent::ParseSmbios(table + "beyond the end");
  EXPECT_TRUE(whole.whole);
  ASSERT_EQ(whole.structures.size(), 3U);
  EXPECT_EQ(whole.structures[0].Text(24), "\xff\xfe");
  EXPECT_EQ(whole.structures[0].Text(14), "") << "text 0 is none";
  EXPECT_EQ(whole.structures[0].Word(39), 0U) << "half of it lies beyond the end";
  EXPECT_EQ(whole.structures[1].Uuid(8), "05060708-0304-0102-100f-0e0d0c0b0a09");
  EXPECT_EQ(whole.structures[1].Uuid(12), "") << "it ends beyond the end";
  EXPECT_EQ(whole.structures[0].Uuid(0x1c), "") << "beyond the end";
  EXPECT_TRUE(agent::ParseSmbios(std::string(100, '\0')).structures.empty());
}

TEST(Smbios, TellsTheSystemsMemoryFromAnyOther) {
  const agent::SmbiosTable table =
      agent::ParseSmbios(SmbiosBytes("1 27 8=0xffffffffffffffff:8 16=0xffffffffffffffff:8\n"
                                     "16 15 2=1:2 5=3:1 13=2:2\n"
                                     "16 15 2=2:2 5=4:1 13=8:2\n"  // of a graphics card
                                     "17 40 4=1:2 12=1024:2 24=1:1 27=0x12:1 | A\n"
                                     "17 40 4=2:2 12=512:2 24=1:1 | B\n"
                                     "127 4\n"));
  EXPECT_EQ(table.structures[0].Uuid(8), "") << "all ones are not a UUID";
  Collection found(kTime);
  agent::AddMemory(table, found);
  const std::string text = Describe("all", found);
  EXPECT_NE(text.find("HwMemory total_slots: 2\n"), std::string::npos) << text;
  EXPECT_NE(text.find("serial_number: \"A\" "), std::string::npos) << text;
  EXPECT_NE(text.find(" rank: 2\n"), std::string::npos) << text;
  EXPECT_EQ(text.find("\"B\""), std::string::npos) << text;
}

TEST(Smbios, DescribesTheDevice) {
  const agent::SmbiosTable table = agent::ParseSmbios(SmbiosBytes(
      "0 24 4=1:1 5=2:1 8=3:1 22=3:1 23=4:1 | Bios | 1.2 | 01/02/2026\n"
      "1 27 4=1:1 5=2:1 7=3:1 8=0x0102030405060708:8 16=0x090a0b0c0d0e0f10:8 25=4:1 26=5:1 "
      "| Maker | Book | S1 | SKU | Family\n"
      "2 15 4=1:1 5=2:1 6=3:1 7=4:1 | Boards | B-1 | V2 | CT1\n"
      "3 9 5=0x8a:1\n"));
  Collection found(kTime);
  agent::FillDevice(table, found.Add<profile::Device>());
  agent::AddBaseBoard(table, found);
  agent::AddFirmware(table, found);
  EXPECT_EQ(Describe("all", found),
            "all\n"
            "  Device serial_number: \"S1\" bios_uuid: \"05060708-0304-0102-100f-0e0d0c0b0a09\" "
            "product_id: \"SKU\" manufacturer: \"Maker\" model: \"Book\" base_board_id: \"B-1\" "
            "family: \"Family\" device_type: \"notebook\"\n"
            "  HwBaseBoard ct_number: \"CT1\" base_board_id: \"B-1\" manufacturer: \"Boards\" "
            "base_board_version: \"V2\"\n"
            "  FwBios bios_uuid: \"05060708-0304-0102-100f-0e0d0c0b0a09\" fw_version: \"1.2\" "
            "vendor: \"Bios\" release_date: \"01/02/2026\"\n"
            "  FwEmbeddedController fw_version: \"3.4\"\n");
}

TEST(Collectors, ReplaceWhatIsNotUtf8AndNothingElse) {
  const Folder root;
  root.Write("etc/os-release", "NAME=caf\xC3\xA9 \xE9\n");
  EXPECT_EQ(RowsOf<profile::OperatingSystem>(root.path()).at(0).name(), "caf\xC3\xA9 \xEF\xBF\xBD");
  const Collection found = agent::Run(
      {"any", [](Collection& any) { any.Add<profile::HwBattery>().set_device_name("\xFF\xFE"); }},
      kTime);
  EXPECT_EQ(Describe("any", found), "any\n  HwBattery device_name: \"\xEF\xBF\xBD\xEF\xBF\xBD\"\n");
  std::string expected = "n\xC3\xA9t n\xC3\xA9t loopback\n";
  const auto adapters = root.path() / "sys/class/net";
  std::filesystem::create_directories(adapters / u8"n\u00E9t");
  std::ofstream(adapters / u8"n\u00E9t/type") << "772\n";
#ifndef _WIN32  // whose names are UTF-16
  root.Write("sys/class/net/n\xE9t/type", "1\n");
  expected += "n\xEF\xBF\xBDt n\xEF\xBF\xBDt ethernet\n";
#endif
  std::string names;
  for (const auto& adapter : RowsOf<profile::HwNetworkAdapter>(root.path())) {
    names += adapter.device_id() + " " + adapter.name() + " " + adapter.interface_type() + "\n";
  }
  EXPECT_EQ(names, expected);
}

TEST(Collectors, SurviveFilesThatAreDamaged) {
  const Folder root;
  root.Write("etc/os-release", "NAME=\"\xff\xfe\nno equals\n=\n");
  root.Write("proc/cpuinfo", "processor : 0\nmodel name : \xff");
  root.Write("sys/block/x/device/serial", "\x01\xff");
  root.Write("sys/class/power_supply/B/type", "Battery");
  root.Write("sys/class/power_supply/B/cycle_count", "99999999999999");
  root.Write("var/lib/dpkg/status", "Package:\n\n\n\n:\n x\n");
  for (const auto& collector : agent::Collectors(root.path())) {
    const Collection found = agent::Run(collector, kTime);
    for (const auto& snapshot : found.snapshots()) {
      for (const auto& row : snapshot.rows) {
        std::string bytes;
        EXPECT_TRUE(row->SerializeToString(&bytes) && row->ParseFromString(bytes))
            << row->ShortDebugString();
      }
    }
  }
}

}  // namespace
}  // namespace ovix::tests
