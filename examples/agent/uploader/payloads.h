// Payloads built from kept records.
#ifndef OVIX_AGENT_UPLOADER_PAYLOADS_H_
#define OVIX_AGENT_UPLOADER_PAYLOADS_H_

#include <google/protobuf/message.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "store/store.h"

namespace ovix::agent {

struct Payload {
  std::unique_ptr<google::protobuf::Message> message;  // its version is set
  int64_t records;                                     // how many rows it was built from
};

struct Built {
  std::vector<Payload> payloads;
  std::vector<std::string> notes;     // values left out, one line each; nothing is wrong
  std::vector<std::string> problems;  // rows or databases that could not be read, one line each
};

// Builds every payload for which the store holds records. What cannot be read is told in
// `problems`; everything else is built all the same. `now` ends the period of the summaries, which
// is a day long.
Built BuildPayloads(Store& store, const Catalogue& catalogue,
                    std::chrono::system_clock::time_point now);

}  // namespace ovix::agent

#endif  // OVIX_AGENT_UPLOADER_PAYLOADS_H_
