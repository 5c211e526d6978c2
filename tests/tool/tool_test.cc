// ovix-contracts as its user runs it: the executable, its output, its errors and its exit codes.
#include <google/protobuf/util/delimited_message_util.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <set>
#include <sstream>

#include "contracts/contracts.h"
#include "ovix/telemetry/contract/storage/device_health/battery.pb.h"
#include "ovix/telemetry/contract/storage/storage_options.pb.h"
#include "ovix/telemetry/contract/upload/upload_options.pb.h"
#include "store/sqlite.h"
#include "store/store.h"
#include "support/contracts.h"
#include "support/folder.h"
#include "support/tool.h"

namespace ovix::tests {
namespace {

namespace storage = telemetry::contract::storage;
namespace upload = telemetry::contract::upload;
namespace tables = telemetry::contract::tables;
using google::protobuf::DescriptorProto;
using google::protobuf::FieldDescriptorProto;
using google::protobuf::FileDescriptorSet;
using google::protobuf::Message;
using google::protobuf::Struct;

// The message of a descriptor set with this name, nested ones by their path.
DescriptorProto* Find(FileDescriptorSet& set, const std::string& full_name) {
  for (auto& file : *set.mutable_file()) {
    if (!full_name.starts_with(file.package() + ".")) continue;
    for (auto& message : *file.mutable_message_type()) {
      if (file.package() + "." + message.name() == full_name) return &message;
    }
  }
  ADD_FAILURE() << "no message " << full_name;
  static DescriptorProto nothing;
  return &nothing;
}

FieldDescriptorProto* Field(DescriptorProto* message, const std::string& name) {
  for (auto& field : *message->mutable_field()) {
    if (field.name() == name) return &field;
  }
  ADD_FAILURE() << "no field " << name;
  static FieldDescriptorProto nothing;
  return &nothing;
}

void RemoveField(DescriptorProto* message, const std::string& name) {
  const FieldDescriptorProto removed = *Field(message, name);
  auto* fields = message->mutable_field();
  fields->erase(std::remove_if(fields->begin(), fields->end(),
                               [&](const auto& field) { return field.name() == name; }),
                fields->end());
  if (!removed.proto3_optional()) return;
  // `optional` is a oneof of its own.
  message->mutable_oneof_decl()->DeleteSubrange(removed.oneof_index(), 1);
  for (auto& field : *fields) {
    if (field.has_oneof_index() && field.oneof_index() > removed.oneof_index()) {
      field.set_oneof_index(field.oneof_index() - 1);
    }
  }
}

constexpr char kLog[] = "ovix.telemetry.contract.storage.device_health.BatteryHealthLog";
constexpr char kBattery[] = "ovix.telemetry.contract.storage.device_profile.HwBattery";
constexpr char kPayload[] = "ovix.telemetry.contract.upload.log.hardware.HwBatteryHealthLogAsCDM";

// Cells of CSV that need no quotes.
std::string Joined(std::initializer_list<std::string> cells) {
  std::string line;
  for (const std::string& cell : cells) line += (line.empty() ? "" : ",") + cell;
  return line;
}

// --- list and show

TEST(ToolList, HasEveryTableAndPayloadWithItsOptions) {
  const Folder folder;
  std::map<std::string, std::string> expected, listed;
  for (const Message* prototype : AllPrototypes()) {
    const auto& options = prototype->GetDescriptor()->options();
    const auto& persistance = options.GetExtension(storage::persistance);
    const auto& cdm = options.GetExtension(upload::cdm);
    const std::string& name = prototype->GetDescriptor()->full_name();
    if (!persistance.type().empty()) {
      expected[name] = persistance.type() + " " + persistance.database().name() + " " +
                       std::to_string(persistance.table().max_rows()) + " " +
                       std::to_string(persistance.table().max_time_days());
    } else if (!cdm.gun().empty()) {
      expected[name] = cdm.gun() + " " + cdm.version();
    }
  }
  const ProgramRun run = RunTool(folder, "list --format json");
  EXPECT_EQ(run.exit_code, 0) << run.errors;
  const Struct json = Json(run.output);
  for (const auto& value : json.fields().at("tables").list_value().values()) {
    const auto& table = value.struct_value().fields();
    const auto number = [&](const char* key) {
      return std::to_string(static_cast<int>(table.at(key).number_value()));
    };
    listed[table.at("name").string_value()] = table.at("type").string_value() + " " +
                                              table.at("database").string_value() + " " +
                                              number("max_rows") + " " + number("max_time_days");
  }
  for (const auto& value : json.fields().at("payloads").list_value().values()) {
    const auto& payload = value.struct_value().fields();
    listed[payload.at("name").string_value()] =
        payload.at("gun").string_value() + " " + payload.at("version").string_value();
  }
  EXPECT_EQ(listed, expected);

  const std::string csv = RunTool(folder, "list --format csv").output;
  EXPECT_EQ(std::count(csv.begin(), csv.end(), '\n'), static_cast<int>(expected.size()) + 1);
  EXPECT_TRUE(csv.starts_with(
      "kind,name,table,database,type,max_rows,max_time_days,database_max_size_mb,key,gun,"
      "version\r\n"));
  const std::string log =
      Joined({"table", kLog, "BatteryHealthLog,HealthLog,Historical,0,180,128"});
  const std::string& cdm = expected[kPayload];
  const size_t space = cdm.find(' ');
  for (const std::string& line :
       {log + ",,,",
        Joined(
            {"table", kBattery, "HwBattery,DeviceProfile,State,0,0,16,serial_number ct_number"}) +
            ",,",
        Joined({"payload", kPayload, ",,,,,,", cdm.substr(0, space), cdm.substr(space + 1)})}) {
    EXPECT_NE(csv.find("\r\n" + line + "\r\n"), std::string::npos) << line;
  }
  // A comment with a comma.
  const std::string fields =
      RunTool(folder, "show " + std::string(kPayload) + " --format csv").output;
  EXPECT_NE(fields.find("\r\n" + Joined({kPayload, "14", "eletric_current"}) +
                        ",uint32,explicit,false,\"Unsigned, so without direction. Misspelt on "
                        "purpose, as in the record.\",from BatteryHealthLog.eletric_current,"
                        "unspecified,,,\r\n"),
            std::string::npos)
      << fields;
}

TEST(ToolList, TakesFilters) {
  const Folder folder;
  const struct {
    const char* arguments;
    std::vector<const char*> has;
    std::vector<const char*> has_not;
  } cases[] = {
      {"--tables", {"HwBattery "}, {"AsCDM"}},
      {"--payloads", {"HwBatteryHealthLogAsCDM"}, {"HealthLog  "}},
      {"--database HealthLog",
       {"BatteryHealthLog", "180 days, 128 MB in all"},
       {"HwBattery", "AsCDM"}},
      {"--match \"hwbatt*\"", {"HwBattery", "HwBatteryHealthLogAsCDM"}, {"BootHealthLog"}},
      {"--match BATTERYH", {"BatteryHealthLog", "HwBatteryHealthLogAsCDM"}, {"HwBattery "}},
      {"--match pcLogHwBattery", {"HwBatteryHealthLogAsCDM"}, {"BatteryHealthLog  "}},
      {"--match \"*pcLogHwBatteryHealth.version.1\"", {"HwBatteryHealthLogAsCDM"}, {"TABLE"}},
      {"--match category.pcLogHwBatteryHealth.version.1", {"HwBatteryHealthLogAsCDM"}, {"TABLE"}},
      {"--match device_health", {"BatteryHealthLog"}, {"HwBattery "}},
      // In every name and every gun, and so not looked for there.
      {"--match telemetry", {"TarvelAgentTelemetryStorageUsageAsCDM"}, {"HwBattery"}},
      {"--match eventDetail", {}, {"TABLE", "PAYLOAD"}},
      {"--match version", {}, {"HwBattery"}},
      {"--match \"?wBattery\"", {"serial_number, ct_number"}, {"AsCDM"}},
  };
  for (const auto& c : cases) {
    const ProgramRun run = RunTool(folder, std::string("list ") + c.arguments);
    EXPECT_EQ(run.exit_code, 0) << run.errors;
    for (const char* part : c.has) EXPECT_NE(run.output.find(part), std::string::npos) << part;
    for (const char* part : c.has_not) EXPECT_EQ(run.output.find(part), std::string::npos) << part;
    EXPECT_EQ(run.output.find('\x1b'), std::string::npos) << "colour, but no terminal";
  }
}

TEST(ToolList, SaysThatNothingMatches) {
  const Folder folder;
  const ProgramRun run = RunTool(folder, "list --match nothing");
  EXPECT_EQ(run.exit_code, 0);
  EXPECT_EQ(run.output, "");
  EXPECT_EQ(run.errors, "ovix-contracts: --match: no table or payload matches\n");
}

TEST(ToolShow, TellsAMessageWhole) {
  const Folder folder;
  const struct {
    const char* name;
    std::vector<const char*> has;
  } cases[] = {
      {"BatteryHealthLog",
       {"One health test of a battery", "HealthLog", "Historical", "180 days",
        "HwBatteryHealthLogAsCDM", "Misspelt on purpose", "BatteryStatus (sub-message)",
        "over_charged_alarm"}},
      {kPayload,
       {"category.pcLogHwBatteryHealth.version.1", "1.0.0", "explicit",
        "from BatteryHealthLog.serial_number: renamed", "from no record: set by the uploader",
        "from BatteryHealthLog.abo_info"}},
      {"HardwareEvents", {"StateEventType (enumeration)", "STATE_EVENT_INSERT"}},
      {"StateEventType", {"STATE_EVENT_DELETE", "used in"}},
      {"storage.HealthLog", {"(database)", "128 MB"}},
  };
  for (const auto& c : cases) {
    const ProgramRun run = RunTool(folder, std::string("show ") + c.name);
    EXPECT_EQ(run.exit_code, 0) << run.errors;
    for (const char* part : c.has) {
      EXPECT_NE(run.output.find(part), std::string::npos) << part << " in:\n" << run.output;
    }
  }
}

TEST(ToolShow, GivesEveryFieldAsJson) {
  const Folder folder;
  for (const char* name : {kLog, kPayload, kBattery}) {
    const Struct json = Json(RunTool(folder, std::string("show --format json ") + name).output);
    const auto* message =
        google::protobuf::DescriptorPool::generated_pool()->FindMessageTypeByName(name);
    const auto& fields = json.fields().at("fields").list_value();
    ASSERT_EQ(fields.values_size(), message->field_count());
    for (int i = 0; i < message->field_count(); ++i) {
      const auto& field = fields.values(i).struct_value().fields();
      EXPECT_EQ(field.at("name").string_value(), message->field(i)->name());
      EXPECT_EQ(field.at("number").number_value(), message->field(i)->number());
      EXPECT_EQ(field.at("key").bool_value(), tool::IsKey(message->field(i)));
    }
  }
}

// --- ddl

// What SQLite has made of a database: every table and index as it says them itself.
std::string SchemaOf(const std::filesystem::path& file) {
  agent::Connection connection(file, std::chrono::seconds(1));
  agent::Statement all(connection, "SELECT sql FROM sqlite_schema WHERE sql <> '' ORDER BY name");
  std::string schema;
  while (all.Step()) schema += std::string(all.Bytes(0)) + "\n";
  return schema + std::to_string(connection.Number("PRAGMA auto_vacuum"));
}

// Columns in any order: a migration can only add at the end.
std::string ColumnsOf(const std::filesystem::path& file) {
  agent::Connection connection(file, std::chrono::seconds(1));
  agent::Statement all(connection,
                       "SELECT m.name, c.name, c.type, c.pk, c.\"notnull\" FROM sqlite_schema m, "
                       "pragma_table_info(m.name) c WHERE m.type = 'table' UNION ALL SELECT name, "
                       "'', '', 0, 0 FROM sqlite_schema WHERE type = 'index' AND sql <> '' "
                       "ORDER BY 1, 2");
  std::string text;
  while (all.Step()) {
    for (int i = 0; i < 5; ++i) text += std::string(all.Bytes(i)) + " ";
    text += "\n";
  }
  return text;
}

void Execute(const std::filesystem::path& file, const std::string& sql) {
  // Not by the store's connection: what makes a new database what it is must be in the SQL.
  sqlite3* database = nullptr;
  ASSERT_EQ(sqlite3_open(Utf8(file).c_str(), &database), SQLITE_OK);
  char* error = nullptr;
  EXPECT_EQ(sqlite3_exec(database, sql.c_str(), nullptr, nullptr, &error), SQLITE_OK)
      << (error == nullptr ? "" : error);
  sqlite3_free(error);
  sqlite3_close(database);
}

TEST(ToolDdl, MakesTheDatabasesThatTheStoreMakes) {
  const Folder folder;
  const agent::Catalogue catalogue;
  std::set<std::string> databases;
  {
    agent::Store store(folder / "store", catalogue);
    for (const auto& table : catalogue.tables()) {
      const auto record = agent::NewRow(table);
      FillAll(record.get(), 1);
      store.Put(*record);
      databases.insert(table.database);
    }
  }
  std::string all;
  for (const std::string& database : databases) {
    const ProgramRun run = RunTool(folder, "ddl --database " + database);
    ASSERT_EQ(run.exit_code, 0) << run.errors;
    Execute(folder / (database + ".db"), run.output);
    EXPECT_EQ(SchemaOf(folder / (database + ".db")),
              SchemaOf(folder / ("store/" + database + ".db")));
    all += (all.empty() ? "" : "\n") + run.output;
  }
  EXPECT_EQ(RunTool(folder, "ddl").output, all);
}

// To the letter: the store makes its tables by the same code.
TEST(ToolDdl, SaysTheSqlOfEachShapeOfTable) {
  const Folder folder;
  // With a key of one integer, whose rows have a number of arrival next to it.
  EXPECT_EQ(RunTool(folder, "ddl --database WindowsEventsCache").output,
            R"(-- Database WindowsEventsCache, file WindowsEventsCache.db, at most 512 MB
PRAGMA auto_vacuum = INCREMENTAL;
BEGIN;
PRAGMA application_id = 1331054936;
PRAGMA user_version = 1;
CREATE TABLE IF NOT EXISTS "_store" ("name" TEXT NOT NULL PRIMARY KEY, "value" INTEGER NOT NULL) WITHOUT ROWID;
INSERT INTO "_store" VALUES ('database', (random() & 0x7fffffffffffffff) | 1);
CREATE TABLE "Events" ("rowid" INTEGER NOT NULL, "time" TEXT, "data" TEXT, "_arrival" INTEGER, PRIMARY KEY ("rowid"));
CREATE UNIQUE INDEX "Events.arrival" ON "Events" ("_arrival");
CREATE INDEX "Events.time" ON "Events" ("time");
COMMIT;
)");
  const std::string all = "\n" + RunTool(folder, "ddl").output;
  const char* statements[] = {
      // A key of several columns, and no limit, so no index.
      R"(CREATE TABLE "HwHealthState" ("time" TEXT, "source_collector" TEXT NOT NULL, "component_type" TEXT NOT NULL, "component_id" TEXT NOT NULL, "state" TEXT, PRIMARY KEY ("source_collector", "component_type", "component_id"));
CREATE TABLE)",
      // "State" with a limit of age; doubles.
      R"(CREATE TABLE "WindowsUpdates" ("time" TEXT, "update_id" TEXT NOT NULL, "kb_code" TEXT, "title" TEXT, "install_date_time" TEXT, "download_priority" TEXT, "min_download_size" REAL, "max_download_size" REAL, "type" TEXT, "severity" TEXT, "status" TEXT, "classification" TEXT, PRIMARY KEY ("update_id"));
CREATE INDEX "WindowsUpdates.time" ON "WindowsUpdates" ("time");
)",
      // Limits of age, and of rows; an enumeration.
      R"(CREATE TABLE "BootHealthLog" ("time" TEXT, "post_code_value" TEXT);
CREATE INDEX "BootHealthLog.time" ON "BootHealthLog" ("time");
)",
      R"(CREATE TABLE "PeripheralEvents" ("time" TEXT, "type" TEXT, "event" INTEGER, "previous_state" TEXT, "current_state" TEXT);
CREATE INDEX "PeripheralEvents.time" ON "PeripheralEvents" ("time");
)",
      // Floats, a list and sub-messages; then bools.
      R"(CREATE TABLE "BatteryHealthLog" ("time" TEXT, "serial_number" TEXT, "ct_number" TEXT, "test_result" TEXT, "test_result_label" TEXT, "test_version" TEXT, "age" INTEGER, "cycle_count" INTEGER, "full_energy_capacity" INTEGER, "full_energy_capacity_perc" REAL, "remaining_energy_capacity" INTEGER, "remaining_energy_capacity_perc" REAL, "max_error_perc" INTEGER, "eletric_current" INTEGER, "voltage" INTEGER, "voltage_perc" REAL, "temperature" INTEGER, "cell_voltages" TEXT, "battery_status" TEXT, "abo_info" TEXT, "battery_care_info" TEXT);
