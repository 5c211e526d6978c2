// index.html: the databases with their tables, the payloads, the parts, and how to read a page.
#ifndef OVIX_TOOL_CATALOGUE_START_PAGE_H_
#define OVIX_TOOL_CATALOGUE_START_PAGE_H_

#include <string>

#include "catalogue/frame.h"
#include "catalogue/relations.h"

namespace ovix::tool {

// The whole page, as HTML.
std::string StartPage(const Relations& relations, const Site& site);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_CATALOGUE_START_PAGE_H_
