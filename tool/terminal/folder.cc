#include "terminal/folder.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <set>
#include <system_error>
#include <utility>
#include <vector>

#include "terminal/error.h"
#include "terminal/path.h"
#include "terminal/platform.h"
#include "terminal/unfinished.h"

namespace ovix::tool {
namespace {

namespace fs = std::filesystem;

// What the folder consists of, one path a line below its title. It distinguishes a folder that may
// be replaced from one that holds something else.
constexpr const char* kList = "files.txt";

std::string ListTitle(const std::string& kind) {
  return "The files of this " + kind + ", written by ovix-contracts:";
}

// The folders that a file's path leads through, the outermost first.
std::set<std::string> ParentsOf(const std::set<std::string>& files) {
  std::set<std::string> parents;
  for (const std::string& file : files) {
    // The parent of a root is the root.
    for (fs::path path = PathOf(file).parent_path(); path.has_relative_path();
         path = path.parent_path()) {
      parents.insert(GenericNameOf(path));
    }
  }
  return parents;
}

class Folder {
 public:
  Folder(fs::path folder, std::string name, std::string kind)
      : folder_(std::move(folder)), name_(std::move(name)), kind_(std::move(kind)) {}

  void Replace(const std::map<std::string, std::string>& files) {
    Earlier();  // before the work
    Make(folder_);
    MakeTemporary();
    std::set<std::string> names = {kList};
    for (const auto& [path, bytes] : files) names.insert(path);
    std::vector<std::pair<fs::path, std::string>> written;
    for (const auto& [path, bytes] : files) {
      written.emplace_back(temporary_ / std::to_string(written.size()), path);
      Write(written.back().first, bytes);
    }
    written.emplace_back(temporary_ / kList, kList);
    WriteList(written.back().first, names);

    const SignalsHeld signals;
    const std::set<std::string> earlier = Earlier();
    for (const std::string& path : earlier) CheckMayWrite(path);
    // Until all is done the list names what is there of both.
    std::set<std::string> both = names;
    both.insert(earlier.begin(), earlier.end());
    const fs::path list_of_both = temporary_ / "both";
    WriteList(list_of_both, both);
    if (earlier.contains(kList)) TakeRights(list_of_both, kList);
    for (const auto& [file, path] : written) {
      if (earlier.contains(path)) TakeRights(file, path);
    }
    for (const std::string& parent : ParentsOf(names)) Make(In(parent));
    Rename(list_of_both, kList, earlier);
    is_changed_ = true;
    SyncFolder(folder_);  // on the disk before anything that only it names
    std::set<std::string> placed = earlier;
    try {
      for (const auto& [file, path] : written) {
        if (path == kList) continue;
        Rename(file, path, earlier);
        placed.insert(path);
      }
      RemoveOld(earlier, names, placed);
    } catch (const std::system_error&) {
      List(placed);
      throw;
    }
    for (const std::string& parent : ParentsOf(both)) SyncFolder(In(parent));
    SyncFolder(folder_);
    Rename(written.back().first, kList, {kList});
  }

  bool is_changed() const { return is_changed_; }

 private:
  // A file or folder in it.
  fs::path In(const std::string& path) const { return folder_ / PathOf(path); }

  // The files that are there of an earlier folder of its kind, and its list. Throws Error where the
  // folder holds anything else.
  std::set<std::string> Earlier() const {
    std::set<std::string> found;
    if (!fs::exists(folder_)) return found;
    if (!fs::is_directory(folder_)) throw Error(name_ + ": is a file; name a folder");
    std::set<std::string> listed;
    std::ifstream list(folder_ / kList);
    const auto next = [&](std::string& line) {
      if (!std::getline(list, line)) return false;
      if (line.ends_with('\r')) line.pop_back();
      return true;
    };
    std::string line;
    if (next(line) && line == ListTitle(kind_)) {
      listed.insert(kList);
      while (next(line)) listed.insert(line);
    }
    const std::set<std::string> parents = ParentsOf(listed);
    for (fs::recursive_directory_iterator entry(folder_), end; entry != end; ++entry) {
      const std::string path = GenericNameOf(entry->path().lexically_relative(folder_));
      if (IsTemporary(path)) {
        entry.disable_recursion_pending();
        continue;
      }
      const bool is_folder = entry->is_directory() && !entry->is_symlink();
      if (is_folder ? parents.contains(path) : listed.contains(path)) {
        if (!is_folder) found.insert(path);
        continue;
      }
      // What is in it says more.
      if (is_folder && !fs::is_empty(entry->path())) continue;
      throw Error(name_ + ": holds " + path + ", which is not of a " + kind_ +
                  "; name a new folder, or empty this one");
    }
    return found;
  }

