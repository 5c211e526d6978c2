// The contracts as a static site.
#ifndef OVIX_TOOL_CATALOGUE_CATALOGUE_H_
#define OVIX_TOOL_CATALOGUE_CATALOGUE_H_

#include <string>

#include "contracts/contracts.h"

namespace ovix::tool {

// Writes the site into the folder, as WriteFolder() of terminal/folder.h does, and throws Error as
// that. The same contracts give the same bytes. `docs` is the address of the pages on the contracts
// (contracts.md ...), to which the start page links; without it there are no links.
void WriteCatalogue(const Contracts& contracts, const std::string& out,
                    const std::string& docs = "");

}  // namespace ovix::tool

#endif  // OVIX_TOOL_CATALOGUE_CATALOGUE_H_
