#include "contracts/revision.h"

#include <google/protobuf/io/zero_copy_stream_impl_lite.h>

#include <map>
#include <optional>
#include <sstream>
#include <utility>
#include <vector>

#include "contracts/compile.h"
#include "terminal/error.h"
#include "terminal/process.h"

namespace ovix::tool {
namespace {

// The import root is the root of the repository.
constexpr char kSchemas[] = "ovix/telemetry/contract";

// Whether the shell takes the text as it is within double quotes, and git for no option.
bool IsPlain(const std::string& text) {
  constexpr char kPlain[] =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789._/~^@{}+-";
  return !text.empty() && text.front() != '-' &&
         text.find_first_not_of(kPlain) == std::string::npos;
}

std::optional<std::string> Git(const std::string& arguments) {
  return OutputOf("git " + arguments);
}

// The schemas of a commit, by their paths.
class Schemas : public google::protobuf::compiler::SourceTree {
 public:
  Schemas(const std::string& commit, const std::string& name) {
    const auto listed =
        Git("ls-tree -r --name-only --full-tree \"" + commit + "\" \"" + kSchemas + "\"");
    std::istringstream paths(listed.value_or(""));
    for (std::string path; std::getline(paths, path);) {
      if (!path.ends_with(".proto")) continue;
      if (!IsPlain(path)) throw Error(name + ": " + path + ": is not a name of a schema");
      const auto text = Git("cat-file blob \"" + commit + ":" + path + "\"");
      if (!text) throw Error(name + ": " + path + ": git cannot read it");
      texts_[path] = *text;
    }
    if (texts_.empty()) {
      throw Error(name + ": has no schemas in " + kSchemas + "; name a revision that has");
    }
  }

  const std::map<std::string, std::string>& texts() const { return texts_; }

  google::protobuf::io::ZeroCopyInputStream* Open(const std::string& path) override {
    const auto text = texts_.find(path);
    if (text == texts_.end()) return nullptr;
    return new google::protobuf::io::ArrayInputStream(text->second.data(),
                                                      static_cast<int>(text->second.size()));
  }

 private:
  std::map<std::string, std::string> texts_;
};

}  // namespace

std::string CompileRevision(const std::string& revision, const std::string& name) {
  const auto commit = IsPlain(revision)
                          ? Git("rev-parse --verify --quiet \"" + revision + "^{commit}\"")
                          : std::nullopt;
  if (!commit) {
    throw Error(name +
                ": git knows no such revision here; name one of the repository that the working "
                "folder is in (git: needs the program git)");
  }
  Schemas schemas(commit->substr(0, commit->find('\n')), name);
  std::vector<std::string> names;
  for (const auto& [path, text] : schemas.texts()) names.push_back(path);
  CompiledSchemas compiled = CompileSchemas(schemas, names);
  if (compiled.errors.empty()) return std::move(compiled.set);
  // The first is enough: others follow from it.
  const SchemaError& error = compiled.errors.front();
  throw Error(name + ": " + error.file +
              (error.line == 0
                   ? ""
                   : ":" + std::to_string(error.line) + ":" + std::to_string(error.column)) +
              ": " + error.what);
}

}  // namespace ovix::tool
