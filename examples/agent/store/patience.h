// How long to wait for the locks of other programs.
#ifndef OVIX_AGENT_STORE_PATIENCE_H_
#define OVIX_AGENT_STORE_PATIENCE_H_

#include <chrono>
#include <set>
#include <string>

namespace ovix::agent {

// One patience for all databases of a store: however many of them are locked, and however often
// each is asked for, all waits together take little more than the whole patience.
//
//   - A database that was waited for in vain is asked for again without waiting, until it is free.
//   - Meanwhile another one may use what is left of the patience, yet at least a twentieth of the
//     whole, so that a short lock stops nothing.
//   - Once all that was waited for is free, the patience is whole again.
//
// Belongs to one thread at a time.
class Patience {
 public:
  explicit Patience(std::chrono::milliseconds whole) : whole_(whole), left_(whole) {}

  // What follows, up to End(), is about this database.
  void Begin(const std::string& database);
  // Waits a moment for a lock; false once the patience has run out.
  bool Wait();
  // Whether the database was free in the end.
  void End(bool is_free);

 private:
  using Duration = std::chrono::steady_clock::duration;

  const Duration whole_;
  Duration left_;
  Duration allowed_{0};  // for the database that this is about
  bool has_waited_ = false;
  std::string database_;
  std::set<std::string> locked_;
};

}  // namespace ovix::agent

#endif  // OVIX_AGENT_STORE_PATIENCE_H_
