// What holds for every payload that the uploader builds. A new one is taken in from its table.
#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <map>
#include <regex>
#include <set>

#include "contracts/contracts.h"
#include "contracts/facts.h"
#include "ovix/telemetry/contract/upload/agent/tarvelAgentTelemetryStorageUsageAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/upload_options.pb.h"
#include "store/json.h"
#include "store/time.h"
#include "support/contracts.h"
#include "support/folder.h"
#include "support/payloads.h"
#include "uploader/label.h"

namespace ovix::tests {
namespace {

using agent::Built;
using agent::Store;
using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
namespace upload = telemetry::contract::upload;

const std::chrono::system_clock::time_point kNow =
    std::chrono::sys_days(std::chrono::year(2026) / 11 / 21);

// The value of a singular field as a string; nothing for an absent one and for the empty string.
std::string TextOf(const Message& message, const FieldDescriptor* field) {
  const auto* reflection = message.GetReflection();
  if (field->has_presence() && !reflection->HasField(message, field)) return "";
  switch (field->cpp_type()) {
    case FieldDescriptor::CPPTYPE_STRING:
      return reflection->GetString(message, field);
    case FieldDescriptor::CPPTYPE_ENUM: {
      const auto* value =
          field->enum_type()->FindValueByNumber(reflection->GetEnumValue(message, field));
      return value == nullptr ? "" : value->name();
    }
    case FieldDescriptor::CPPTYPE_BOOL:
      return std::to_string(reflection->GetBool(message, field));
    case FieldDescriptor::CPPTYPE_INT32:
      return std::to_string(reflection->GetInt32(message, field));
    case FieldDescriptor::CPPTYPE_UINT32:
      return std::to_string(reflection->GetUInt32(message, field));
    case FieldDescriptor::CPPTYPE_INT64:
      return std::to_string(reflection->GetInt64(message, field));
    case FieldDescriptor::CPPTYPE_UINT64:
      return std::to_string(reflection->GetUInt64(message, field));
    case FieldDescriptor::CPPTYPE_FLOAT:
      return std::to_string(reflection->GetFloat(message, field));
    case FieldDescriptor::CPPTYPE_DOUBLE:
      return std::to_string(reflection->GetDouble(message, field));
    default:
      ADD_FAILURE() << "teach this test the type of " << field->full_name();
      return "";
  }
}

// Holds each field of a payload that was built from the records of `rows` to what its lineage says.
class LineageCheck {
 public:
  explicit LineageCheck(const std::map<std::string, const Message*>& rows) : rows_(rows) {}

  void Check(const Message& message) {
    std::vector<const Message*> records;
    for (const tool::Source& source : Contracts().CommentOf(message.GetDescriptor()).sources) {
      const auto row = rows_.find(source.name);
      if (row != rows_.end()) records.push_back(row->second);
    }
    const auto* descriptor = message.GetDescriptor();
    const auto* reflection = message.GetReflection();
    for (int i = 0; i < descriptor->field_count(); ++i) {
      const FieldDescriptor* field = descriptor->field(i);
      if (field->cpp_type() == FieldDescriptor::CPPTYPE_MESSAGE) {
        const int count = field->is_repeated() ? reflection->FieldSize(message, field)
                                               : reflection->HasField(message, field);
        for (int n = 0; n < count; ++n) {
          Check(field->is_repeated() ? reflection->GetRepeatedMessage(message, field, n)
                                     : reflection->GetMessage(message, field));
        }
      } else if (!field->is_repeated()) {
        CheckField(message, field, records);
      }
    }
  }
  int checked() const { return checked_; }

 private:
  void CheckField(const Message& message, const FieldDescriptor* field,
                  const std::vector<const Message*>& records) {
    std::string name = field->name();
    for (const tool::Source& source : Contracts().CommentOf(field).sources) {
      const bool direct =
          source.words.starts_with("renamed.") || source.words.starts_with("retyped");
      if (!direct) return;  // computed, or from no record
      name = source.name.substr(source.name.rfind('.') + 1);
    }
    for (const Message* row : records) {
      const FieldDescriptor* from = row->GetDescriptor()->FindFieldByName(name);
      if (from == nullptr) continue;
      const std::string expected = ExpectedOf(*row, from, field);
      EXPECT_EQ(TextOf(message, field), expected) << field->full_name();
      ++checked_;
      return;
    }
  }