CREATE INDEX "BatteryHealthLog.time" ON "BatteryHealthLog" ("time");
)",
      R"(CREATE TABLE "HwTrustedPlatformModule" ("time" TEXT, "mfg_id" TEXT NOT NULL, "mfg_version" TEXT, "mfg_version_info" TEXT, "trusted_computing_group_version" TEXT, "physical_presence_version" TEXT, "is_activated" INTEGER, "is_enabled" INTEGER, "has_owner" INTEGER, "specification_version" TEXT, PRIMARY KEY ("mfg_id"));
)",
  };
  for (const std::string statement : statements) {
    EXPECT_NE(all.find("\n" + statement), std::string::npos) << statement;
  }
}

// Makes the databases of a descriptor set.
void MakeDatabases(const Folder& folder, const FileDescriptorSet& set) {
  const tool::Contracts contracts(set.SerializeAsString(), "older");
  const tables::Catalogue catalogue(contracts.messages());
  for (const auto& table : catalogue.tables()) {
    for (const std::string& sql : tables::CreateSql(table)) {
      Execute(folder / (table.database + ".db"), sql);
    }
  }
}

TEST(ToolDdl, MigratesAnOlderDatabaseToWhatANewOneIs) {
  const Folder folder;
  FileDescriptorSet older = DescriptorSet();
  RemoveField(Find(older, kLog), "voltage_perc");
  RemoveField(Find(older, kLog), "battery_status");
  // A table whose limits came later has no index yet; one was not there at all.
  Find(older, kBattery)->mutable_options()->ClearExtension(storage::persistance);
  folder.Write("old.binpb", older.SerializeAsString());
  MakeDatabases(folder, older);
  for (const char* database : {"HealthLog", "DeviceProfile"}) {
    const std::filesystem::path file = folder / (std::string(database) + ".db");
    const std::string arguments = " --database " + std::string(database);
    const ProgramRun migration =
        RunTool(folder, "ddl --from \"" + Utf8(folder / "old.binpb") + "\"" + arguments);
    ASSERT_EQ(migration.exit_code, 0) << migration.errors;
    Execute(file, migration.output);
    Execute(folder / "new.db", RunTool(folder, "ddl" + arguments).output);
    EXPECT_EQ(ColumnsOf(file), ColumnsOf(folder / "new.db"));
    std::filesystem::remove(folder / "new.db");
  }
  folder.Write("same.binpb", DescriptorSet().SerializeAsString());
  EXPECT_EQ(RunTool(folder, "ddl --from \"" + Utf8(folder / "same.binpb") + "\"").output, "");
}

