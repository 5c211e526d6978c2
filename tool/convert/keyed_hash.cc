#include "convert/keyed_hash.h"

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

std::string KeyedHash(std::string_view key, std::string_view data) {
  std::array<unsigned char, 32> hash{};
#ifdef _WIN32
  const auto bytes = [](std::string_view text) {
    return reinterpret_cast<unsigned char*>(const_cast<char*>(text.data()));
  };
  BCRYPT_ALG_HANDLE algorithm = nullptr;
  bool done = BCryptOpenAlgorithmProvider(&algorithm, BCRYPT_SHA256_ALGORITHM, nullptr,
                                          BCRYPT_ALG_HANDLE_HMAC_FLAG) >= 0;
  BCRYPT_HASH_HANDLE state = nullptr;
  done = done && BCryptCreateHash(algorithm, &state, nullptr, 0, bytes(key),
                                  static_cast<ULONG>(key.size()), 0) >= 0;
  done = done && BCryptHashData(state, bytes(data), static_cast<ULONG>(data.size()), 0) >= 0;
  done = done && BCryptFinishHash(state, hash.data(), static_cast<ULONG>(hash.size()), 0) >= 0;
  if (state != nullptr) BCryptDestroyHash(state);
  if (algorithm != nullptr) BCryptCloseAlgorithmProvider(algorithm, 0);
#else
  unsigned int size = 0;
  const bool done = HMAC(EVP_sha256(), key.data(), static_cast<int>(key.size()),
                         reinterpret_cast<const unsigned char*>(data.data()), data.size(),
                         hash.data(), &size) != nullptr;
#endif
  if (!done) throw Error("the system's HMAC-SHA-256 failed; check its cryptography library");
  constexpr char kDigits[] = "0123456789abcdef";
  std::string digits;
  for (const unsigned char byte : hash) {
    digits += kDigits[byte >> 4];
    digits += kDigits[byte & 15];
  }
  return digits;
}

}  // namespace ovix::tool
