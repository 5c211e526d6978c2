// What the tests of payloads share: the tables of the library, and a first upload from a store.
#ifndef OVIX_TESTS_SUPPORT_PAYLOADS_H_
#define OVIX_TESTS_SUPPORT_PAYLOADS_H_

#include "store/store.h"
#include "uploader/payloads.h"

namespace ovix::tests {

inline const agent::Catalogue& Library() {
  static const agent::Catalogue catalogue;
  return catalogue;
}

// Nothing has gone out yet.
class NothingSent : public agent::Cursors {
 public:
  agent::Cursor After(const agent::Table&) override { return {}; }
};

// What is built at `now` where nothing was sent before.
inline agent::Built Build(agent::Store& store, std::chrono::system_clock::time_point now) {
  NothingSent nothing;
  return agent::BuildPayloads(store, Library(), nothing, now);
}

}  // namespace ovix::tests

#endif  // OVIX_TESTS_SUPPORT_PAYLOADS_H_
