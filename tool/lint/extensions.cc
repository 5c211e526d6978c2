// The options that schemas are written with.
#include <string>

#include "lint/checks.h"
#include "lint/options.h"

namespace ovix::tool::lint {
namespace {

std::string Declared(const FieldDescriptor* extension) {
  const std::string& type = extension->message_type() != nullptr
                                ? extension->message_type()->full_name()
                                : std::string(extension->type_name());
  return "." + extension->containing_type()->full_name() + " " +
         std::to_string(extension->number()) + " " + type;
}

}  // namespace

bool CheckExtensions(const Contracts& contracts, Findings& findings) {
  bool are_known = true;
  for (const char* name : {"storage.persistance", "storage.column", "upload.cdm"}) {
    const std::string full_name = std::string("ovix.telemetry.contract.") + name;
    const auto* known = Contracts::Installed().pool().FindExtensionByName(full_name);
    const auto* found = contracts.pool().FindExtensionByName(full_name);
    if (found == nullptr || known == nullptr || Declared(known) == Declared(found)) continue;
    are_known = false;
    findings.Add(Rule::kExtension, found,
                 "changed from " + Declared(known) + " to " + Declared(found), kUndo);
  }
  return are_known;
}

}  // namespace ovix::tool::lint