TEST(ToolDdl, RefusesWhatCannotBeMigrated) {
  const Folder folder;
  const std::pair<std::function<void(FileDescriptorSet&)>, const char*> cases[] = {
      {[](auto& set) {
         Field(Find(set, kLog), "voltage")->set_type(FieldDescriptorProto::TYPE_STRING);
       },
       "table BatteryHealthLog: column voltage is TEXT, but the contract says INTEGER"},
      {[](auto& set) { Field(Find(set, kBattery), "ct_number")->mutable_options()->Clear(); },
       "table HwBattery: column ct_number is not in the key, but in the contract's"},
      {[](auto& set) { RemoveField(Find(set, kBattery), "ct_number"); },
       "table HwBattery: column ct_number is new in the key"},
  };
  for (const auto& [change, reason] : cases) {
    FileDescriptorSet older = DescriptorSet();
    change(older);
    folder.Write("old.binpb", older.SerializeAsString());
    const ProgramRun run = RunTool(folder, "ddl --from \"" + Utf8(folder / "old.binpb") + "\"");
    EXPECT_EQ(run.exit_code, 2);
    EXPECT_EQ(run.output, "");
    EXPECT_NE(run.errors.find(reason), std::string::npos) << run.errors;
  }
}

// --- encode and decode

TEST(ToolConvert, GivesBackTheBytesThroughJsonAndText) {
  const Folder folder;
  const auto prototypes = AllPrototypes();
  for (size_t i = 0; i < prototypes.size(); i += 25) {
    const std::string name = prototypes[i]->GetDescriptor()->full_name();
    const std::unique_ptr<Message> message(prototypes[i]->New());
    std::string single, stream;
    {
      google::protobuf::io::StringOutputStream output(&stream);
      FillAll(message.get(), 1);
      single = message->SerializeAsString();
      google::protobuf::util::SerializeDelimitedToZeroCopyStream(*message, &output);
      message->Clear();
      google::protobuf::util::SerializeDelimitedToZeroCopyStream(*message, &output);
      FillExtremes(message.get());
      google::protobuf::util::SerializeDelimitedToZeroCopyStream(*message, &output);
    }
    for (const std::string format : {" --format json", " --format text"}) {
      SCOPED_TRACE(name + format);
      const ProgramRun one = RunTool(folder, "decode " + name + format, single);
      EXPECT_EQ(RunTool(folder, "encode " + name + format, one.output).output, single);
      const std::string many = format + " --delimited";
      const ProgramRun lines = RunTool(folder, "decode " + name + many, stream);
      EXPECT_EQ(lines.errors, "");
      // An empty message in text format is an empty line, which says nothing to encode.
      if (format == " --format text") continue;
      EXPECT_EQ(std::count(lines.output.begin(), lines.output.end(), '\n'), 3);
      EXPECT_EQ(RunTool(folder, "encode " + name + many, lines.output).output, stream);
    }
  }
}

