// What changed between two releases, as it is printed.
#ifndef OVIX_TOOL_DIFF_REPORT_H_
#define OVIX_TOOL_DIFF_REPORT_H_

#include <string>
#include <vector>

#include "diff/compare.h"

namespace ovix::tool {

// What a reader is shown: all, or all but the facts added, and then how many messages have some.
std::vector<Difference> ForReaders(std::vector<Difference> differences);
// What changed, and why that breaks something, in one line.
std::string WhatAndWhyOf(const Difference& difference);
// The same, and what fixes it.
std::string WordsOf(const Difference& difference);
// "4 changes: 1 wire-breaking, ..."
std::string CountOf(const std::vector<Difference>& differences);

// For a terminal, in its colours where it wants them.
std::string AsText(const std::vector<Difference>& differences);
// For a web page: a table of what breaks, and one of what does not.
std::string AsMarkdown(const std::vector<Difference>& differences);
// For programs; docs/tool.md describes it.
std::string AsJson(const std::vector<Difference>& differences);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_DIFF_REPORT_H_
