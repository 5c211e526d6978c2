// The list of all contracts next to each page.
#ifndef OVIX_TOOL_CATALOGUE_PARTS_NAVIGATION_H_
#define OVIX_TOOL_CATALOGUE_PARTS_NAVIGATION_H_

#include <string>

#include "catalogue/model/sections.h"

namespace ovix::tool {

// What a page itself has of the list: its sections, linked to the start page, and the group that
// the page is in. site.js puts the whole list in its place. `root` leads from the page to the
// site's folder; `page` is the page's path from there.
std::string NavigationHtml(const Sections& sections, const std::string& root,
                           const std::string& page);

// A script that sets window.ovixNavigation to the whole list, once for all pages: each section is
// [name, anchor, groups], each group [name, [[name, address in contracts/] ...]].
std::string NavigationScript(const Sections& sections);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_CATALOGUE_PARTS_NAVIGATION_H_
