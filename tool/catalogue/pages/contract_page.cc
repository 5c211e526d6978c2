#include "catalogue/pages/contract_page.h"

#include <google/protobuf/descriptor.pb.h>

#include <algorithm>
#include <cstddef>
#include <vector>

#include "catalogue/model/addresses.h"
#include "catalogue/parts/facts.h"
#include "catalogue/parts/fields.h"
#include "catalogue/parts/html.h"
#include "catalogue/parts/pieces.h"
#include "terminal/format.h"

namespace ovix::tool {
namespace {

// What the comment of an upload message says of its own lineage.
std::string Sources(const Relations& relations, const Descriptor* message) {
  std::string rows;
  for (const Source& source : relations.contracts().CommentOf(message).sources) {
    const Descriptor* record = relations.contracts().pool().FindMessageTypeByName(source.name);
    const std::string words = InlineHtml(source.words, [&](const std::string& word) {
      return relations.Resolve(message->full_name(), word);
    });
    rows += "<li class=\"from\"><span>From</span> " +
            (record == nullptr ? NoRecord(source.name, words)
                               : LinkTo(record) + (words.empty() ? "" : ": " + words)) +
            "</li>";
  }
  return rows.empty() ? "" : "<ul class=\"lineage\">" + rows + "</ul>\n";
}

std::string UsedBy(const std::vector<const FieldDescriptor*>& users) {
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

// How the data travel: database, table, payloads.
std::string Flow(const Relations& relations, const Descriptor* message) {
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
    const auto payloads = relations.PayloadsOf(message);
    step("database", "Database",
         Link("../index.html#database-" + options.database, Breakable(options.database)) +
             quiet(", " + SizeText(relations, options.database)));
    step("table", Escaped(options.type) + " table", self);
    step("payload", payloads.empty() ? "Payloads" : "Feeds " + Count(payloads.size(), "payload"),
         (payloads.empty() ? quiet("none says that it is filled from here") : LinksTo(payloads)) +
             same_data(relations.PayloadsOf(message, true)));
  } else if (kind == Kind::kPayload) {
    const auto records = relations.TablesOf(message);
    const std::string sources = Sources(relations, message);
    step("table", records.empty() ? "Tables" : "From " + Count(records.size(), "table"),
         (!records.empty()  ? LinksTo(records)
          : sources.empty() ? quiet("its comment names none")
                            : sources) +
             (records.empty() ? "" : same_data(relations.TablesOf(message, true))));
    step("payload", "Payload",
         self + quiet(", version " + Escaped(PayloadOptionsOf(message).version)));
  }
  return steps.empty() ? ""
                       : "<ol class=\"flow\" aria-label=\"How it travels\">" + steps + "</ol>\n";
}

std::string Facts(const Relations& relations, const Descriptor* message) {
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
    const Descriptor* log = relations.ChangeLogOf(message);
    if (log != nullptr) fact("Changes in", LinkTo(log));
    const auto logged = relations.LoggedIn(message);
    if (!logged.empty()) fact("Changes of", LinksTo(logged));
  } else if (kind == Kind::kPayload) {
    const PayloadOptions options = PayloadOptionsOf(message);
    fact("Global name", "<code>" + Breakable(options.gun) + "</code>");
    fact("Version", Escaped(options.version));
  } else if (kind == Kind::kMarker) {
    fact("Database", Link("../index.html#database-" + message->name(), Breakable(message->name())) +
                         ", " + SizeText(relations, message->name()));
  }
  const std::string personal =
      PersonalDataHtml(relations.contracts(), relations.personal(), message);
  if (!personal.empty() || kind == Kind::kTable || kind == Kind::kPayload) {
    fact("Personal data", personal.empty() ? "none" : personal);
  }
  fact("Full name", "<code>" + Breakable(message->full_name()) + "</code>");
  fact("Schema", "<code>" + Breakable(message->file()->name()) + "</code>");
  return html + "</dl>\n";
}

// The options whose value the message is.
std::string Extensions(const Relations& relations, const Descriptor* message) {
  std::string rows;
  for (int i = 0; i < message->file()->extension_count(); ++i) {
    const FieldDescriptor* extension = message->file()->extension(i);
    if (extension->message_type() != message) continue;
    rows +=
        "<li><code>(" + Escaped(extension->full_name()) +
        ") = " + std::to_string(extension->number()) + "</code>, an option of " +
        Breakable(extension->containing_type()->full_name()) +
        Prose(relations, message->full_name(), relations.contracts().CommentOf(extension).text) +
        "</li>";
  }
  return rows.empty() ? "" : "<h2>As an option</h2>\n<ul class=\"options\">" + rows + "</ul>\n";
}

std::string NestedSections(const Relations& relations, const Descriptor* message,
                           std::vector<std::string>& anchors) {
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
                    KindOf(nested) == Kind::kPart ? "Sub-message" : KindText(KindOf(nested)));
    html += Prose(relations, nested->full_name(), relations.contracts().CommentOf(nested).text) +
            Sources(relations, nested) + UsedBy(relations.contracts().UsersOf(nested)) +
            Fields(relations, nested) + "</section>\n";
    html += NestedSections(relations, nested, anchors);
  }
  for (int i = 0; i < message->enum_type_count(); ++i) {
    const EnumDescriptor* nested = message->enum_type(i);
    html += heading(nested->full_name().substr(page), "Enumeration") +
            Prose(relations, nested->full_name(), relations.contracts().CommentOf(nested).text) +
            UsedBy(relations.contracts().UsersOf(nested)) + Values(relations, nested) +
            "</section>\n";
  }
  return html;
}

