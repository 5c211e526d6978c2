// Keeps the limits of tables and databases, at the end of a write and within its transaction.
#ifndef OVIX_AGENT_STORE_RETENTION_H_
#define OVIX_AGENT_STORE_RETENTION_H_

#include <chrono>

#include "store/writer.h"

namespace ovix::agent {

// A clock that is this far beyond the one of the last write is not believed at first: nothing grows
// old by it until it has gone on for as long.
constexpr std::chrono::days kClockLeap{7};
// The most that counts as its going on between two readings, however far apart they are.
constexpr std::chrono::days kLongestStep{1};

// Drops what the limits of the touched tables and of their databases no longer allow:
//   - rows older than max_time_days, by a clock that is believed;
//   - "Historical" rows beyond max_rows, in the order of their arrival;
//   - the oldest "Historical" rows of a database larger than its max_size_mb.
// Throws StoreError where a database is over its size, by its "State" rows alone, and grew.
void KeepLimits(Writer& writer, const Catalogue& catalogue);

// Gives back the pages that dropped rows have left, of databases whose file is larger than its
// max_size_mb. After the write, in transactions of their own: a file is cut only once its commit is
// done, and an error of that must not make a write that is kept look refused. Where it fails the
// next write tries again.
void ShrinkFiles(Database& database, const Catalogue& catalogue) noexcept;

}  // namespace ovix::agent

#endif  // OVIX_AGENT_STORE_RETENTION_H_