TEST(ToolConvert, ShowsUnknownFieldsOrSaysThatItCannot) {
  const Folder folder;
  const std::string known = "\x0a\x01x";
  const std::string unknown = Tag(100, 0) + Varint(5) + Tag(19, 2) + "\x03" + Tag(99, 0) + "\x07";
  const std::string message = known + unknown;
  const ProgramRun text = RunTool(folder, "decode BatteryHealthLog --format text", message);
  EXPECT_EQ(text.exit_code, 0);
  EXPECT_NE(text.output.find("100: 5"), std::string::npos);
  EXPECT_NE(text.output.find("99: 7"), std::string::npos);
  EXPECT_EQ(RunTool(folder, "encode BatteryHealthLog --format text", text.output).output,
            known + Tag(19, 2) + "\x03" + Tag(99, 0) + "\x07" + Tag(100, 0) + Varint(5));

  const ProgramRun json = RunTool(folder, "decode BatteryHealthLog", message);
  EXPECT_EQ(json.exit_code, 1);
  EXPECT_NE(json.errors.find("BatteryHealthLog 100"), std::string::npos) << json.errors;
  EXPECT_NE(json.errors.find("BatteryStatus 99"), std::string::npos) << json.errors;
  EXPECT_EQ(std::count(json.errors.begin(), json.errors.end(), '\n'), 1);
}

