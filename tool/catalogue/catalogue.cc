#include "catalogue/catalogue.h"

#include "catalogue/pages.h"
#include "terminal/folder.h"

namespace ovix::tool {

void WriteCatalogue(const Contracts& contracts, const std::filesystem::path& out) {
  WriteFolder(CataloguePages(contracts), out, "catalogue");
}

}  // namespace ovix::tool