  // The value that the payload's field should have: that of the record, unsigned where the field
  // is, and none where it does not fit or has no name.
  static std::string ExpectedOf(const Message& row, const FieldDescriptor* from,
                                const FieldDescriptor* to) {
    const std::string text = TextOf(row, from);
    const bool is_wide = from->cpp_type() == FieldDescriptor::CPPTYPE_INT64 ||
                         from->cpp_type() == FieldDescriptor::CPPTYPE_UINT64;
    if (text.empty() || from->cpp_type() == FieldDescriptor::CPPTYPE_STRING) return text;
    if (to->cpp_type() == FieldDescriptor::CPPTYPE_UINT32) {
      if (is_wide && (text[0] == '-' || std::stoull(text) > ~uint32_t{0})) return "";
      if (text[0] == '-') return std::to_string(static_cast<uint32_t>(std::stol(text)));
    }
    if (to->cpp_type() == FieldDescriptor::CPPTYPE_INT32 && is_wide &&
        std::to_string(static_cast<int32_t>(std::strtoll(text.c_str(), nullptr, 10))) != text) {
      return "";
    }
    return text;
  }

  static const tool::Contracts& Contracts() { return tool::Contracts::Installed(); }

  const std::map<std::string, const Message*>& rows_;
  int checked_ = 0;
};

using Fill = std::function<void(Message* row)>;

// A store with one row of each table, and what the uploader makes of it.
struct Everything {
  explicit Everything(const Fill& fill, const char* name = "store")
      : store(folder / name, Library(), {.clock = [] { return kNow; }}) {
    for (const agent::Table& table : Library().tables()) {
      if (table.is_change_log()) continue;
      Message* row = owned.emplace_back(agent::NewRow(table)).get();
      fill(row);
      row->GetReflection()->SetString(row, table.time, agent::TimeText(kNow));
      store.Put(*row);
      rows[table.record->full_name()] = row;
    }
    built = Build(store, kNow);
  }

