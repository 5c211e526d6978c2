#include "lint/schemas.h"

#include <google/protobuf/io/zero_copy_stream_impl_lite.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <optional>
#include <regex>
#include <set>
#include <utility>

#include "contracts/compile.h"
#include "terminal/error.h"
#include "terminal/input.h"
#include "terminal/path.h"
#include "terminal/platform.h"
#include "wire/utf8.h"

namespace ovix::tool::lint {
namespace {

namespace fs = std::filesystem;

constexpr char kFix[] = "correct the schema";

bool IsHidden(const fs::path& path) { return NameOf(path.filename()).starts_with('.'); }

std::string TextOf(const fs::path& file) { return std::string(Input(NameOf(file)).PeekAll()); }

// The schemas of the folder, and what they import from elsewhere in it.
class Folder : public google::protobuf::compiler::SourceTree {
 public:
  explicit Folder(const std::string& name) : root_(PathOf(name)) {
    CheckFolderName(name);
    std::error_code error;
    if (fs::is_regular_file(root_, error)) {
      throw Error(name + ": is a file; name the folder that has ovix/, the import root");
    }
    constexpr auto kFollow = fs::directory_options::follow_directory_symlink;
    fs::recursive_directory_iterator entry(root_ / "ovix", kFollow, error);
    for (; !error && entry != fs::recursive_directory_iterator(); entry.increment(error)) {
      if (IsHidden(entry->path())) {
        entry.disable_recursion_pending();
      } else if (entry->path().extension() == ".proto" && fs::is_regular_file(entry->path())) {
        texts_.emplace(GenericNameOf(entry->path().lexically_relative(root_)),
                       TextOf(entry->path()));
      }
    }
    if (error && error != std::errc::no_such_file_or_directory) {
      throw Error(name + ": its schemas cannot be listed: " + MessageOf(error));
    }
    if (texts_.empty()) {
      throw Error(name +
                  ": has no schema under ovix/; name the folder that has ovix/, the import root");
    }
  }

  const std::map<std::string, std::string>& texts() const { return texts_; }

  bool Has(const std::string& name) const { return texts_.contains(name) || FileOf(name); }

  google::protobuf::io::ZeroCopyInputStream* Open(const std::string& name) override {
    auto text = texts_.find(name);
    if (text == texts_.end()) {
      const std::optional<fs::path> path = FileOf(name);
      if (!path) return nullptr;
      text = imported_.emplace(name, TextOf(*path)).first;
    }
    return new google::protobuf::io::ArrayInputStream(text->second.data(),
                                                      static_cast<int>(text->second.size()));
  }

 private:
  // The file of an import that is not under ovix/; it leads to none out of the folder.
  std::optional<fs::path> FileOf(const std::string& name) const {
    const fs::path path = PathOf(name);
    const bool leads_out = path.is_absolute() || path.has_root_name() ||
                           std::find(path.begin(), path.end(), fs::path("..")) != path.end();
    std::error_code ignored;
    if (leads_out || !fs::is_regular_file(root_ / path, ignored)) return {};
    return root_ / path;
  }

  const fs::path root_;
  std::map<std::string, std::string> texts_;
  std::map<std::string, std::string> imported_;
};

std::vector<Finding> NotUtf8(const Folder& folder) {
  std::vector<Finding> findings;
  for (const auto& [name, text] : folder.texts()) {
    const size_t at = FindInvalidUtf8(text);
    if (at == std::string::npos) continue;
    constexpr char kDigits[] = "0123456789abcdef";
    const auto byte = static_cast<unsigned char>(text[at]);
    const std::string shown = {'0', 'x', kDigits[byte / 16], kDigits[byte % 16]};
    const auto begin = text.begin();
    const auto lines = std::count(begin, begin + static_cast<std::ptrdiff_t>(at), '\n');
    findings.push_back({name, static_cast<int>(lines) + 1, lint::TextOf(Rule::kProtoc).id,
                        "byte " + shown + " is not UTF-8", "save the schema as UTF-8"});
  }
  return findings;
}

// The first group of the pattern in the text.
std::optional<std::string> Group(const std::string& text, const std::regex& pattern) {
  std::smatch found;
  if (!std::regex_search(text, found, pattern)) return {};
  return found[1];
}

// What is wrong with the schemas, but for what only follows from another.
std::vector<Finding> FindingsOf(const std::vector<SchemaError>& errors, const Folder& folder) {
  static const std::regex not_found("^Import \"(.*)\" was not found");
  static const std::regex copied(
      "(?:is already defined in file|seems to be defined in) (\"[^\"]*\")");
  const char* const rule = lint::TextOf(Rule::kProtoc).id;
  std::vector<Finding> findings;
  std::set<std::string> blamed;
  std::set<std::pair<std::string, std::string>> twice;
  for (const SchemaError& error : errors) {
    if (!folder.texts().contains(error.file)) continue;
    const std::string what = error.what.substr(0, error.what.find_last_not_of('.') + 1);
    const auto imported = Group(what, not_found);
    if (imported && folder.Has(*imported)) blamed.insert(error.file);
    // A schema that is there twice: one finding speaks for all that is in it.
    const auto other = Group(what, copied);
    if (other && !twice.emplace(error.file, *other).second) continue;
    findings.push_back({error.file, std::max(error.line, 1), rule, what, kFix});
  }
  // What a schema lacks because of an error in what it imports is not an error of its own.
  std::vector<Finding> roots = findings;
  std::erase_if(roots, [&](const Finding& finding) { return blamed.contains(finding.file); });
  if (!roots.empty()) return roots;
  if (findings.empty()) findings.push_back({"ovix", 1, rule, errors.front().what, kFix});
  return findings;
}

}  // namespace

CompiledFolder CompileFolder(const std::string& root) {
  Folder folder(root);
  CompiledFolder compiled{folder.texts().size(), NotUtf8(folder), ""};
  if (!compiled.findings.empty()) return compiled;
  std::vector<std::string> names;
  for (const auto& [name, text] : folder.texts()) names.push_back(name);
  CompiledSchemas schemas = CompileSchemas(folder, names);
  if (!schemas.errors.empty()) compiled.findings = FindingsOf(schemas.errors, folder);
  compiled.set = std::move(schemas.set);
  return compiled;
}

}  // namespace ovix::tool::lint
