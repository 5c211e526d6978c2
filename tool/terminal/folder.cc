#include "terminal/folder.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <random>
#include <set>
#include <system_error>

#include "terminal/error.h"

namespace ovix::tool {
namespace {

namespace fs = std::filesystem;

// What the folder consists of, one path a line below its title. It tells a folder that may be
// replaced from one that holds something else.
constexpr const char* kList = "files.txt";

std::string ListTitle(const std::string& kind) {
  return "The files of this " + kind + ", written by ovix-contracts:";
}

void Write(const fs::path& file, const std::string& bytes) {
  errno = 0;
  std::ofstream output(file, std::ios::binary);
  output.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  output.close();
  if (!output) {
    throw Error(file.string() + ": cannot be written" +
                (errno == 0 ? std::string() : std::string(": ") + std::strerror(errno)) +
                "; nothing was changed");
  }
}

// Throws Error where the folder holds anything that is not of an earlier one of its kind.
void CheckReplaceable(const fs::path& folder, const std::string& name, const std::string& kind) {
  if (!fs::exists(folder)) return;
  if (!fs::is_directory(folder)) throw Error(name + ": is a file; name a folder");
  std::set<std::string> ours = {kList};
  std::ifstream list(folder / kList);
  std::string line;
  if (std::getline(list, line) && line == ListTitle(kind)) {
    while (std::getline(list, line)) ours.insert(line);
  }
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    const std::string path = entry.path().lexically_relative(folder).generic_string();
    if (entry.is_directory() && !entry.is_symlink()) continue;
    if (ours.count(path) == 0 || ours.size() == 1) {
      throw Error(name + ": holds " + path + ", which is not of a " + kind +
                  "; name a new folder, or empty this one");
    }
  }
}

// Removes the folder at its end.
class Aside {
 public:
  explicit Aside(fs::path folder) : folder(std::move(folder)) {}
  ~Aside() {
    std::error_code ignored;
    fs::remove_all(folder, ignored);
  }
  Aside(const Aside&) = delete;
  Aside& operator=(const Aside&) = delete;
  const fs::path folder;
};

void Replace(const std::map<std::string, std::string>& files, const fs::path& out,
             const std::string& name, const std::string& kind) {
  // As it is named, without "." at its end, and behind a link.
  fs::path target = fs::weakly_canonical(fs::absolute(out)).lexically_normal();
  if (!target.has_filename()) target = target.parent_path();
  if (!target.has_filename()) throw Error(name + ": is the root of a file system; name a folder");
  CheckReplaceable(target, name, kind);
  fs::create_directories(target.parent_path());

  // Next to it, for only within a file system is a rename one step.
  const std::string unique = std::to_string(std::random_device()());
  const Aside fresh(target.parent_path() / ("." + target.filename().string() + ".new-" + unique));
  const Aside earlier(target.parent_path() / ("." + target.filename().string() + ".old-" + unique));
  fs::create_directories(fresh.folder);
  std::string list = ListTitle(kind) + "\n";
  for (const auto& [path, bytes] : files) {
    fs::create_directories((fresh.folder / path).parent_path());
    Write(fresh.folder / path, bytes);
    list += path + "\n";
  }
  Write(fresh.folder / kList, list);

  const bool replaces = fs::exists(target);
  if (replaces) fs::rename(target, earlier.folder);
  std::error_code failed;
  fs::rename(fresh.folder, target, failed);
  if (failed) {
    if (replaces) fs::rename(earlier.folder, target);
    throw fs::filesystem_error("rename", target, failed);
  }
}

}  // namespace

void WriteFolder(const std::map<std::string, std::string>& files, const fs::path& out,
                 const std::string& kind) {
  const std::string name = out.string();
  if (name.empty()) throw Error("the folder of the " + kind + " has no name; name one");
  try {
    Replace(files, out, name, kind);
  } catch (const fs::filesystem_error& error) {
    throw Error(name + ": cannot be written: " + error.code().message() +
                "; name a folder that can be, nothing was changed");
  }
}

bool IsPlainFileName(std::string_view name) {
  return !name.empty() && std::all_of(name.begin(), name.end(), [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
           c == '-';
  });
}

}  // namespace ovix::tool