  const Folder folder;
  Store store;
  std::vector<std::unique_ptr<Message>> owned;
  std::map<std::string, const Message*> rows;  // by the record's full name
  Built built;
};

std::set<std::string> NamesOf(const std::vector<const Descriptor*>& messages) {
  std::set<std::string> names;
  for (const Descriptor* message : messages) names.insert(message->name());
  return names;
}

// Calls `visit` with each text of a message, those of lists and parts included.
void ForEachText(Message* message,
                 const std::function<void(const FieldDescriptor*, std::string&)>& visit) {
  const auto* reflection = message->GetReflection();
  std::vector<const FieldDescriptor*> fields;
  reflection->ListFields(*message, &fields);
  for (const FieldDescriptor* field : fields) {
    const int count = field->is_repeated() ? reflection->FieldSize(*message, field) : 1;
    for (int i = 0; i < count; ++i) {
      if (field->cpp_type() == FieldDescriptor::CPPTYPE_MESSAGE) {
        ForEachText(field->is_repeated() ? reflection->MutableRepeatedMessage(message, field, i)
                                         : reflection->MutableMessage(message, field),
                    visit);
      } else if (field->type() == FieldDescriptor::TYPE_STRING) {
        std::string text = field->is_repeated() ? reflection->GetRepeatedString(*message, field, i)
                                                : reflection->GetString(*message, field);
        visit(field, text);
        field->is_repeated() ? reflection->SetRepeatedString(message, field, i, text)
                             : reflection->SetString(message, field, text);
      }
    }
  }
}

TEST(EveryPayload, CarriesWhatItsLineageSaysWhateverTheValues) {
  for (const bool extreme : {false, true}) {
    SCOPED_TRACE(extreme ? "the ends of each type" : "values within each type");
    const Everything everything([&](Message* row) {
      FillAll(row, 1);
      if (extreme) FillExtremes(row);
    });
    EXPECT_EQ(everything.built.problems, std::vector<std::string>());
    LineageCheck check(everything.rows);
    std::vector<const Descriptor*> kinds;
    for (const auto& payload : everything.built.payloads) {
      SCOPED_TRACE(payload.message->GetDescriptor()->full_name());
      check.Check(*payload.message);
      kinds.push_back(payload.message->GetDescriptor());
      const auto& cdm = kinds.back()->options().GetExtension(upload::cdm);
      EXPECT_EQ(TextOf(*payload.message, kinds.back()->FindFieldByName("version")), cdm.version());
      EXPECT_GT(payload.records, 0);
    }
    EXPECT_EQ(NamesOf(kinds), NamesOf(agent::BuiltPayloads()));
    EXPECT_GT(check.checked(), 100);
  }
}

TEST(EveryPayload, IsListedInThePage) {
  const std::set<std::string> built = NamesOf(agent::BuiltPayloads());
  std::ifstream page(SourceFile("docs/payloads.md"));
  std::map<std::string, std::string> told;
  const std::regex line(R"(\| `(\w+)` \| (yes|no) \|.*)");
  for (std::string text; std::getline(page, text);) {
    std::smatch cells;
    if (std::regex_match(text, cells, line)) told[cells[1]] = cells[2];
  }
  std::map<std::string, std::string> expected;
  for (const Message* prototype : AllPrototypes()) {
    const auto* descriptor = prototype->GetDescriptor();
    if (descriptor->options().GetExtension(upload::cdm).gun().empty()) continue;
    expected[descriptor->name()] = built.contains(descriptor->name()) ? "yes" : "no";
  }
  EXPECT_EQ(told, expected) << "run scripts/check-contracts --fix";
}

TEST(EveryPayload, IsAsSensitiveAsWhatItCarries) {
  // Each text of each record is the name of its field, so that it is known wherever it comes out.
  std::map<std::string, const FieldDescriptor*> fields;
  const Everything everything([&](Message* row) {
    FillAll(row, 1);
    ForEachText(row, [&](const FieldDescriptor* field, std::string& text) {
      text = "<" + field->full_name() + ">";
      fields[text] = field;
    });
  });
  const auto& contracts = tool::Contracts::Installed();
  int carried = 0;
  for (const auto& payload : everything.built.payloads) {
    ForEachText(payload.message.get(), [&](const FieldDescriptor* to, std::string& text) {
      for (const auto& [marker, from] : fields) {
        if (text.find(marker) == std::string::npos) continue;
        ++carried;
        EXPECT_GE(tool::FactsOf(contracts, to).privacy, tool::FactsOf(contracts, from).privacy)
            << to->full_name() << " carries " << from->full_name();
      }
    });
  }
  EXPECT_GT(carried, 50);
}

TEST(EveryPayload, IsUtf8AndHasALabelThatReadsBack) {
#ifdef _WIN32  // whose names are UTF-16
  constexpr char kName[] = "store";
#else
  constexpr char kName[] = "s\xE9t\xC3\xA9";
#endif
  const Everything everything([](Message* row) { FillAll(row, 1); }, kName);
  int64_t sequence = 0;
  for (const auto& payload : everything.built.payloads) {
    const auto* message = payload.message->GetDescriptor();
    SCOPED_TRACE(message->full_name());
    EXPECT_EQ(agent::FindUnkeepable(*payload.message), "");
    const agent::Label label =
        agent::MakeLabel(message, agent::CanonicalBytes(*payload.message),
                         "5c91a2bf-2873-8c8c-9f56-07345e9936b3", agent::TimeText(kNow), ++sequence);
    const auto read = agent::Label::FromJson(label.ToJson());
    ASSERT_TRUE(read);
    EXPECT_EQ(read->ToJson(), label.ToJson());
    EXPECT_EQ(label.gun, message->options().GetExtension(upload::cdm).gun());
    for (const char* ending : {".binpb", ".json"}) {
      const auto name = agent::ParseOutboxName(label.FileStem() + ending);
      EXPECT_TRUE(name && name->stem == label.FileStem() && name->sequence == sequence);
    }
#ifndef _WIN32
    if (const auto* usage =
            dynamic_cast<const upload::agent::TarvelAgentTelemetryStorageUsageAsCDM*>(
                payload.message.get())) {
      EXPECT_NE(usage->database_path().find("s\xEF\xBF\xBDt\xC3\xA9"), std::string::npos);
    }
#endif
  }
  EXPECT_GT(sequence, 0);
}

}  // namespace
}  // namespace ovix::tests
