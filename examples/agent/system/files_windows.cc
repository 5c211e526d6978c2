// windows.h comes first: the others need its types.
#include <windows.h>

#include <algorithm>
#include <limits>

#include "system/files.h"

namespace ovix::agent {
namespace {

namespace fs = std::filesystem;

std::error_code ErrorOf(DWORD code) {
  switch (code) {
    case ERROR_LOCK_VIOLATION:
    case ERROR_SHARING_VIOLATION:
    case ERROR_IO_PENDING:
      return std::make_error_code(std::errc::resource_unavailable_try_again);
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
      return std::make_error_code(std::errc::no_such_file_or_directory);
    default:
      return {static_cast<int>(code), std::system_category()};
  }
}
std::error_code LastError() { return ErrorOf(GetLastError()); }
std::error_code Done(BOOL done) { return done ? std::error_code() : LastError(); }
HANDLE Native(Files::Handle handle) { return reinterpret_cast<HANDLE>(handle); }

// A link that is opened as what it is, and then refused.
std::error_code Open(const fs::path& file, DWORD access, DWORD sharing, DWORD how,
                     Files::Handle& opened) {
  const HANDLE handle = CreateFileW(file.c_str(), access, sharing, nullptr, how,
                                    FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
  if (handle == INVALID_HANDLE_VALUE) return LastError();
  BY_HANDLE_FILE_INFORMATION information;
  if (GetFileInformationByHandle(handle, &information) &&
      (information.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
    CloseHandle(handle);
    return std::make_error_code(std::errc::too_many_symbolic_link_levels);
  }
  opened = reinterpret_cast<Files::Handle>(handle);
  return {};
}

class WindowsFiles : public Files {
 public:
  std::error_code List(const fs::path& folder, std::vector<Entry>& found) override {
    WIN32_FIND_DATAW entry;
    const HANDLE search = FindFirstFileW((folder / L"*").c_str(), &entry);
    if (search == INVALID_HANDLE_VALUE) return LastError();
    do {
      const DWORD attributes = entry.dwFileAttributes;
      found.push_back({PathText(entry.cFileName),
                       (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 ? Kind::kLink
                       : (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0   ? Kind::kOther
                                                                        : Kind::kFile,
                       (uint64_t{entry.nFileSizeHigh} << 32) | entry.nFileSizeLow});
    } while (FindNextFileW(search, &entry));
    const DWORD ended = GetLastError();
    FindClose(search);
    return ended == ERROR_NO_MORE_FILES ? std::error_code() : ErrorOf(ended);
  }

  std::error_code Create(const fs::path& file, Handle& opened) override {
    return Open(file, GENERIC_WRITE, 0, CREATE_NEW, opened);
  }

  std::error_code Write(Handle file, std::string_view bytes) override {
    while (!bytes.empty()) {
      const DWORD part =
          static_cast<DWORD>(std::min<size_t>(bytes.size(), std::numeric_limits<int32_t>::max()));
      DWORD written = 0;
      if (!WriteFile(Native(file), bytes.data(), part, &written, nullptr)) return LastError();
      bytes.remove_prefix(written);
    }
    return {};
  }

  std::error_code Sync(Handle file) override { return Done(FlushFileBuffers(Native(file))); }
  std::error_code Close(Handle file) override { return Done(CloseHandle(Native(file))); }
  std::error_code Rename(const fs::path& from, const fs::path& to) override {
    return Done(
        MoveFileExW(from.c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH));
  }
  std::error_code Remove(const fs::path& file) override { return Done(DeleteFileW(file.c_str())); }
  // Windows has no such call: NTFS keeps the order of names in its journal, and a rename that is
  // written through is on the disk.
  std::error_code SyncFolder(const fs::path&) override { return {}; }

  std::error_code Read(const fs::path& file, size_t most, std::string& content) override {
    Handle opened = {};
    std::error_code error =
        Open(file, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_DELETE, OPEN_EXISTING, opened);
    if (error) return error;
    content.resize(most + 1);
    size_t size = 0;
    DWORD part = 1;
    while (!error && part > 0 && size < content.size()) {
      error = Done(ReadFile(Native(opened), &content[size],
                            static_cast<DWORD>(content.size() - size), &part, nullptr));
      if (!error) size += part;
    }
    CloseHandle(Native(opened));
    content.resize(size);
    if (!error && size > most) error = std::make_error_code(std::errc::file_too_large);
    return error;
  }

  std::error_code Lock(const fs::path& file, bool make, Handle& locked) override {
    std::error_code error =
        Open(file, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
             make ? OPEN_ALWAYS : OPEN_EXISTING, locked);
    if (error) return error;
    OVERLAPPED from_the_start = {};
    if (LockFileEx(Native(locked), LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY, 0, 1, 0,
                   &from_the_start)) {
      return {};
    }
    error = LastError();
    CloseHandle(Native(locked));
    return error;
  }
};

}  // namespace

Files& Files::System() {
  static WindowsFiles files;
  return files;
}

std::string PathText(const fs::path& path) {
  const std::wstring& wide = path.native();
  if (wide.empty()) return "";
  // An unpaired surrogate becomes U+FFFD.
  const int size = WideCharToMultiByte(CP_UTF8, 0, wide.data(), static_cast<int>(wide.size()),
                                       nullptr, 0, nullptr, nullptr);
  std::string text(static_cast<size_t>(size), '\0');
  WideCharToMultiByte(CP_UTF8, 0, wide.data(), static_cast<int>(wide.size()), text.data(), size,
                      nullptr, nullptr);
  return text;
}

}  // namespace ovix::agent
