#include "system/files.h"

namespace ovix::agent {

std::error_code WriteWholeFile(Files& files, const std::filesystem::path& file,
                               std::string_view content) {
  std::filesystem::path part = file;
  part += ".part";
  files.Remove(part);  // left by a run that was killed
  Files::Handle opened;
  if (const std::error_code error = files.Create(part, opened)) return error;
  std::error_code error = files.Write(opened, content);
  if (!error) error = files.Sync(opened);
  const std::error_code closed = files.Close(opened);
  if (!error) error = closed;
  if (!error) error = files.Rename(part, file);
  if (error) files.Remove(part);
  return error ? error : files.SyncFolder(file.parent_path());
}

}  // namespace ovix::agent
