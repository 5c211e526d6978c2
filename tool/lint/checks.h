// The rules for schemas that compile, a function for each idea. What keeps to them is in rules.h.
#ifndef OVIX_TOOL_LINT_CHECKS_H_
#define OVIX_TOOL_LINT_CHECKS_H_

#include <string>
#include <vector>

#include "contracts/contracts.h"
#include "lint/findings.h"

namespace ovix::tool::lint {

// What is checked, and what of it a release excuses: databases without a marker, and of two that
// claim a name the one that had it.
struct Checked {
  const Contracts& contracts;
  const Contracts& released;
  bool options_are_known;  // whether the options of the schemas are those that this tool reads
};

inline bool IsContract(const FileDescriptor* file) { return file->name().starts_with("ovix/"); }
inline bool IsUpload(const FileDescriptor* file) {
  return file->name().find("/upload/") != std::string::npos;
}

// Those under ovix/: other schemas may be imported. Each message before those nested in it.
std::vector<const FileDescriptor*> FilesOf(const Contracts& contracts);
std::vector<const Descriptor*> MessagesOf(const Contracts& contracts);
std::vector<const EnumDescriptor*> EnumsOf(const Contracts& contracts);

void CheckNames(const Checked& checked, Findings& findings);
// Gives whether the options of the schemas are those that this tool reads.
bool CheckExtensions(const Contracts& contracts, Findings& findings);
// These five need known options.
void CheckTables(const Checked& checked, Findings& findings);
void CheckDatabases(const Checked& checked, Findings& findings);
void CheckPayloads(const Checked& checked, Findings& findings);
void CheckGuns(const Checked& checked, Findings& findings);
// The strings of a change log hold whole rows: they are as sensitive as the most sensitive column.
void CheckChangeLogs(const Checked& checked, Findings& findings);
// These do not.
void CheckComments(const Checked& checked, Findings& findings);
void CheckFacts(const Checked& checked, Findings& findings);
void CheckPrivacy(const Checked& checked, Findings& findings);
void CheckLineage(const Checked& checked, Findings& findings);

}  // namespace ovix::tool::lint

#endif  // OVIX_TOOL_LINT_CHECKS_H_