// What another writer made in its own way comes back as protobuf's writers make it.
TEST(ToolConvert, GivesBackValuesThatAreWrittenInAnotherWay) {
  const std::string nan("\x00\x00\xc0\x7f", 4);
  const std::pair<std::string, std::string> cases[] = {
      {Tag(1, 2) + Varint(0) + Tag(7, 0) + Varint(0), ""},
      {Tag(8, 0) + Varint(2) + Tag(7, 0) + Varint(1),
       Tag(7, 0) + Varint(1) + Tag(8, 0) + Varint(2)},
      {Tag(7, 0) + Varint(1) + Tag(7, 0) + Varint(2), Tag(7, 0) + Varint(2)},
      {Tag(7, 0) + "\x81" + Varint(0), Tag(7, 0) + Varint(1)},
      {Tag(18, 0) + Varint(3) + Tag(18, 0) + Varint(0),
       Tag(18, 2) + Varint(2) + Varint(3) + Varint(0)},
      {Tag(10, 5) + "\x01" + nan.substr(1), Tag(10, 5) + nan},
      {Tag(10, 5) + nan.substr(0, 3) + "\xff", Tag(10, 5) + nan},
  };
  const Folder folder;
  for (const auto& [bytes, expected] : cases) {
    const ProgramRun text = RunTool(folder, "decode BatteryHealthLog --format text", bytes);
    EXPECT_EQ(RunTool(folder, "encode BatteryHealthLog --format text", text.output).output,
              expected)
        << text.output;
  }
}

