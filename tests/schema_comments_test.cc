// Every message, enumeration and extension of the schemas says what it is; read from the descriptor
// set, where tools read it too.
#include <gtest/gtest.h>

#include <map>

#include "support/contracts.h"

namespace ovix::tests {
namespace {

using google::protobuf::DescriptorProto;
using google::protobuf::FileDescriptorProto;
using Path = std::vector<int>;

Path Below(Path path, int field, int index) {
  path.insert(path.end(), {field, index});
  return path;
}

class Comments {
 public:
  explicit Comments(const FileDescriptorProto& file) {
    for (const auto& location : file.source_code_info().location()) {
      comments_[Path(location.path().begin(), location.path().end())] = location.leading_comments();
    }
  }
  // A comment says something: two words at the least.
  void Expect(const Path& path, const std::string& name) const {
    const auto found = comments_.find(path);
    EXPECT_TRUE(found != comments_.end() &&
                found->second.find(' ', 1 + found->second.find_first_not_of(' ')) !=
                    std::string::npos)
        << name << " has no comment";
  }
  void ExpectMessage(const Path& path, const DescriptorProto& message,
                     const std::string& outer) const {
    const std::string name = outer + "." + message.name();
    Expect(path, name);
    for (int i = 0; i < message.nested_type_size(); ++i) {
      ExpectMessage(Below(path, DescriptorProto::kNestedTypeFieldNumber, i), message.nested_type(i),
                    name);
    }
  }

 private:
  std::map<Path, std::string> comments_;
};

TEST(SchemaComments, StandOverEveryMessageEnumerationAndExtension) {
  int files = 0;
  const auto set = DescriptorSet();
  for (const FileDescriptorProto& file : set.file()) {
    if (!file.name().starts_with("ovix/")) continue;
    ++files;
    const Comments comments(file);
    for (int i = 0; i < file.message_type_size(); ++i) {
      comments.ExpectMessage({FileDescriptorProto::kMessageTypeFieldNumber, i},
                             file.message_type(i), file.package());
    }
    for (int i = 0; i < file.enum_type_size(); ++i) {
      comments.Expect({FileDescriptorProto::kEnumTypeFieldNumber, i}, file.enum_type(i).name());
    }
    for (int i = 0; i < file.extension_size(); ++i) {
      comments.Expect({FileDescriptorProto::kExtensionFieldNumber, i}, file.extension(i).name());
    }
  }
  EXPECT_GT(files, 0);
}

}  // namespace
}  // namespace ovix::tests
