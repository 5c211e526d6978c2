// BatchFile: many payloads in one file, as they travel to the cloud.
#ifndef OVIX_AGENT_UPLOADER_BATCH_H_
#define OVIX_AGENT_UPLOADER_BATCH_H_

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

#include "system/files.h"
#include "uploader/label.h"

namespace ovix::agent {

// Newline-delimited JSON, compressed by gzip: one line for each payload, its metadata with the
// bytes in base64 (docs/payloads.md). It is written to .FILE.ovix-part, which Finish() renames:
// whatever interrupts it, the file is there whole or is what it was before. Not for use by two
// threads.
class BatchFile {
 public:
  // `files` must outlive the batch. This and all that follow throw std::runtime_error, in one line.
  BatchFile(std::filesystem::path file, Files& files);
  // Removes what was not finished.
  ~BatchFile();
  BatchFile(const BatchFile&) = delete;
  BatchFile& operator=(const BatchFile&) = delete;

  void Add(const Label& label, std::string_view payload);
  // The file is in its place, and on the disk. Nothing can be added after it.
  void Finish();

  int64_t payloads() const { return payloads_; }
  // Of the file, after Finish().
  uint64_t bytes() const { return bytes_; }

 private:
  class Compressor;

  void Compress(std::string_view text, bool is_last);
  void Check(const std::error_code& error) const;
  std::filesystem::path part() const;

  const std::filesystem::path file_;
  Files& files_;
  Files::Handle opened_ = 0;
  bool is_open_ = false;
  bool is_left_ = false;  // the unfinished file is there
  std::unique_ptr<Compressor> compressor_;
  int64_t payloads_ = 0;
  uint64_t bytes_ = 0;
};

}  // namespace ovix::agent

#endif  // OVIX_AGENT_UPLOADER_BATCH_H_
