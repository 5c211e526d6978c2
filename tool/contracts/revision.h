// The contracts as a revision of a git repository has them.
#ifndef OVIX_TOOL_CONTRACTS_REVISION_H_
#define OVIX_TOOL_CONTRACTS_REVISION_H_

#include <string>

namespace ovix::tool {

// Compiles the schemas of a revision ("HEAD~3", "v1.0.0") of the repository that the working folder
// is in, as protoc does: the bytes of a descriptor set with imports and comments. `name` is what
// errors call it. Throws Error where git does not know the revision, it has no contracts, or they
// do not compile.
std::string CompileRevision(const std::string& revision, const std::string& name);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_CONTRACTS_REVISION_H_
