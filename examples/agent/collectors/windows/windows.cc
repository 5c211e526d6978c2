#include "collectors/windows/windows.h"

#include <chrono>
#include <stdexcept>

#include "collectors/text.h"
#include "store/time.h"

namespace ovix::agent {

std::string ToUtf8(std::wstring_view text) {
  text = text.substr(0, text.find(L'\0'));
  const int length = static_cast<int>(text.size());
  std::string result(
      WideCharToMultiByte(CP_UTF8, 0, text.data(), length, nullptr, 0, nullptr, nullptr), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text.data(), length, result.data(),
                      static_cast<int>(result.size()), nullptr, nullptr);
  return result;
}

std::wstring ToWide(std::string_view text) {
  text = text.substr(0, text.find('\0'));
  const int length = static_cast<int>(text.size());
  std::wstring result(MultiByteToWideChar(CP_UTF8, 0, text.data(), length, nullptr, 0), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, text.data(), length, result.data(),
                      static_cast<int>(result.size()));
  return result;
}

std::string ErrorText(DWORD error) {
  wchar_t text[512] = {};
  FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, error,
                 MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US), text, std::size(text), nullptr);
  std::string words = Trimmed(ToUtf8(text));
  while (words.ends_with('.')) words.pop_back();
  return words + (words.empty() ? "" : " ") + "(error " + std::to_string(error) + ")";
}

RegistryKey::RegistryKey(HKEY parent, const std::wstring& path, REGSAM view) {
  HKEY key = nullptr;
  error_ = RegOpenKeyExW(parent, path.c_str(), 0, KEY_READ | view, &key);
  if (error_ == ERROR_SUCCESS) key_.reset(key);
}

std::string RegistryKey::Text(const wchar_t* name) const {
  DWORD bytes = 0;
  DWORD type = 0;
  std::vector<wchar_t> text;
  // It may grow between the question for its size and the one for its content.
  for (LSTATUS status = ERROR_MORE_DATA; status == ERROR_MORE_DATA;) {
    text.resize(bytes / sizeof(wchar_t) + 1);
    bytes = static_cast<DWORD>(text.size() * sizeof(wchar_t));
    status =
        RegQueryValueExW(get(), name, nullptr, &type, reinterpret_cast<BYTE*>(text.data()), &bytes);
    if (status != ERROR_SUCCESS && status != ERROR_MORE_DATA) return "";
  }
  if (type != REG_SZ && type != REG_EXPAND_SZ && type != REG_MULTI_SZ) return "";
  return Trimmed(ToUtf8({text.data(), bytes / sizeof(wchar_t)}));
}

DWORD RegistryKey::Number(const wchar_t* name, DWORD otherwise) const {
  DWORD number = 0;
  DWORD bytes = sizeof(number);
  DWORD type = 0;
  const LSTATUS status =
      RegQueryValueExW(get(), name, nullptr, &type, reinterpret_cast<BYTE*>(&number), &bytes);
  return status == ERROR_SUCCESS && type == REG_DWORD ? number : otherwise;
}

std::string RegistryKey::Written() const {
  FILETIME time = {};
  if (RegQueryInfoKeyW(get(), nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                       nullptr, nullptr, nullptr, &time) != ERROR_SUCCESS) {
    return "";
  }
  // 100 ns since 1601; the system clock counts from 1970.
  constexpr int64_t kFrom1601To1970 = 116444736000000000;
  const int64_t ticks =
      (static_cast<int64_t>(time.dwHighDateTime) << 32 | time.dwLowDateTime) - kFrom1601To1970;
  return TimeText(std::chrono::system_clock::time_point(
      std::chrono::duration_cast<std::chrono::system_clock::duration>(
          std::chrono::duration<int64_t, std::ratio<1, 10'000'000>>(ticks))));
}

std::vector<std::wstring> RegistryKey::Keys() const {
  std::vector<std::wstring> names;
  wchar_t name[256];  // 255 characters is the longest that a key's name can be
  for (DWORD i = 0;; ++i) {
    DWORD length = std::size(name);
    const LSTATUS status =
        RegEnumKeyExW(get(), i, name, &length, nullptr, nullptr, nullptr, nullptr);
    if (status == ERROR_NO_MORE_ITEMS) return names;
    if (status != ERROR_SUCCESS) {
      throw std::runtime_error("the registry does not list its keys: " + ErrorText(status));
    }
    names.emplace_back(name, length);
  }
}

}  // namespace ovix::agent
