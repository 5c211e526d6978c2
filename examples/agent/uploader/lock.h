// A folder that one program at a time works on.
#ifndef OVIX_AGENT_UPLOADER_LOCK_H_
#define OVIX_AGENT_UPLOADER_LOCK_H_

#include <filesystem>
#include <string>

#include "system/files.h"

namespace ovix::agent {

// Holds the lock of a folder from its making to its end. The system lets go of it when the process
// ends, however it ends; the lock's file stays, for taking it away would let two in.
class UploadLock {
 public:
  enum class IfMissing { kMake, kRefuse };

  // Throws std::runtime_error, in one line that names the folder, where another program holds the
  // lock or the file `name` cannot be made; with kRefuse also where there is none. `does` is what
  // the program does with the folder ("writes to this outbox").
  UploadLock(const std::filesystem::path& folder, const std::string& name, const std::string& does,
             IfMissing if_missing, Files& files);
  ~UploadLock();
  UploadLock(const UploadLock&) = delete;
  UploadLock& operator=(const UploadLock&) = delete;

 private:
  Files& files_;
  Files::Handle locked_;
};

}  // namespace ovix::agent

#endif  // OVIX_AGENT_UPLOADER_LOCK_H_
