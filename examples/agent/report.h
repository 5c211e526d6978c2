// What the agent prints: tables, problems and notes.
#ifndef OVIX_AGENT_REPORT_H_
#define OVIX_AGENT_REPORT_H_

#include <ostream>
#include <set>
#include <string>
#include <vector>

#include "store/store.h"

namespace ovix::agent {

// Says what is wrong in one line on the standard error, after all that was printed before. `line`
// is escaped where it quotes what others wrote. The only place that prints problems.
void PrintProblem(const std::string& line);
// The same for what is not wrong, but worth knowing.
void PrintNote(const std::string& line);

// Rows of cells in columns as wide as their widest cell; the first row is the heading. Cells of the
// columns named in `right` are right-aligned.
void PrintTable(std::ostream& out, const std::vector<std::vector<std::string>>& rows,
                const std::vector<size_t>& right);

// Databases, tables, keys, limits, rows and recorded changes of every table that holds rows.
// Returns a line for each database that cannot be read.
std::set<std::string> PrintStore(std::ostream& out, Store& store, const Catalogue& catalogue);

// One line of counts, and below it one for each table that lost rows to a limit, and why.
void PrintChanges(std::ostream& out, const Changes& changes);

}  // namespace ovix::agent

#endif  // OVIX_AGENT_REPORT_H_
