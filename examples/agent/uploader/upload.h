// One upload: from what a store holds to payloads in an outbox.
#ifndef OVIX_AGENT_UPLOADER_UPLOAD_H_
#define OVIX_AGENT_UPLOADER_UPLOAD_H_

#include <chrono>
#include <string>
#include <vector>

#include "store/store.h"
#include "uploader/outbox.h"
#include "uploader/payloads.h"
#include "uploader/upload_log.h"

namespace ovix::agent {

struct OutboxLimits {
  uint64_t max_bytes = uint64_t{256} << 20;  // of all files of the outbox
  std::chrono::days max_age{30};             // by UploadLog::NoteRun
};

struct UploadResult {
  struct Sent {
    Label label;
    int64_t records;
  };
  Built built;                        // everything that could be built, sent now or as before
  std::vector<Sent> sent;             // they are in the outbox
  int64_t as_before = 0;              // snapshots that were not sent again
  std::vector<std::string> notes;     // values left out, payloads dropped: nothing is wrong
  std::vector<std::string> problems;  // one line each
};

// Writes the payloads that an earlier run could not, builds those for what is new in the store,
// writes them and keeps the limits of the outbox. Where not every payload can be written nothing
// more is built, and the rest waits in `log`.
UploadResult Upload(Store& store, const Catalogue& catalogue, const std::string& device,
                    const OutboxLimits& limits, std::chrono::system_clock::time_point now,
                    UploadLog& log, Outbox& outbox);

}  // namespace ovix::agent

#endif  // OVIX_AGENT_UPLOADER_UPLOAD_H_
