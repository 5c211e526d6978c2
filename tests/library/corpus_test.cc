// What a release wrote is always read: the frozen encodings of every release parse into today's
// classes and come back byte for byte, fields that no schema has included.
#include <google/protobuf/any.pb.h>
#include <google/protobuf/io/zero_copy_stream_impl.h>
#include <google/protobuf/util/delimited_message_util.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <memory>

#include "support/contracts.h"
#include "support/names.h"

namespace ovix::tests {
namespace {

TEST(Corpus, ComesBackByteForByte) {
  std::map<std::string, const google::protobuf::Message*> prototypes;
  for (const auto* prototype : AllPrototypes()) prototypes[prototype->GetTypeName()] = prototype;
  const RuntimeLog warnings;  // of numbers that no enumeration has, which the corpus has
  const std::filesystem::path releases = SourceFile("compat");
  int read = 0;
  for (const auto& release : std::filesystem::directory_iterator(releases)) {
    if (!release.is_directory()) continue;
    std::ifstream file(release.path() / "corpus.binpb", std::ios::binary);
    google::protobuf::io::IstreamInputStream stream(&file);
    google::protobuf::Any entry;
    std::map<std::string, int> encodings;
    for (; google::protobuf::util::ParseDelimitedFromZeroCopyStream(&entry, &stream, nullptr);
         entry.Clear()) {
      const std::string name = entry.type_url().substr(entry.type_url().rfind('/') + 1);
      ASSERT_TRUE(prototypes.contains(name))
          << name << " is gone, but rows and payloads of it are not";
      const std::unique_ptr<google::protobuf::Message> message(prototypes[name]->New());
      ASSERT_TRUE(message->ParseFromString(entry.value())) << name;
      EXPECT_EQ(message->SerializeAsString(), entry.value()) << name;
      ++encodings[name];
    }
    EXPECT_TRUE(file.eof()) << release.path() << ": the corpus is damaged after "
                            << encodings.size() << " messages";
    for (const auto& [name, count] : encodings) EXPECT_EQ(count, 4) << name;
    read += static_cast<int>(encodings.size());
  }
  EXPECT_GE(read, 324) << "the first release alone has as many messages";
}

}  // namespace
}  // namespace ovix::tests
