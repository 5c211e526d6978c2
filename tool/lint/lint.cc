#include "lint/lint.h"

#include <algorithm>

#include "lint/against.h"
#include "lint/checks.h"
#include "lint/schemas.h"

namespace ovix::tool::lint {
namespace {

std::vector<Finding> Check(const Contracts& contracts, const Contracts* older) {
  Findings findings(contracts);
  const Checked checked{contracts, older != nullptr ? *older : Contracts::Installed(),
                        CheckExtensions(contracts, findings)};
  CheckNames(checked, findings);
  if (checked.options_are_known) {
    CheckTables(checked, findings);
    CheckDatabases(checked, findings);
    CheckPayloads(checked, findings);
    CheckGuns(checked, findings);
    CheckChangeLogs(checked, findings);
  }
  CheckComments(checked, findings);
  CheckFacts(checked, findings);
  CheckPrivacy(checked, findings);
  CheckLineage(checked, findings);
  std::vector<Finding> all = findings.Take();
  if (older != nullptr) {
    for (Finding& finding : FindBroken(*older, contracts)) all.push_back(std::move(finding));
  }
  return all;
}

}  // namespace

Linted Lint(const std::string& root, const Contracts* older) {
  CompiledFolder compiled = CompileFolder(root);
  Linted linted{compiled.schemas, std::move(compiled.findings)};
  if (linted.findings.empty()) {
    const Contracts contracts(std::move(compiled.set), root);
    linted.findings = Check(contracts, older);
  }
  std::sort(linted.findings.begin(), linted.findings.end());
  linted.findings.erase(std::unique(linted.findings.begin(), linted.findings.end()),
                        linted.findings.end());
  return linted;
}

}  // namespace ovix::tool::lint
