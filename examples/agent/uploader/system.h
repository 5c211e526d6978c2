// What the uploader needs of the operating system, behind one interface: system_posix.cc and
// system_windows.cc.
#ifndef OVIX_AGENT_UPLOADER_SYSTEM_H_
#define OVIX_AGENT_UPLOADER_SYSTEM_H_

#include <cstdio>
#include <filesystem>
#include <string>

namespace ovix::agent {

// Opens a file to write bytes to, emptying it; null, with errno set, where it cannot be.
std::FILE* OpenToWrite(const std::filesystem::path& file);

// Waits until the disk has what was flushed to the file; false, with errno set, where it cannot.
bool Sync(std::FILE* file);

// The SHA-256 of bytes: 32 bytes. Throws std::runtime_error where the system has none.
std::string Sha256(const std::string& bytes);

}  // namespace ovix::agent

#endif  // OVIX_AGENT_UPLOADER_SYSTEM_H_
