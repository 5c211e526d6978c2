// Outbox: the folder in which payloads wait to be sent.
#ifndef OVIX_AGENT_UPLOADER_OUTBOX_H_
#define OVIX_AGENT_UPLOADER_OUTBOX_H_

#include <google/protobuf/message.h>

#include <chrono>
#include <filesystem>
#include <string>

namespace ovix::agent {

// Each payload is two files of one name: NAME.binpb, the message in protobuf's binary encoding, and
// NAME.json, its label: gun, version, message (full name), payload (the file), bytes, sha256 (of
// the file, in hexadecimal). A payload is there once its label is. Both are written aside, flushed
// to the disk and renamed, so that neither is ever seen half-written; what an interrupted run has
// left is removed by the next. One writer at a time.
class Outbox {
 public:
  struct Entry {
    std::string gun;
    std::string version;
    std::string message;  // without its package
    size_t bytes;
    std::filesystem::path file;
  };

  // Makes the folder where it is missing. Throws std::runtime_error where it cannot be written.
  Outbox(std::filesystem::path folder, std::chrono::system_clock::time_point now);

  // Writes a payload whose schema sets the option cdm. Throws std::runtime_error, in one line, and
  // leaves nothing of the payload behind.
  Entry Write(const google::protobuf::Message& payload);

 private:
  void WriteFile(const std::filesystem::path& file, const std::string& content) const;

  const std::filesystem::path folder_;
  const std::string time_;
  int sequence_ = 0;
};

}  // namespace ovix::agent

#endif  // OVIX_AGENT_UPLOADER_OUTBOX_H_