// A release that changed a field's type wrote these bytes: in the order of the numbers, but of the
// other wire type.
TEST(ToolConvert, GivesBackFieldsWhoseWireTypeChanged) {
  const Folder folder;
  const std::string status = Tag(1, 0) + "\x01" + Tag(2, 0) + "\x01";
  const std::pair<std::string, const char*> cases[] = {
      {Tag(1, 2) + "\x01x" + Tag(7, 2) + "\x02ok" + Tag(8, 0) + "\x05", "7: \"ok\""},
      {Tag(1, 0) + "\x05" + Tag(7, 0) + "\x01" + Tag(8, 5) + "abcd", "8: 0x64636261"},
      {Tag(7, 1) + "abcdefgh" + Tag(8, 0) + "\x05", "7: 0x6867666564636261"},
      {Tag(7, 0) + "\x01" + Tag(19, 2) + Varint(status.size()) + status + Tag(20, 0) + "\x01",
       "1: 1"},
      {Tag(7, 0) + "\x01" + Tag(19, 0) + "\x07" + Tag(100, 0) + "\x01", "19: 7"},
  };
  for (const auto& [bytes, said] : cases) {
    SCOPED_TRACE(said);
    const ProgramRun text = RunTool(folder, "decode BatteryHealthLog --format text", bytes);
    EXPECT_NE(text.output.find(said), std::string::npos) << text.output;
    const ProgramRun again = RunTool(folder, "encode BatteryHealthLog --format text", text.output);
    EXPECT_EQ(again.errors, "");
    EXPECT_EQ(again.output, bytes) << text.output;
  }
  // What no runtime reads is not written.
  const ProgramRun broken = RunTool(folder, "encode BatteryHealthLog --format text", "19: \"x\"");
  EXPECT_EQ(broken.exit_code, 2);
  EXPECT_NE(broken.errors.find("the input ends within a number"), std::string::npos);
}

TEST(ToolConvert, LeavesTextAndPartsAsTheyAre) {
  const Folder folder;
  // A quote in a string does not end it: what follows is not a negative zero.
  const std::string json = R"({"time":"a\" -0,b","voltage_perc":-0.0})"
                           "\n";
  const std::string bytes = RunTool(folder, "encode BatteryHealthLog --delimited", json).output;
  EXPECT_EQ(RunTool(folder, "decode BatteryHealthLog --delimited", bytes).output, json);
  // An unknown field stays in the part that holds it, the first of two.
  const std::string first = Tag(3, 2) + "\x06" + Tag(3, 2) +
                            "\x01"
                            "a" +
                            Tag(99, 0) + "\x01";
  const std::string parts = first + Tag(3, 2) + "\x03" + Tag(3, 2) +
                            "\x01"
                            "b";
  const ProgramRun text = RunTool(folder, "decode HwComponentsInfoAsCDM --format text", parts);
  EXPECT_EQ(RunTool(folder, "encode HwComponentsInfoAsCDM --format text", text.output).output,
            parts);
  // Which message of a stream is the first that holds one.
  const std::string stream = Varint(0) + std::string("\x03") + Tag(100, 0) + "\x01" +
                             std::string("\x03") + Tag(100, 0) + "\x01";
  EXPECT_NE(RunTool(folder, "decode BatteryHealthLog --delimited", stream)
                .errors.find("2 messages hold, first number 2, "),
            std::string::npos);
}

