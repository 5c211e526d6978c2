// The lineage of the payloads: the lines "Source: ..." in the comments of the upload schemas, read
// as tools read them. docs/payloads.md has the grammar.
#include <gtest/gtest.h>

#include <regex>
#include <set>

#include "contracts/contracts.h"
#include "support/contracts.h"

namespace ovix::tests {
namespace {

using google::protobuf::Descriptor;
using google::protobuf::DescriptorPool;
using google::protobuf::FieldDescriptor;
using tool::Source;

bool SameType(const FieldDescriptor* a, const FieldDescriptor* b) {
  return a->type() == b->type() && a->is_repeated() == b->is_repeated() &&
         a->enum_type() == b->enum_type() && a->message_type() == b->message_type();
}

const tool::Contracts& Library() { return tool::Contracts::Installed(); }

std::vector<const Descriptor*> UploadMessages() {
  std::vector<const Descriptor*> messages;
  for (const auto* prototype : AllPrototypes()) {
    const Descriptor* message = prototype->GetDescriptor();
    if (message->file()->name().find("/upload/") != std::string::npos &&
        message->file()->extension_count() == 0) {
      messages.push_back(message);
    }
  }
  return messages;
}

TEST(Lineage, OfEveryUploadMessageNamesStoredRecordsOrSaysThatThereAreNone) {
  for (const Descriptor* message : UploadMessages()) {
    SCOPED_TRACE(message->full_name());
    const auto sources = Library().CommentOf(message).sources;
    EXPECT_FALSE(sources.empty()) << "no line Source: in its comment";
    std::set<std::string> names;
    for (const Source& source : sources) {
      EXPECT_TRUE(names.insert(source.name).second) << source.name << " stands twice";
      if (source.name == "none") {
        EXPECT_EQ(sources.size(), 1U) << "none and a record";
        continue;
      }
      EXPECT_TRUE(source.words.empty() || source.words == "same data.") << source.words;
      const Descriptor* record =
          DescriptorPool::generated_pool()->FindMessageTypeByName(source.name);
      ASSERT_NE(record, nullptr) << source.name << " is no message";
      EXPECT_NE(record->file()->name().find("/storage/"), std::string::npos)
          << source.name << " is no stored record";
    }
  }
}

TEST(Lineage, OfEveryFieldLeadsToAFieldOfARecord) {
  const std::regex change("(renamed|retyped|narrowed|computed|copied)\\b.*|same data\\.");
  int traced = 0;
  for (const Descriptor* message : UploadMessages()) {
    const auto records = Library().SourcesOf(message);
    if (records.empty()) {
      for (int i = 0; i < message->field_count(); ++i) {
        for (const Source& source : Library().CommentOf(message->field(i)).sources) {
          EXPECT_EQ(source.name, "none")
              << message->field(i)->full_name() << " has a source that its message does not name";
        }
      }
      continue;
    }
    for (int i = 0; i < message->field_count(); ++i) {
      const FieldDescriptor* field = message->field(i);
      SCOPED_TRACE(field->full_name());
      const auto sources = Library().CommentOf(field).sources;
      for (const Source& source : sources) {
        if (source.name == "none") {
          EXPECT_EQ(sources.size(), 1U);
          continue;
        }
        ++traced;
        EXPECT_NE(tool::FindSourceField(records, source.name), nullptr)
            << source.name << " is in no source record";
        EXPECT_TRUE(std::regex_match(source.words, change))
            << "say how it differs (renamed, retyped, narrowed ...) or 'same data.'; not: "
            << source.words;
      }
      if (!sources.empty()) continue;
      const FieldDescriptor* same = tool::FindSourceField(records, field->name());
      if (same != nullptr && SameType(same, field)) {
        ++traced;
      } else {
        EXPECT_TRUE(field->message_type() != nullptr &&
                    !Library().CommentOf(field->message_type()).sources.empty())
            << "has no line Source:, and no source record has such a field";
      }
    }
  }
  EXPECT_GT(traced, 0);
}

}  // namespace
}  // namespace ovix::tests
