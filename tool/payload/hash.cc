#include "payload/hash.h"

#include <array>

#include "terminal/error.h"

#ifdef _WIN32
#include <windows.h>

#include <bcrypt.h>
#else
#include <openssl/evp.h>
#include <openssl/hmac.h>
#endif

namespace ovix::tool {
namespace {

using Digest = std::array<unsigned char, 32>;

std::string Digits(bool done, const Digest& digest) {
  if (!done) throw Error("the system's SHA-256 failed; check its cryptography library");
  constexpr char kDigits[] = "0123456789abcdef";
  std::string digits;
  for (const unsigned char byte : digest) {
    digits += kDigits[byte >> 4];
    digits += kDigits[byte & 15];
  }
  return digits;
}

#ifdef _WIN32

// Of `data` under `key` where `flags` ask for a keyed hash.
std::string Hash(ULONG flags, std::string_view key, std::string_view data) {
  const auto bytes = [](std::string_view text) {
    return reinterpret_cast<unsigned char*>(const_cast<char*>(text.data()));
  };
  Digest digest{};
  BCRYPT_ALG_HANDLE algorithm = nullptr;
  bool done = BCryptOpenAlgorithmProvider(&algorithm, BCRYPT_SHA256_ALGORITHM, nullptr, flags) >= 0;
  BCRYPT_HASH_HANDLE state = nullptr;
  done = done && BCryptCreateHash(algorithm, &state, nullptr, 0, bytes(key),
                                  static_cast<ULONG>(key.size()), 0) >= 0;
  done = done && BCryptHashData(state, bytes(data), static_cast<ULONG>(data.size()), 0) >= 0;
  done = done && BCryptFinishHash(state, digest.data(), static_cast<ULONG>(digest.size()), 0) >= 0;
  if (state != nullptr) BCryptDestroyHash(state);
  if (algorithm != nullptr) BCryptCloseAlgorithmProvider(algorithm, 0);
  return Digits(done, digest);
}

#endif

}  // namespace

#ifdef _WIN32

std::string Sha256(std::string_view data) { return Hash(0, {}, data); }

std::string KeyedHash(std::string_view key, std::string_view data) {
  return Hash(BCRYPT_ALG_HANDLE_HMAC_FLAG, key, data);
}

#else

std::string Sha256(std::string_view data) {
  Digest digest{};
  unsigned int size = 0;
  const bool done =
      EVP_Digest(data.data(), data.size(), digest.data(), &size, EVP_sha256(), nullptr) == 1;
  return Digits(done, digest);
}

std::string KeyedHash(std::string_view key, std::string_view data) {
  Digest digest{};
  unsigned int size = 0;
  const bool done = HMAC(EVP_sha256(), key.data(), static_cast<int>(key.size()),
                         reinterpret_cast<const unsigned char*>(data.data()), data.size(),
                         digest.data(), &size) != nullptr;
  return Digits(done, digest);
}

#endif

}  // namespace ovix::tool
