// UploadLog: what of a store has gone out, and what is on its way.
#ifndef OVIX_AGENT_UPLOADER_UPLOAD_LOG_H_
#define OVIX_AGENT_UPLOADER_UPLOAD_LOG_H_

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

#include "store/sqlite.h"
#include "uploader/label.h"
#include "uploader/payloads.h"

namespace ovix::agent {

// A database of the uploader's own in the store's folder. A payload and the cursors of the rows
// that it was built from are kept in one transaction, bytes, sequence number and id included; only
// then is it written to the outbox, and only when it stands there whole does it leave this
// database. So whatever interrupts an upload, every row goes out, and goes out under one id.
//
// One program at a time uses it. All operations throw StoreError.
class UploadLog : public Cursors {
 public:
  static constexpr char kFile[] = "Upload.db";

  // A payload on its way to the outbox.
  struct Waiting {
    Label label;
    std::string payload;
    int64_t records;
  };

  // Makes the database where it is missing.
  explicit UploadLog(const std::filesystem::path& store_folder);

  Cursor After(const Table& table) override;

  // Keeps what was built and moves the cursors. A snapshot that was sent before on the same day
  // (UTC) with the same content is not sent again. Sequence numbers begin beyond `at_least`, and
  // never come twice. Returns how many snapshots were as before.
  int64_t Plan(const Built& built, const std::string& device,
               std::chrono::system_clock::time_point now, int64_t at_least);
  // In the order of their sequence numbers.
  std::vector<Waiting> ReadWaiting();
  // The payloads of these labels stand whole in the outbox.
  void Finish(const std::vector<Label>& labels);

  // Notes that the agent runs, and returns the largest sequence number that is older than this.
  // Time is the time between runs, of each gap a day at most: a clock that jumps, forwards or back,
  // makes no payload older than by a day.
  int64_t NoteRun(std::chrono::system_clock::time_point now, std::chrono::days max_age);

 private:
  int64_t ReadState(const std::string& name);
  void WriteState(const std::string& name, int64_t value);

  Connection connection_;
};

}  // namespace ovix::agent

#endif  // OVIX_AGENT_UPLOADER_UPLOAD_LOG_H_
