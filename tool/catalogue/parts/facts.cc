#include "catalogue/parts/facts.h"

#include <map>

#include "catalogue/model/addresses.h"
#include "catalogue/parts/html.h"
#include "terminal/format.h"

namespace ovix::tool {
namespace {

constexpr char kNotStated[] = "This release does not state privacy classes";

const char* Meaning(Privacy privacy) {
  switch (privacy) {
    case Privacy::kIdentifier:
      return "distinguishes one device, person, account or network from all others, or is a hash "
             "of something that does";
    case Privacy::kLocation:
      return "says where the device is or was";
    case Privacy::kContent:
      return "was written, named or chosen by a person";
    case Privacy::kInteraction:
      return "says what a person did with the device and when";
    default:
      return "";
  }
}

// `root` leads from the page to the site's folder.
std::string Label(Privacy privacy, const std::string& root) {
  const std::string name = PrivacyText(privacy);
  return "<a class=\"privacy\" href=\"" + root + "privacy.html#class-" + name + "\">" + name +
         "</a>";
}

std::string Links(const std::vector<const FieldDescriptor*>& fields) {
  std::string html;
  for (const FieldDescriptor* field : fields) {
    html += (html.empty() ? "" : ", ") +
            Link("contracts/" + Href(field), Breakable(QualifiedName(field)));
  }
  return html;
}

// A contract's part of the list; empty without personal data.
std::string Group(const Descriptor* message, const std::vector<PersonalField>& fields) {
  if (fields.empty()) return "";
  const std::string kind = KindText(KindOf(message));
  std::string html = "<tbody role=\"rowgroup\" data-kind=\"" + kind +
                     "\"><tr role=\"row\" class=\"group\"><th role=\"rowheader\" "
                     "scope=\"rowgroup\" colspan=\"3\">" +
                     Link("contracts/" + Href(message), Breakable(ShortName(message))) +
                     " <span class=\"kind kind-" + kind + "\">" + kind + "</span></th></tr>\n";
  for (const PersonalField& field : fields) {
    const std::string from = Links(field.from), to = Links(field.to);
    html += "<tr role=\"row\" data-privacy=\"" + std::string(PrivacyText(field.privacy)) +
            "\"><th role=\"rowheader\" scope=\"row\" class=\"name\">" +
            Link("contracts/" + Href(field.field), Breakable(field.path)) +
            "</th><td role=\"cell\">" + Label(field.privacy, "") + "</td><td role=\"cell\">" +
            (from.empty() ? "" : "<span class=\"way\">From</span> " + from) +
            (to.empty() ? "" : "<span class=\"way\">To</span> " + to) +
            (from.empty() && to.empty() ? "<span class=\"quiet\">-</span>" : "") + "</td></tr>\n";
  }
  return html + "</tbody>\n";
}

}  // namespace

std::string FactsHtml(const FieldFacts& facts) {
  std::string html;
  const auto add = [&](const char* name, const std::string& value) {
    html += std::string("<div><dt>") + name + "</dt><dd>" + value + "</dd></div>";
  };
  const auto add_text = [&](const char* name, const std::string& value, const std::string& note) {
    if (value.empty()) return;
    add(name, (value == "unspecified" ? value : "<code>" + Breakable(value) + "</code>") +
                  (note.empty() ? "" : "<span class=\"quiet\">, " + Escaped(note) + "</span>"));
  };
  add_text("Unit", facts.unit,
           facts.unit_from == UnitFrom::kName ? "by its name" : facts.unit_reason);
  add_text("Values", facts.values, facts.values_reason);
  add_text("Format", facts.format, facts.format_reason);
  if (facts.privacy != Privacy::kNone) add("Privacy", Label(facts.privacy, "../"));
  return html.empty() ? "" : "<dl class=\"stated\">" + html + "</dl>";
}

std::string PersonalDataHtml(const Contracts& contracts, const PersonalData& personal,
                             const Descriptor* message) {
  if (personal.size() == 0) return kNotStated;
  const std::vector<PersonalField> fields = personal.In(message);
  std::string html;
  for (const Privacy privacy : PrivacyClasses()) {
    std::string links;
    for (const PersonalField& field : fields) {
      if (field.privacy != privacy) continue;
      links += "<li>" + Link(Href(field.field), Breakable(field.path)) + "</li>";
    }
    if (links.empty()) continue;
    html += "<li>" + Label(privacy, "../") + " <ul class=\"links\">" + links + "</ul></li>";
  }
  if (!html.empty()) html = "<ul class=\"by-class\">" + html + "</ul>";
  if (SchemaWithoutComments(contracts, message) != nullptr) {
    html += "This release has no comments of this contract, so its privacy classes are not known";
  }
  return html;
}

std::string PrivacyPage(const Contracts& contracts, const PersonalData& personal) {
  const std::string begin =
      "<div class=\"page start\">\n<nav class=\"crumbs\" aria-label=\"Where this is\"><ol><li>" +
      Link("index.html", "Contracts") +
      "</li><li aria-current=\"page\">Personal data</li></ol></nav>\n<div class=\"head\">\n"
      "<h1>Personal data</h1>\n<div class=\"lead\"><p>";
  if (personal.size() == 0) {
    return begin + kNotStated +
           ", so which data are personal is not known.</p></div>\n</div>\n</div>\n";
  }
  std::string groups, without;
  std::map<Privacy, size_t> counts;
  for (const auto& messages : {contracts.payloads(), contracts.tables()}) {
    for (const Descriptor* message : messages) {
      const auto fields = personal.In(message);
      for (const PersonalField& field : fields) ++counts[field.privacy];
      groups += Group(message, fields);
      if (fields.empty() && SchemaWithoutComments(contracts, message) == nullptr) {
        without += (without.empty() ? "" : ", ") +
                   Link("contracts/" + Href(message), Breakable(ShortName(message)));
      }
    }
  }
  std::string classes, choices;
  const auto choice = [&](const std::string& name, const std::string& value,
                          const std::string& text) {
    choices += "<label><input type=\"checkbox\" name=\"" + name + "\" value=\"" + value +
               "\" checked> " + text + "</label>\n";
  };
  for (const Privacy privacy : PrivacyClasses()) {
    const std::string name = PrivacyText(privacy);
    classes += "<div id=\"class-" + name + "\"><dt><b class=\"privacy\">" + name + "</b></dt><dd>" +
               Meaning(privacy) + " <span class=\"quiet\">(" + std::to_string(counts[privacy]) +
               " fields by path)</span></dd></div>\n";
    choice("class", name, name);
  }
  choice("kind", "payload", "in payloads");
  choice("kind", "table", "in tables");
  return begin +
         "What can identify or describe a person or "
         "a place: the payloads that carry it, the tables that keep it, where it comes from and "
         "where it goes. All other fields hold technical data. A field of a nested message is "
         "listed with each payload and table that contains the message.</p></div>\n<dl "
         "class=\"words\">\n" +
         classes +
         "</dl>\n</div>\n<div class=\"body\">\n<section>\n<h2 id=\"page-list\">Fields by "
         "contract</h2>\n<form class=\"filter\" hidden><fieldset><legend>Show</legend>\n" +
         choices +
         "</fieldset>\n<p role=\"status\" class=\"quiet\"></p></form>\n<table role=\"table\" "
         "class=\"map personal\" aria-labelledby=\"page-list\"><thead role=\"rowgroup\"><tr "
         "role=\"row\"><th role=\"columnheader\" scope=\"col\">Field</th><th "
         "role=\"columnheader\" scope=\"col\">Class</th><th role=\"columnheader\" "
         "scope=\"col\">Lineage</th></tr></thead>\n" +
         groups + "</table>\n" +
         (without.empty() ? "" : "<p id=\"page-none\">No personal data: " + without + "</p>\n") +
         "</section>\n</div>\n</div>\n";
}

}  // namespace ovix::tool
