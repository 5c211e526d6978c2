#include "contracts/compile.h"

#include <google/protobuf/descriptor.h>
#include <google/protobuf/descriptor.pb.h>
#include <google/protobuf/descriptor_database.h>

#include <set>

namespace ovix::tool {
namespace {

using google::protobuf::FileDescriptor;

class Errors : public google::protobuf::compiler::MultiFileErrorCollector {
 public:
  void AddError(const std::string& file, int line, int column,
                const std::string& message) override {
    // A line of -1 is the whole file.
    if (line < 0) column = -1;
    all.push_back({file, line + 1, column + 1, message});
  }
  std::vector<SchemaError> all;
};

// The schemas that come with protobuf.
class WellKnown : public google::protobuf::DescriptorDatabase {
 public:
  bool FindFileByName(const std::string& name,
                      google::protobuf::FileDescriptorProto* schema) override {
    if (!name.starts_with("google/protobuf/")) return false;
    const auto* file = google::protobuf::DescriptorPool::generated_pool()->FindFileByName(name);
    if (file != nullptr) file->CopyTo(schema);
    return file != nullptr;
  }
  bool FindFileContainingSymbol(const std::string&,
                                google::protobuf::FileDescriptorProto*) override {
    return false;
  }
  bool FindFileContainingExtension(const std::string&, int,
                                   google::protobuf::FileDescriptorProto*) override {
    return false;
  }
};

// Adds a file after those that it imports.
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

CompiledSchemas CompileSchemas(google::protobuf::compiler::SourceTree& sources,
                               const std::vector<std::string>& names) {
  WellKnown well_known;
  Errors errors;
  google::protobuf::compiler::SourceTreeDescriptorDatabase database(&sources, &well_known);
  database.RecordErrorsTo(&errors);
  google::protobuf::DescriptorPool pool(&database, database.GetValidationErrorCollector());
  google::protobuf::FileDescriptorSet set;
  std::set<const FileDescriptor*> added;
  for (const std::string& name : names) {
    const FileDescriptor* file = pool.FindFileByName(name);
    if (file != nullptr) {
      Add(file, added, set);
    } else if (errors.all.empty()) {
      errors.all.push_back({name, 0, 0, "does not compile"});
    }
  }
  if (!errors.all.empty()) return {"", std::move(errors.all)};
  return {set.SerializeAsString(), {}};
}

}  // namespace ovix::tool
