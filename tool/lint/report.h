// Findings and rules, as they are printed.
#ifndef OVIX_TOOL_LINT_REPORT_H_
#define OVIX_TOOL_LINT_REPORT_H_

#include <string>
#include <vector>

#include "lint/findings.h"

namespace ovix::tool::lint {

// "FILE:LINE: RULE: WHAT; FIX", a line for each.
std::string AsText(const std::vector<Finding>& findings);
// For programs; docs/tool.md describes it.
std::string AsJson(const std::vector<Finding>& findings);
// Annotations of GitHub Actions.
std::string AsGithub(const std::vector<Finding>& findings);
// JUnit's XML: a test case for each finding, which fails; without findings one that passes.
std::string AsJunit(const std::vector<Finding>& findings);

// The table of rules, for a terminal and for programs.
std::string RulesAsText();
std::string RulesAsJson();

}  // namespace ovix::tool::lint

#endif  // OVIX_TOOL_LINT_REPORT_H_