// --- Bad input

TEST(ToolErrors, AreOneLineThatNamesThePlaceAndLeaveNothingBehind) {
  const Folder folder;
  const auto path = [&](const char* name) { return "\"" + Utf8(folder / name) + "\""; };
  folder.Write("text", "no descriptor set at all, but long enough");
  folder.Write("empty", "");
  const std::string out = " -o " + path("made");
  const struct {
    std::string arguments;
    std::string input;
    const char* said;
  } cases[] = {
      {"", "", "subcommand"},
      {"lst", "", "lst: is not a command; is it list or lint?"},
      {"list --format xml", "", "'xml' is none of table, json or csv"},
      {"list --database HealtLog", "", "is it HealthLog?"},
      {"show BateryHealthLog", "",
       "BateryHealthLog: no contract has this name; is it BatteryHealthLog?"},
      {"show \"\"", "", "no contract has this name"},
      {"show \"a\nb\x1b[1m\"", "", "a b [1m: no contract has this name"},
      {"ddl --from " + path("text"), "", "is not a descriptor set"},
      {"ddl --from " + path("empty"), "", "is not a descriptor set"},
      {"diff " + path("nowhere"), "", "cannot be read"},
      {"diff \"" + Utf8(folder.path()) + "\"", "", "is a folder"},
      {"encode StateEventType" + out, "{}", "is an enumeration"},
      {"encode BatteryHealthLog" + out, "{\n \"age\": \"x\"}",
       "standard input:2:9: ovix.telemetry.contract.storage.device_health.BatteryHealthLog.age: "
       "\"x\" is not of type uint32; write a whole number from 0 to 4294967295"},
      {"encode BatteryHealthLog" + out, "{\n\n  \"time\" 1}", ":3:10: "},
      {"encode BatteryHealthLog" + out, "{\"battery_status\":{\"nope\":1}}",
       ":1:20: ovix.telemetry.contract.storage.device_health.BatteryStatus: has no field "
       "\"nope\""},
      {"encode BatteryHealthLog" + out, "{\"time\":\"ab\xff\"}", ":1:12: "},
      {"encode BatteryHealthLog --delimited" + out, "{}\n\n{}\n{", "standard input:4:2: "},
      {"encode BatteryHealthLog" + out, "{\"cell_voltages\":[[1,2],[3]]}", ":1:19: "},
      {"encode BatteryHealthLog" + out, "{\"age\":1,\"age\":2}", "age: is set twice"},
      {"encode BatteryHealthLog" + out, "{\"age\":1,}", ":1:10: "},
      {"encode BatteryHealthLog --format text" + out, "time: \"\\377\"",
       ":1:7: ovix.telemetry.contract.storage.device_health.BatteryHealthLog.time is text that is "
       "not UTF-8"},
      {"encode BatteryHealthLog --format text" + out,
       "age: 1 battery_status {}\n\ttime:\t'a' \"\xff\"",
       ":2:8: ovix.telemetry.contract.storage.device_health.BatteryHealthLog.time is text"},
      {"encode BatteryHealthLog --format text" + out, "time: \"a\"\nage: x", ":2:6: "},
      {"decode BatteryHealthLog" + out,
       "\x0a\x05"
       "ab",
       "byte 0: ovix.telemetry.contract.storage.device_health.BatteryHealthLog.time needs 5 bytes, "
       "but 2 are left"},
      {"decode BatteryHealthLog" + out, "\x38\x01\x0a\x01\xff",
       "byte 4: ovix.telemetry.contract.storage.device_health.BatteryHealthLog.time is text that "
       "is not UTF-8"},
      {"decode BatteryHealthLog" + out, "\x38\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff\x01",
       "byte 1: a number takes more than 10 bytes"},
      {"decode BatteryHealthLog" + out, "\x3f", "wire type 7"},
      {"decode BatteryHealthLog" + out, "\x3c", "a group ends"},
      {"decode BatteryHealthLog --delimited" + out, "\x02\x38\x01\x09\x38",
       "byte 4: message number 2 needs 9 bytes, but 1 are left"},
      {"decode BatteryHealthLog --delimited" + out, "\xff\xff\xff\xff\xff", "byte 0: "},
      {"decode BatteryHealthLog " + path("nowhere") + out, "", "cannot be read"},
      {"decode BatteryHealthLog -o " + path("nowhere/made"), "", "cannot be written"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.arguments);
    const ProgramRun run = RunTool(folder, c.arguments, c.input);
    EXPECT_EQ(run.exit_code, 2);
    EXPECT_EQ(run.output, "");
    EXPECT_NE(run.errors.find(c.said), std::string::npos) << run.errors;
    EXPECT_EQ(std::count(run.errors.begin(), run.errors.end(), '\n'), 1) << run.errors;
    for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
      const std::string name = Utf8(entry.path().filename());
      EXPECT_TRUE(name == "text" || name == "empty" || name == "in" || name == "out" ||
                  name == "err")
          << name << " was left";
    }
  }
}

