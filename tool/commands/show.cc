// show: one message or enumeration whole.
#include <google/protobuf/descriptor.pb.h>

#include <algorithm>
#include <memory>

#include "commands/commands.h"
#include "contracts/contracts.h"
#include "contracts/facts.h"
#include "contracts/limits.h"
#include "contracts/names.h"
#include "terminal/output.h"
#include "terminal/platform.h"

namespace ovix::tool {
namespace {

constexpr size_t kWidth = 100;

// The messages and enumerations that a message is made of, itself first, each once: by its fields'
// types and by what is declared in it.
struct Types {
  std::vector<const Descriptor*> messages;
  std::vector<const EnumDescriptor*> enums;

  void Collect(const Descriptor* message) {
    if (std::find(messages.begin(), messages.end(), message) != messages.end()) return;
    messages.push_back(message);
    const auto add = [&](const FieldDescriptor* field) {
      const EnumDescriptor* type = field->enum_type();
      if (type != nullptr && std::find(enums.begin(), enums.end(), type) == enums.end()) {
        enums.push_back(type);
      }
    };
    for (int i = 0; i < message->field_count(); ++i) {
      const FieldDescriptor* field = message->field(i);
      if (field->is_map()) field = field->message_type()->map_value();
      add(field);
      if (field->message_type() != nullptr) Collect(field->message_type());
    }
    for (int i = 0; i < message->nested_type_count(); ++i) {
      if (!message->nested_type(i)->options().map_entry()) Collect(message->nested_type(i));
    }
  }
};

// "from BatteryHealthLog.ct_number: renamed"; "from no record: set by the uploader".
std::string OriginText(const Origin& origin) {
  std::string text = "from ";
  if (origin.field != nullptr) {
    text += origin.field->containing_type()->name() + "." + origin.field->name();
  } else {
    text += origin.name == "none" ? "no record" : origin.name;
  }
  std::string words = origin.words;
  if (words.ends_with('.')) words.pop_back();
  return words.empty() ? text : text + ": " + words;
}

// "Outer.Inner (package)", for a name that another package may have too.
template <typename AnyDescriptor>
std::string WithPackage(const AnyDescriptor* descriptor) {
  return ShortName(descriptor) + " (" + descriptor->file()->package() + ")";
}

// --- Text

class TextView {
 public:
  explicit TextView(const Contracts& contracts)
      : contracts_(contracts),
        colour_(WantsColour()),
        width_(std::clamp<size_t>(static_cast<size_t>(TerminalWidth()), 60, kWidth)) {
    if (TerminalWidth() == 0) width_ = kWidth;
  }

  std::string Show(const Descriptor* message) {
    Types types;
    types.Collect(message);
    ShowMessage(message);
    for (const Descriptor* part : types.messages) {
      if (part != message) {
        text_ += "\n";
        ShowMessage(part);
      }
    }
    for (const EnumDescriptor* enumeration : types.enums) {
      text_ += "\n";
      ShowEnum(enumeration);
    }
    return text_;
  }

  std::string Show(const EnumDescriptor* enumeration) {
    ShowEnum(enumeration);
    return text_;
  }

 private:
  void Heading(const std::string& name, const std::string& kind, const std::string& comment) {
    text_ += Styled(name, Style::kHeading, colour_) +
             Styled(" (" + kind + ")", Style::kQuiet, colour_) + "\n";
    text_ += Wrapped(Reflowed(comment), width_, 2);
  }
  // "  label   text", the text broken and kept in its column.
  void Line(const std::string& label, const std::string& text) {
    const std::string wrapped = Wrapped(text, width_, 12);
    text_ += "  " + Styled(label, Style::kQuiet, colour_) + std::string(10 - label.size(), ' ') +
             wrapped.substr(std::min<size_t>(12, wrapped.size()));
  }
  void Lines(const std::string& label, const std::vector<std::string>& texts) {
    for (const std::string& text : texts) Line(&text == &texts.front() ? label : "", text);
  }

