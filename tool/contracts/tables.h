// The tables of a release, as the store makes them.
#ifndef OVIX_TOOL_CONTRACTS_TABLES_H_
#define OVIX_TOOL_CONTRACTS_TABLES_H_

#include "contracts/contracts.h"
#include "ovix/telemetry/contract/tables.h"

namespace ovix::tool {

// Throws Error, which names the set, where the options of tables contradict themselves.
telemetry::contract::tables::Catalogue CatalogueOf(const Contracts& contracts);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_CONTRACTS_TABLES_H_
