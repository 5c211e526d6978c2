#include "uploader/lock.h"

#include <stdexcept>

#include "store/error.h"

namespace ovix::agent {

UploadLock::UploadLock(const std::filesystem::path& folder, const std::string& name,
                       const std::string& does, IfMissing if_missing, Files& files)
    : files_(files) {
  const std::error_code error = files.Lock(folder / name, if_missing == IfMissing::kMake, locked_);
  if (!error) return;
  if (error == std::errc::resource_unavailable_try_again) {
    throw std::runtime_error(Printable(folder) + ": another ovix-agent " + does +
                             "; run again when it has finished");
  }
  if (error == std::errc::no_such_file_or_directory && if_missing == IfMissing::kRefuse) {
    throw std::runtime_error(
        Printable(folder) +
        ": is not an outbox of the agent; name the folder that upload has filled");
  }
  throw std::runtime_error(Printable(folder) + ": the folder cannot be locked (" + name + ": " +
                           error.message() + "); name a folder that can be written");
}

UploadLock::~UploadLock() { files_.Close(locked_); }

}  // namespace ovix::agent
