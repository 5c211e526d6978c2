#include "contracts/tables.h"

#include "terminal/error.h"

namespace ovix::tool {

namespace tables = telemetry::contract::tables;

tables::Catalogue CatalogueOf(const Contracts& contracts) {
  try {
    return tables::Catalogue(contracts.messages());
  } catch (const tables::TableError& error) {
    throw Error(contracts.source() + ": " + error.what());
  }
}

}  // namespace ovix::tool
