// The facts of comments as the tool shows and compares them, what it reports of personal data, and
// that nothing of it is left in what it redacts.
#include <google/protobuf/descriptor.pb.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>

#include "contracts/contracts.h"
#include "contracts/personal.h"
#include "convert/redact.h"
#include "ovix/telemetry/contract/upload/device_profile/identityAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/vorlan/BkcDeviceInfoAsCDM.pb.h"
#include "support/contracts.h"
#include "support/folder.h"
#include "support/tool.h"

namespace ovix::tests {
namespace {

using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::FileDescriptorSet;
using google::protobuf::Message;
using google::protobuf::Struct;
using telemetry::contract::upload::device_profile::IdentityAsCDM;
using telemetry::contract::upload::vorlan::BkcDeviceInfoAsCDM;

// --- show

TEST(ToolShow, GivesFactsAsFieldsOfTheirOwn) {
  const Folder folder;
  const struct {
    const char* name;
    const char* field;
    std::vector<const char*> text;
    std::map<std::string, std::string> json;  // a list as its words with commas
    const char* csv;                          // the last columns
  } cases[] = {
      {"PersistanceMessageOptions",
       "type",
       {"values: \"State\", \"Historical\"\n"},
       {{"values_kind", "closed"}, {"values", "State,Historical"}},
       ",,\"\"\"State\"\", \"\"Historical\"\"\",,\r\n"},
      {"storage.device_profile.DeviceLocation",
       "latitude",
       {"unit: unspecified\n", "format: unspecified\n", "privacy: location\n"},
       {{"unit", "unspecified"},
        {"unit_from", "comment"},
        {"format", "unspecified"},
        {"privacy", "location"}},
       ",unspecified,,unspecified,location\r\n"},
      {"PcAppInventorySummaryAsCDM",
       "total_aggregation_hours",
       {"unit: h (by its name)\n"},
       {{"unit", "h"}, {"unit_from", "name"}},
       ",h,,,\r\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const std::string show = std::string("show ") + c.name;
    const std::string text = RunTool(folder, show).output;
    for (const char* part : c.text) EXPECT_NE(text.find(part), std::string::npos) << text;

    std::map<std::string, std::string> facts;
    const Struct json = Json(RunTool(folder, show + " --format json").output);
    for (const auto& value : json.fields().at("fields").list_value().values()) {
      const auto& field = value.struct_value().fields();
      if (field.at("name").string_value() != c.field) continue;
      for (const char* key : {"unit", "unit_from", "unit_reason", "values_kind", "values",
                              "values_reason", "format", "format_reason", "privacy"}) {
        if (!field.contains(key)) continue;
        std::string words = field.at(key).string_value();
        for (const auto& word : field.at(key).list_value().values()) {
          words += (words.empty() ? "" : ",") + word.string_value();
        }
        facts[key] = words;
      }
    }
    EXPECT_EQ(facts, c.json);

    const std::string csv = RunTool(folder, show + " --format csv").output;
    EXPECT_NE(csv.find("sources,unit,values,format,privacy\r\n"), std::string::npos) << csv;
    const size_t line = csv.find("," + std::string(c.field) + ",", csv.find("\r\n"));
    ASSERT_NE(line, std::string::npos);
    const std::string row = csv.substr(line, csv.find("\r\n", line) + 2 - line);
    EXPECT_TRUE(row.ends_with(c.csv)) << row;
  }
}

TEST(ToolShow, TellsWhatFeedsAPayloadFromWhatHasTheSameData) {
  const Folder folder;
  const std::string summary = "ovix.telemetry.contract.upload.analytics.PcAppInventorySummaryAsCDM";
  for (const auto& [table, key, other] :
       {std::tuple("Application", "same_data_in", "feeds"),
        std::tuple("ApplicationEvents", "feeds", "same_data_in")}) {
    SCOPED_TRACE(table);
    const Struct json = Json(RunTool(folder, std::string("show --format json ") + table).output);
    const auto has = [&](const char* list) {
      const auto& values = json.fields().at(list).list_value().values();
      return std::any_of(values.begin(), values.end(),
                         [&](const auto& value) { return value.string_value() == summary; });
    };
    EXPECT_TRUE(has(key));
    EXPECT_FALSE(has(other));
  }
}

// --- diff

// The first comment of a contract's file that has `before` gets `after` in its place.
void ChangeComment(FileDescriptorSet& set, const std::string& package, const std::string& before,
                   const std::string& after) {
  for (auto& file : *set.mutable_file()) {
    if (!file.package().starts_with(package)) continue;
    for (auto& location : *file.mutable_source_code_info()->mutable_location()) {
      std::string& comment = *location.mutable_leading_comments();
      const size_t at = comment.find(before);
      if (at == std::string::npos) continue;
      comment.replace(at, before.size(), after);
      return;
    }
  }
  ADD_FAILURE() << "no comment has " << before;
}

TEST(ToolDiff, ComparesTheFactsOfComments) {
  const Folder folder;
  const std::string storage = "ovix.telemetry.contract.storage";
  const std::string upload = "ovix.telemetry.contract.upload";
  const struct {
    std::string package;
    const char* before;
    const char* after;
    std::set<std::string> rules;
    int exit_code;
  } cases[] = {
      {upload, " Unit: By/s\n", " Unit: KiBy/s\n", {"unit-changed", "version-not-raised"}, 1},
      {storage,
       " Values: \"State\", \"Historical\"\n",
       " Values: \"State\"\n",
       {"values-changed"},
       1},
      {storage, " Format: GUID\n", " Format: hexadecimal\n", {"format-changed"}, 1},
      {upload, " Privacy: identifier\n", " Privacy: content\n", {"privacy-lowered"}, 1},
      {upload, " Privacy: content\n", " Privacy: location\n", {"facts-added"}, 0},
      {storage, " Unit: unspecified\n", " Unit: mW\n", {"facts-added"}, 0},
  };
  folder.Write("old.binpb", DescriptorSet().SerializeAsString());
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.before) + c.after);
    FileDescriptorSet changed = DescriptorSet();
    ChangeComment(changed, c.package, c.before, c.after);
    folder.Write("new.binpb", changed.SerializeAsString());
    const std::string sets =
        "diff \"" + Utf8(folder / "old.binpb") + "\" \"" + Utf8(folder / "new.binpb") + "\"";
    const ProgramRun run = RunTool(folder, sets + " --format json");
    EXPECT_EQ(run.exit_code, c.exit_code) << run.errors;
    std::set<std::string> rules;
    const Struct json = Json(run.output);
    for (const auto& value : json.fields().at("changes").list_value().values()) {
      rules.insert(value.struct_value().fields().at("rule").string_value());
    }
    EXPECT_EQ(rules, c.rules);
  }
  // The first release stated no facts: they are additions, and shown as one.
  std::filesystem::copy_file(SourceFile("compat/1.0.0/contracts.binpb"), folder / "first.binpb");
  const std::string first = "diff \"" + Utf8(folder / "first.binpb") + "\"";
  for (const char* format : {"", " --format markdown"}) {
    const ProgramRun run = RunTool(folder, first + format);
    EXPECT_EQ(run.exit_code, 0) << run.output;
    EXPECT_NE(run.output.find("the comments state more; --format json names the fields"),
              std::string::npos);
    EXPECT_LT(std::count(run.output.begin(), run.output.end(), '\n'), 40) << run.output;
  }
}

