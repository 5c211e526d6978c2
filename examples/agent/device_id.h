// The pseudonym of a device: what the agent calls it wherever data are kept or sent.
#ifndef OVIX_AGENT_DEVICE_ID_H_
#define OVIX_AGENT_DEVICE_ID_H_

#include <filesystem>
#include <optional>
#include <string>

#include "system/files.h"

namespace ovix::agent {

// A UUID that stays the same as long as the operating system's installation, derived from the
// machine id by a keyed hash, so that it leads back to no id that other programs know; the machine
// id itself is neither kept nor sent. It is read from etc/machine-id below `root`; where `root` is
// empty on Windows, from the registry of the machine that this program runs on. Nothing, where
// the machine id is missing.
std::optional<std::string> DeviceId(const std::filesystem::path& root);

// The same, or, where the machine id is missing, a random one of version 4, made once and kept in
// the file `device-id` of `folder`. Throws std::runtime_error, in one line, where that cannot be
// read or written.
std::string DeviceIdOrKept(const std::filesystem::path& root, const std::filesystem::path& folder,
                           Files& files);

// Whether it is a UUID in lower case, as the ids of devices and payloads are.
bool IsUuid(std::string_view text);

}  // namespace ovix::agent

#endif  // OVIX_AGENT_DEVICE_ID_H_
