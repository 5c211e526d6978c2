// windows.h comes first: the others need its types.
#include <windows.h>

#include <bcrypt.h>

#include <stdexcept>

#include "system/hash.h"

namespace ovix::agent {
namespace {

PUCHAR Data(std::string_view bytes) {
  return reinterpret_cast<PUCHAR>(const_cast<char*>(bytes.data()));
}

// Of `message` under `key` where `flags` ask for a keyed hash.
std::string Hash(ULONG flags, std::string_view key, std::string_view message) {
  BCRYPT_ALG_HANDLE algorithm = nullptr;
  BCRYPT_HASH_HANDLE hash = nullptr;
  std::string digest(32, '\0');
  const bool done =
      BCryptOpenAlgorithmProvider(&algorithm, BCRYPT_SHA256_ALGORITHM, nullptr, flags) >= 0 &&
      BCryptCreateHash(algorithm, &hash, nullptr, 0, Data(key), static_cast<ULONG>(key.size()),
                       0) >= 0 &&
      BCryptHashData(hash, Data(message), static_cast<ULONG>(message.size()), 0) >= 0 &&
      BCryptFinishHash(hash, Data(digest), static_cast<ULONG>(digest.size()), 0) >= 0;
  if (hash != nullptr) BCryptDestroyHash(hash);
  if (algorithm != nullptr) BCryptCloseAlgorithmProvider(algorithm, 0);
  if (!done) throw std::runtime_error("SHA-256 is not available in this Windows; update it");
  return digest;
}

}  // namespace

std::string Sha256(std::string_view bytes) { return Hash(0, {}, bytes); }

std::string HmacSha256(std::string_view key, std::string_view message) {
  return Hash(BCRYPT_ALG_HANDLE_HMAC_FLAG, key, message);
}

}  // namespace ovix::agent
