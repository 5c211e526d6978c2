// windows.h comes first: the others need its types.
#include <windows.h>

#include <bcrypt.h>
#include <io.h>

#include <stdexcept>

#include "uploader/system.h"

namespace ovix::agent {

std::FILE* OpenToWrite(const std::filesystem::path& file) { return _wfopen(file.c_str(), L"wbN"); }

bool Sync(std::FILE* file) { return _commit(_fileno(file)) == 0; }

std::string Sha256(const std::string& bytes) {
  BCRYPT_ALG_HANDLE algorithm = nullptr;
  BCRYPT_HASH_HANDLE hash = nullptr;
  std::string digest(32, '\0');
  const auto data = [](const std::string& text) {
    return reinterpret_cast<PUCHAR>(const_cast<char*>(text.data()));
  };
  const bool done =
      BCryptOpenAlgorithmProvider(&algorithm, BCRYPT_SHA256_ALGORITHM, nullptr, 0) >= 0 &&
      BCryptCreateHash(algorithm, &hash, nullptr, 0, nullptr, 0, 0) >= 0 &&
      BCryptHashData(hash, data(bytes), static_cast<ULONG>(bytes.size()), 0) >= 0 &&
      BCryptFinishHash(hash, data(digest), static_cast<ULONG>(digest.size()), 0) >= 0;
  if (hash != nullptr) BCryptDestroyHash(hash);
  if (algorithm != nullptr) BCryptCloseAlgorithmProvider(algorithm, 0);
  if (!done) throw std::runtime_error("SHA-256 is not available in this Windows");
  return digest;
}

}  // namespace ovix::agent
