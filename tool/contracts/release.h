// The release of the contracts that a command reads: that of the library, or of a descriptor set.
#ifndef OVIX_TOOL_CONTRACTS_RELEASE_H_
#define OVIX_TOOL_CONTRACTS_RELEASE_H_

#include <memory>
#include <string>

#include "contracts/contracts.h"

namespace ovix::tool {

// Not for use by two threads at once.
class Release {
 public:
  // The option --contracts: a descriptor set; empty for the contracts of the library. Set it before
  // the first call.
  std::string file;

  // Read by the first call, and as long-lived as this object. Throws Error where the file is not a
  // whole descriptor set, or none of its messages is a table or a payload.
  const Contracts& contracts() const;

 private:
  mutable std::unique_ptr<Contracts> read_;
};

}  // namespace ovix::tool

#endif  // OVIX_TOOL_CONTRACTS_RELEASE_H_
