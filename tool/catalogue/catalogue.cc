#include "catalogue/catalogue.h"

#include "catalogue/pages.h"
#include "terminal/folder.h"

namespace ovix::tool {

void WriteCatalogue(const Contracts& contracts, const std::string& out, const std::string& docs) {
  WriteFolder(CataloguePages(contracts, docs), out, "catalogue");
}

}  // namespace ovix::tool
