// UploadLog: what of a store has gone out, and what is on its way.
#ifndef OVIX_AGENT_UPLOADER_UPLOAD_LOG_H_
#define OVIX_AGENT_UPLOADER_UPLOAD_LOG_H_

#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "store/sqlite.h"
#include "system/files.h"
#include "uploader/label.h"
#include "uploader/payloads.h"

namespace ovix::agent {

// A database of the uploader's own in the store's folder. A payload and the cursors of the rows
// that it was built from are kept in one transaction, bytes, sequence number and id included; only
// then is it written to the outbox, and only when it is there whole does it leave this
// database. So whatever interrupts an upload, every row goes out, and goes out under one id.
//
// The last sequence number is in a file of its own too, so that none is given twice when the
// database is lost.
//
// One program at a time uses it. All operations throw StoreError.
class UploadLog : public Cursors {
 public:
  static constexpr char kFile[] = "Upload.db";
  static constexpr char kSequenceFile[] = "Upload.sequence";
  static constexpr int64_t kApplicationId = 0x4f565550;  // "OVUP"
  static constexpr int64_t kLayoutVersion = 1;           // the database's user_version

  // A payload on its way to the outbox.
  struct Waiting {
    Label label;
    std::string payload;
    int64_t records;
  };

  // Makes the database where it is missing. A damaged one is renamed to NAME.damaged-TIME and
  // replaced by a new one, which problems() reports. Another program's, or a newer release's, is
  // not touched: it is a StoreError of kind kForeign. `files` must outlive the log.
  UploadLog(const std::filesystem::path& store_folder, Files& files);

  // One line each for what was found damaged, and for what is not wrong but worth knowing.
  const std::vector<std::string>& problems() const { return problems_; }
  const std::vector<std::string>& notes() const { return notes_; }

  Cursor After(const Table& table) override;

  // Keeps what was built and moves the cursors. A snapshot that was sent before on the same day
  // (UTC) with the same content is not sent again. Sequence numbers begin beyond `at_least` and
  // beyond all that were given before. Returns how many snapshots were as before.
  int64_t Plan(const Built& built, const std::string& device,
               std::chrono::system_clock::time_point now, int64_t at_least);
  // In the order of their sequence numbers.
  std::vector<Waiting> ReadWaiting();
  // The payloads of this metadata are whole in the outbox.
  void Finish(const std::vector<Label>& labels);

  // Notes that the agent runs, and returns the largest sequence number that is older than this.
  // Time is the time between runs, of each gap a day at most: a clock that jumps, forwards or back,
  // makes no payload older than by a day.
  int64_t NoteRun(std::chrono::system_clock::time_point now, std::chrono::days max_age);

 private:
  void Open();
  // The number in the file next to the database; 0 without one.
  int64_t ReadKeptSequence();
  void KeepSequence(int64_t sequence);
  int64_t ReadState(const std::string& name);
  void WriteState(const std::string& name, int64_t value);

  const std::filesystem::path file_;
  const std::filesystem::path sequence_file_;
  Files& files_;
  std::unique_ptr<Connection> connection_;
  int64_t kept_sequence_ = 0;
  std::vector<std::string> problems_;
  std::vector<std::string> notes_;
};

}  // namespace ovix::agent

#endif  // OVIX_AGENT_UPLOADER_UPLOAD_LOG_H_