// --- privacy

// The class as the schema's comment writes it; empty without one.
std::string ClassOf(const FieldDescriptor* field) {
  for (const auto& fact : tool::Contracts::Installed().CommentOf(field).facts) {
    if (fact.key == "Privacy") return fact.value;
  }
  return "";
}

TEST(ToolPrivacy, ListsTheFieldsOfEachClassAndWhereTheyTravel) {
  const Folder folder;
  const struct {
    const char* arguments;
    std::vector<const char*> has;
    std::vector<const char*> has_not;
  } cases[] = {
      {"HwBatteryHealthLogAsCDM",
       {"HwBatteryHealthLogAsCDM (payload)", "battery_serial_number  identifier",
        "BatteryHealthLog.serial_number  -", "\nFields by path: 2 identifier, 0 location"},
       {"BatteryHealthLog (table)"}},
      {"BatteryHealthLog", {"-     HwBatteryHealthLogAsCDM.battery_serial_number"}, {}},
      {"IdentityAsCDM", {"device_ref_info.external_id"}, {}},
      {"--tables --class location",
       {"DeviceLocation (table)", "latitude", "\nFields by path: 0 identifier, "},
       {"AsCDM (payload)", "No personal data"}},
      {"--payloads --class location",
       {"DeviceLocationInfoAsCDM (payload)", "summaries.device_position.summary.position"},
       {"(table)", "latitude", "battery_serial_number"}},
      {"FwComponentsInfoAsCDM", {"No personal data\n  FwComponentsInfoAsCDM"}, {"FIELD"}},
      {"--format json HwBatteryHealthLogAsCDM",
       {"\"path\": \"battery_serial_number\"",
        "\"field\": \"ovix.telemetry.contract.upload.log.hardware.HwBatteryHealthLogAsCDM."
        "battery_serial_number\"",
        "\"privacy\": \"identifier\"",
        "\"ovix.telemetry.contract.storage.device_health.BatteryHealthLog.serial_number\""},
       {}},
      {"--format csv IdentityAsCDM",
       {"contract,kind,path,field,privacy,from,to\r\n",
        ",payload,bios_uuid,ovix.telemetry.contract.upload.device_profile.IdentityAsCDM.bios_uuid,"
        "identifier,Device.bios_uuid,\r\n"},
       {",product_id,"}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.arguments);
    const ProgramRun run = RunTool(folder, std::string("privacy ") + c.arguments);
    EXPECT_EQ(run.exit_code, 0) << run.errors;
    for (const char* part : c.has) {
      EXPECT_NE(run.output.find(part), std::string::npos) << part << " in:\n" << run.output;
    }
    for (const char* part : c.has_not) EXPECT_EQ(run.output.find(part), std::string::npos) << part;
  }
}

