// The agent's own files in a store's folder, known by their names, and their upkeep.
#ifndef OVIX_AGENT_STORE_OWN_FILES_H_
#define OVIX_AGENT_STORE_OWN_FILES_H_

#include <filesystem>
#include <functional>
#include <memory>
#include <string_view>

#include "store/files/files.h"
#include "store/values.h"

namespace ovix::agent {

// Whether a file of this name is the agent's: a database of the contracts, with its journals and
// what was renamed of it, or what the uploader keeps.
bool IsOwnFile(const Catalogue& catalogue, std::string_view name);

// Takes the rights of others from the agent's own files in the folder, and from the folder where it
// holds nothing else.
void CloseToOthers(const std::filesystem::path& folder, const Catalogue& catalogue);

// Removes the journals that tied the files of one transaction together and that a kill has left.
// While a database has a journal that may need them, nothing is removed. `lock_folder` gives the
// folder's lock and is called if there are any.
void RemoveLeftTies(const std::filesystem::path& folder, const Catalogue& catalogue,
                    const std::function<std::unique_ptr<FolderLock>()>& lock_folder);

}  // namespace ovix::agent

#endif  // OVIX_AGENT_STORE_OWN_FILES_H_
