// What the catalogue's search looks through.
#ifndef OVIX_TOOL_CATALOGUE_SEARCH_H_
#define OVIX_TOOL_CATALOGUE_SEARCH_H_

#include <string>

#include "contracts/contracts.h"
#include "contracts/personal.h"

namespace ovix::tool {

// A script that sets window.ovixCatalogue, for a script can be read from a file where data cannot:
// the pages, and an entry for each message, field, enumeration and value,
// [kind, name, page's index, anchor, what it is in, comment], and after them the privacy classes
// of a field, or of the fields of a table or payload, if there are any.
std::string SearchIndex(const Contracts& contracts, const PersonalData& personal);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_CATALOGUE_SEARCH_H_