TEST(ToolPrivacy, IsWhatThePageSays) {
  const Folder folder;
  const std::string page = ReadFile(SourceFile("docs/privacy.md"));
  const std::string table = RunTool(folder, "privacy --payloads --format markdown").output;
  const size_t at = page.find("\n\n" + table), end = at + 2 + table.size();
  EXPECT_TRUE(at != std::string::npos && (end == page.size() || page[end] == '\n'))
      << "docs/privacy.md does not have this table; replace its own by the output of: "
         "ovix-contracts privacy --payloads --format markdown";
  const std::string heading = "| Contract | Class | Fields |";
  EXPECT_EQ(page.find(heading), page.rfind(heading)) << "the table is there twice";
}

// --- decode --redact

std::string Delimited(const std::vector<std::string>& messages) {
  std::string stream;
  for (const std::string& message : messages) stream += Varint(message.size()) + message;
  return stream;
}

// HMAC-SHA-256 of some strings under kKey, as another implementation gives them.
constexpr char kKey[] = "a key of this test";
constexpr char kHashOfSerial1[] =
    "c0b269ab8526033debb62b58aca7dd51adadcee9d4c08b7e86c6c667a27938c2";
constexpr char kHashOfNothing[] =
    "395fdd225b67bb6d069f84e894625e7d8dba87172673d26e9a470fb20fec5fa9";
constexpr char kHashOfLongText[] =
    "a4a638c2de0a5ef8acc7b6321a424bdf3c29e5f04386b6394380e17925b90cd5";