  void ShowMessage(const Descriptor* message) {
    const Comment comment = contracts_.CommentOf(message);
    Heading(message->full_name(), KindText(KindOf(message)), comment.text);
    text_ += "\n";
    Line("schema", message->file()->name());
    switch (KindOf(message)) {
      case Kind::kTable:
        ShowTable(message);
        break;
      case Kind::kPayload:
        Line("gun", PayloadOptionsOf(message).gun);
        Line("version", PayloadOptionsOf(message).version);
        break;
      case Kind::kMarker:
        Line("limit", std::to_string(contracts_.MaxSizeMb(message->name())) + " MB");
        break;
      default:
        break;
    }
    std::vector<std::string> sources;
    for (const Source& source : comment.sources) {
      sources.push_back(source.name + (source.words.empty() ? "" : ", " + source.words));
    }
    Lines("source", sources);
    std::vector<std::string> users;
    for (const FieldDescriptor* user : contracts_.UsersOf(message)) {
      users.push_back(user->full_name());
    }
    Lines("used in", users);
    ShowFields(message);
  }

  void ShowTable(const Descriptor* message) {
    const TableOptions table = TableOptionsOf(message);
    Line("database", table.database);
    if (table.table != message->name()) Line("table", table.table);
    Line("type", table.type);
    Line("limits", LimitsText(table, contracts_.MaxSizeMb(table.database)));
    std::string key;
    for (const FieldDescriptor* field : table.key) key += (key.empty() ? "" : ", ") + field->name();
    if (!key.empty()) Line("key", key);
    std::vector<std::string> fed, same;
    for (const Feed& feed : contracts_.FeedsOf(message)) {
      (feed.same_data ? same : fed).push_back(WithPackage(feed.payload));
    }
    for (auto* payloads : {&fed, &same}) {
      payloads->erase(std::unique(payloads->begin(), payloads->end()), payloads->end());
    }
    Lines("feeds", fed);
    Lines("same in", same);
  }

  void ShowFields(const Descriptor* message) {
    size_t name_width = 0, type_width = 0;
    for (int i = 0; i < message->field_count(); ++i) {
      name_width = std::max(name_width, message->field(i)->name().size());
      type_width = std::max(type_width, TypeText(message->field(i)).size());
    }
    text_ += "\n";
    for (int i = 0; i < message->field_count(); ++i) {
      const FieldDescriptor* field = message->field(i);
      const std::string number = std::to_string(field->number());
      const std::string type = TypeText(field);
      text_ += std::string(6 - std::min<size_t>(5, number.size()), ' ') + number + "  " +
               Styled(field->name(), Style::kName, colour_) +
               std::string(name_width - field->name().size() + 2, ' ') + type +
               std::string(type_width - type.size() + 2, ' ') + PresenceText(field) +
               (IsKey(field) ? ", key" : "");
      if (field->real_containing_oneof() != nullptr) {
        text_ += ", one of " + field->real_containing_oneof()->name();
      }
      text_ += "\n" + Wrapped(Reflowed(contracts_.CommentOf(field).text), width_, 10);
      for (const std::string& line : FactLines(FactsOf(contracts_, field))) {
        text_ += Styled(Wrapped(line, width_, 10), Style::kQuiet, colour_);
      }
      for (const Origin& origin : contracts_.OriginsOf(field)) {
        text_ += Styled(Wrapped(OriginText(origin), width_, 10), Style::kQuiet, colour_);
      }
    }
  }

  void ShowEnum(const EnumDescriptor* enumeration) {
    Heading(enumeration->full_name(), "enumeration", contracts_.CommentOf(enumeration).text);
    text_ += "\n";
    Line("schema", enumeration->file()->name());
    std::vector<std::string> users;
    for (const FieldDescriptor* user : contracts_.UsersOf(enumeration)) {
      users.push_back(user->full_name());
    }
    Lines("used in", users);
    text_ += "\n";
    for (int i = 0; i < enumeration->value_count(); ++i) {
      const EnumValueDescriptor* value = enumeration->value(i);
      const std::string number = std::to_string(value->number());
      text_ += std::string(6 - std::min<size_t>(5, number.size()), ' ') + number + "  " +
               Styled(value->name(), Style::kName, colour_) + "\n" +
               Wrapped(Reflowed(contracts_.CommentOf(value).text), width_, 10);
    }
  }

