// What changed between two releases, as systems for continuous integration show it.
#ifndef OVIX_TOOL_DIFF_CI_REPORT_H_
#define OVIX_TOOL_DIFF_CI_REPORT_H_

#include <string>
#include <vector>

#include "contracts/contracts.h"
#include "diff/differences.h"

namespace ovix::tool {

// Annotations of GitHub Actions: an error for what breaks, else a notice, at the line of the newer
// schema where there is one, then the number of changes.
std::string AsGithub(const std::vector<Difference>& differences, const Contracts& older,
                     const Contracts& newer);
// JUnit's XML: a test case for each change, which fails if the change breaks something; without
// changes one that passes.
std::string AsJunit(const std::vector<Difference>& differences, const Contracts& older,
                    const Contracts& newer);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_DIFF_CI_REPORT_H_
