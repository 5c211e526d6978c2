#include "catalogue/parts/frame.h"

#include "catalogue/parts/html.h"
#include "catalogue/parts/navigation.h"
#include "terminal/format.h"

namespace ovix::tool {

std::string Framed(const Site& site, const std::string& path, const std::string& title,
                   const std::string& description, const std::string& main) {
  const std::string root = path.find('/') == std::string::npos ? "" : "../";
  const std::string name(kCatalogueTitle);
  return "<!doctype html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
         "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
         "<meta name=\"color-scheme\" content=\"light dark\">\n<title>" +
         (title.empty() ? name : Escaped(title) + " – " + name) +
         "</title>\n<meta name=\"description\" content=\"" + Escaped(description) +
         "\">\n<link rel=\"icon\" href=\"data:image/svg+xml,%3Csvg "
         "xmlns='http://www.w3.org/2000/svg' viewBox='0 0 16 16'%3E%3Crect width='16' height='16' "
         "rx='3' fill='%230b6e69'/%3E%3Cpath d='M4 5h8M4 8h8M4 11h5' stroke='white' "
         "stroke-width='1.5'/%3E%3C/svg%3E\">\n<script src=\"" +
         root + "assets/theme.js\"></script>\n<link rel=\"stylesheet\" href=\"" + root +
         "assets/style.css\">\n<script src=\"" + root +
         "assets/navigation.js\" defer></script>\n<script src=\"" + root +
         "assets/site.js\" defer></script>\n<script src=\"" + root +
         "assets/search.js\" defer></script>\n</head>\n<body data-root=\"" + root +
         "\">\n<a class=\"skip\" href=\"#page-main\">Skip to the contents</a>\n"
         "<header class=\"bar\"><div class=\"bar-inner\">\n"
         "<button class=\"menu\" type=\"button\" popovertarget=\"page-contracts\" "
         "aria-label=\"Contracts\"></button>\n<a class=\"home\" href=\"" +
         root +
         "index.html\"><span>Telemetry </span>data contracts</a>\n"
         "<form class=\"search\" role=\"search\" hidden>\n<input id=\"page-search\" "
         "type=\"search\" "
         "role=\"combobox\" aria-label=\"Search names, fields, guns and comments\" "
         "aria-autocomplete=\"list\" aria-expanded=\"false\" aria-controls=\"page-results\" "
         "placeholder=\"Search\" autocomplete=\"off\" autocapitalize=\"none\" "
         "spellcheck=\"false\" maxlength=\"300\"><kbd aria-hidden=\"true\">/</kbd>\n"
         "<div class=\"panel\" hidden><div id=\"page-results\" role=\"listbox\" "
         "aria-label=\"Results\"></div><p class=\"more\" aria-hidden=\"true\"></p></div>\n"
         "<p class=\"unseen\" role=\"status\"></p>\n"
         "<button class=\"leave\" type=\"button\" aria-label=\"Close the "
         "search\"></button>\n</form>\n"
         "<button class=\"theme\" type=\"button\" hidden><span aria-hidden=\"true\"></span>"
         "</button>\n</div></header>\n<div class=\"layout\">\n" +
         NavigationHtml(site.sections, root, path) + "<main id=\"page-main\" tabindex=\"-1\">\n" +
         main + "</main>\n</div>\n<footer><p>" + name + " " + Escaped(site.release) +
         ", written by ovix-contracts from the schemas and their comments.</p></footer>\n"
         "</body>\n</html>\n";
}

}  // namespace ovix::tool
