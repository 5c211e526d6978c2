// What the collectors of Windows share: strings in UTF-8, errors in words, and the registry.
#ifndef OVIX_AGENT_COLLECTORS_WINDOWS_WINDOWS_H_
#define OVIX_AGENT_COLLECTORS_WINDOWS_WINDOWS_H_

// The network's headers must come before windows.h wherever both are wanted.
#include <winsock2.h>

#include <windows.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace ovix::agent {

// UTF-16 as Windows has it to UTF-8 and back; what is half a character becomes U+FFFD. A string
// ends at its first NUL.
std::string ToUtf8(std::wstring_view text);
std::wstring ToWide(std::string_view text);

// What an error code of Windows means: "Access is denied (error 5)".
std::string ErrorText(DWORD error);

// Handles that are closed with their owners.
struct CloseKey {
  using pointer = HKEY;
  void operator()(HKEY key) const { RegCloseKey(key); }
};
struct CloseFile {
  using pointer = HANDLE;
  void operator()(HANDLE file) const { CloseHandle(file); }
};
struct CloseService {
  using pointer = SC_HANDLE;
  void operator()(SC_HANDLE service) const { CloseServiceHandle(service); }
};
using OwnedKey = std::unique_ptr<HKEY, CloseKey>;
using OwnedFile = std::unique_ptr<HANDLE, CloseFile>;
using OwnedService = std::unique_ptr<SC_HANDLE, CloseService>;

// A key of the registry, opened to be read.
class RegistryKey {
 public:
  // `view` is KEY_WOW64_64KEY or KEY_WOW64_32KEY, for what a 64-bit or a 32-bit program wrote.
  RegistryKey(HKEY parent, const std::wstring& path, REGSAM view = KEY_WOW64_64KEY);

  // 0 where the key is open, else why it is not.
  LSTATUS error() const { return error_; }
  explicit operator bool() const { return error_ == ERROR_SUCCESS; }
  HKEY get() const { return key_.get(); }

  // A string, with its variables unchanged; empty where there is none of this name.
  std::string Text(const wchar_t* name) const;
  // A number; `otherwise` where there is none of this name.
  DWORD Number(const wchar_t* name, DWORD otherwise = 0) const;
  // When the key was last written, as TimeText.
  std::string Written() const;
  // The names of the keys below. Throws std::runtime_error where they cannot all be listed.
  std::vector<std::wstring> Keys() const;

 private:
  OwnedKey key_;
  LSTATUS error_;
};

}  // namespace ovix::agent

#endif  // OVIX_AGENT_COLLECTORS_WINDOWS_WINDOWS_H_