TEST(ToolRedact, ReplacesTextsByAKeyedHashAndDropsTheRest) {
  const Folder folder;
  folder.Write("key", kKey);
  IdentityAsCDM identity;
  identity.set_version("1.1.0");
  identity.set_serial_number("serial-1");
  identity.set_device_unique_id("serial-1");
  identity.set_tenant_name("");  // present, and empty
  identity.mutable_device_ref_info()->set_external_id(77777);
  identity.mutable_device_ref_info()->set_id_type("kind");
  BkcDeviceInfoAsCDM bkc;
  bkc.add_hw_ids("serial-1");
  bkc.add_hw_ids(std::string(1000, 'x'));
  // Fields that no schema knows, at the top and in a part.
  const std::string unknown = Tag(1000, 2) + Varint(6) + "secret";
  const std::string with_unknown =
      Tag(3, 2) + Varint(8) + "serial-1" + unknown + Tag(11, 2) + Varint(unknown.size()) + unknown;
  const std::string key = " --key \"" + Utf8(folder / "key") + "\"";
  const std::string hash = kHashOfSerial1;
  const struct {
    std::string arguments;
    std::string input;
    std::string output;
    const char* said;
  } cases[] = {
      {"IdentityAsCDM --format text --redact identifier" + key, identity.SerializeAsString(),
       "version: \"1.1.0\"\ndevice_unique_id: \"" + hash + "\"\nserial_number: \"" + hash +
           "\"\ntenant_name: \"" + kHashOfNothing +
           "\"\ndevice_ref_info {\n  id_type: \"kind\"\n}\n",
       "values replaced by a hash: 3, dropped: 1"},
      {"IdentityAsCDM --format text --redact identifier", identity.SerializeAsString(),
       "version: \"1.1.0\"\ndevice_ref_info {\n  id_type: \"kind\"\n}\n",
       "values replaced by a hash: 0, dropped: 4"},
      {"IdentityAsCDM --format text --redact location,content" + key, identity.SerializeAsString(),
       identity.DebugString(), "values replaced by a hash: 0, dropped: 0"},
      {"BkcDeviceInfoAsCDM --delimited --redact location --redact identifier" + key,
       Delimited({bkc.SerializeAsString(), "", bkc.SerializeAsString()}),
       "{\"hw_ids\":[\"" + hash + "\",\"" + kHashOfLongText + "\"]}\n{}\n{\"hw_ids\":[\"" + hash +
           "\",\"" + kHashOfLongText + "\"]}\n",
       "values replaced by a hash: 4, dropped: 0"},
      {"BkcDeviceInfoAsCDM --delimited --redact all", Delimited({bkc.SerializeAsString()}), "{}\n",
       "values replaced by a hash: 0, dropped: 2"},
      {"IdentityAsCDM --format text --redact identifier" + key, with_unknown,
       "serial_number: \"" + hash + "\"\ndevice_ref_info {\n}\n",
       "values replaced by a hash: 1, dropped: 2"},
      {"DeviceLocation --format text --redact location" + key, Tag(4, 0) + Varint(60), "\n",
       "values replaced by a hash: 0, dropped: 1"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.arguments);
    const ProgramRun run = RunTool(folder, "decode " + c.arguments, c.input);
    EXPECT_EQ(run.exit_code, 0) << run.errors;
    EXPECT_EQ(run.output, c.output);
    const size_t said = run.errors.find(c.said);
    EXPECT_NE(said, std::string::npos) << run.errors;
    EXPECT_LE(run.errors.size(), said + std::string(c.said).size() + 2) << "and a line end";
    EXPECT_EQ(std::count(run.errors.begin(), run.errors.end(), '\n'), 1) << run.errors;
  }
}

TEST(ToolRedact, RefusesWhatWouldNotProtect) {
  const Folder folder;
  folder.Write("key", kKey);
  folder.Write("short", "fifteen bytes..");
  const auto path = [&](const char* name) { return " --key \"" + Utf8(folder / name) + "\""; };
  const std::string secret = "secret-value-secret-value";
  const std::string damaged = Tag(3, 2) + Varint(secret.size()) + secret + Tag(4, 2) + "\x7f";
  const struct {
    std::string arguments;
    const char* said;
  } cases[] = {
      {"--redact places", "--redact: 'places' is not a privacy class; use identifier, location"},
      {"--redact identifier,Location", "'Location' is not a privacy class"},
      {"--redact \"\"", "'' is not a privacy class"},
      {"--key", "--key"},
      {path("key"), "--key: there is nothing to hash; name the classes with --redact"},
      {"--redact all --key \"\"", "--key: names no file"},
      {"--redact all" + path("nowhere"), "nowhere: cannot be read; name a file with the key"},
      {"--redact all" + path("short"), "short: a key has at least 16 bytes, this one has 15"},
      {"--redact all --key \"" + Utf8(folder.path()) + "\"", "is a folder; name a file"},
      {"--redact all" + path("key"), "bios_uuid needs 127 bytes"},
      {"--redact all --delimited", "; it is not of type ovix."},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.arguments);
    const ProgramRun run = RunTool(
        folder, "decode IdentityAsCDM " + c.arguments + " -o \"" + Utf8(folder / "made") + "\"",
        damaged);
    EXPECT_EQ(run.exit_code, 2);
    EXPECT_EQ(run.output, "");
    EXPECT_NE(run.errors.find(c.said), std::string::npos) << run.errors;
    EXPECT_EQ(std::count(run.errors.begin(), run.errors.end(), '\n'), 1) << run.errors;
    EXPECT_EQ(run.errors.find("secret-value"), std::string::npos) << run.errors;
    EXPECT_FALSE(std::filesystem::exists(folder / "made"));
  }
}

