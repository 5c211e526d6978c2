// Payloads built from kept records.
#ifndef OVIX_AGENT_UPLOADER_PAYLOADS_H_
#define OVIX_AGENT_UPLOADER_PAYLOADS_H_

#include <google/protobuf/message.h>

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "store/store.h"

namespace ovix::agent {

struct Payload {
  std::unique_ptr<google::protobuf::Message> message;  // its version is set
  int64_t records;                                     // how many rows it was built from
  // What it tells the present state of, so that one that is as before need not be sent again; empty
  // for a payload of "Historical" rows, which are told once.
  std::string snapshot;
};

// How far the rows of "Historical" tables have gone out.
class Cursors {
 public:
  virtual ~Cursors() = default;
  // The arrival number up to which they have; 0 where none has.
  virtual int64_t After(const Table& table) = 0;
};

struct Built {
  std::vector<Payload> payloads;
  // Tables whose new rows were read, to the arrival number of the last.
  std::map<const Table*, int64_t> read_up_to;
  std::vector<std::string> notes;     // values left out, one line each; nothing is wrong
  std::vector<std::string> problems;  // rows or databases that could not be read, one line each
};

// Builds every payload for which the store holds records: of "State" tables as they are, of
// "Historical" ones the rows beyond the cursors. What cannot be read is told in `problems`;
// everything else is built all the same.
Built BuildPayloads(Store& store, const Catalogue& catalogue, Cursors& cursors,
                    std::chrono::system_clock::time_point now);

}  // namespace ovix::agent

#endif  // OVIX_AGENT_UPLOADER_PAYLOADS_H_
