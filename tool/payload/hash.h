// Hashes, by the system's cryptography.
#ifndef OVIX_TOOL_PAYLOAD_HASH_H_
#define OVIX_TOOL_PAYLOAD_HASH_H_

#include <string>
#include <string_view>

namespace ovix::tool {

// The 64 hexadecimal digits, in lower case, of the SHA-256 of `data`. Throws Error if the system
// refuses.
std::string Sha256(std::string_view data);

// The same of the HMAC-SHA-256 of `data` under `key`.
std::string KeyedHash(std::string_view key, std::string_view data);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_PAYLOAD_HASH_H_