  const Contracts& contracts_;
  const bool colour_;
  size_t width_;
  std::string text_;
};

// --- JSON

class JsonView {
 public:
  explicit JsonView(const Contracts& contracts) : contracts_(contracts) {}

  std::string Show(const Descriptor* message) {
    Types types;
    types.Collect(message);
    json_.BeginObject();
    AddMessage(message);
    json_.Key("types").BeginArray();
    for (const Descriptor* part : types.messages) {
      if (part == message) continue;
      json_.BeginObject();
      AddMessage(part);
      json_.EndObject();
    }
    json_.EndArray().Key("enums").BeginArray();
    for (const EnumDescriptor* enumeration : types.enums) {
      json_.BeginObject();
      AddEnum(enumeration);
      json_.EndObject();
    }
    return json_.EndArray().EndObject().Text();
  }

  std::string Show(const EnumDescriptor* enumeration) {
    json_.BeginObject();
    AddEnum(enumeration);
    return json_.EndObject().Text();
  }

 private:
  template <typename AnyDescriptor>
  void AddUsers(const AnyDescriptor* type) {
    json_.Key("used_in").BeginArray();
    for (const FieldDescriptor* user : contracts_.UsersOf(type)) json_.Value(user->full_name());
    json_.EndArray();
  }

  void AddMessage(const Descriptor* message) {
    const Comment comment = contracts_.CommentOf(message);
    const Kind kind = KindOf(message);
    json_.Add("name", message->full_name())
        .Add("kind", KindText(kind))
        .Add("schema", message->file()->name())
        .Add("comment", comment.text);
    if (kind == Kind::kTable) {
      const TableOptions table = TableOptionsOf(message);
      json_.Add("table", table.table)
          .Add("database", table.database)
          .Add("type", table.type)
          .Add("max_rows", table.max_rows)
          .Add("max_time_days", table.max_time_days)
          .Add("database_max_size_mb", contracts_.MaxSizeMb(table.database));
      json_.Key("key").BeginArray();
      for (const FieldDescriptor* field : table.key) json_.Value(field->name());
      json_.EndArray();
      const auto feeds = contracts_.FeedsOf(message);
      for (const bool same_data : {false, true}) {
        json_.Key(same_data ? "same_data_in" : "feeds").BeginArray();
        const Descriptor* last = nullptr;
        for (const Feed& feed : feeds) {
          if (feed.same_data != same_data || feed.payload == last) continue;
          json_.Value(feed.payload->full_name());
          last = feed.payload;
        }
        json_.EndArray();
      }
    }
    if (kind == Kind::kPayload) {
      const PayloadOptions payload = PayloadOptionsOf(message);
      json_.Add("gun", payload.gun).Add("version", payload.version);
    }
    if (kind == Kind::kMarker) {
      json_.Add("database_max_size_mb", contracts_.MaxSizeMb(message->name()));
    }
    json_.Key("sources").BeginArray();
    for (const Source& source : comment.sources) {
      json_.BeginObject().Add("name", source.name).Add("words", source.words).EndObject();
    }
    json_.EndArray();
    AddUsers(message);
    json_.Key("fields").BeginArray();
    for (int i = 0; i < message->field_count(); ++i) AddField(message->field(i));
    json_.EndArray();
  }

  void AddField(const FieldDescriptor* field) {
    json_.BeginObject()
        .Add("number", field->number())
        .Add("name", field->name())
        .Add("type", TypeText(field));
    if (field->message_type() != nullptr && !field->is_map()) {
      json_.Add("type_name", field->message_type()->full_name());
    }
    if (field->enum_type() != nullptr) json_.Add("type_name", field->enum_type()->full_name());
    json_.Add("presence", PresenceText(field)).Add("key", IsKey(field));
    if (field->real_containing_oneof() != nullptr) {
      json_.Add("oneof", field->real_containing_oneof()->name());
    }
    json_.Add("comment", contracts_.CommentOf(field).text);
    AddFacts(json_, FactsOf(contracts_, field));
    json_.Key("sources").BeginArray();
    for (const Origin& origin : contracts_.OriginsOf(field)) {
      json_.BeginObject().Add("name", origin.name);
      if (origin.field != nullptr) json_.Add("field", origin.field->full_name());
      json_.Add("words", origin.words).EndObject();
    }
    json_.EndArray().EndObject();
  }

