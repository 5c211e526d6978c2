// Names that differ in case only, or that Windows cannot have: of schemas, and of what has a page
// of its own in the catalogue.
#include <algorithm>
#include <map>

#include "lint/checks.h"
#include "terminal/file_names.h"

namespace ovix::tool::lint {
namespace {

constexpr const char* kSides[] = {"ovix/telemetry/contract/storage/",
                                  "ovix/telemetry/contract/upload/"};

bool HasDevice(std::string_view path) {
  for (size_t begin = 0; begin < path.size();) {
    const size_t end = std::min(path.find('/', begin), path.size());
    if (IsDevice(path.substr(begin, end - begin))) return true;
    begin = end + 1;
  }
  return false;
}

void CheckSchemas(const Contracts& contracts, Findings& findings) {
  std::map<std::string, std::string> taken;  // without case
  for (const FileDescriptor* file : FilesOf(contracts)) {
    const std::string& name = file->name();
    if (!name.starts_with(kSides[0]) && !name.starts_with(kSides[1])) {
      findings.AddIn(name, 1, Rule::kPlace, "is neither a schema of storage/ nor of upload/",
                     std::string("move it under ") + kSides[0] + " or " + kSides[1]);
    }
    const auto [other, is_first] = taken.emplace(WithoutCase(name), name);
    if (!is_first) {
      findings.AddIn(name, 1, Rule::kSchemaName,
                     "differs from " + other->second + " in case only: one file on Windows",
                     "give it another name");
    }
    if (HasDevice(name)) {
      findings.AddIn(name, 1, Rule::kSchemaName,
                     "has the name of a device on Windows, which cannot have such a file",
                     "give it another name");
    }
  }
}

// The page of each is a file with its full name.
void CheckPages(const Contracts& contracts, Findings& findings) {
  std::map<std::string, std::string> taken;  // without case
  const auto check = [&](const auto* page) {
    if (page->containing_type() != nullptr) return;
    const auto [other, is_first] = taken.emplace(WithoutCase(page->full_name()), page->full_name());
    if (is_first) return;
    findings.AddAt(contracts.LineOf(page), Rule::kContractName, page,
                   "differs from " + other->second + " in case only: one page in the catalogue",
                   "give it another name");
  };
  for (const Descriptor* message : MessagesOf(contracts)) check(message);
  for (const EnumDescriptor* enumeration : EnumsOf(contracts)) check(enumeration);
}

}  // namespace

void CheckNames(const Checked& checked, Findings& findings) {
  CheckSchemas(checked.contracts, findings);
  CheckPages(checked.contracts, findings);
}

}  // namespace ovix::tool::lint
