#include "store/error.h"

#include <sqlite3.h>

#include <cerrno>
#include <cstdio>
#include <utility>

namespace ovix::agent {
namespace {

using Kind = StoreError::Kind;

bool IsNoSpace(int system_error) {
#ifdef EDQUOT
  if (system_error == EDQUOT) return true;
#endif
  return system_error == ENOSPC || system_error == EFBIG;
}

// What SQLite's result code means to the person who runs the agent.
std::pair<Kind, std::string> Explain(int code, int system_error, const std::string& message) {
  const std::pair<Kind, std::string> no_space = {
      Kind::kFull, "no space is left on the disk; free some and run again"};
  switch (code & 0xff) {
    case SQLITE_NOTADB:
    case SQLITE_CORRUPT:
      return {Kind::kDamaged, "the database is damaged (" + message +
                                  "); put a sound copy in its place or move it away"};
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
      return {Kind::kLocked,
              "the database is locked by another program; run again when that has finished"};
    case SQLITE_FULL:
      return no_space;
    case SQLITE_IOERR:
      if (IsNoSpace(system_error)) return no_space;
      return {Kind::kDisk, "the disk failed (" + message + "); check it and run again"};
    case SQLITE_CANTOPEN:
    case SQLITE_PERM:
    case SQLITE_READONLY:
    case SQLITE_AUTH:
      return {Kind::kDenied,
              "the database cannot be opened; check the permissions of file and folder"};
    case SQLITE_CONSTRAINT:
      return {Kind::kConstraint,
              "a row with this key is kept already (" + message + "); give it another key"};
    default:
      return {Kind::kOther, message};
  }
}

// How many bytes the UTF-8 character at the front takes, and its code; 0 for no character.
std::pair<size_t, uint32_t> FirstCharacter(std::string_view text) {
  const auto byte = [&](size_t i) { return static_cast<unsigned char>(text[i]); };
  if (byte(0) < 0x80) return {1, byte(0)};
  const size_t length = byte(0) >= 0xf0 ? 4 : byte(0) >= 0xe0 ? 3 : 2;
  constexpr uint32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
  if (byte(0) < 0xc2 || byte(0) > 0xf4 || text.size() < length) return {0, 0};
  uint32_t code = byte(0) & (0x7f >> length);
  for (size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xc0) != 0x80) return {0, 0};
    code = (code << 6) | (byte(i) & 0x3f);
  }
  const bool is_character =
      code >= kSmallest[length] && code <= 0x10ffff && (code < 0xd800 || code > 0xdfff);
  return is_character ? std::pair(length, code) : std::pair(size_t{0}, uint32_t{0});
}

// Characters that end a line, move the cursor or turn the direction of text.
bool IsControl(uint32_t code) {
  return code < 0x20 || (code >= 0x7f && code < 0xa0) || (code >= 0x200b && code <= 0x200f) ||
         (code >= 0x2028 && code <= 0x202e) || (code >= 0x2060 && code <= 0x206f) || code == 0xfeff;
}

}  // namespace

StoreError SqliteError(const std::filesystem::path& file, int code, int system_error,
                       const std::string& message) {
  const auto [kind, line] = Explain(code, system_error, Escaped(message));
  return StoreError(Printable(file) + ": " + line, kind, file);
}

StoreError FolderLockedError(const std::filesystem::path& folder) {
  return StoreError(Printable(folder) +
                        ": the folder is locked by another program, which may be suspended; run "
                        "again when that has finished",
                    StoreError::Kind::kLocked, folder);
}

std::string Escaped(std::string_view text) {
  std::string escaped;
  char code_text[12];
  while (!text.empty()) {
    const auto [length, code] = FirstCharacter(text);
    if (length == 0) {
      std::snprintf(code_text, sizeof code_text, "\\x%02x", static_cast<unsigned char>(text[0]));
      escaped += code_text;
    } else if (code == '\n') {
      escaped += "\\n";
    } else if (code == '"' || code == '\\') {
      escaped += {'\\', text[0]};
    } else if (IsControl(code)) {
      std::snprintf(code_text, sizeof code_text, code < 0x80 ? "\\x%02x" : "\\u%04x", code);
      escaped += code_text;
    } else {
      escaped += text.substr(0, length);
    }
    text.remove_prefix(length == 0 ? 1 : length);
  }
  return escaped;
}

std::string Printable(const std::filesystem::path& path) {
#ifdef _WIN32
  // Every path separator would be escaped.
  const auto name = path.generic_u8string();
#else
  const auto name = path.u8string();
#endif
  return Escaped(std::string(name.begin(), name.end()));
}

}  // namespace ovix::agent
