// index.html: the databases with their tables, the payloads, the parts, and how to read a page.
#ifndef OVIX_TOOL_CATALOGUE_PAGES_START_PAGE_H_
#define OVIX_TOOL_CATALOGUE_PAGES_START_PAGE_H_

#include <string>

#include "catalogue/model/relations.h"
#include "catalogue/parts/frame.h"

namespace ovix::tool {

// The whole page, as HTML.
std::string StartPage(const Relations& relations, const Site& site);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_CATALOGUE_PAGES_START_PAGE_H_
