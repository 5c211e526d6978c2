// Hashes, by the operating system's own library: hash_posix.cc and hash_windows.cc.
#ifndef OVIX_AGENT_SYSTEM_HASH_H_
#define OVIX_AGENT_SYSTEM_HASH_H_

#include <string>
#include <string_view>

namespace ovix::agent {

// The SHA-256 of bytes: 32 bytes. Throws std::runtime_error where the system has none.
std::string Sha256(std::string_view bytes);

// The HMAC-SHA-256 of a message under a key: 32 bytes. Throws as Sha256 does.
std::string HmacSha256(std::string_view key, std::string_view message);

// Bytes as hexadecimal digits, lower case.
std::string Hexadecimal(std::string_view bytes);

// The first 16 of the bytes as a UUID of version 8 (RFC 9562: a form of one's own), lower case.
std::string UuidOf(std::string_view bytes);

}  // namespace ovix::agent

#endif  // OVIX_AGENT_SYSTEM_HASH_H_
