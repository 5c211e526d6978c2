// The schemas of a folder, compiled.
#ifndef OVIX_TOOL_LINT_SCHEMAS_H_
#define OVIX_TOOL_LINT_SCHEMAS_H_

#include <cstddef>
#include <string>
#include <vector>

#include "lint/findings.h"

namespace ovix::tool::lint {

struct CompiledFolder {
  size_t schemas = 0;
  std::vector<Finding> findings;  // why they do not compile
  std::string set;                // the bytes of a descriptor set; empty with findings
};

// Reads every schema under ovix/ in the folder, which is the import root; hidden files and folders
// are left out. Throws Error where there is none, or one cannot be read.
CompiledFolder CompileFolder(const std::string& root);

}  // namespace ovix::tool::lint

#endif  // OVIX_TOOL_LINT_SCHEMAS_H_
