// A folder in memory whose calls fail, stop or lose power when a test says so.
#ifndef OVIX_TESTS_SUPPORT_MEMORY_FILES_H_
#define OVIX_TESTS_SUPPORT_MEMORY_FILES_H_

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "support/names.h"
#include "system/files.h"

namespace ovix::tests {

// Knows files by their last names alone. What is written is on the disk when its file was synced,
// and a name when its folder was.
class MemoryFiles : public agent::Files {
 public:
  // Thrown out of the last call of a process that is killed; no error that the agent could catch.
  struct Killed {};
  enum class Fault {
    kNone,
    kFail,  // the call does nothing, or half of a write, and says that the disk is full
    kKill,  // the call does what it should, and is the last
  };

  // Lets the n-th call from now, from 0, go wrong.
  void Plan(Fault fault, int call) {
    fault_ = fault;
    calls_left_ = call;
  }
  // Whether the planned fault has come.
  bool happened() const { return dead_ || (fault_ != Fault::kNone && calls_left_ < 0); }

  // The process is started again: nothing is open or locked, and nothing fails.
  void Restart() {
    Plan(Fault::kNone, 0);
    open_.clear();
    dead_ = false;
  }
  // The power fails: what was not synced is gone, but of the names changed since the folder was
  // synced those whose bit is set.
  void LosePower(unsigned kept_names) {
    names_ = synced_names_;
    for (const NameChange& change : changes_) {
      if (kept_names & 1) Apply(change, names_);
      kept_names >>= 1;
    }
    for (auto& [name, file] : names_) file->content = file->synced;
    Sync();
    Restart();
  }

  void Put(const std::string& name, const std::string& content) {
    names_[name] = std::make_shared<File>(File{content, content});
    Sync();
  }
  std::map<std::string, std::string> Contents() const {
    std::map<std::string, std::string> contents;
    for (const auto& [name, file] : names_) contents[name] = file->content;
    return contents;
  }

  std::error_code List(const std::filesystem::path&, std::vector<Entry>& found) override {
    return Call([&] {
      for (const auto& [name, file] : names_) {
        found.push_back({name, Kind::kFile, file->content.size()});
      }
      return true;
    });
  }
  std::error_code Create(const std::filesystem::path& path, Handle& opened) override {
    return Call([&] {
      if (names_.contains(Utf8(path.filename()))) return false;
      open_.push_back(std::make_shared<File>());
      opened = static_cast<Handle>(open_.size()) - 1;
      Change({"", Utf8(path.filename()), open_.back()});
      return true;
    });
  }
  std::error_code Write(Handle file, std::string_view bytes) override {
    if (fault_ == Fault::kFail && calls_left_ == 0) {
      open_[file]->content += bytes.substr(0, bytes.size() / 2);
    }
    return Call([&] {
      open_[file]->content += bytes;
      return true;
    });
  }
  std::error_code Sync(Handle file) override {
    return Call([&] {
      open_[file]->synced = open_[file]->content;
      return true;
    });
  }
  // What a destructor calls cannot throw: the call after it does.
  std::error_code Close(Handle) override {
    if (fault_ == Fault::kKill && calls_left_ == 0) dead_ = true;
    if (!dead_) return Call([] { return true; });
    return std::make_error_code(std::errc::operation_canceled);
  }
  std::error_code Rename(const std::filesystem::path& from,
                         const std::filesystem::path& to) override {
    return Call([&] {
      const auto at = names_.find(Utf8(from.filename()));
      if (at == names_.end()) return false;
      Change({at->first, Utf8(to.filename()), at->second});
      return true;
    });
  }
  std::error_code Remove(const std::filesystem::path& path) override {
    return Call([&] {
      const std::string name = Utf8(path.filename());
      if (!names_.contains(name)) return false;
      Change({name, "", nullptr});
      return true;
    });
  }
  std::error_code SyncFolder(const std::filesystem::path&) override {
    return Call([&] {
      Sync();
      return true;
    });
  }
  std::error_code Read(const std::filesystem::path& path, size_t, std::string& content) override {
    return Call([&] {
      const auto at = names_.find(Utf8(path.filename()));
      if (at == names_.end()) return false;
      content = at->second->content;
      return true;
    });
  }
  std::error_code Lock(const std::filesystem::path&, bool, Handle&) override {
    return Call([] { return true; });
  }

 private:
  struct File {
    std::string content;
    std::string synced;
  };
  using Names = std::map<std::string, std::shared_ptr<File>>;
  struct NameChange {
    std::string taken;  // empty: none
    std::string given;  // empty: none
    std::shared_ptr<File> file;
  };

  static void Apply(const NameChange& change, Names& names) {
    names.erase(change.taken);
    if (!change.given.empty()) names[change.given] = change.file;
  }
  void Change(const NameChange& change) {
    Apply(change, names_);
    changes_.push_back(change);
  }
  void Sync() {
    synced_names_ = names_;
    changes_.clear();
  }

  // Does what a call should, or what the plan says.
  template <typename Work>
  std::error_code Call(const Work& work) {
    if (dead_) throw Killed();
    const bool is_the_call = fault_ != Fault::kNone && calls_left_-- == 0;
    if (is_the_call && fault_ == Fault::kFail) {
      return std::make_error_code(std::errc::no_space_on_device);
    }
    const bool done = work();
    if (is_the_call) {
      dead_ = true;
      throw Killed();
    }
    return done ? std::error_code() : std::make_error_code(std::errc::no_such_file_or_directory);
  }

  Names names_;
  Names synced_names_;
  std::vector<NameChange> changes_;
  std::vector<std::shared_ptr<File>> open_;
  Fault fault_ = Fault::kNone;
  int calls_left_ = 0;
  bool dead_ = false;
};

}  // namespace ovix::tests

#endif  // OVIX_TESTS_SUPPORT_MEMORY_FILES_H_
