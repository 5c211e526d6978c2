// Every message, enumeration and extension of the schemas says what it is; read from the descriptor
// set, where tools read it too.
#include <gtest/gtest.h>

#include <algorithm>

#include "tool/contracts.h"

namespace ovix::tests {
namespace {

TEST(SchemaComments, StandOverEveryMessageEnumerationAndExtension) {
  const auto& contracts = tool::Contracts::Installed();
  const auto expect = [&](const auto* descriptor) {
    const tool::Comment comment = contracts.CommentOf(descriptor);
    EXPECT_GE(std::count(comment.text.begin(), comment.text.end(), ' '), 1)
        << descriptor->full_name() << " has no comment that says what it is";
    EXPECT_EQ(comment.misplaced, "") << descriptor->full_name() << ": text behind the lineage";
  };
  const auto expect_all = [&](const auto* descriptor, const auto& self) -> void {
    expect(descriptor);
    for (int i = 0; i < descriptor->nested_type_count(); ++i)
      self(descriptor->nested_type(i), self);
  };
  EXPECT_FALSE(contracts.files().empty());
  for (const auto* file : contracts.files()) {
    for (int i = 0; i < file->message_type_count(); ++i)
      expect_all(file->message_type(i), expect_all);
    for (int i = 0; i < file->enum_type_count(); ++i) expect(file->enum_type(i));
    for (int i = 0; i < file->extension_count(); ++i) expect(file->extension(i));
  }
}

}  // namespace
}  // namespace ovix::tests
