// Contracts as documents of the Open Data Contract Standard 3.1.0.
#ifndef OVIX_TOOL_EXPORT_ODCS_H_
#define OVIX_TOOL_EXPORT_ODCS_H_

#include <string>
#include <vector>

#include "contracts/contracts.h"
#include "ovix/telemetry/contract/tables.h"

namespace ovix::tool {

// Each document is JSON, which every reader of YAML takes. Not for use by two threads at once.
class Odcs {
 public:
  // `contracts` must outlive it. Throws Error where the options of tables contradict themselves.
  explicit Odcs(const Contracts& contracts);

  // The databases in their order by name.
  std::vector<std::string> Databases() const;

  // A contract for the tables of a database, as a store makes them. Throws Error for a name that no
  // database has.
  std::string OfDatabase(const std::string& database) const;
  // A contract for a payload. Throws Error for a message that is not one.
  std::string OfPayload(const Descriptor* payload) const;

 private:
  const Contracts& contracts_;
  const telemetry::contract::tables::Catalogue tables_;
};

}  // namespace ovix::tool

#endif  // OVIX_TOOL_EXPORT_ODCS_H_
