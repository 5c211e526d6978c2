#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <cerrno>
#include <string>
#include <system_error>
#include <utility>

#include "terminal/platform.h"
#include "terminal/replacement.h"
#include "terminal/unfinished.h"

namespace ovix::tool {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void Fail(DWORD error) {
  throw std::system_error(static_cast<int>(error), std::system_category());
}

// Where links end; the path itself where nothing exists.
fs::path EndOf(const fs::path& file) {
  const HANDLE handle =
      CreateFileW(file.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                  OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (handle == INVALID_HANDLE_VALUE) return file;
  std::wstring name(32768, L'\0');
  name.resize(GetFinalPathNameByHandleW(handle, name.data(), static_cast<DWORD>(name.size()), 0));
  CloseHandle(handle);
  return name.empty() || name.size() >= 32768 ? file : fs::path(name);
}

}  // namespace

Replacement::Replacement(const fs::path& file) : target_(EndOf(file)) {
  try {
    Open();
  } catch (...) {
    Remove();
    throw;
  }
}

Replacement::~Replacement() { Remove(); }

// A file that may not be written may not be replaced either. Its access rights and attributes are
// kept by the call that replaces it.
void Replacement::Open() {
  if (!MayWrite(target_)) Fail(ERROR_ACCESS_DENIED);
  HANDLE handle = INVALID_HANDLE_VALUE;
  const SignalsHeld signals;
  do {
    temporary_ = TemporaryIn(target_.parent_path());
    handle = CreateFileW(temporary_.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_DELETE,
                         nullptr, CREATE_NEW, FILE_ATTRIBUTE_HIDDEN, nullptr);
  } while (handle == INVALID_HANDLE_VALUE && GetLastError() == ERROR_FILE_EXISTS);
  if (handle == INVALID_HANDLE_VALUE) Fail(GetLastError());
  // It is open with the right to delete it, and gone when the process ends.
  unfinished_.Add(temporary_);
  const int descriptor = _open_osfhandle(reinterpret_cast<intptr_t>(handle), _O_BINARY);
  stream_ = descriptor < 0 ? nullptr : _fdopen(descriptor, "wb");
  if (stream_ == nullptr) {
    CloseHandle(handle);
    Fail(ERROR_TOO_MANY_OPEN_FILES);
  }
}

void Replacement::Finish() {
  if (!Flush(stream_)) throw std::system_error(errno, std::generic_category());
  if (std::fclose(std::exchange(stream_, nullptr)) != 0) {
    throw std::system_error(errno, std::generic_category());
  }
  SetFileAttributesW(temporary_.c_str(), FILE_ATTRIBUTE_NORMAL);
  RenameOver(temporary_, target_);
  unfinished_.Forget();
}

void Replacement::Remove() {
  if (stream_ != nullptr) std::fclose(std::exchange(stream_, nullptr));
  unfinished_.Remove();
}

}  // namespace ovix::tool
