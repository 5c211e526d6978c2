#include <algorithm>

#include "contracts/facts.h"
#include "contracts/limits.h"
#include "show/show.h"
#include "show/types.h"
#include "terminal/format.h"
#include "terminal/platform.h"

namespace ovix::tool {
namespace {

constexpr size_t kWidth = 100;

// "Outer.Inner (package)", for a name that another package may have too.
template <typename AnyDescriptor>
std::string WithPackage(const AnyDescriptor* descriptor) {
  return ShortName(descriptor) + " (" + descriptor->file()->package() + ")";
}

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
    ShowTypes(types, message);
    return text_;
  }

  std::string Show(const FieldDescriptor* field) {
    Types types;
    types.Collect(field);
    const Descriptor* message = field->containing_type();
    Heading(field->full_name(), "field", "");
    text_ += "\n";
    Line("of", std::string(KindTerm(KindOf(message))) + " " + ShortName(message));
    Line("schema", field->file()->name());
    text_ += "\n";
    ShowField(field, field->name().size(), TypeText(field).size());
    ShowTypes(types, nullptr);
    return text_;
  }

  std::string Show(const EnumDescriptor* enumeration) {
    ShowEnum(enumeration);
    return text_;
  }

 private:
  // All but the one that is shown.
  void ShowTypes(const Types& types, const Descriptor* shown) {
    for (const Descriptor* part : types.messages) {
      if (part == shown) continue;
      text_ += "\n";
      ShowMessage(part);
    }
    for (const EnumDescriptor* enumeration : types.enums) {
      text_ += "\n";
      ShowEnum(enumeration);
    }
  }

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
    Heading(message->full_name(), KindTerm(KindOf(message)), comment.text);
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
      ShowField(message->field(i), name_width, type_width);
    }
  }

  void ShowField(const FieldDescriptor* field, size_t name_width, size_t type_width) {
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

}  // namespace

std::string ShownAsText(const Contracts& contracts, const Descriptor* message) {
  return TextView(contracts).Show(message);
}

std::string ShownAsText(const Contracts& contracts, const FieldDescriptor* field) {
  return TextView(contracts).Show(field);
}

std::string ShownAsText(const Contracts& contracts, const EnumDescriptor* enumeration) {
  return TextView(contracts).Show(enumeration);
}

}  // namespace ovix::tool
