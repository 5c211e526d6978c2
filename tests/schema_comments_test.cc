// Every message, enumeration and extension of the schemas says what it is; read from the descriptor
// set, where tools read it too.
#include <gtest/gtest.h>

#include <algorithm>

#include "support/comments.h"
#include "support/contracts.h"

namespace ovix::tests {
namespace {

TEST(SchemaComments, StandOverEveryMessageEnumerationAndExtension) {
  const auto set = DescriptorSet();
  const Comments comments(set);
  const auto expect = [&](const auto* descriptor) {
    const std::string comment = comments.Of(descriptor);
    EXPECT_GE(std::count(comment.begin(), comment.end(), ' '), 2)
        << descriptor->full_name() << " has no comment that says what it is";
  };
  const auto expect_all = [&](const auto* descriptor, const auto& self) -> void {
    expect(descriptor);
    for (int i = 0; i < descriptor->nested_type_count(); ++i)
      self(descriptor->nested_type(i), self);
  };
  int files = 0;
  for (const auto& name : set.file()) {
    if (!name.name().starts_with("ovix/")) continue;
    const auto* file =
        google::protobuf::DescriptorPool::generated_pool()->FindFileByName(name.name());
    ASSERT_NE(file, nullptr) << name.name();
    ++files;
    for (int i = 0; i < file->message_type_count(); ++i)
      expect_all(file->message_type(i), expect_all);
    for (int i = 0; i < file->enum_type_count(); ++i) expect(file->enum_type(i));
    for (int i = 0; i < file->extension_count(); ++i) expect(file->extension(i));
  }
  EXPECT_GT(files, 0);
}

}  // namespace
}  // namespace ovix::tests
