// windows.h comes first: the others need its types.
#include <windows.h>

#include <aclapi.h>
#include <sddl.h>

#include <chrono>
#include <cstdint>
#include <cwctype>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include "store/error.h"
#include "store/files/files.h"

namespace ovix::agent {
namespace {

[[noreturn]] void Fail(const std::filesystem::path& path, const char* what, DWORD error) {
  throw StoreError(
      Printable(path) + ": " + what + " cannot be created (" +
          std::system_category().message(static_cast<int>(error)) +
          "); name a folder that can be written",
      error == ERROR_ACCESS_DENIED ? StoreError::Kind::kDenied : StoreError::Kind::kInput, path);
}

struct Free {
  void operator()(void* memory) const { LocalFree(memory); }
};

// Rights for the user, SYSTEM and the Administrators, and nothing that comes from the folder above;
// what is created in a folder gets the same.
std::unique_ptr<void, Free> PrivateDescriptor() {
  HANDLE token = nullptr;
  if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token)) return nullptr;
  DWORD size = 0;
  GetTokenInformation(token, TokenUser, nullptr, 0, &size);
  std::vector<char> user(size);
  const bool is_known = GetTokenInformation(token, TokenUser, user.data(), size, &size) != 0;
  CloseHandle(token);
  wchar_t* sid = nullptr;
  if (!is_known ||
      !ConvertSidToStringSidW(reinterpret_cast<TOKEN_USER*>(user.data())->User.Sid, &sid)) {
    return nullptr;
  }
  const std::wstring text =
      L"D:P(A;OICI;FA;;;" + std::wstring(sid) + L")(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)";
  LocalFree(sid);
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  ConvertStringSecurityDescriptorToSecurityDescriptorW(text.c_str(), SDDL_REVISION_1, &descriptor,
                                                       nullptr);
  return std::unique_ptr<void, Free>(descriptor);
}

}  // namespace

bool CreatePrivateFile(const std::filesystem::path& file) {
  const auto descriptor = PrivateDescriptor();
  if (descriptor == nullptr) Fail(file, "the database", GetLastError());
  SECURITY_ATTRIBUTES attributes = {sizeof attributes, descriptor.get(), FALSE};
  const HANDLE created =
      CreateFileW(file.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, &attributes,
                  CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (created == INVALID_HANDLE_VALUE) {
    const DWORD error = GetLastError();
    if (error == ERROR_FILE_EXISTS || error == ERROR_ALREADY_EXISTS) return false;
    Fail(file, "the database", error);
  }
  CloseHandle(created);
  return true;
}

std::vector<std::filesystem::path> CreatePrivateFolder(const std::filesystem::path& folder) {
  std::vector<std::filesystem::path> created;
  const auto descriptor = PrivateDescriptor();
  if (descriptor == nullptr) Fail(folder, "the folder", GetLastError());
  SECURITY_ATTRIBUTES attributes = {sizeof attributes, descriptor.get(), FALSE};
  if (!CreateDirectoryW(folder.c_str(), &attributes)) {
    const DWORD error = GetLastError();
    std::error_code ignored;
    if (error == ERROR_PATH_NOT_FOUND && folder.has_parent_path() &&
        folder.parent_path() != folder) {
      created = CreatePrivateFolder(folder.parent_path());
      if (!CreateDirectoryW(folder.c_str(), &attributes)) {
        Fail(folder, "the folder", GetLastError());
      }
    } else if (error == ERROR_ALREADY_EXISTS && std::filesystem::is_directory(folder, ignored)) {
      return created;
    } else {
      Fail(folder, "the folder", error);
    }
  }
  created.insert(created.begin(), folder);
  return created;
}

bool IsLink(const std::filesystem::path& path) {
  WIN32_FIND_DATAW found;
  const HANDLE search = FindFirstFileW(path.c_str(), &found);
  if (search == INVALID_HANDLE_VALUE) return false;
  FindClose(search);
  return (found.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 &&
         (found.dwReserved0 == IO_REPARSE_TAG_SYMLINK ||
          found.dwReserved0 == IO_REPARSE_TAG_MOUNT_POINT);
}

void MakePrivate(const std::filesystem::path& path) {
  const auto descriptor = PrivateDescriptor();
  BOOL is_present = FALSE;
  BOOL is_default = FALSE;
  PACL list = nullptr;
  if (descriptor == nullptr ||
      !GetSecurityDescriptorDacl(descriptor.get(), &is_present, &list, &is_default)) {
    return;
  }
  std::wstring name = path.native();
  SetNamedSecurityInfoW(name.data(), SE_FILE_OBJECT,
                        DACL_SECURITY_INFORMATION | PROTECTED_DACL_SECURITY_INFORMATION, nullptr,
                        nullptr, list, nullptr);
}

FolderLock::FolderLock(const std::filesystem::path& folder, Patience& patience, Kind kind) {
  if (kind == Kind::kShared) return;
  std::error_code error;
  const auto whole = std::filesystem::weakly_canonical(folder, error);
  // One name for a folder, however its letters are written; its own characters cannot be in a name.
  uint64_t hash = 14695981039346656037u;
  for (const wchar_t c : (error ? folder : whole).wstring()) {
    hash = (hash ^ static_cast<uint64_t>(towlower(c))) * 1099511628211u;
  }
  mutex_ = CreateMutexW(nullptr, FALSE, (L"Global\\ovix-store-" + std::to_wstring(hash)).c_str());
  if (mutex_ == nullptr) return;
  while (WaitForSingleObject(mutex_, 0) == WAIT_TIMEOUT) {
    if (patience.Wait()) continue;
    CloseHandle(mutex_);
    throw FolderLockedError(folder);
  }
}

FolderLock::~FolderLock() {
  if (mutex_ == nullptr) return;
  ReleaseMutex(mutex_);
  CloseHandle(mutex_);
}

std::error_code Rename(const std::filesystem::path& from, const std::filesystem::path& to,
                       std::chrono::milliseconds patience) {
  const auto deadline = std::chrono::steady_clock::now() + patience;
  while (MoveFileExW(from.c_str(), to.c_str(), MOVEFILE_WRITE_THROUGH) == 0) {
    const DWORD error = GetLastError();
    if (error == ERROR_FILE_NOT_FOUND) return {};
    const bool is_open = error == ERROR_SHARING_VIOLATION || error == ERROR_ACCESS_DENIED;
    if (!is_open || std::chrono::steady_clock::now() >= deadline) {
      return {static_cast<int>(error), std::system_category()};
    }
    Sleep(10);
  }
  return {};
}

// NTFS keeps names in its own journal.
void SyncFolder(const std::filesystem::path& /*folder*/) {}

}  // namespace ovix::agent
