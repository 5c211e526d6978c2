#include "catalogue/pages.h"

#include <google/protobuf/descriptor.pb.h>

#include <algorithm>
#include <cstddef>
#include <utility>

#include "catalogue/addresses.h"
#include "catalogue/assets.h"
#include "catalogue/facts.h"
#include "catalogue/html.h"
#include "catalogue/search.h"
#include "contracts/facts.h"
#include "contracts/personal.h"
#include "ovix/telemetry/contract/tables.h"
#include "ovix/telemetry/contract/version.h"
#include "terminal/error.h"

namespace ovix::tool {
namespace {

namespace tables = telemetry::contract::tables;

constexpr std::string_view kTitle = "Telemetry data contracts";

std::string Count(size_t number, const std::string& noun) {
  return std::to_string(number) + " " + noun + (number == 1 ? "" : "s");
}

std::string KeptText(const TableOptions& options) {
  std::string text = options.type == "State" ? "one row per key" : "rows are appended";
  if (options.max_rows != 0) text += ", at most " + Count(options.max_rows, "row");
  if (options.max_time_days != 0) text += ", for " + Count(options.max_time_days, "day");
  return text;
}

// A source that is no record that is known.
std::string NoRecord(const std::string& name, const std::string& words) {
  return (name == "none" ? "no record" : Breakable(name)) + (words.empty() ? "" : ", " + words);
}

class Site {
 public:
  explicit Site(const Contracts& contracts);

  std::map<std::string, std::string> Files() const;

 private:
  // The address of a word of a comment that names a message, an enumeration or a field; empty where
  // it names none or more than one.
  std::string Resolve(const std::string& scope, const std::string& word) const;
  std::string Prose(const std::string& scope, const std::string& text) const;
  std::string FirstLine(const std::string& scope, const std::string& text) const;

  // Links, seen from `root`: "" in contracts/, "contracts/" on the start page.
  std::string LinkTo(const Descriptor* message, const std::string& root = "") const;
  std::string LinksTo(const std::vector<const Descriptor*>& messages,
                      const std::string& root = "") const;
  // Those that feed or are fed; with `same_data` those that only have the same data.
  std::vector<const Descriptor*> PayloadsOf(const Descriptor* table, bool same_data = false) const;
  std::vector<const Descriptor*> TablesOf(const Descriptor* payload, bool same_data = false) const;
  const Descriptor* ChangeLogOf(const Descriptor* table) const;

  std::string LinkTo(const FieldDescriptor* field, Kind kind) const;
  std::string TypeHtml(const FieldDescriptor* field) const;
  std::string Lineage(const FieldDescriptor* field) const;
  std::string FieldRow(const FieldDescriptor* field) const;
  std::string FieldTable(const std::string& label, const std::string& rows) const;
  std::string Fields(const Descriptor* message) const;
  std::string Values(const EnumDescriptor* enumeration) const;
  std::string Sources(const Descriptor* message) const;
  std::string UsedBy(const std::vector<const FieldDescriptor*>& users) const;
  std::string SizeText(const std::string& database) const;
  std::string Flow(const Descriptor* message) const;
  std::string Facts(const Descriptor* message) const;
  std::string Extensions(const Descriptor* message) const;
  std::string NestedSections(const Descriptor* message, std::vector<std::string>& anchors) const;
  std::string AboutFile(const FileDescriptor* file) const;

  std::string MessagePage(const Descriptor* message) const;
  std::string EnumPage(const EnumDescriptor* enumeration) const;
  std::string StartPage() const;
  std::string DatabaseRows(const std::string& database,
                           const std::vector<const Descriptor*>& records) const;

  // `root` leads from the page to the site's folder.
  std::string Whole(const std::string& root, const std::string& title,
                    const std::string& description, const std::string& main) const;

