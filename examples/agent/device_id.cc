#ifdef _WIN32
#include <windows.h>
#endif

#include <fstream>
#include <random>
#include <stdexcept>

#include "device_id.h"
#include "store/error.h"
#include "system/hash.h"

namespace ovix::agent {
namespace {

namespace fs = std::filesystem;

constexpr char kPurpose[] = "ovix-telemetry device 1";
constexpr char kKeptName[] = "device-id";
constexpr size_t kLongestId = 256;

#ifdef _WIN32
std::string MachineGuid() {
  char text[kLongestId] = {};
  DWORD size = sizeof text;
  if (RegGetValueA(HKEY_LOCAL_MACHINE, "SOFTWARE\\Microsoft\\Cryptography", "MachineGuid",
                   RRF_RT_REG_SZ | RRF_SUBKEY_WOW6464KEY, nullptr, text, &size) != ERROR_SUCCESS) {
    return "";
  }
  return text;
}
#endif

// The machine id without what surrounds it; empty without one.
std::string MachineId(const fs::path& root) {
#ifdef _WIN32
  if (root.empty()) return MachineGuid();
#endif
  // Some systems have a link there.
  const fs::path file = root / "etc" / "machine-id";
  std::error_code ignored;
  if (!fs::is_regular_file(file, ignored)) return "";
  std::string id(kLongestId, '\0');
  std::ifstream stream(file, std::ios::binary);
  stream.read(id.data(), static_cast<std::streamsize>(id.size()));
  id.resize(static_cast<size_t>(stream.gcount()));
  id.erase(id.find_last_not_of(" \t\r\n") + 1);
  // What systemd writes before a system's first start.
  return id == "uninitialized" ? "" : id;
}

// Of version 4, by the system's random numbers.
std::string RandomUuid() {
  std::random_device random;
  std::string bytes;
  for (int i = 0; i < 16; ++i) bytes += static_cast<char>(random() & 0xff);
  std::string uuid = UuidOf(bytes);
  uuid[14] = '4';
  return uuid;
}

}  // namespace

bool IsUuid(std::string_view text) {
  if (text.size() != 36) return false;
  for (size_t i = 0; i < text.size(); ++i) {
    const bool is_hyphen = i == 8 || i == 13 || i == 18 || i == 23;
    if (is_hyphen ? text[i] != '-'
                  : std::string_view("0123456789abcdef").find(text[i]) == std::string_view::npos) {
      return false;
    }
  }
  return true;
}

std::optional<std::string> DeviceId(const fs::path& root) {
  const std::string machine_id = MachineId(root);
  if (machine_id.empty()) return std::nullopt;
  return UuidOf(HmacSha256(machine_id, kPurpose));
}

std::string DeviceIdOrKept(const fs::path& root, const fs::path& folder, Files& files) {
  if (const auto id = DeviceId(root)) return *id;
  const fs::path file = folder / kKeptName;
  const auto check = [&](const std::error_code& error) {
    if (error) {
      throw std::runtime_error(Printable(file) + ": the device's id cannot be kept (" +
                               error.message() + "); fix the folder's permissions or its space");
    }
  };
  std::string kept;
  const std::error_code error = files.Read(file, kLongestId, kept);
  if (!error) {
    if (IsUuid(kept)) return kept;
    throw std::runtime_error(Printable(file) +
                             ": holds no id of a device; remove the file to get a new one");
  }
  if (error != std::errc::no_such_file_or_directory) check(error);
  kept = RandomUuid();
  check(WriteWholeFile(files, file, kept));
  return kept;
}

}  // namespace ovix::agent