  void AddEnum(const EnumDescriptor* enumeration) {
    json_.Add("name", enumeration->full_name())
        .Add("kind", "enumeration")
        .Add("schema", enumeration->file()->name())
        .Add("comment", contracts_.CommentOf(enumeration).text);
    AddUsers(enumeration);
    json_.Key("values").BeginArray();
    for (int i = 0; i < enumeration->value_count(); ++i) {
      const EnumValueDescriptor* value = enumeration->value(i);
      json_.BeginObject()
          .Add("number", value->number())
          .Add("name", value->name())
          .Add("comment", contracts_.CommentOf(value).text)
          .EndObject();
    }
    json_.EndArray();
  }

  const Contracts& contracts_;
  JsonWriter json_;
};

// --- CSV: one line a field, of the message and of every message in it.

std::string AsCsv(const Contracts& contracts, const Descriptor* message) {
  Types types;
  types.Collect(message);
  std::string csv = CsvLine({"message", "number", "field", "type", "presence", "key", "comment",
                             "sources", "unit", "values", "format", "privacy"});
  for (const Descriptor* part : types.messages) {
    for (int i = 0; i < part->field_count(); ++i) {
      const FieldDescriptor* field = part->field(i);
      const FieldFacts facts = FactsOf(contracts, field);
      std::string sources;
      for (const Origin& origin : contracts.OriginsOf(field)) {
        sources += (sources.empty() ? "" : "; ") + OriginText(origin);
      }
      csv += CsvLine({part->full_name(), std::to_string(field->number()), field->name(),
                      TypeText(field), PresenceText(field), IsKey(field) ? "true" : "false",
                      Reflowed(contracts.CommentOf(field).text), sources, facts.unit, facts.values,
                      facts.format, PrivacyText(facts.privacy)});
    }
  }
  return csv;
}

std::string AsCsv(const Contracts& contracts, const EnumDescriptor* enumeration) {
  std::string csv = CsvLine({"enumeration", "number", "value", "comment"});
  for (int i = 0; i < enumeration->value_count(); ++i) {
    const EnumValueDescriptor* value = enumeration->value(i);
    csv += CsvLine({enumeration->full_name(), std::to_string(value->number()), value->name(),
                    Reflowed(contracts.CommentOf(value).text)});
  }
  return csv;
}

template <typename AnyDescriptor>
std::string Shown(const Contracts& contracts, const AnyDescriptor* descriptor, Format format) {
  switch (format) {
    case Format::kJson:
      return JsonView(contracts).Show(descriptor);
    case Format::kCsv:
      return AsCsv(contracts, descriptor);
    default:
      return TextView(contracts).Show(descriptor);
  }
}

}  // namespace

void AddShow(CLI::App& app, int&) {
  CLI::App* command = app.add_subcommand("show", "Show one message or enumeration whole");
  struct Options {
    std::string name;
    Format format = Format::kTable;
  };
  const auto options = std::make_shared<Options>();
  command
      ->add_option("name", options->name,
                   "Its full name, or the end of it where no other has the same")
      ->type_name("NAME")
      ->required();
  AddFormat(*command, options->format);
  command->footer(
      "Examples:\n"
      "  ovix-contracts show BatteryHealthLog\n"
      "  ovix-contracts show upload.device_profile.HwBattery\n"
      "  ovix-contracts show HwBatteryHealthLogAsCDM --format json");
  command->callback([options] {
    const Contracts& contracts = Contracts::Installed();
    const Named named = FindNamed(contracts, options->name);
    WriteAll(named.message != nullptr ? Shown(contracts, named.message, options->format)
                                      : Shown(contracts, named.enumeration, options->format));
  });
}

}  // namespace ovix::tool
