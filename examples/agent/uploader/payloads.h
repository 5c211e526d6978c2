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
  // Whose present state it has, so that one that is as before need not be sent again; empty
  // for a payload of "Historical" rows, which are sent once.
  std::string snapshot;
};

// How far the rows of "Historical" tables have gone out.
class Cursors {
 public:
  virtual ~Cursors() = default;
  virtual Cursor After(const Table& table) = 0;
};

struct Built {
  std::vector<Payload> payloads;
  std::map<const Table*, Cursor> read_up_to;  // the tables whose new rows were read
  std::vector<std::string> notes;             // values left out, one line each; nothing is wrong
  std::vector<std::string> problems;  // rows or databases that could not be read, one line each
};

// The payloads that can be built, in the order in which they are.
std::vector<const google::protobuf::Descriptor*> BuiltPayloads();

// Builds every payload for which the store holds records, all from one snapshot: of "State" tables
// as they are, of "Historical" ones the rows beyond the cursors, up to 10,000 of each. What cannot
// be read is reported in `problems`; everything else is built nevertheless.
Built BuildPayloads(Store& store, const Catalogue& catalogue, Cursors& cursors,
                    std::chrono::system_clock::time_point now);

}  // namespace ovix::agent

#endif  // OVIX_AGENT_UPLOADER_PAYLOADS_H_
