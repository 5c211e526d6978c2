// What is around every page: the head, the bar with the search, the footer.
#ifndef OVIX_TOOL_CATALOGUE_FRAME_H_
#define OVIX_TOOL_CATALOGUE_FRAME_H_

#include <string>
#include <string_view>

namespace ovix::tool {

// What the site is called.
constexpr std::string_view kCatalogueTitle = "Telemetry data contracts";

// A whole page. `root` leads from the page to the site's folder; an empty `title` is the site's
// own; `release` is that of the contracts; `main` is HTML already.
std::string Framed(const std::string& root, const std::string& title,
                   const std::string& description, const std::string& release,
                   const std::string& main);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_CATALOGUE_FRAME_H_
