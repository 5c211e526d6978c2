// What is around every page: the head, the bar with the search, the navigation, the footer.
#ifndef OVIX_TOOL_CATALOGUE_PARTS_FRAME_H_
#define OVIX_TOOL_CATALOGUE_PARTS_FRAME_H_

#include <string>
#include <string_view>

#include "catalogue/model/sections.h"

namespace ovix::tool {

// What all pages have in common.
struct Site {
  std::string release;  // of the contracts
  const Sections& sections;
  std::string docs;  // the address of the pages on the contracts, without a slash; may be empty
};

// What the site is called.
constexpr std::string_view kCatalogueTitle = "Telemetry data contracts";

// A whole page. `path` is that of the page from the site's folder; an empty `title` is the site's
// own; `main` is HTML already.
std::string Framed(const Site& site, const std::string& path, const std::string& title,
                   const std::string& description, const std::string& main);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_CATALOGUE_PARTS_FRAME_H_
