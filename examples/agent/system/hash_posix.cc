#include <openssl/evp.h>
#include <openssl/hmac.h>

#include <stdexcept>

#include "system/hash.h"

namespace ovix::agent {
namespace {

[[noreturn]] void Fail() {
  throw std::runtime_error(
      "SHA-256 is not available in this OpenSSL; install a version that has it");
}

}  // namespace

std::string Sha256(std::string_view bytes) {
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int size = 0;
  if (EVP_Digest(bytes.data(), bytes.size(), digest, &size, EVP_sha256(), nullptr) != 1) Fail();
  return std::string(digest, digest + size);
}

std::string HmacSha256(std::string_view key, std::string_view message) {
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int size = 0;
  if (HMAC(EVP_sha256(), key.data(), static_cast<int>(key.size()),
           reinterpret_cast<const unsigned char*>(message.data()), message.size(), digest,
           &size) == nullptr) {
    Fail();
  }
  return std::string(digest, digest + size);
}

}  // namespace ovix::agent