#ifdef __linux__
TEST(ToolErrors, TellAFullDisk) {
  const Folder folder;
  const std::string tool = OVIX_TESTS_TOOL;
  const std::pair<std::string, const char*> cases[] = {
      {tool + " list >/dev/full", "No space left on device"},
      // So little that only its last flush reaches the disk.
      {tool + " ddl --database Cache >/dev/full", "No space left on device"},
      {tool + " decode BootHealthLog -o /dev/full </dev/null", "/dev/full: cannot be written"},
  };
  for (const auto& [command, said] : cases) {
    const int status = RunCommand(command + " 2>" + Utf8(folder / "err"));
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 2);
    EXPECT_NE(folder.Read("err").find(said), std::string::npos) << folder.Read("err");
  }
}
#endif

TEST(ToolErrors, KeepTheFileThatWasThere) {
  const Folder folder;
  folder.Write("made", "as it was");
  const std::string out = " -o \"" + Utf8(folder / "made") + "\"";
  EXPECT_EQ(RunTool(folder, "encode BatteryHealthLog" + out, "{").exit_code, 2);
  EXPECT_EQ(folder.Read("made"), "as it was");
  EXPECT_EQ(RunTool(folder, "encode BatteryHealthLog" + out, "{\"age\":1}").exit_code, 0);
  EXPECT_EQ(folder.Read("made"), "\x38\x01");
}

// --- Help, man page and completion

TEST(ToolHelp, IsInTheManPageAndInTheCompletionAndTheDocs) {
  const Folder folder;
  const std::string man = RunTool(folder, "describe --as man").output;
  const std::string commands_completed = RunTool(folder, "complete \"\"").output;
  const std::string page = ReadFile(SourceFile("docs/tool.md"));
  const auto without_escapes = [](std::string text) {
    std::erase(text, '\\');
    return text;
  };
  std::istringstream help(RunTool(folder, "--help").output);
  bool in_commands = false;
  int commands = 0;
  size_t last_section = 0;
  for (std::string line; std::getline(help, line);) {
    EXPECT_LE(line.size(), 80) << line;
    if (line.starts_with("Subcommands:")) in_commands = true;
    if (!in_commands || !line.starts_with("  ") || line.starts_with("   ")) continue;
    const std::string command = line.substr(2, line.find(' ', 2) - 2);
    if (command == "ovix-contracts") continue;
    ++commands;
    SCOPED_TRACE(command);
    EXPECT_NE(commands_completed.find("\n" + command + "\t"), std::string::npos);
    const std::string completion = RunTool(folder, "complete " + command + " --").output;
    const size_t section = page.find("\n## " + command + "\n", last_section);
    ASSERT_NE(section, std::string::npos) << "docs/tool.md has no section, or in another order";
    last_section = section;
    const std::string text = RunTool(folder, command + " --help").output;
    std::istringstream lines(text);
    for (std::string text_line; std::getline(lines, text_line);) {
      EXPECT_LE(text_line.size(), 80) << text_line;
    }
    EXPECT_NE(text.find("Examples:"), std::string::npos);
    std::istringstream words(text.substr(0, text.find("Examples:")));
    for (std::string word; words >> word;) {
      const size_t option = word.find("--");
      if (option == std::string::npos) continue;
      const std::string name = word.substr(
          option, word.find_first_not_of("-abcdefghijklmnopqrstuvwxyz", option) - option);
      EXPECT_NE(without_escapes(man).find(name), std::string::npos) << name;
      EXPECT_NE(completion.find("\n" + name + "\t"), std::string::npos) << name;
    }
  }
  EXPECT_GE(commands, 6);
  EXPECT_NE(RunTool(folder, "--version").output.find("ovix-contracts 1."), std::string::npos);
}

}  // namespace
}  // namespace ovix::tests
