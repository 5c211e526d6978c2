#include "store/own_files.h"

#include <algorithm>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "ovix/telemetry/contract/tables.h"
#include "store/sqlite.h"

namespace ovix::agent {
namespace {

constexpr char kUploadDatabase[] = "Upload";
constexpr char kUploadLock[] = "Upload.lock";
constexpr std::string_view kUploadSequence = "Upload.sequence";
constexpr std::string_view kDeviceId = "device-id";
constexpr std::string_view kJournal = "-journal";

// What follows "NAME.db" in the name of a database's file, "" for the database itself; nothing
// where the name is another file's.
std::optional<std::string_view> SuffixOf(std::string_view name, std::string_view database) {
  if (!name.starts_with(database)) return std::nullopt;
  name.remove_prefix(database.size());
  if (!name.starts_with(".db")) return std::nullopt;
  return name.substr(3);
}

// As SQLite names the journal of a transaction over several files.
bool IsTie(std::string_view suffix) {
  constexpr std::string_view kForm = "-mjXXXXXX9XX";
  return suffix.size() == kForm.size() &&
         std::equal(suffix.begin(), suffix.end(), kForm.begin(), [](char c, char form) {
           return form == 'X' ? (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F') : c == form;
         });
}

bool IsSuffix(std::string_view suffix) {
  return suffix.empty() || suffix == kJournal || suffix == "-wal" || suffix == "-shm" ||
         suffix.starts_with(".damaged-") || IsTie(suffix);
}

// The names of the folder's entries; empty where it cannot be read.
std::vector<std::string> NamesIn(const std::filesystem::path& folder) {
  std::vector<std::string> names;
  std::error_code error;
  for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error)) {
    names.push_back(entry->path().filename().string());
  }
  return error ? std::vector<std::string>() : names;
}

// Whether a database of the contracts has a file whose suffix `is_meant`.
template <typename IsMeant>
bool IsDatabaseFile(const Catalogue& catalogue, std::string_view name, const IsMeant& is_meant) {
  return std::any_of(catalogue.tables().begin(), catalogue.tables().end(), [&](const Table& table) {
    const auto suffix = SuffixOf(name, table.database);
    return suffix.has_value() && is_meant(*suffix);
  });
}

// Whether the database's header says that it is another program's. Release 1.0.0 set no
// application_id. Throws StoreError for what is not a file.
bool IsForeign(const std::filesystem::path& database) {
  const auto header = ReadHeader(database);
  return header && header->application_id != 0 &&
         header->application_id != telemetry::contract::tables::kApplicationId;
}

// The same of any entry of a store's folder.
bool IsForeignDatabase(const Catalogue& catalogue, const std::filesystem::path& folder,
                       std::string_view name) {
  if (!IsDatabaseFile(catalogue, name, [](std::string_view suffix) { return suffix.empty(); })) {
    return false;
  }
  try {
    return IsForeign(folder / name);
  } catch (const StoreError&) {
    return false;  // the write that needs it reports it
  }
}

}  // namespace

bool IsOwnFile(const Catalogue& catalogue, std::string_view name) {
  const auto upload = SuffixOf(name, kUploadDatabase);
  if (upload.has_value() && IsSuffix(*upload)) return true;
  if (name == kUploadLock || name == kUploadSequence || name == kDeviceId) return true;
  if (name == std::string(kUploadSequence) + ".part") return true;
  if (name.starts_with(std::string(kUploadSequence) + ".damaged-")) return true;
  if (name.starts_with(std::string(kDeviceId) + ".") && name.ends_with(".part")) return true;
  return IsDatabaseFile(catalogue, name, IsSuffix);
}

void CloseToOthers(const std::filesystem::path& folder, const Catalogue& catalogue) {
  const std::vector<std::string> names = NamesIn(folder);
  bool holds_others = names.empty();  // or nobody knows
  for (const std::string& name : names) {
    if (IsOwnFile(catalogue, name) && !IsForeignDatabase(catalogue, folder, name)) {
      MakePrivate(folder / name);
    } else {
      holds_others = true;
    }
  }
  if (!holds_others) MakePrivate(folder);
}

void RemoveLeftTies(const std::filesystem::path& folder, const Catalogue& catalogue,
                    const std::function<std::unique_ptr<FolderLock>()>& lock_folder) {
  const auto has = [&](const auto& is_meant) {
    std::vector<std::string> names = NamesIn(folder);
    std::erase_if(
        names, [&](const std::string& name) { return !IsDatabaseFile(catalogue, name, is_meant); });
    return names;
  };
  if (has(IsTie).empty()) return;
  // Not while a store writes.
  const auto lock = lock_folder();
  const std::vector<std::string> ties = has(IsTie);
  // To lock a database undoes what its journal holds, and another program that writes fails it. A
  // journal that is there all the same was never synced, so it refers to nothing.
  std::vector<std::unique_ptr<Connection>> locked;
  for (std::string name : has([](std::string_view suffix) { return suffix == kJournal; })) {
    name.resize(name.size() - kJournal.size());
    try {
      if (IsForeign(folder / name)) return;
      locked.push_back(std::make_unique<Connection>(folder / name, std::chrono::milliseconds(0),
                                                    Connection::Mode::kWrite));
      locked.back()->Execute("BEGIN IMMEDIATE");
    } catch (const StoreError&) {
      return;
    }
  }
  for (const std::string& tie : ties) {
    std::error_code ignored;
    if (std::filesystem::is_regular_file(std::filesystem::symlink_status(folder / tie, ignored))) {
      std::filesystem::remove(folder / tie, ignored);
    }
  }
}

}  // namespace ovix::agent
