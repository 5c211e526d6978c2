#include "catalogue/pages/start_page.h"

#include <cstddef>
#include <utility>

#include "catalogue/model/addresses.h"
#include "catalogue/parts/html.h"
#include "catalogue/parts/pieces.h"
#include "terminal/format.h"

namespace ovix::tool {
namespace {

// A row over the others of a group.
std::string GroupRow(const Group& group, int columns, const std::string& about) {
  return "<tbody role=\"rowgroup\" id=\"" + Escaped(group.anchor) +
         "\"><tr role=\"row\" class=\"group\"><th role=\"rowheader\" scope=\"rowgroup\" "
         "colspan=\"" +
         std::to_string(columns) + "\">" + Link("#" + group.anchor, Breakable(group.name)) +
         " <span class=\"quiet\">" + about + "</span></th></tr>\n";
}

std::string DatabaseRows(const Relations& relations, const Group& group) {
  const std::string& database = group.name;
  std::string about;
  for (const Descriptor* page : relations.pages()) {
    if (page->name() != database || KindOf(page) != Kind::kMarker) continue;
    about =
        " " + FirstLine(relations, page->full_name(), relations.contracts().CommentOf(page).text);
  }
  std::string html = GroupRow(group, 4, SizeText(relations, database) + "." + about);
  for (const Page& page : group.pages) {
    const Descriptor* record = page.message;
    const TableOptions options = TableOptionsOf(record);
    const auto payloads = relations.PayloadsOf(record);
    const Descriptor* log = relations.ChangeLogOf(record);
    std::string key;
    for (const FieldDescriptor* column : options.key) {
      key +=
          (key.empty() ? "" : ", ") + Link("contracts/" + Href(column), Breakable(column->name()));
    }
    html +=
        "<tr role=\"row\"><th role=\"rowheader\" scope=\"row\" class=\"name\">" +
        LinkTo(record, "contracts/") + "<span class=\"first\">" +
        FirstLine(relations, record->full_name(), relations.contracts().CommentOf(record).text) +
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

std::string PayloadRows(const Relations& relations, const Group& group) {
  std::string html = GroupRow(group, 3, Count(group.pages.size(), "payload"));
  for (const Page& page : group.pages) {
    const Descriptor* payload = page.message;
    const auto records = relations.TablesOf(payload);
    const PayloadOptions options = PayloadOptionsOf(payload);
    html +=
        "<tr role=\"row\"><th role=\"rowheader\" scope=\"row\" class=\"name\">" +
        LinkTo(payload, "contracts/") + "<span class=\"first\">" +
        FirstLine(relations, payload->full_name(), relations.contracts().CommentOf(payload).text) +
        "</span><code class=\"gun\">" + Breakable(options.gun) +
        "</code></th><td role=\"cell\" class=\"version\">" + Escaped(options.version) +
        "</td><td role=\"cell\" class=\"feeds\">" +
        (records.empty() ? "<span class=\"quiet\">no record</span>"
                         : LinksTo(records, "contracts/")) +
        "</td></tr>\n";
  }
  return html + "</tbody>\n";
}

// Links to the groups of a section.
std::string Overview(const Section& section) {
  std::string html = "<nav class=\"overview\" aria-label=\"" + section.name + "\"><ul>";
  for (const Group& group : section.groups) {
    html += "<li>" + Link("#" + group.anchor, Breakable(group.name)) + " <span>" +
            std::to_string(group.pages.size()) + "</span></li>";
  }
  return html + "</ul></nav>\n";
}

// The pages of docs/ that a reader of contracts needs.
constexpr std::pair<const char*, const char*> kDocs[] = {
    {"contracts.md", "reading a contract"},
    {"glossary.md", "terms"},
    {"payloads.md", "lineage and outbox"},
    {"readers.md", "reading a payload in your language"},
    {"privacy.md", "personal data"},
    {"versioning.md", "versions"},
    {"adding-a-contract.md", "adding or changing a contract"},
    {"index.md", "all pages"}};

}  // namespace

std::string StartPage(const Relations& relations, const Site& site) {
  const auto payloads = relations.contracts().payloads();
  size_t fields = 0;
  for (const Descriptor* message : relations.contracts().messages()) {
    fields += static_cast<size_t>(message->field_count());
  }
  const auto head = [](const char* name) {
    return std::string("<th role=\"columnheader\" scope=\"col\">") + name + "</th>";
  };
  std::string main =
      "<div class=\"page start\">\n<div class=\"head\">\n<h1>" + std::string(kCatalogueTitle) +
      "</h1>\n<div class=\"lead\"><p>Every record that the agent keeps in its local databases, "
      "every "
      "payload that goes to the cloud, and what each field of them means.</p></div>\n"
      "<dl class=\"counts\">";
  const auto count = [&](size_t number, const char* name, const char* anchor) {
    main += "<div><dt>" + (*anchor == '\0' ? std::string(name) : Link(anchor, name)) + "</dt><dd>" +
            std::to_string(number) + "</dd></div>";
  };
  count(relations.databases().size(), "databases", "#page-databases");
  count(relations.contracts().tables().size(), "tables", "#page-databases");
  count(payloads.size(), "payloads", "#page-payloads");
  count(relations.contracts().messages().size(), "messages", "#page-parts");
  count(fields, "fields", "");
  // None are stated: not the same as none.
  if (relations.personal().size() != 0) {
    count(relations.personal().size(), "with personal data", "privacy.html");
  }
  main +=
      "</dl>\n</div>\n<div class=\"body\">\n<section>\n<h2 id=\"page-databases\">Databases, their "
      "tables, and the payloads that these feed</h2>\n" +
      Overview(site.sections.databases) +
      "<table role=\"table\" class=\"map\" "
      "aria-labelledby=\"page-databases\"><thead role=\"rowgroup\"><tr role=\"row\">" +
      head("Table") + head("Rows") + head("Key") + head("Feeds") + "</tr></thead>\n";
  for (const Group& group : site.sections.databases.groups) main += DatabaseRows(relations, group);
  main +=
      "</table>\n</section>\n<section>\n<h2 id=\"page-payloads\">Payloads, and the tables that "
      "feed "
      "them</h2>\n" +
      Overview(site.sections.payloads) +
      "<table role=\"table\" class=\"map payloads\" aria-labelledby=\"page-payloads\">"
      "<thead role=\"rowgroup\"><tr role=\"row\">" +
      head("Payload") + head("Version") + head("Filled from") + "</tr></thead>\n";
  for (const Group& group : site.sections.payloads.groups) main += PayloadRows(relations, group);
  main +=
      "</table>\n</section>\n<section>\n<h2 id=\"page-parts\">Other messages and "
      "enumerations</h2>\n<p>What is neither a table nor a payload: sub-messages of these, "
      "options, and "
      "the sizes of databases. A message nested in another is on the page of that.</p>\n" +
      Overview(site.sections.others);
  for (const Group& group : site.sections.others.groups) {
    main += "<h3 id=\"" + Escaped(group.anchor) + "\">" +
            Link("#" + group.anchor, Breakable(group.name)) + "</h3>\n<ul class=\"columns\">";
    for (const Page& page : group.pages) {
      main += "<li>" + Link("contracts/" + page.href, Breakable(page.name)) + "</li>";
    }
    main += "</ul>\n";
  }
  main +=
      "</section>\n<section>\n<h2 id=\"page-reading\">How to read a page</h2>\n"
      "<dl class=\"words\">\n<div id=\"page-presence\"><dt>Presence</dt><dd><b>explicit</b>: a "
      "value "
      "that was never set differs from zero. <b>implicit</b>: zero and the empty string are not "
      "written, "
      "and read as if never set. <b>repeated</b>: a list. <b>map</b>: values by "
      "key.</dd></div>\n<div><dt>Lineage</dt><dd><b>From</b>: the field of a record that fills a "
      "field of a payload, and what changes on the way; <b>To</b>: the way back. Without words the "
      "value is copied; with <b>same data</b> "
      "it has the same values, but is not known to be copied.</dd></div>\n"
      "<div><dt>Facts</dt><dd><b>Unit</b>: a code of UCUM. <b>Values</b>: a list that is closed, "
      "or "
      "open if it ends in points. <b>Format</b>: what a string holds. <b>Privacy</b>: the class of "
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
      "of a privacy class only.</dd></div>\n";
  if (!site.docs.empty()) {
    main += "<div id=\"page-docs\"><dt>Pages</dt><dd>";
    const char* separator = "";
    for (const auto& [page, title] : kDocs) {
      main += separator + Link(site.docs + "/" + page, title);
      separator = ", ";
    }
    main += "</dd></div>\n";
  }
  main += "</dl>\n</section>\n</div>\n</div>\n";
  return Framed(site, "index.html", "", "Every record and payload of the telemetry agent.", main);
}

}  // namespace ovix::tool
