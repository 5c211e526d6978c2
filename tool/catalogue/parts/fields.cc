#include "catalogue/parts/fields.h"

#include <algorithm>
#include <cstddef>

#include "catalogue/model/addresses.h"
#include "catalogue/parts/facts.h"
#include "catalogue/parts/html.h"
#include "catalogue/parts/pieces.h"
#include "contracts/facts.h"
#include "terminal/format.h"

namespace ovix::tool {
namespace {

// A type of the page's own is named without the page's message.
template <typename AnyDescriptor>
std::string TypeName(const AnyDescriptor* type, const Descriptor* page) {
  const std::string& name = type->full_name();
  if (name.starts_with(page->full_name() + ".")) return name.substr(page->full_name().size() + 1);
  return ShortName(type);
}

std::string TypeHtml(const FieldDescriptor* field) {
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
std::string FieldLink(const Relations& relations, const FieldDescriptor* field, Kind kind) {
  std::string html = Link(Href(field), Breakable(QualifiedName(field)));
  const Descriptor* page = Outermost(field->containing_type());
  if (KindOf(page) != Kind::kPart) return html;
  const auto holders = relations.contracts().HoldersOf(field->containing_type(), kind);
  if (holders.size() > 3) return html + " in " + Count(holders.size(), KindText(kind));
  for (size_t i = 0; i < holders.size(); ++i) {
    html += (i == 0 ? " in " : i + 1 == holders.size() ? " and " : ", ") + LinkTo(holders[i]);
  }
  return html;
}

// Where a field's value comes from and where it goes.
std::string Lineage(const Relations& relations, const FieldDescriptor* field) {
  std::string rows;
  const auto add = [&](const char* way, const char* label, const std::string& html) {
    rows += std::string("<li class=\"") + way + "\"><span>" + label + "</span> " + html + "</li>";
  };
  const std::string& scope = field->containing_type()->full_name();
  const auto resolve = [&](const std::string& word) { return relations.Resolve(scope, word); };
  for (const Origin& origin : relations.contracts().OriginsOf(field)) {
    const std::string words = InlineHtml(origin.words, resolve);
    if (origin.field != nullptr) {
      add("from", "From",
          FieldLink(relations, origin.field, Kind::kTable) + (words.empty() ? "" : ": " + words));
    } else {
      add("from", "From", NoRecord(origin.name, words));
    }
  }
  for (const auto& [target, words] : relations.GoesTo(field)) {
    add("to", "To",
        FieldLink(relations, target, Kind::kPayload) +
            (words.empty() ? "" : ": " + InlineHtml(words, resolve)));
  }
  return rows.empty() ? "" : "<ul class=\"lineage\">" + rows + "</ul>";
}

std::string FieldRow(const Relations& relations, const FieldDescriptor* field) {
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
  std::string meaning =
      Prose(relations, field->full_name(), relations.contracts().CommentOf(field).text);
  if (field->enum_type() != nullptr) {
    meaning += "<ul class=\"values\" aria-label=\"Allowed values\">";
    for (int i = 0; i < field->enum_type()->value_count(); ++i) {
      const EnumValueDescriptor* value = field->enum_type()->value(i);
      meaning += "<li><code>" + std::to_string(value->number()) + " " + Breakable(value->name()) +
                 "</code></li>";
    }
    meaning += "</ul>";
  }
  meaning += FactsHtml(FactsOf(relations.contracts(), field)) + Lineage(relations, field);
  return "<tr role=\"row\" id=\"" + Escaped(anchor) + "\"><td role=\"cell\" class=\"number\">" +
         std::to_string(field->number()) +
         "</td><th role=\"rowheader\" scope=\"row\" class=\"name\">" +
         Link("#" + anchor, Breakable(field->name())) + key +
         "</th><td role=\"cell\" class=\"type\">" + TypeHtml(field) +
         "</td><td role=\"cell\" class=\"presence\">" + PresenceText(field) +
         "</td><td role=\"cell\" class=\"meaning\">" + meaning + "</td></tr>\n";
}

// A narrow page shows a row as a block. The roles keep it a table for those who hear it.
std::string FieldTable(const std::string& label, const std::string& rows) {
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

}  // namespace

std::string Fields(const Relations& relations, const Descriptor* message) {
  if (message->field_count() == 0) return "<p class=\"quiet\">It has no fields.</p>\n";
  std::string rows;
  for (int i = 0; i < message->field_count(); ++i) rows += FieldRow(relations, message->field(i));
  return FieldTable("Fields of " + ShortName(message), rows);
}

std::string Values(const Relations& relations, const EnumDescriptor* enumeration) {
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
    html +=
        "<tr role=\"row\" id=\"" + Escaped(anchor) + "\"><td role=\"cell\" class=\"number\">" +
        std::to_string(value->number()) +
        "</td><th role=\"rowheader\" scope=\"row\" class=\"name\">" +
        Link("#" + anchor, Breakable(value->name())) + "</th><td role=\"cell\" class=\"meaning\">" +
        Prose(relations, enumeration->full_name(), relations.contracts().CommentOf(value).text) +
        "</td></tr>\n";
  }
  return html + "</tbody></table>\n";
}

}  // namespace ovix::tool