std::string AboutFile(const Relations& relations, const FileDescriptor* file) {
  const std::string text = relations.contracts().CommentOf(file).text;
  if (text.empty()) return "";
  return "<section class=\"about\">\n<h2>About the schema</h2>\n" +
         Prose(relations, file->package(), text) + "</section>\n";
}

// The way to a page: its section and its group there.
std::string Crumbs(const Sections& sections, const std::string& href, const std::string& name) {
  std::string way;
  const auto add = [&](const std::string& anchor, const std::string& text) {
    way += "<li>" + Link("../index.html#" + anchor, Breakable(text)) + "</li>";
  };
  for (const Section* section : sections.all()) {
    for (const Group& group : section->groups) {
      if (!group.Has(href)) continue;
      add(section->anchor, section->name);
      add(group.anchor, group.name);
    }
  }
  return "<nav class=\"crumbs\" aria-label=\"Where this is\"><ol><li>" +
         Link("../index.html", "Contracts") + "</li>" + way + "<li aria-current=\"page\">" +
         Breakable(name) + "</li></ol></nav>\n";
}

}  // namespace

std::string MessagePage(const Relations& relations, const Site& site, Texts& texts,
                        const Descriptor* message) {
  const Kind kind = KindOf(message);
  const Comment comment = relations.contracts().CommentOf(message);
  // The flow of a payload names its tables, but not what is said of them.
  const bool says_more = kind != Kind::kPayload ||
                         (!relations.TablesOf(message).empty() &&
                          std::any_of(comment.sources.begin(), comment.sources.end(),
                                      [](const Source& source) { return !source.words.empty(); }));
  std::vector<std::string> anchors;
  const std::string nested = NestedSections(relations, message, anchors);
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
  std::string main =
      Crumbs(site.sections, Href(message), name) + "<div class=\"head\">\n<p class=\"kind kind-" +
      KindText(kind) + "\">" + KindTerm(kind) + "</p>\n<h1>" + Breakable(name) +
      "</h1>\n<div class=\"lead\">" + Prose(relations, message->full_name(), comment.text) +
      "</div>\n" + Flow(relations, message) + Facts(relations, message) +
      (says_more ? Sources(relations, message) : "") +
      UsedBy(relations.contracts().UsersOf(message)) + "</div>\n" + texts.Html(message) + contents +
      "<div class=\"body\">\n" + Extensions(relations, message) +
      "<section id=\"page-fields\">\n<h2>Fields <span class=\"count\">" +
      std::to_string(message->field_count()) + "</span></h2>\n" + Fields(relations, message) +
      "</section>\n" + nested + AboutFile(relations, message->file()) + "</div>\n";
  return Framed(site, "contracts/" + PageOf(message), name, FirstSentence(comment.text),
                "<div class=\"page" + std::string(anchors.empty() ? "" : " with-contents") +
                    "\">\n" + main + "</div>\n");
}

std::string EnumPage(const Relations& relations, const Site& site, Texts& texts,
                     const EnumDescriptor* enumeration) {
  const std::string text = relations.contracts().CommentOf(enumeration).text;
  const std::string name = enumeration->name();
  return Framed(site, "contracts/" + PageOf(enumeration), name, FirstSentence(text),
                "<div class=\"page\">\n" + Crumbs(site.sections, Href(enumeration), name) +
                    "<div class=\"head\">\n<p class=\"kind kind-part\">Enumeration</p>\n<h1>" +
                    Breakable(name) + "</h1>\n<div class=\"lead\">" +
                    Prose(relations, enumeration->full_name(), text) +
                    "</div>\n<dl class=\"facts\"><div><dt>Full name</dt><dd><code>" +
                    Breakable(enumeration->full_name()) +
                    "</code></dd></div><div><dt>Schema</dt><dd><code>" +
                    Breakable(enumeration->file()->name()) + "</code></dd></div></dl>\n" +
                    UsedBy(relations.contracts().UsersOf(enumeration)) + "</div>\n" +
                    texts.Html(enumeration) +
                    "<div class=\"body\">\n<section id=\"page-fields\">\n<h2>Values <span "
                    "class=\"count\">" +
                    std::to_string(enumeration->value_count()) + "</span></h2>\n" +
                    Values(relations, enumeration) + "</section>\n" +
                    AboutFile(relations, enumeration->file()) + "</div>\n</div>\n");
}

}  // namespace ovix::tool
