// What the catalogue's search looks through.
#ifndef OVIX_TOOL_CATALOGUE_SEARCH_H_
#define OVIX_TOOL_CATALOGUE_SEARCH_H_

#include <string>

#include "tool/contracts.h"

namespace ovix::tool {

// A script that sets window.ovixCatalogue, for a script can be read from a file where data cannot:
// the pages, and an entry for each message, field, enumeration and value,
// [kind, name, page's index, anchor, what it is in, comment].
std::string SearchIndex(const Contracts& contracts);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_CATALOGUE_SEARCH_H_