  std::string ListOf(const std::set<std::string>& names) const {
    std::string list = ListTitle(kind_) + "\n";
    for (const std::string& name : names) {
      if (name != kList) list += name + "\n";
    }
    return list;
  }

  // After a failed rename: what another program has under one of the other names is not the
  // folder's.
  void List(const std::set<std::string>& names) {
    const fs::path list = temporary_ / "placed";
    WriteList(list, names);
    TakeRights(list, kList);
    Rename(list, kList, {kList});
  }

  // A folder and those that it is in, where they do not exist.
  void Make(const fs::path& folder) {
    if (fs::exists(folder)) return;
    if (folder.has_relative_path()) Make(folder.parent_path());  // the parent of a root is the root
    const SignalsHeld signals;
    if (fs::create_directory(folder)) made_.Add(folder);
  }

  // Nobody else reads in it.
  void MakeTemporary() {
    const SignalsHeld signals;
    do {
      temporary_ = TemporaryIn(folder_);
    } while (!fs::create_directory(temporary_));
    made_.Add(temporary_);
    fs::permissions(temporary_, fs::perms::owner_all);
  }

  // A list is on the disk before what it names.
  void WriteList(const fs::path& file, const std::set<std::string>& names) {
    Write(file, ListOf(names), true);
  }

  void Write(const fs::path& file, const std::string& bytes, bool to_disk = false) {
    const SignalsHeld signals;
    FILE* output = OpenFile(file, "wb");
    if (output == nullptr) Fail(errno);
    made_.Add(file);
    const bool is_written = std::fwrite(bytes.data(), 1, bytes.size(), output) == bytes.size() &&
                            (to_disk ? Flush(output) : std::fflush(output) == 0);
    const int error = errno;
    if (std::fclose(output) != 0 && is_written) Fail(errno);
    if (!is_written) Fail(error);
  }

  // A file that may not be written is neither replaced nor removed.
  void CheckMayWrite(const std::string& path) const {
    if (MayWrite(In(path))) return;
    throw Error(name_ + ": " + path + " may not be written (" +
                std::generic_category().message(errno) +
                "); make it writable or name another folder, nothing was changed");
  }

  // The mode and owner of the file that it will replace.
  void TakeRights(const fs::path& file, const std::string& path) const {
    if (!tool::TakeRights(file, In(path))) Fail(errno);
  }

  // To its place in the folder: over a file that is the folder's, or to a new name, never over
  // another's file.
  void Rename(const fs::path& file, const std::string& path,
              const std::set<std::string>& ours) const {
    if (ours.contains(path)) {
      RenameOver(file, In(path));
    } else if (!RenameToNew(file, In(path))) {
      Fail(errno);
    }
  }

  // What the folder no longer has, and the folders that it leaves empty. `placed` is what it has.
  void RemoveOld(const std::set<std::string>& earlier, const std::set<std::string>& names,
                 std::set<std::string>& placed) const {
    std::set<std::string> old;
    for (const std::string& path : earlier) {
      if (!names.contains(path)) old.insert(path);
    }
    for (const std::string& path : old) {
      fs::remove(In(path));
      placed.erase(path);
    }
    const std::set<std::string> parents = ParentsOf(old);
    std::error_code is_not_empty;
    for (auto parent = parents.rbegin(); parent != parents.rend(); ++parent) {
      fs::remove(In(*parent), is_not_empty);
    }
  }

  [[noreturn]] static void Fail(int error) {
    throw std::system_error(error, std::generic_category());
  }

  const fs::path folder_;
  const std::string name_;
  const std::string kind_;
  fs::path temporary_;
  Unfinished made_;
  bool is_changed_ = false;
};

}  // namespace

void WriteFolder(const std::map<std::string, std::string>& files, const std::string& out,
                 const std::string& kind) {
  if (out.empty()) throw Error("the folder of the " + kind + " has no name; name one");
  CheckFolderName(out);
  const auto fail = [&](const std::system_error& error, bool is_changed) {
    throw Error(out + ": cannot be written: " + MessageOf(error.code()) +
                (is_changed ? "; it holds files of this run and of the one before, run it again"
                            : "; name a folder that can be, nothing was changed"));
  };
  try {
    // As it is named, without "." at its end, and after a link.
    fs::path target = fs::weakly_canonical(fs::absolute(PathOf(out))).lexically_normal();
    if (!target.has_filename()) target = target.parent_path();
    if (!target.has_filename()) throw Error(out + ": is the root of a file system; name a folder");
    Folder folder(std::move(target), out, kind);
    try {
      folder.Replace(files);
    } catch (const std::system_error& error) {
      fail(error, folder.is_changed());
    }
  } catch (const std::system_error& error) {
    fail(error, false);
  }
}

}  // namespace ovix::tool
