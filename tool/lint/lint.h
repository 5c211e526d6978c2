// Schemas held against the rules for contracts, and against an older release.
#ifndef OVIX_TOOL_LINT_LINT_H_
#define OVIX_TOOL_LINT_LINT_H_

#include <cstddef>
#include <string>
#include <vector>

#include "contracts/contracts.h"
#include "lint/findings.h"

namespace ovix::tool::lint {

struct Linted {
  size_t schemas = 0;
  std::vector<Finding> findings;  // by file, line, rule, then words; each once
};

// Checks the schemas in ovix/ of the import root. `older` is the release that they are held
// against, null for none; without one the library's excuses databases that have no marker, and no
// change of a release is reported. Throws Error.
Linted Lint(const std::string& root, const Contracts* older);

}  // namespace ovix::tool::lint

#endif  // OVIX_TOOL_LINT_LINT_H_
