// The contracts as a static site.
#ifndef OVIX_TOOL_CATALOGUE_H_
#define OVIX_TOOL_CATALOGUE_H_

#include <filesystem>

#include "tool/contracts.h"

namespace ovix::tool {

// Writes the site into a folder, which is made where it is missing; files of an earlier site are
// replaced. Throws Error.
void WriteCatalogue(const Contracts& contracts, const std::filesystem::path& out);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_CATALOGUE_H_
