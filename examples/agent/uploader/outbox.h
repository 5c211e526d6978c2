// Outbox: the folder in which payloads wait to be sent.
#ifndef OVIX_AGENT_UPLOADER_OUTBOX_H_
#define OVIX_AGENT_UPLOADER_OUTBOX_H_

#include <filesystem>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "system/files.h"
#include "uploader/label.h"
#include "uploader/lock.h"

namespace ovix::agent {

// Each payload is two files of one name: NAME.binpb, the message in protobuf's binary encoding, and
// NAME.json, its metadata file. A payload is there once its metadata file is: that file is written
// last and removed first, and each step is on the disk before the next, so that a kill or a power
// failure at any moment leaves payloads that are whole or not there. What an interrupted run has
// left is removed by the next. Only files whose names are the agent's own are ever touched; links
// and folders are not.
//
// One program at a time: an outbox is locked as long as it lives. Not for use by two threads at
// once.
class Outbox {
 public:
  // What was taken out.
  struct Taken {
    int64_t payloads = 0;
    uint64_t bytes = 0;  // metadata files included
  };

  // Throws std::runtime_error, in one line, where the folder is not there, cannot be used or is in
  // use by another program; with kRefuse also where it is not an outbox yet.
  Outbox(std::filesystem::path folder, UploadLock::IfMissing if_missing, Files& files);

  // Whether the payload of this id is there, whole.
  bool Has(const std::string& id) const { return by_id_.contains(id); }
  // Whether the folder holds files or folders that are not the agent's.
  bool holds_others() const { return holds_others_; }
  // The largest sequence number of the payloads that are there; 0 without any.
  int64_t LargestSequence() const;

  // Writes a payload with its metadata. Throws std::runtime_error, in one line, and leaves nothing
  // of the payload.
  void Write(const Label& label, std::string_view payload);

  // Reads the payloads one after another, by sequence number. One that cannot be read, or is not
  // what its metadata states, goes to `problems`, one line each. What `take` throws is thrown on.
  void Read(const std::function<void(const Label&, std::string_view payload)>& take,
            std::vector<std::string>& problems);

  // Takes out the payloads of these ids; those that are not there go to `unknown`. What could not
  // be removed goes to `problems`, one line each.
  Taken Acknowledge(const std::vector<std::string>& ids, std::vector<std::string>& unknown,
                    std::vector<std::string>& problems);
  // Drops the payloads up to this sequence number.
  Taken DropUpTo(int64_t sequence, std::vector<std::string>& problems);
  // Drops the oldest payloads, by sequence number, until the rest takes no more than this.
  Taken DropBeyond(uint64_t most_bytes, std::vector<std::string>& problems);

  // What was found that is not as it should be, one line each; nothing is lost by it.
  const std::vector<std::string>& remarks() const { return remarks_; }

 private:
  struct Standing {
    int64_t sequence = 0;
    bool has_payload = false;
    bool has_label = false;
    uint64_t payload_bytes = 0;
    uint64_t bytes = 0;  // of both files
    std::string id;      // empty where the metadata, of an older agent, has none
  };
  // By what a payload's two files are named.
  using Payloads = std::map<std::string, Standing>;

  void Look();
  void ReadLabel(const std::string& stem, Standing& standing);
  void WriteFile(const std::string& name, std::string_view content);
  Taken Take(const std::vector<std::string>& stems, std::vector<std::string>& problems);
  std::vector<std::string> OldestFirst() const;

  const std::filesystem::path folder_;
  Files& files_;
  const UploadLock lock_;
  Payloads payloads_;
  std::map<std::string, std::string> by_id_;
  std::set<std::string> not_files_;  // links and folders with names like ours
  bool holds_others_ = false;
  std::vector<std::string> unread_;  // metadata files, one line each
  std::vector<std::string> remarks_;
};

}  // namespace ovix::agent

#endif  // OVIX_AGENT_UPLOADER_OUTBOX_H_
