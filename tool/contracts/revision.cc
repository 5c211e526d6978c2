#include "contracts/revision.h"

#include <google/protobuf/compiler/importer.h>
#include <google/protobuf/descriptor.h>
#include <google/protobuf/descriptor.pb.h>
#include <google/protobuf/descriptor_database.h>
#include <google/protobuf/io/zero_copy_stream_impl_lite.h>

#include <map>
#include <memory>
#include <optional>
#include <set>
#include <sstream>

#include "terminal/error.h"
#include "terminal/process.h"

namespace ovix::tool {
namespace {

using google::protobuf::FileDescriptor;

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

// The first is enough: others follow from it.
class FirstError : public google::protobuf::compiler::MultiFileErrorCollector {
 public:
  void AddError(const std::string& file, int line, int column,
                const std::string& message) override {
    if (!text.empty()) return;
    text = file;
    if (line >= 0) text += ":" + std::to_string(line + 1) + ":" + std::to_string(column + 1);
    text += ": " + message;
  }
  std::string text;
};

// Adds a file behind those that it imports.
void Add(const FileDescriptor* file, std::set<const FileDescriptor*>& added,
         google::protobuf::FileDescriptorSet& set) {
  if (!added.insert(file).second) return;
  for (int i = 0; i < file->dependency_count(); ++i) Add(file->dependency(i), added, set);
  auto* copy = set.add_file();
  file->CopyTo(copy);
  file->CopyJsonNameTo(copy);
  file->CopySourceCodeInfoTo(copy);
}

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
  // What every schema may import besides those of its own revision.
  google::protobuf::FileDescriptorProto descriptor;
  google::protobuf::FileDescriptorProto::descriptor()->file()->CopyTo(&descriptor);
  google::protobuf::SimpleDescriptorDatabase well_known;
  well_known.Add(descriptor);
  FirstError error;
  google::protobuf::compiler::SourceTreeDescriptorDatabase sources(&schemas, &well_known);
  sources.RecordErrorsTo(&error);
  google::protobuf::DescriptorPool pool(&sources, sources.GetValidationErrorCollector());
  google::protobuf::FileDescriptorSet set;
  std::set<const FileDescriptor*> added;
  for (const auto& [path, text] : schemas.texts()) {
    const FileDescriptor* file = pool.FindFileByName(path);
    if (file == nullptr) {
      throw Error(name + ": " + (error.text.empty() ? path + ": does not compile" : error.text));
    }
    Add(file, added, set);
  }
  return set.SerializeAsString();
}

}  // namespace ovix::tool
