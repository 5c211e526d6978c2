// The contracts as a static site.
#ifndef OVIX_TOOL_CATALOGUE_CATALOGUE_H_
#define OVIX_TOOL_CATALOGUE_CATALOGUE_H_

#include <filesystem>

#include "contracts/contracts.h"

namespace ovix::tool {

// Writes the site: next to the folder, then in its place, so that a failure leaves what was there.
// The folder is made where it is missing. One that holds an earlier catalogue and nothing else is
// replaced; any other that is not empty is refused. The same contracts give the same bytes. Throws
// Error, which begins with the folder's name. `docs` is the address of the pages on the contracts
// (contracts.md ...), to which the start page links; without it there are no links.
void WriteCatalogue(const Contracts& contracts, const std::filesystem::path& out,
                    const std::string& docs = "");

}  // namespace ovix::tool

#endif  // OVIX_TOOL_CATALOGUE_CATALOGUE_H_