// Sets each text to one that is nowhere else and begins with its class, and counts, by class, the
// values that are not text. What is in a message of a class has that class.
void Mark(Message& message, const std::string& outer, int& number,
          std::map<std::string, int>& numbers) {
  const auto* reflection = message.GetReflection();
  std::vector<const FieldDescriptor*> fields;
  reflection->ListFields(message, &fields);
  for (const FieldDescriptor* field : fields) {
    const std::string name = outer.empty() ? ClassOf(field) : outer;
    const int size = field->is_repeated() ? reflection->FieldSize(message, field) : 1;
    for (int i = 0; i < size; ++i) {
      const std::string text =
          (name.empty() ? "technical" : name) + "-" + std::to_string(++number) + ";";
      if (field->message_type() != nullptr) {
        Mark(field->is_repeated() ? *reflection->MutableRepeatedMessage(&message, field, i)
                                  : *reflection->MutableMessage(&message, field),
             name, number, numbers);
      } else if (field->type() != FieldDescriptor::TYPE_STRING) {
        ++numbers[name];
      } else if (field->is_repeated()) {
        reflection->SetRepeatedString(&message, field, i, text);
      } else {
        reflection->SetString(&message, field, text);
      }
    }
  }
}

int Occurrences(const std::string& text, const std::string& part) {
  int count = 0;
  for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
  return count;
}

TEST(ToolRedact, LeavesNothingPersonalInAnyContract) {
  const Folder folder;
  folder.Write("key", kKey);
  const std::string classes[] = {"identifier", "location", "content", "interaction"};
  std::map<std::string, int> seen;
  for (const Message* prototype : AllPrototypes()) {
    SCOPED_TRACE(prototype->GetDescriptor()->full_name());
    const std::unique_ptr<Message> original(prototype->New());
    FillAll(original.get(), 1);
    int number = 0;
    std::map<std::string, int> numbers_before;
    Mark(*original, "", number, numbers_before);
    const std::string before = original->DebugString();
    for (const std::string& redacted :
         {std::string("all"), classes[0], classes[1], classes[2], classes[3]}) {
      for (const bool with_key : {false, true}) {
        tool::Redactor redactor(
            tool::Contracts::Installed(), {redacted},
            with_key ? std::optional<std::string>(Utf8(folder / "key")) : std::nullopt);
        const std::unique_ptr<Message> message(prototype->New());
        message->CopyFrom(*original);
        redactor.Redact(*message);
        const std::string after = message->DebugString();
        int number_after = 0;
        std::map<std::string, int> numbers_after;
        // Marking counts the numbers; the strings are no longer needed.
        Mark(*message, "", number_after, numbers_after);
        int gone = 0, numbers_gone = 0;
        for (const std::string& name : classes) {
          const bool is_redacted = redacted == "all" || redacted == name;
          const int had = Occurrences(before, "\"" + name + "-");
          EXPECT_EQ(Occurrences(after, "\"" + name + "-"), is_redacted ? 0 : had) << name;
          EXPECT_EQ(numbers_after[name], is_redacted ? 0 : numbers_before[name]) << name;
          gone += is_redacted ? had : 0;
          numbers_gone += is_redacted ? numbers_before[name] : 0;
          seen[name] += had;
        }
        EXPECT_EQ(Occurrences(after, "technical-"), Occurrences(before, "technical-"));
        EXPECT_EQ(numbers_after[""], numbers_before[""]);
        EXPECT_EQ(redactor.replaced(), static_cast<size_t>(with_key ? gone : 0));
        EXPECT_EQ(redactor.dropped(), static_cast<size_t>(numbers_gone + (with_key ? 0 : gone)));
      }
    }
  }
  for (const std::string& name : classes) EXPECT_GT(seen[name], 0) << name;
}

}  // namespace
}  // namespace ovix::tests
