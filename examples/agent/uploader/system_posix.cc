#include <openssl/evp.h>
#include <unistd.h>

#include <stdexcept>

#include "uploader/system.h"

namespace ovix::agent {

std::FILE* OpenToWrite(const std::filesystem::path& file) {
  return std::fopen(file.c_str(), "wbe");
}

bool Sync(std::FILE* file) { return fsync(fileno(file)) == 0; }

std::string Sha256(const std::string& bytes) {
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int size = 0;
  if (EVP_Digest(bytes.data(), bytes.size(), digest, &size, EVP_sha256(), nullptr) != 1) {
    throw std::runtime_error("SHA-256 is not available in this OpenSSL");
  }
  return std::string(digest, digest + size);
}

}  // namespace ovix::agent
