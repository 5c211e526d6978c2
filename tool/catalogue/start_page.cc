#include "catalogue/start_page.h"

#include <algorithm>
#include <cstddef>
#include <map>
#include <vector>

#include "catalogue/addresses.h"
#include "catalogue/frame.h"
#include "catalogue/html.h"
#include "catalogue/pieces.h"
#include "terminal/format.h"

namespace ovix::tool {
namespace {

std::string DatabaseRows(const Relations& relations, const std::string& database,
                         const std::vector<const Descriptor*>& records) {
  std::string about;
  for (const Descriptor* page : relations.pages()) {
    if (page->name() != database || KindOf(page) != Kind::kMarker) continue;
    about =
        " " + FirstLine(relations, page->full_name(), relations.contracts().CommentOf(page).text);
  }
  std::string html =
      "<tbody role=\"rowgroup\" id=\"database-" + Escaped(database) +
      "\"><tr role=\"row\" class=\"group\"><th role=\"rowheader\" scope=\"rowgroup\" "
      "colspan=\"4\"><a href=\"#database-" +
      Escaped(database) + "\">" + Breakable(database) + "</a> <span class=\"quiet\">" +
      SizeText(relations, database) + "." + about + "</span></th></tr>\n";
  for (const Descriptor* record : records) {
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

}  // namespace

std::string StartPage(const Relations& relations) {
  const auto payloads = relations.contracts().payloads();
  size_t fields = 0;
  for (const Descriptor* message : relations.contracts().messages()) {
    fields += static_cast<size_t>(message->field_count());
  }
  const auto head = [](const char* name) {
    return std::string("<th role=\"columnheader\" scope=\"col\">") + name + "</th>";
  };
  // The largest first; most have one table.
  std::vector<std::string> databases;
  for (const auto& [database, records] : relations.databases()) databases.push_back(database);
  std::stable_sort(databases.begin(), databases.end(), [&](const auto& a, const auto& b) {
    return relations.databases().at(a).size() > relations.databases().at(b).size();
  });
  std::string overview = "<nav class=\"overview\" aria-label=\"Databases\"><ul>";
  for (const std::string& database : databases) {
    overview += "<li>" + Link("#database-" + database, Breakable(database)) + " <span>" +
                std::to_string(relations.databases().at(database).size()) + "</span></li>";
  }
  overview += "</ul></nav>\n";
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
  count(relations.personal().size(), "with personal data", "privacy.html");
  main +=
      "</dl>\n</div>\n<div class=\"body\">\n<section>\n<h2 id=\"page-databases\">Databases, their "
      "tables, and the payloads that these feed</h2>\n" +
      overview +
      "<table role=\"table\" class=\"map\" "
      "aria-labelledby=\"page-databases\"><thead role=\"rowgroup\"><tr role=\"row\">" +
      head("Table") + head("Rows") + head("Key") + head("Feeds") + "</tr></thead>\n";
  for (const std::string& database : databases) {
    main += DatabaseRows(relations, database, relations.databases().at(database));
  }
  main +=
      "</table>\n</section>\n<section>\n<h2 id=\"page-payloads\">Payloads, and the tables that "
      "feed "
      "them</h2>\n<table role=\"table\" class=\"map payloads\" aria-labelledby=\"page-payloads\">"
      "<thead role=\"rowgroup\"><tr role=\"row\">" +
      head("Payload") + head("Version") + head("Filled from") +
      "</tr></thead>\n<tbody role=\"rowgroup\">\n";
  for (const Descriptor* payload : payloads) {
    const auto records = relations.TablesOf(payload);
    const PayloadOptions options = PayloadOptionsOf(payload);
    main +=
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
  std::map<std::string, std::string> parts;  // by name, then by full name
  for (const Descriptor* page : relations.pages()) {
    if (KindOf(page) == Kind::kTable || KindOf(page) == Kind::kPayload) continue;
    parts[page->name() + " " + page->full_name()] = LinkTo(page, "contracts/");
  }
  for (const EnumDescriptor* page : relations.enum_pages()) {
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
  return Framed("", "", "Every record and payload of the telemetry agent.",
                relations.contracts().release(), main);
}

}  // namespace ovix::tool
