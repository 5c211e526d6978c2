// export: the JSON Schema and the document of the Open Data Contract Standard for every kind of
// field, and what the command refuses. That other programs accept them is for export_test.mjs.
#include <google/protobuf/struct.pb.h>
#include <google/protobuf/util/message_differencer.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <iterator>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "contracts/contracts.h"
#include "contracts/names.h"
#include "export/export.h"
#include "export/json_schema.h"
#include "export/odcs.h"
#include "ovix/telemetry/contract/storage/storage_options.pb.h"
#include "support/contracts.h"
#include "support/folder.h"
#include "support/tool.h"

namespace ovix::tests {
namespace {

using google::protobuf::Struct;
using google::protobuf::Value;

std::unique_ptr<tool::Contracts> Kinds() { return tool::Contracts::Read(OVIX_TESTS_EXPORT_SET); }

// The value at a path of keys and of places in lists; an item of a list also by what its key "name"
// or "property" is. No value where there is none.
Value At(const Struct& json, const std::string& path) {
  Value value;
  *value.mutable_struct_value() = json;
  for (size_t begin = 0; begin < path.size();) {
    const size_t end = std::min(path.find('/', begin), path.size());
    const std::string key = path.substr(begin, end - begin);
    begin = end + 1;
    Value next;
    if (value.has_list_value()) {
      for (int i = 0; i < value.list_value().values_size(); ++i) {
        const Value& item = value.list_value().values(i);
        const auto& fields = item.struct_value().fields();
        bool is_it = key == std::to_string(i);
        for (const char* name : {"name", "property"}) {
          is_it |= fields.contains(name) && fields.at(name).string_value() == key;
        }
        if (is_it) next = item;
      }
    } else if (value.struct_value().fields().contains(key)) {
      next = value.struct_value().fields().at(key);
    }
    value = next;
  }
  return value;
}

// What is expected at each path, as JSON; "absent" for nothing.
void ExpectAt(const Struct& json, const std::map<std::string, std::string>& expected) {
  for (const auto& [path, text] : expected) {
    SCOPED_TRACE(path);
    const Value value = At(json, path);
    if (text == "absent") {
      EXPECT_EQ(value.kind_case(), Value::KIND_NOT_SET) << value.ShortDebugString();
      continue;
    }
    const Value want = At(Json("{\"value\": " + text + "}"), "value");
    EXPECT_TRUE(google::protobuf::util::MessageDifferencer::Equals(value, want))
        << value.ShortDebugString() << "\nexpected " << text;
  }
}

TEST(ToolExport, JsonSchemaHasEveryKindOfField) {
  const auto contracts = Kinds();
  const auto* type = tool::FindMessage(*contracts, "KindsAsCDM");
  const Struct schema = Json(tool::JsonSchemaOf(*contracts, type, false));
  ExpectAt(
      schema,
      {
          {"$schema", R"("https://json-schema.org/draft/2020-12/schema")"},
          {"$id", R"("urn:ovix-contracts:com.example%2Fkinds.version.1:1.2.0-beta.1")"},
          {"title", R"("KindsAsCDM")"},
          {"description", R"("A payload with \"quotes\".")"},
          {"x-gun", R"("com.example/kinds.version.1")"},
          {"x-version", R"("1.2.0-beta.1")"},
          {"type", R"("object")"},
          {"additionalProperties", "false"},
          {"required", "absent"},
          {"properties/version", R"({"type": "string", "x-format": "semantic version"})"},
          {"properties/int32_value",
           R"({"type": "integer", "minimum": -2147483648, "maximum": 2147483647})"},
          {"properties/uint32_value",
           R"({"type": "integer", "minimum": 0, "maximum": 4294967295})"},
          {"properties/int64_value", R"({"$ref": "#/$defs/int64"})"},
          {"properties/uint64_value", R"({"$ref": "#/$defs/uint64"})"},
          {"properties/float_value", R"({"$ref": "#/$defs/float"})"},
          {"properties/double_value", R"({"$ref": "#/$defs/double"})"},
          {"properties/bool_value", R"({"type": "boolean"})"},
          {"properties/string_value", R"({"type": "string"})"},
          {"properties/bytes_value", R"({"$ref": "#/$defs/bytes"})"},
          {"properties/enum_value", R"({"$ref": "#/$defs/ovix.tests.exported.Colour"})"},
          {"properties/message_value", R"({"$ref": "#/$defs/ovix.tests.exported.Part"})"},
          {"properties/recursive_value", R"({"$ref": "#"})"},
          {"properties/uint32_list/items/maximum", "4294967295"},
          {"properties/bytes_list", R"({"type": "array", "items": {"$ref": "#/$defs/bytes"}})"},
          {"properties/string_map/propertyNames", R"({"type": "string"})"},
          {"properties/bool_map",
           R"({"type": "object", "propertyNames": {"enum": ["true", "false"]},
               "additionalProperties": {"$ref": "#/$defs/ovix.tests.exported.Colour"}})"},
          {"dependentSchemas/either_text",
           R"({"properties": {"either_number": false, "either_message": false}})"},
          {"dependentSchemas/closed_text", "absent"},
          {"properties/closed_text",
           R"({"type": "string", "enum": ["on", "off"], "x-meanings": {"on": "it runs"}})"},
          {"properties/closed_number", R"({"type": "integer", "enum": [1, -7]})"},
          {"properties/number_with_words/enum", "absent"},
          {"properties/closed_uint64",
           R"({"$ref": "#/$defs/uint64", "enum": ["1", "18446744073709551615"]})"},
          {"properties/open_number/examples", "[1, 2]"},
          {"properties/open_number/enum", "absent"},
          {"properties/open_list/items", R"({"type": "string", "examples": ["a"]})"},
          {"properties/closed_list/items/enum", R"(["x", "y"])"},
          {"properties/flags",
           R"({"type": "integer", "minimum": 0, "maximum": 5, "description": "Flags of the state.",
               "x-meanings": {"1": "charging"}})"},
          {"properties/height",
           R"({"$ref": "#/$defs/int64", "x-unit": "unspecified", "x-privacy": "location"})"},
          {"properties/moment",
           R"({"type": "string", "format": "date-time", "description": "The moment.",
               "x-format": "RFC 3339", "x-privacy": "interaction"})"},
          {"properties/day/format", R"("date")"},
          {"properties/old_name_ms/deprecated", "true"},
          {"properties/old_name_ms/x-unit", R"("ms")"},
          {"$defs/ovix.tests.exported.Part/properties/inner",
           R"({"$ref": "#/$defs/ovix.tests.exported.Part"})"},
          {"$defs/ovix.tests.exported.Part/additionalProperties", "false"},
          {"$defs/ovix.tests.exported.Colour",
           R"({"title": "Colour", "anyOf": [{"enum": ["COLOUR_NONE", "COLOUR_RED", "COLOUR_BLUE"]},
                {"type": "integer", "minimum": -2147483648, "maximum": 2147483647}],
               "x-numbers": {"COLOUR_NONE": 0, "COLOUR_RED": 1, "COLOUR_BLUE": -2},
               "x-meanings": {"COLOUR_NONE": "Not said."}})"},
          {"$defs/float/anyOf/1", R"({"enum": ["NaN", "Infinity", "-Infinity"]})"},
          {"$defs/float/anyOf/0/maximum", "3.4028235e+38"},
          {"$defs/double/anyOf/0", R"({"type": "number"})"},
          {"$defs/bytes/contentEncoding", R"("base64")"},
      });
  const Struct open = Json(tool::JsonSchemaOf(*contracts, type, true));
  ExpectAt(open, {{"additionalProperties", "absent"},
                  {"$defs/ovix.tests.exported.Part/additionalProperties", "absent"},
                  {"properties/uint32_value/maximum", "4294967295"}});
  const auto* row = tool::FindMessage(*contracts, "Row");
  ExpectAt(Json(tool::JsonSchemaOf(*contracts, row, false)),
           {{"$id", R"("urn:ovix-contracts:ovix.tests.exported.Row")"},
            {"description", R"("A record in two lines.")"},
            {"x-database", R"("Exported")"},
            {"x-table", R"("Rows")"},
            {"properties/first_key/x-key", "true"},
            {"properties/time/x-key", "absent"}});
}

TEST(ToolExport, OdcsHasEveryKindOfField) {
  const auto contracts = Kinds();
  const tool::Odcs odcs(*contracts);
  const Struct payload = Json(odcs.OfPayload(tool::FindMessage(*contracts, "KindsAsCDM")));
  const std::string fields = "schema/KindsAsCDM/properties/";
  ExpectAt(
      payload,
      {
          {"apiVersion", R"("v3.1.0")"},
          {"kind", R"("DataContract")"},
          {"id", R"("com.example/kinds.version.1")"},
          {"version", R"("1.2.0-beta.1")"},
          {"status", R"("draft")"},
          {"description/purpose", R"("A payload with \"quotes\".")"},
          {"schema/KindsAsCDM/physicalName", R"("ovix.tests.exported.KindsAsCDM")"},
          {"schema/KindsAsCDM/customProperties/fedBy/value", R"(["ovix.tests.exported.Row"])"},
          {fields + "version/required", "true"},
          {fields + "version/logicalTypeOptions", R"({"format": "semantic version"})"},
          {fields + "version/transformDescription", R"("from no record")"},
          {fields + "int32_value/required", "absent"},
          {fields + "int32_value/logicalType", R"("integer")"},
          {fields + "int32_value/physicalType", R"("int32")"},
          {fields + "int32_value/logicalTypeOptions", R"({"format": "i32"})"},
          {fields + "int64_value/logicalTypeOptions/format", R"("i64")"},
          {fields + "uint32_value/logicalTypeOptions/format", R"("u32")"},
          {fields + "uint64_value/logicalTypeOptions/format", R"("u64")"},
          {fields + "float_value/logicalType", R"("number")"},
          {fields + "float_value/logicalTypeOptions/format", R"("f32")"},
          {fields + "double_value/logicalTypeOptions/format", R"("f64")"},
          {fields + "bool_value/logicalType", R"("boolean")"},
          {fields + "bytes_value/logicalTypeOptions/format", R"("binary")"},
          {fields + "enum_value/logicalType", R"("string")"},
          {fields + "enum_value/quality/0",
           R"({"type": "library", "metric": "invalidValues", "mustBe": 0, "arguments":
               {"validValues": ["COLOUR_NONE", "COLOUR_RED", "COLOUR_BLUE"]}})"},
          {fields + "enum_value/customProperties/numbers/value/2", R"("-2 = COLOUR_BLUE")"},
          {fields + "message_value/logicalType", R"("object")"},
          {fields + "message_value/properties/seconds/customProperties/unit/value", R"("s")"},
          // A message that holds itself ends there.
          {fields + "message_value/properties/inner/logicalType", R"("object")"},
          {fields + "message_value/properties/inner/properties", "absent"},
          {fields + "recursive_value/properties", "absent"},
          {fields + "recursive_value/customProperties/message/value",
           R"("ovix.tests.exported.KindsAsCDM")"},
          {fields + "uint32_list/logicalType", R"("array")"},
          {fields + "uint32_list/physicalType", R"("repeated uint32")"},
          {fields + "uint32_list/items",
           R"({"logicalType": "integer", "logicalTypeOptions": {"format": "u32"}})"},
          {fields + "uint64_map/logicalType", R"("object")"},
          {fields + "uint64_map/physicalType", R"("map<uint64, Part>")"},
          {fields + "closed_text/quality/0/arguments/validValues", R"(["on", "off"])"},
          {fields + "closed_text/customProperties/meanings/value", R"(["on = it runs"])"},
          {fields + "closed_text/customProperties/presence/value", R"("explicit")"},
          {fields + "closed_number/quality/0/arguments/validValues", "[1, -7]"},
          {fields + "open_number/examples", "[1, 2]"},
          {fields + "open_number/quality", "absent"},
          {fields + "open_list/items/examples", R"(["a"])"},
          {fields + "flags/quality", "absent"},
          {fields + "flags/logicalTypeOptions", R"({"format": "u32", "minimum": 0, "maximum": 5})"},
          {fields + "height/classification", R"("location")"},
          {fields + "height/customProperties/unit",
           R"({"property": "unit", "value": "unspecified",
               "description": "as the firmware reports it"})"},
          {fields + "moment/logicalType", R"("timestamp")"},
          {fields + "moment/logicalTypeOptions", R"({"timezone": true})"},
          {fields + "moment/transformSourceObjects", R"(["ovix.tests.exported.Row.time"])"},
          {fields + "moment/transformDescription", R"("from Row.time: renamed")"},
          {fields + "day/logicalType", R"("date")"},
          {fields + "old_name_ms/customProperties/deprecated/value", R"("true")"},
      });

  const std::string columns = "schema/Rows/properties/";
  ExpectAt(
      Json(odcs.OfDatabase("Exported")),
      {
          {"id", R"("urn:ovix-contracts:database:Exported")"},
          {"name", R"("Exported")"},
          {"version", R"("export_test.binpb")"},
          {"status", R"("active")"},
          {"description/purpose", R"("What a database of its own may take.")"},
          {"schema/Rows/physicalType", R"("table")"},
          {"schema/Rows/description", R"("A record in two lines.")"},
          {"schema/Rows/customProperties/message/value", R"("ovix.tests.exported.Row")"},
          {"schema/Rows/customProperties/tableType/value", R"("State")"},
          {"schema/Rows/customProperties/feeds/value", R"(["ovix.tests.exported.KindsAsCDM"])"},
          {columns + "first_key/primaryKey", "true"},
          {columns + "first_key/primaryKeyPosition", "1"},
          {columns + "second_key/primaryKeyPosition", "2"},
          {columns + "second_key/required", "true"},
          {columns + "second_key/classification", R"("identifier")"},
          {columns + "second_key/logicalTypeOptions/format", R"("GUID")"},
          {columns + "first_key/physicalType", R"("INTEGER")"},
          {columns + "time/primaryKey", "absent"},
          {columns + "time/required", "absent"},
          // A column has the number, JSON within a column the name.
          {columns + "colour/logicalType", R"("integer")"},
          {columns + "colour/quality/0/arguments/validValues", "[0, 1, -2]"},
          {columns + "part/properties/colour/logicalType", R"("string")"},
          {columns + "part/physicalType", R"("TEXT")"},
          {columns + "part/customProperties/encoding/value", R"("JSON")"},
          {columns + "list/physicalType", R"("TEXT")"},
          {columns + "list/items/logicalType", R"("integer")"},
          {columns + "map/logicalType", R"("object")"},
          {columns + "data/physicalType", R"("BLOB")"},
          {columns + "flag/logicalType", R"("boolean")"},
          {columns + "flag/physicalType", R"("INTEGER")"},
          {columns + "ratio_percent/physicalType", R"("REAL")"},
          {columns + "ratio_percent/customProperties/unit/value", R"("%")"},
          {columns + "made/logicalType", R"("timestamp")"},
          {columns + "made/physicalType", R"("TEXT")"},
          {"slaProperties/0/value", "64"},
          {"slaProperties/0/unit", R"("MiB")"},
          {"slaProperties/1/property", R"("retention")"},
          {"slaProperties/1/value", "7"},
          {"slaProperties/1/unit", R"("d")"},
          {"slaProperties/1/element", R"("Rows.time")"},
          {"slaProperties/2/value", "50"},
          {"slaProperties/2/element", R"("Rows")"},
          {"slaProperties/3", "absent"},
      });
}

TEST(ToolExport, OdcsSaysWhetherAContractIsInUse) {
  const auto contracts = Kinds();
  const tool::Odcs odcs(*contracts);
  for (const auto& [name, status] : std::map<std::string, std::string>{
           {"KindsAsCDM", "draft"},  // a pre-release
           {"EarlyAsCDM", "draft"},
           {"CurrentAsCDM", "active"},
           {"OldAsCDM", "deprecated"},
       }) {
    SCOPED_TRACE(name);
    ExpectAt(Json(odcs.OfPayload(tool::FindMessage(*contracts, name))),
             {{"status", "\"" + status + "\""}});
  }
}

TEST(ToolExport, WritesOneOrAFolderOfAll) {
  const Folder folder;
  const auto quoted = [&](const char* name) { return " \"" + Utf8(folder / name) + "\""; };
  const ProgramRun one = RunTool(folder, "export HwBatteryHealthLogAsCDM --as jsonschema");
  EXPECT_EQ(one.exit_code, 0) << one.errors;
  EXPECT_EQ(one.errors, "");
  RunTool(folder, "export HwBatteryHealthLogAsCDM --as jsonschema -o" + quoted("one"));
  EXPECT_EQ(folder.Read("one"), one.output);
  const ProgramRun database = RunTool(folder, "export --as odcs --database HealthLog");
  EXPECT_EQ(database.exit_code, 0) << database.errors;

  const struct {
    const char* notation;
    const char* file;
    const std::string& content;
    const char* kind;
    size_t count;
  } cases[] = {
      {"jsonschema",
       "ovix.telemetry.contract.upload.log.hardware.HwBatteryHealthLogAsCDM.schema.json",
       one.output, "folder of JSON Schemas",
       tool::Contracts::Installed().tables().size() +
           tool::Contracts::Installed().payloads().size()},
      {"odcs", "HealthLog.odcs.yaml", database.output, "folder of ODCS documents",
       tool::Odcs(tool::Contracts::Installed()).Databases().size() +
           tool::Contracts::Installed().payloads().size()},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.notation);
    const std::string all =
        std::string("export --as ") + c.notation + " --out" + quoted(c.notation);
    for (int round = 0; round < 2; ++round) {  // the second replaces what the first has written
      const ProgramRun run = RunTool(folder, all);
      EXPECT_EQ(run.exit_code, 0) << run.errors;
      EXPECT_EQ(run.output + run.errors, "");
    }
    const std::string path = c.notation + std::string("/");
    EXPECT_EQ(folder.Read(path + c.file), c.content);
    const std::filesystem::directory_iterator files(folder / c.notation);
    EXPECT_EQ(static_cast<size_t>(std::distance(begin(files), end(files))), c.count + 1);
    folder.Write(path + "notes.txt", "mine");
    const ProgramRun refused = RunTool(folder, all);
    EXPECT_EQ(refused.exit_code, 2);
    EXPECT_NE(refused.errors.find(std::string("holds notes.txt, which is not of a ") + c.kind),
              std::string::npos)
        << refused.errors;
    EXPECT_EQ(folder.Read(path + "notes.txt"), "mine");
    EXPECT_EQ(folder.Read(path + c.file), c.content);
  }
}

TEST(ToolExport, RefusesWhatItCannotExport) {
  const Folder folder;
  const std::string set = " --contracts \"" OVIX_TESTS_EXPORT_SET "\"";
  folder.Write("set.binpb", ReadFile(FromUtf8(OVIX_TESTS_EXPORT_SET)));
  for (const auto& [name, database, type] : std::vector<std::array<std::string, 3>>{
           {"outside.binpb", "../outside", "Historical"}, {"type.binpb", "Events", "Sometimes"}}) {
    auto changed = DescriptorSet();
    for (auto& file : *changed.mutable_file()) {
      for (auto& message : *file.mutable_message_type()) {
        if (message.name() != "BatteryHealthLog") continue;
        auto* options =
            message.mutable_options()->MutableExtension(telemetry::contract::storage::persistance);
        options->mutable_database()->set_name(database);
        options->set_type(type);
      }
    }
    folder.Write(name, changed.SerializeAsString());
  }
  const auto from = [&](const char* file) {
    return " --contracts \"" + Utf8(folder / file) + "\"";
  };
  const std::string made = "\"" + Utf8(folder / "made") + "\"";
  const std::string own = "\"" + Utf8(folder / "set.binpb") + "\"";
  const struct {
    std::string arguments;
    const char* said;
  } cases[] = {
      {"BatteryHealthLog", "--as is required"},
      {"BatteryHealthLog --as xml", "'xml' is none of jsonschema or odcs"},
      {"--as jsonschema",
       "nothing to export is named; name a message, or write all with --out DIR"},
      {"--as odcs", "name a payload, a database with --database, or write all with --out DIR"},
      {"--as jsonschema --database HealthLog", "--database is for --as odcs; name a table"},
      {"BatteryHealthLog --as odcs --allow-unknown", "--allow-unknown is for --as jsonschema"},
      {"BatteryHealthLog --as odcs",
       "ovix.telemetry.contract.storage.device_health.BatteryHealthLog: is a table; name its "
       "database, --database HealthLog"},
      {"BatteryStatus --as odcs", "is not a payload; name a payload, or a database"},
      {"--as odcs --database HealthLgo", "in a database of this name; is it HealthLog?"},
      {"BatteryHealthLgo --as jsonschema", "BatteryHealthLog"},
      {"BatteryHealthLog --as jsonschema --out " + made, "excludes"},
      {"BatteryHealthLog --database HealthLog --as odcs", "excludes"},
      {"--as odcs --out " + made + " -o one", "excludes"},
      {"--as jsonschema --out \"\"", "names no folder"},
      {"KindsAsCDM --as jsonschema --contracts " + own + " -o " + own, "is read too"},
      {"Stamped --as jsonschema" + set,
       "ovix.tests.exported.Stamped.at: is of type google.protobuf.Timestamp, which has a JSON "
       "form of its own"},
      {"--as odcs --out " + made + from("outside.binpb"),
       "database \"../outside\": its name cannot be that of a file; export it with --database"},
      {"--as odcs --out " + made + from("type.binpb"), "type.binpb: "},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.arguments);
    const ProgramRun run = RunTool(folder, "export " + c.arguments);
    EXPECT_EQ(run.exit_code, 2);
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(std::count(run.errors.begin(), run.errors.end(), '\n'), 1) << run.errors;
    EXPECT_NE(run.errors.find(c.said), std::string::npos) << run.errors;
    EXPECT_EQ(folder.Read("set.binpb").size(),
              std::filesystem::file_size(FromUtf8(OVIX_TESTS_EXPORT_SET)));
    EXPECT_FALSE(std::filesystem::exists(folder / "made"));
  }
}

}  // namespace
}  // namespace ovix::tests
