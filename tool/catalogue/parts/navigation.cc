#include "catalogue/parts/navigation.h"

#include <string_view>

#include "catalogue/parts/html.h"

namespace ovix::tool {
namespace {

constexpr std::string_view kFolder = "contracts/";
constexpr const char* kCurrent = " aria-current=\"page\"";  // after "<a"

// `href` is the page's own in contracts/.
std::string GroupHtml(const Group& group, const std::string& root, std::string_view href) {
  std::string items;
  for (const Page& other : group.pages) {
    std::string link = Link(other.href, Breakable(other.name));
    if (other.href == href) link.insert(2, kCurrent);
    items += "<li>" + link + "</li>";
  }
  return "<ul><li>" + Link(root + "index.html#" + group.anchor, Breakable(group.name)) + "<ul>" +
         items + "</ul></li></ul>";
}

}  // namespace

std::string NavigationHtml(const Sections& sections, const std::string& root,
                           const std::string& page) {
  const std::string_view href =
      std::string_view(page).substr(page.starts_with(kFolder) ? kFolder.size() : 0);
  std::string html =
      "<nav id=\"page-contracts\" class=\"side\" popover aria-label=\"Contracts\"><ul>";
  for (const Section* section : sections.all()) {
    html += "<li>" + Link(root + "index.html#" + section->anchor, section->name);
    for (const Group& group : section->groups) {
      if (group.Has(href)) html += GroupHtml(group, root, href);
    }
    html += "</li>";
  }
  std::string privacy = Link(root + "privacy.html", "Personal data");
  if (page == "privacy.html") privacy.insert(2, kCurrent);
  return html + "<li>" + privacy + "</li></ul></nav>\n";
}

std::string NavigationScript(const Sections& sections) {
  std::string list;
  for (const Section* section : sections.all()) {
    std::string groups;
    for (const Group& group : section->groups) {
      std::string pages;
      for (const Page& page : group.pages) {
        pages +=
            (pages.empty() ? "[" : ",\n[") + JsString(page.name) + "," + JsString(page.href) + "]";
      }
      groups += (groups.empty() ? "[" : ",\n[") + JsString(group.name) + ",[\n" + pages + "]]";
    }
    list += (list.empty() ? "[" : ",\n[") + JsString(section->name) + "," +
            JsString(section->anchor) + ",[\n" + groups + "]]";
  }
  return "window.ovixNavigation = [\n" + list + "];\n";
}

}  // namespace ovix::tool