  const Contracts& contracts_;
  const PersonalData personal_;
  tables::Catalogue tables_;
  std::vector<const Descriptor*> pages_;
  std::vector<const EnumDescriptor*> enum_pages_;
  std::map<std::string, std::vector<const Descriptor*>> by_name_;
  std::map<std::string, std::vector<const Descriptor*>> by_database_;
  // Which fields of payloads come from a field of a record. Not to be walked: its order is none.
  std::map<const FieldDescriptor*, std::vector<std::pair<const FieldDescriptor*, std::string>>>
      goes_to_;
  std::map<const Descriptor*, std::vector<const Descriptor*>> logged_in_;  // by change log
};

Site::Site(const Contracts& contracts)
    : contracts_(contracts), personal_(contracts), tables_(contracts.messages()) {
  for (const Descriptor* message : contracts.messages()) {
    by_name_[message->name()].push_back(message);
    if (message->containing_type() == nullptr) pages_.push_back(message);
    if (KindOf(message) == Kind::kMarker) by_database_[message->name()];
    for (int i = 0; i < message->field_count(); ++i) {
      for (const Origin& origin : contracts.OriginsOf(message->field(i))) {
        if (origin.field == nullptr) continue;
        goes_to_[origin.field].emplace_back(message->field(i), origin.words);
      }
    }
  }
  for (const EnumDescriptor* enumeration : contracts.enums()) {
    if (enumeration->containing_type() == nullptr) enum_pages_.push_back(enumeration);
  }
  for (const Descriptor* table : contracts.tables()) {
    by_database_[TableOptionsOf(table).database].push_back(table);
    const Descriptor* log = ChangeLogOf(table);
    if (log != nullptr) logged_in_[log].push_back(table);
  }
}

std::string Site::Resolve(const std::string& scope, const std::string& word) const {
  if (word.empty()) return "";
  const auto known = [&](const FileDescriptor* file) {
    return std::find(contracts_.files().begin(), contracts_.files().end(), file) !=
           contracts_.files().end();
  };
  // As a schema resolves a name: from the innermost scope outwards.
  for (std::string prefix = scope;;) {
    const std::string name = prefix.empty() ? word : prefix + "." + word;
    const Descriptor* message = contracts_.pool().FindMessageTypeByName(name);
    if (message != nullptr && known(message->file())) return Href(message);
    const EnumDescriptor* enumeration = contracts_.pool().FindEnumTypeByName(name);
    if (enumeration != nullptr && known(enumeration->file())) return Href(enumeration);
    const FieldDescriptor* field = contracts_.pool().FindFieldByName(name);
    if (field != nullptr && known(field->file())) return Href(field);
    if (prefix.empty()) break;
    const size_t dot = prefix.rfind('.');
    prefix.resize(dot == std::string::npos ? 0 : dot);
  }
  // From anywhere, where only one has the name.
  const size_t dot = word.find('.');
  const auto found = by_name_.find(word.substr(0, dot));
  if (found == by_name_.end() || found->second.size() != 1) return "";
  if (dot == std::string::npos) return Href(found->second[0]);
  const FieldDescriptor* field = FindSourceField(found->second, word);
  return field == nullptr ? "" : Href(field);
}

std::string Site::Prose(const std::string& scope, const std::string& text) const {
  return CommentHtml(text, [&](const std::string& word) { return Resolve(scope, word); });
}

// For the start page.
std::string Site::FirstLine(const std::string& scope, const std::string& text) const {
  return InlineHtml(FirstSentence(text), [&](const std::string& word) {
    const std::string href = Resolve(scope, word);
    return href.empty() ? href : "contracts/" + href;
  });
}

std::string Site::LinkTo(const Descriptor* message, const std::string& root) const {
  return Link(root + Href(message), Breakable(ShortName(message)));
}

std::string Site::LinksTo(const std::vector<const Descriptor*>& messages,
                          const std::string& root) const {
  std::string html = "<ul class=\"links\">";
  for (const Descriptor* message : messages) html += "<li>" + LinkTo(message, root) + "</li>";
  return html + "</ul>";
}

std::vector<const Descriptor*> Site::PayloadsOf(const Descriptor* table, bool same_data) const {
  std::vector<const Descriptor*> payloads;
  for (const Feed& feed : contracts_.feeds()) {
    if (feed.same_data != same_data) continue;
    if (feed.record == table && (payloads.empty() || payloads.back() != feed.payload)) {
      payloads.push_back(feed.payload);
    }
  }
  return payloads;
}

std::vector<const Descriptor*> Site::TablesOf(const Descriptor* payload, bool same_data) const {
  std::vector<const Descriptor*> records;
  for (const Feed& feed : contracts_.feeds()) {
    if (feed.same_data != same_data) continue;
    if (feed.payload == payload && (records.empty() || records.back() != feed.record)) {
      records.push_back(feed.record);
    }
  }
  return records;
}

const Descriptor* Site::ChangeLogOf(const Descriptor* table) const {
  const tables::Table* log = tables_.ChangeLog(tables_.Get(table));
  return log == nullptr ? nullptr : log->record;
}

// A type of the page's own is named without the page's message.
template <typename AnyDescriptor>
std::string TypeName(const AnyDescriptor* type, const Descriptor* page) {
  const std::string& name = type->full_name();
  if (name.starts_with(page->full_name() + ".")) return name.substr(page->full_name().size() + 1);
  return ShortName(type);
}

std::string Site::TypeHtml(const FieldDescriptor* field) const {
  if (field->is_map()) {
    return "map&lt;" + TypeHtml(field->message_type()->map_key()) + ", " +
           TypeHtml(field->message_type()->map_value()) + "&gt;";
  }
  const Descriptor* page = Outermost(field->containing_type());
  if (field->message_type() != nullptr) {
    return Link(Href(field->message_type()), Breakable(TypeName(field->message_type(), page)));
  }
  if (field->enum_type() != nullptr) {
    return Link(Href(field->enum_type()), Breakable(TypeName(field->enum_type(), page)));
  }
  return Escaped(TypeText(field));
}

// A link to a field; to that of a part with the records or payloads whose part it is, for a part
// may be called as a record is.
std::string Site::LinkTo(const FieldDescriptor* field, Kind kind) const {
  std::string html = Link(Href(field), Breakable(QualifiedName(field)));
  const Descriptor* page = Outermost(field->containing_type());
  if (KindOf(page) != Kind::kPart) return html;
  const auto holders = contracts_.HoldersOf(field->containing_type(), kind);
  if (holders.size() > 3) return html + " in " + Count(holders.size(), KindText(kind));
  for (size_t i = 0; i < holders.size(); ++i) {
    html += (i == 0 ? " in " : i + 1 == holders.size() ? " and " : ", ") + LinkTo(holders[i]);
  }
  return html;
}

// Where a field's value comes from and where it goes.
std::string Site::Lineage(const FieldDescriptor* field) const {
  std::string rows;
  const auto add = [&](const char* way, const char* label, const std::string& html) {
    rows += std::string("<li class=\"") + way + "\"><span>" + label + "</span> " + html + "</li>";
  };
  const std::string& scope = field->containing_type()->full_name();
  const auto resolve = [&](const std::string& word) { return Resolve(scope, word); };
  for (const Origin& origin : contracts_.OriginsOf(field)) {
    const std::string words = InlineHtml(origin.words, resolve);
    if (origin.field != nullptr) {
      add("from", "From", LinkTo(origin.field, Kind::kTable) + (words.empty() ? "" : ": " + words));
    } else {
      add("from", "From", NoRecord(origin.name, words));
    }
  }
  const auto goes_to = goes_to_.find(field);
  if (goes_to != goes_to_.end()) {
    for (const auto& [target, words] : goes_to->second) {
      add("to", "To",
          LinkTo(target, Kind::kPayload) +
              (words.empty() ? "" : ": " + InlineHtml(words, resolve)));
    }
  }
  return rows.empty() ? "" : "<ul class=\"lineage\">" + rows + "</ul>";
}

std::string Site::FieldRow(const FieldDescriptor* field) const {
  const std::string anchor = AnchorOf(Href(field));
  std::string key;
  if (IsKey(field)) {
    const auto columns = TableOptionsOf(field->containing_type()).key;
    const auto place = std::find(columns.begin(), columns.end(), field) - columns.begin() + 1;
    key =
        " <span class=\"key\">key" +
        (columns.size() > 1 ? " " + std::to_string(place) + " of " + std::to_string(columns.size())
                            : std::string()) +
        "</span>";
  }
  std::string meaning = Prose(field->full_name(), contracts_.CommentOf(field).text);
  if (field->enum_type() != nullptr) {
    meaning += "<ul class=\"values\" aria-label=\"Allowed values\">";
    for (int i = 0; i < field->enum_type()->value_count(); ++i) {
      const EnumValueDescriptor* value = field->enum_type()->value(i);
      meaning += "<li><code>" + std::to_string(value->number()) + " " + Breakable(value->name()) +
                 "</code></li>";
    }
    meaning += "</ul>";
  }
  meaning += FactsHtml(FactsOf(contracts_, field)) + Lineage(field);
  return "<tr role=\"row\" id=\"" + Escaped(anchor) + "\"><td role=\"cell\" class=\"number\">" +
         std::to_string(field->number()) +
         "</td><th role=\"rowheader\" scope=\"row\" class=\"name\">" +
         Link("#" + anchor, Breakable(field->name())) + key +
         "</th><td role=\"cell\" class=\"type\">" + TypeHtml(field) +
         "</td><td role=\"cell\" class=\"presence\">" + PresenceText(field) +
         "</td><td role=\"cell\" class=\"meaning\">" + meaning + "</td></tr>\n";
}

// A narrow page shows a row as a block. The roles keep it a table for those who hear it.
std::string Site::FieldTable(const std::string& label, const std::string& rows) const {
  const auto head = [](const char* name, const std::string& html) {
    return std::string("<th role=\"columnheader\" scope=\"col\" class=\"") + name + "\">" + html +
           "</th>";
  };
  return "<table role=\"table\" class=\"fields\" aria-label=\"" + Escaped(label) +
         "\"><thead role=\"rowgroup\"><tr role=\"row\">" +
         head("number", "<abbr title=\"Number\">No.</abbr>") + head("name", "Field") +
         head("type", "Type") + head("presence", Link("../index.html#page-presence", "Presence")) +
         head("meaning", "Meaning") + "</tr></thead>\n<tbody role=\"rowgroup\">\n" + rows +
         "</tbody></table>\n";
}

std::string Site::Fields(const Descriptor* message) const {
  if (message->field_count() == 0) return "<p class=\"quiet\">It has no fields.</p>\n";
  std::string rows;
  for (int i = 0; i < message->field_count(); ++i) rows += FieldRow(message->field(i));
  return FieldTable("Fields of " + ShortName(message), rows);
}

std::string Site::Values(const EnumDescriptor* enumeration) const {
  std::string html =
      "<table role=\"table\" class=\"fields values-table\" aria-label=\"Values of " +
      Escaped(ShortName(enumeration)) +
      "\"><thead role=\"rowgroup\"><tr role=\"row\"><th role=\"columnheader\" scope=\"col\" "
      "class=\"number\"><abbr title=\"Number\">No.</abbr></th><th role=\"columnheader\" "
      "scope=\"col\" class=\"name\">Value</th><th role=\"columnheader\" scope=\"col\" "
      "class=\"meaning\">Meaning</th></tr></thead>\n<tbody role=\"rowgroup\">\n";
  for (int i = 0; i < enumeration->value_count(); ++i) {
    const EnumValueDescriptor* value = enumeration->value(i);
    const std::string anchor = AnchorOf(Href(value));
    html += "<tr role=\"row\" id=\"" + Escaped(anchor) + "\"><td role=\"cell\" class=\"number\">" +
            std::to_string(value->number()) +
            "</td><th role=\"rowheader\" scope=\"row\" class=\"name\">" +
            Link("#" + anchor, Breakable(value->name())) +
            "</th><td role=\"cell\" class=\"meaning\">" +
            Prose(enumeration->full_name(), contracts_.CommentOf(value).text) + "</td></tr>\n";
  }
  return html + "</tbody></table>\n";
}

// What the comment of an upload message says of its own lineage.
std::string Site::Sources(const Descriptor* message) const {
  std::string rows;
  for (const Source& source : contracts_.CommentOf(message).sources) {
    const Descriptor* record = contracts_.pool().FindMessageTypeByName(source.name);
    const std::string words = InlineHtml(
        source.words, [&](const std::string& word) { return Resolve(message->full_name(), word); });
    rows += "<li class=\"from\"><span>From</span> " +
            (record == nullptr ? NoRecord(source.name, words)
                               : LinkTo(record) + (words.empty() ? "" : ": " + words)) +
            "</li>";
  }
  return rows.empty() ? "" : "<ul class=\"lineage\">" + rows + "</ul>\n";
}

std::string Site::UsedBy(const std::vector<const FieldDescriptor*>& users) const {
  if (users.empty()) return "";
  std::string html = "<div class=\"used\"><span>Used by</span><ul class=\"links\">";
  for (const FieldDescriptor* user : users) {
    // The value of a map is used by the field that is the map.
    if (user->containing_type()->options().map_entry()) {
      const Descriptor* holder = user->containing_type()->containing_type();
      for (int i = 0; i < holder->field_count(); ++i) {
        if (holder->field(i)->message_type() == user->containing_type()) user = holder->field(i);
      }
    }
    html += "<li>" + Link(Href(user), Breakable(QualifiedName(user))) + "</li>";
  }
  return html + "</ul></div>\n";
}

std::string Site::SizeText(const std::string& database) const {
  const uint32_t max_size_mb = contracts_.MaxSizeMb(database);
  return max_size_mb == 0 ? "no size limit" : "at most " + std::to_string(max_size_mb) + " MB";
}

// How the data travel: database, table, payloads.
std::string Site::Flow(const Descriptor* message) const {
  const Kind kind = KindOf(message);
  std::string steps;
  const auto step = [&](const std::string& mark, const std::string& name, const std::string& html) {
    steps += "<li class=\"" + mark + "\"><span class=\"step\">" + name + "</span>" + html + "</li>";
  };
  const auto quiet = [](const std::string& html) {
    return "<span class=\"quiet\">" + html + "</span>";
  };
  const auto same_data = [&](const std::vector<const Descriptor*>& messages) {
    return messages.empty() ? "" : quiet("same data in") + LinksTo(messages);
  };
  const std::string self = "<b>" + Breakable(message->name()) + "</b>";
  if (kind == Kind::kTable) {
    const TableOptions options = TableOptionsOf(message);
    const auto payloads = PayloadsOf(message);
    step("database", "Database",
         Link("../index.html#database-" + options.database, Breakable(options.database)) +
             quiet(", " + SizeText(options.database)));
    step("table", Escaped(options.type) + " table", self);
    step("payload", payloads.empty() ? "Payloads" : "Feeds " + Count(payloads.size(), "payload"),
         (payloads.empty() ? quiet("none says that it is filled from here") : LinksTo(payloads)) +
             same_data(PayloadsOf(message, true)));
  } else if (kind == Kind::kPayload) {
    const auto records = TablesOf(message);
    const std::string sources = Sources(message);
    step("table", records.empty() ? "Tables" : "From " + Count(records.size(), "table"),
         (!records.empty()  ? LinksTo(records)
          : sources.empty() ? quiet("its comment names none")
                            : sources) +
             (records.empty() ? "" : same_data(TablesOf(message, true))));
    step("payload", "Payload",
         self + quiet(", version " + Escaped(PayloadOptionsOf(message).version)));
  }
  return steps.empty() ? ""
                       : "<ol class=\"flow\" aria-label=\"How it travels\">" + steps + "</ol>\n";
}

std::string Site::Facts(const Descriptor* message) const {
  std::string html = "<dl class=\"facts\">";
  const auto fact = [&](const char* name, const std::string& value) {
    html += std::string("<div><dt>") + name + "</dt><dd>" + value + "</dd></div>";
  };
  const Kind kind = KindOf(message);
  if (kind == Kind::kTable) {
    const TableOptions options = TableOptionsOf(message);
    fact("Rows", Escaped(options.type + ": " + KeptText(options)));
    if (options.table != message->name()) fact("Table", Breakable(options.table));
    std::string key;
    for (const FieldDescriptor* column : options.key) {
      key += (key.empty() ? "" : ", ") + Link("#" + column->name(), Breakable(column->name()));
    }
    fact("Key", key.empty() ? "none" : key);
    const Descriptor* log = ChangeLogOf(message);
    if (log != nullptr) fact("Changes in", LinkTo(log));
    const auto logged = logged_in_.find(message);
    if (logged != logged_in_.end()) fact("Changes of", LinksTo(logged->second));
  } else if (kind == Kind::kPayload) {
    const PayloadOptions options = PayloadOptionsOf(message);
    fact("Global name", "<code>" + Breakable(options.gun) + "</code>");
    fact("Version", Escaped(options.version));
  } else if (kind == Kind::kMarker) {
    fact("Database", Link("../index.html#database-" + message->name(), Breakable(message->name())) +
                         ", " + SizeText(message->name()));
  }
  const std::string personal = PersonalDataHtml(personal_.In(message));
  if (!personal.empty() || kind == Kind::kTable || kind == Kind::kPayload) {
    fact("Personal data", personal.empty() ? "none" : personal);
  }
  fact("Full name", "<code>" + Breakable(message->full_name()) + "</code>");
  fact("Schema", "<code>" + Breakable(message->file()->name()) + "</code>");
  return html + "</dl>\n";
}

// The options whose value the message is.
std::string Site::Extensions(const Descriptor* message) const {
  std::string rows;
  for (int i = 0; i < message->file()->extension_count(); ++i) {
    const FieldDescriptor* extension = message->file()->extension(i);
    if (extension->message_type() != message) continue;
    rows += "<li><code>(" + Escaped(extension->full_name()) +
            ") = " + std::to_string(extension->number()) + "</code>, an option of " +
            Breakable(extension->containing_type()->full_name()) +
            Prose(message->full_name(), contracts_.CommentOf(extension).text) + "</li>";
  }
  return rows.empty() ? "" : "<h2>As an option</h2>\n<ul class=\"options\">" + rows + "</ul>\n";
}

std::string Site::NestedSections(const Descriptor* message,
                                 std::vector<std::string>& anchors) const {
  std::string html;
  const size_t page = Outermost(message)->full_name().size() + 1;
  const auto heading = [&](const std::string& anchor, const char* kind) {
    anchors.push_back(anchor);
    return "<section class=\"nested\" id=\"" + Escaped(anchor) +
           "\">\n<p class=\"kind kind-part\">" + kind + "</p>\n<h2>" +
           Link("#" + anchor, Breakable(anchor)) + "</h2>\n";
  };
  for (int i = 0; i < message->nested_type_count(); ++i) {
    const Descriptor* nested = message->nested_type(i);
    if (nested->options().map_entry()) continue;
    html += heading(nested->full_name().substr(page),
                    KindOf(nested) == Kind::kPart ? "Part" : KindText(KindOf(nested)));
    html += Prose(nested->full_name(), contracts_.CommentOf(nested).text) + Sources(nested) +
            UsedBy(contracts_.UsersOf(nested)) + Fields(nested) + "</section>\n";
    html += NestedSections(nested, anchors);
  }
  for (int i = 0; i < message->enum_type_count(); ++i) {
    const EnumDescriptor* nested = message->enum_type(i);
    html += heading(nested->full_name().substr(page), "Enumeration") +
            Prose(nested->full_name(), contracts_.CommentOf(nested).text) +
            UsedBy(contracts_.UsersOf(nested)) + Values(nested) + "</section>\n";
  }
  return html;
}

std::string Site::AboutFile(const FileDescriptor* file) const {
  const std::string text = contracts_.CommentOf(file).text;
  if (text.empty()) return "";
  return "<section class=\"about\">\n<h2>About the schema</h2>\n" + Prose(file->package(), text) +
         "</section>\n";
}

std::string Crumbs(const std::string& middle, const std::string& name) {
  return "<nav class=\"crumbs\" aria-label=\"Where this is\"><ol><li>" +
         Link("../index.html", "Contracts") + "</li>" + "<li>" + middle +
         "</li><li aria-current=\"page\">" + Breakable(name) + "</li></ol></nav>\n";
}

std::string Site::MessagePage(const Descriptor* message) const {
  const Kind kind = KindOf(message);
  const Comment comment = contracts_.CommentOf(message);
  std::string middle;
  if (kind == Kind::kTable) {
    const std::string database = TableOptionsOf(message).database;
    middle = Link("../index.html#database-" + database, Breakable(database));
  } else if (kind == Kind::kPayload) {
    middle = Link("../index.html#page-payloads", "Payloads");
  } else {
    middle = Link("../index.html#page-parts", "Parts");
  }
  // The flow of a payload names its tables, but not what is said of them.
  const bool says_more = kind != Kind::kPayload ||
                         (!TablesOf(message).empty() &&
                          std::any_of(comment.sources.begin(), comment.sources.end(),
                                      [](const Source& source) { return !source.words.empty(); }));
  std::vector<std::string> anchors;
  const std::string nested = NestedSections(message, anchors);
  std::string contents;
  if (!anchors.empty()) {
    contents = "<nav class=\"contents\" aria-label=\"On this page\"><p>On this page</p><ul><li>" +
               Link("#page-fields", "Fields") + "</li>";
    for (const std::string& anchor : anchors) {
      const auto depth = std::count(anchor.begin(), anchor.end(), '.') + 1;
      contents += "<li class=\"depth-" + std::to_string(std::min<std::ptrdiff_t>(depth, 4)) +
                  "\">" + Link("#" + anchor, Breakable(anchor.substr(anchor.rfind('.') + 1))) +
                  "</li>";
    }
    contents += "</ul></nav>\n";
  }
  const std::string name = message->name();
  std::string main = Crumbs(middle, name) + "<div class=\"head\">\n<p class=\"kind kind-" +
                     KindText(kind) + "\">" + KindText(kind) + "</p>\n<h1>" + Breakable(name) +
                     "</h1>\n<div class=\"lead\">" + Prose(message->full_name(), comment.text) +
                     "</div>\n" + Flow(message) + Facts(message) +
                     (says_more ? Sources(message) : "") + UsedBy(contracts_.UsersOf(message)) +
                     "</div>\n" + contents + "<div class=\"body\">\n" + Extensions(message) +
                     "<section id=\"page-fields\">\n<h2>Fields <span class=\"count\">" +
                     std::to_string(message->field_count()) + "</span></h2>\n" + Fields(message) +
                     "</section>\n" + nested + AboutFile(message->file()) + "</div>\n";
  return Whole("../", name, FirstSentence(comment.text),
               "<div class=\"page" + std::string(anchors.empty() ? "" : " with-contents") +
                   "\">\n" + main + "</div>\n");
}

std::string Site::EnumPage(const EnumDescriptor* enumeration) const {
  const std::string text = contracts_.CommentOf(enumeration).text;
  const std::string name = enumeration->name();
  return Whole(
      "../", name, FirstSentence(text),
      "<div class=\"page\">\n" + Crumbs(Link("../index.html#page-parts", "Parts"), name) +
          "<div class=\"head\">\n<p class=\"kind kind-part\">Enumeration</p>\n<h1>" +
          Breakable(name) + "</h1>\n<div class=\"lead\">" + Prose(enumeration->full_name(), text) +
          "</div>\n<dl class=\"facts\"><div><dt>Full name</dt><dd><code>" +
          Breakable(enumeration->full_name()) + "</code></dd></div><div><dt>Schema</dt><dd><code>" +
          Breakable(enumeration->file()->name()) + "</code></dd></div></dl>\n" +
          UsedBy(contracts_.UsersOf(enumeration)) +
          "</div>\n<div class=\"body\">\n<section id=\"page-fields\">\n<h2>Values</h2>\n" +
          Values(enumeration) + "</section>\n" + AboutFile(enumeration->file()) +
          "</div>\n</div>\n");
}

std::string Site::DatabaseRows(const std::string& database,
                               const std::vector<const Descriptor*>& records) const {
  std::string about;
  for (const Descriptor* page : pages_) {
    if (page->name() != database || KindOf(page) != Kind::kMarker) continue;
    about = " " + FirstLine(page->full_name(), contracts_.CommentOf(page).text);
  }
  std::string html =
      "<tbody role=\"rowgroup\" id=\"database-" + Escaped(database) +
      "\"><tr role=\"row\" class=\"group\"><th role=\"rowheader\" scope=\"rowgroup\" "
      "colspan=\"4\"><a href=\"#database-" +
      Escaped(database) + "\">" + Breakable(database) + "</a> <span class=\"quiet\">" +
      SizeText(database) + "." + about + "</span></th></tr>\n";
  for (const Descriptor* record : records) {
    const TableOptions options = TableOptionsOf(record);
    const auto payloads = PayloadsOf(record);
    const Descriptor* log = ChangeLogOf(record);
    std::string key;
    for (const FieldDescriptor* column : options.key) {
      key +=
          (key.empty() ? "" : ", ") + Link("contracts/" + Href(column), Breakable(column->name()));
    }
    html += "<tr role=\"row\"><th role=\"rowheader\" scope=\"row\" class=\"name\">" +
            LinkTo(record, "contracts/") + "<span class=\"first\">" +
            FirstLine(record->full_name(), contracts_.CommentOf(record).text) +
            "</span></th><td role=\"cell\" class=\"rows\"><b>" + Escaped(options.type) + "</b>, " +
            Escaped(KeptText(options)) +
            (log == nullptr
                 ? ""
                 : "<span class=\"log\">changes in " + LinkTo(log, "contracts/") + "</span>") +
            "</td><td role=\"cell\" class=\"keys\">" +
            (key.empty() ? "<span class=\"quiet\">no key</span>" : key) +
            "</td><td role=\"cell\" class=\"feeds\">" +
            (payloads.empty() ? "<span class=\"quiet\">no payload</span>"
                              : LinksTo(payloads, "contracts/")) +
            "</td></tr>\n";
  }
  return html + "</tbody>\n";
}

std::string Site::StartPage() const {
  const auto payloads = contracts_.payloads();
  size_t fields = 0;
  for (const Descriptor* message : contracts_.messages()) {
    fields += static_cast<size_t>(message->field_count());
  }
  const auto head = [](const char* name) {
    return std::string("<th role=\"columnheader\" scope=\"col\">") + name + "</th>";
  };
  // The largest first; most have one table.
  std::vector<std::string> databases;
  for (const auto& [database, records] : by_database_) databases.push_back(database);
  std::stable_sort(databases.begin(), databases.end(), [&](const auto& a, const auto& b) {
    return by_database_.at(a).size() > by_database_.at(b).size();
  });
  std::string overview = "<nav class=\"overview\" aria-label=\"Databases\"><ul>";
  for (const std::string& database : databases) {
    overview += "<li>" + Link("#database-" + database, Breakable(database)) + " <span>" +
                std::to_string(by_database_.at(database).size()) + "</span></li>";
  }
  overview += "</ul></nav>\n";
  std::string main =
      "<div class=\"page start\">\n<div class=\"head\">\n<h1>" + std::string(kTitle) +
      "</h1>\n<div class=\"lead\"><p>Every record that the agent keeps in its local databases, "
      "every "
      "payload that goes to the cloud, and what each field of them means.</p></div>\n"
      "<dl class=\"counts\">";
  const auto count = [&](size_t number, const char* name, const char* anchor) {
    main += "<div><dt>" + (*anchor == '\0' ? std::string(name) : Link(anchor, name)) + "</dt><dd>" +
            std::to_string(number) + "</dd></div>";
  };
  count(by_database_.size(), "databases", "#page-databases");
  count(contracts_.tables().size(), "tables", "#page-databases");
  count(payloads.size(), "payloads", "#page-payloads");
  count(contracts_.messages().size(), "messages", "#page-parts");
  count(fields, "fields", "");
  count(personal_.size(), "with personal data", "privacy.html");
  main +=
      "</dl>\n</div>\n<div class=\"body\">\n<section>\n<h2 id=\"page-databases\">Databases, their "
      "tables, and the payloads that these feed</h2>\n" +
      overview +
      "<table role=\"table\" class=\"map\" "
      "aria-labelledby=\"page-databases\"><thead role=\"rowgroup\"><tr role=\"row\">" +
      head("Table") + head("Rows") + head("Key") + head("Feeds") + "</tr></thead>\n";
  for (const std::string& database : databases) {
    main += DatabaseRows(database, by_database_.at(database));
  }
  main +=
      "</table>\n</section>\n<section>\n<h2 id=\"page-payloads\">Payloads, and the tables that "
      "feed "
      "them</h2>\n<table role=\"table\" class=\"map payloads\" aria-labelledby=\"page-payloads\">"
      "<thead role=\"rowgroup\"><tr role=\"row\">" +
      head("Payload") + head("Version") + head("Filled from") +
      "</tr></thead>\n<tbody role=\"rowgroup\">\n";
  for (const Descriptor* payload : payloads) {
    const auto records = TablesOf(payload);
    const PayloadOptions options = PayloadOptionsOf(payload);
    main += "<tr role=\"row\"><th role=\"rowheader\" scope=\"row\" class=\"name\">" +
            LinkTo(payload, "contracts/") + "<span class=\"first\">" +
            FirstLine(payload->full_name(), contracts_.CommentOf(payload).text) +
            "</span><code class=\"gun\">" + Breakable(options.gun) +
            "</code></th><td role=\"cell\" class=\"version\">" + Escaped(options.version) +
            "</td><td role=\"cell\" class=\"feeds\">" +
            (records.empty() ? "<span class=\"quiet\">no record</span>"
                             : LinksTo(records, "contracts/")) +
            "</td></tr>\n";
  }
  std::map<std::string, std::string> parts;  // by name, then by full name
  for (const Descriptor* page : pages_) {
    if (KindOf(page) == Kind::kTable || KindOf(page) == Kind::kPayload) continue;
    parts[page->name() + " " + page->full_name()] = LinkTo(page, "contracts/");
  }
  for (const EnumDescriptor* page : enum_pages_) {
    parts[page->name() + " " + page->full_name()] =
        Link("contracts/" + PageOf(page), Breakable(page->name()));
  }
  main +=
      "</tbody></table>\n</section>\n<section>\n<h2 id=\"page-parts\">Parts, options and "
      "enumerations</h2>\n<p>Messages that stand alone in a schema but are neither tables nor "
      "payloads. A message nested in another is on the page of that.</p>\n<ul class=\"columns\">";
  for (const auto& [name, link] : parts) main += "<li>" + link + "</li>";
  main +=
      "</ul>\n</section>\n<section>\n<h2 id=\"page-reading\">How to read a page</h2>\n"
      "<dl class=\"words\">\n<div id=\"page-presence\"><dt>Presence</dt><dd><b>explicit</b>: a "
      "value "
      "that was never set is told from zero. <b>implicit</b>: zero and empty text are not written, "
      "and read as if never set. <b>repeated</b>: a list. <b>map</b>: values by "
      "key.</dd></div>\n<div><dt>Lineage</dt><dd><b>From</b>: the field of a record that fills a "
      "field of a payload, and what changes on the way; <b>To</b>: the way back. Without words the "
      "value is copied; with <b>same data</b> "
      "it has the same values, but is not known to be copied.</dd></div>\n"
      "<div><dt>Facts</dt><dd><b>Unit</b>: a code of UCUM. <b>Values</b>: a list that is closed, "
      "or "
      "open if it ends in points. <b>Format</b>: what a text holds. <b>Privacy</b>: the class of "
      "<a href=\"privacy.html\">personal data</a>. <b>unspecified</b>: the component that fills "
      "the field "
      "decides.</dd></div>\n<div><dt>Rows</dt><dd><b>State</b>: one row per key, its "
      "changes kept in the table named. <b>Historical</b>: rows are appended until a limit drops "
      "the "
      "oldest.</dd></div>\n<div><dt>Addresses</dt><dd>A page has a message&#8217;s full name, a "
      "field&#8217;s name is its anchor: both stay as long as the contract.</dd></div>\n"
      "<div><dt>Keys</dt><dd><kbd>/</kbd> searches; <kbd>&#8593;</kbd> <kbd>&#8595;</kbd> choose, "
      "<kbd>Enter</kbd> opens, <kbd>Esc</kbd> leaves. <code>privacy:location</code> finds the "
      "fields "
      "of a privacy class only.</dd></div>\n</dl>\n</section>\n</div>\n"
      "</div>\n";
  return Whole("", "", "Every record and payload of the telemetry agent.", main);
}

std::string Site::Whole(const std::string& root, const std::string& title,
                        const std::string& description, const std::string& main) const {
  const std::string site(kTitle);
  return "<!doctype html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
         "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
         "<meta name=\"color-scheme\" content=\"light dark\">\n<title>" +
         (title.empty() ? site : Escaped(title) + " – " + site) +
         "</title>\n<meta name=\"description\" content=\"" + Escaped(description) +
         "\">\n<link rel=\"icon\" href=\"data:image/svg+xml,%3Csvg "
         "xmlns='http://www.w3.org/2000/svg' viewBox='0 0 16 16'%3E%3Crect width='16' height='16' "
         "rx='3' fill='%230b6e69'/%3E%3Cpath d='M4 5h8M4 8h8M4 11h5' stroke='white' "
         "stroke-width='1.5'/%3E%3C/svg%3E\">\n<script src=\"" +
         root + "assets/theme.js\"></script>\n<link rel=\"stylesheet\" href=\"" + root +
         "assets/style.css\">\n<script src=\"" + root +
         "assets/site.js\" defer></script>\n</head>\n<body data-root=\"" + root +
         "\">\n<a class=\"skip\" href=\"#page-main\">Skip to the contents</a>\n"
         "<header class=\"bar\"><div class=\"bar-inner\">\n<a class=\"home\" href=\"" +
         root +
         "index.html\"><span>Telemetry</span> data contracts</a>\n"
         "<form class=\"search\" role=\"search\" hidden>\n<input id=\"page-search\" "
         "type=\"search\" "
         "role=\"combobox\" aria-label=\"Search names, fields, guns and comments\" "
         "aria-autocomplete=\"list\" aria-expanded=\"false\" aria-controls=\"page-results\" "
         "placeholder=\"Search\" autocomplete=\"off\" autocapitalize=\"none\" "
         "spellcheck=\"false\"><kbd aria-hidden=\"true\">/</kbd>\n"
         "<div class=\"panel\" hidden><div id=\"page-results\" role=\"listbox\" "
         "aria-label=\"Results\"></div><p class=\"more\" aria-hidden=\"true\"></p></div>\n"
         "<p class=\"unseen\" role=\"status\"></p>\n</form>\n"
         "<button class=\"theme\" type=\"button\" hidden><span aria-hidden=\"true\"></span>"
         "</button>\n</div></header>\n<main id=\"page-main\" tabindex=\"-1\">\n" +
         main + "</main>\n<footer><p>" + site +
         " " OVIX_TELEMETRY_DATA_CONTRACTS_VERSION
         ", written by ovix-contracts from the schemas and their comments.</p></footer>\n"
         "</body>\n</html>\n";
}

std::map<std::string, std::string> Site::Files() const {
  std::map<std::string, std::string> files;
  files["index.html"] = StartPage();
  for (const Descriptor* page : pages_) files["contracts/" + PageOf(page)] = MessagePage(page);
  for (const EnumDescriptor* page : enum_pages_)
    files["contracts/" + PageOf(page)] = EnumPage(page);
  files["privacy.html"] =
      Whole("", "Personal data", "The personal data in tables and payloads, by privacy class.",
            PrivacyPage(contracts_, personal_));
  files["assets/index.js"] = SearchIndex(contracts_, personal_);
  files["assets/style.css"] = kStyleSheet;
  files["assets/site.js"] = kSiteScript;
  files["assets/theme.js"] = kThemeScript;
  return files;
}

}  // namespace

std::map<std::string, std::string> CataloguePages(const Contracts& contracts) {
  try {
    return Site(contracts).Files();
  } catch (const tables::TableError& error) {
    throw Error(error.what());
  }
}

}  // namespace ovix::tool
