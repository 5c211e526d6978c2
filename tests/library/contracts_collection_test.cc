#include "ovix/telemetry/contract/contracts_collection.h"

#include <google/protobuf/descriptor.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <set>
#include <thread>

#include "support/contracts.h"
#include "support/names.h"

namespace ovix::tests {
namespace {

using google::protobuf::Descriptor;
using google::protobuf::DescriptorPool;
using google::protobuf::Message;
using telemetry::contract::ContractsCollection;

// Iterated before main() begins, as a program's own static objects may.
const size_t walked_before_main = AllPrototypes().size();

const char* const kFix = "; run scripts/check-contracts --fix";

// Paths without regard to case, "_" after every letter, digit, "/" and "."; the folder vorlan
// is in the place of "log" and what follows it.
std::string SortKey(std::string path) {
  const std::string vorlan = "upload/vorlan/";
  if (const size_t at = path.find(vorlan); at != std::string::npos) {
    path.replace(at, vorlan.size(), "upload/log~/");
  }
  std::transform(path.begin(), path.end(), path.begin(), [](unsigned char c) {
    return c == '_' ? '~' : static_cast<char>(std::tolower(c));
  });
  return path;
}

void AddClasses(const Descriptor* message, const std::string& outer,
                std::vector<std::pair<std::string, std::string>>* classes) {
  const std::string name = outer + message->name();
  classes->emplace_back(name, message->full_name());
  for (int i = 0; i < message->nested_type_count(); ++i) {
    AddClasses(message->nested_type(i), name + "_", classes);
  }
}

std::vector<std::string> SchemasOnDisk() {
  std::vector<std::string> schemas;
  const std::filesystem::path root = SourceFile("");
  for (const auto& entry : std::filesystem::recursive_directory_iterator(root / "ovix")) {
    if (entry.path().extension() == ".proto") {
      schemas.push_back(std::filesystem::relative(entry.path(), root).generic_string());
    }
  }
  std::sort(schemas.begin(), schemas.end(),
            [](const std::string& a, const std::string& b) { return SortKey(a) < SortKey(b); });
  return schemas;
}

// The places that a contract is written in: its schema, the build's list (whose order the
// descriptor set need not keep), and the collection. scripts/check-contracts --fix writes the last
// two by the same rule as this test.
TEST(ContractsCollection, HoldsEveryClassOfEverySchemaInOrder) {
  std::set<std::string> built;
  const auto set = DescriptorSet();
  for (const auto& file : set.file()) built.insert(file.name());

  std::vector<std::string> expected;
  for (const std::string& schema : SchemasOnDisk()) {
    EXPECT_TRUE(built.contains(schema))
        << schema << " is missing from library/contracts.cmake" << kFix;
    const auto* file = DescriptorPool::generated_pool()->FindFileByName(schema);
    if (file == nullptr) {
      ADD_FAILURE() << schema << " is not registered by the library";
      continue;
    }
    std::vector<std::pair<std::string, std::string>> classes;
    for (int i = 0; i < file->message_type_count(); ++i) {
      AddClasses(file->message_type(i), "", &classes);
    }
    std::sort(classes.begin(), classes.end());
    for (const auto& [name, full_name] : classes) expected.push_back(full_name);
  }

  std::vector<std::string> walked;
  for (const Message* prototype : AllPrototypes()) {
    walked.push_back(prototype->GetDescriptor()->full_name());
  }
  const std::set<std::string> in_collection(walked.begin(), walked.end());
  EXPECT_EQ(in_collection.size(), walked.size()) << "a class is twice in the collection" << kFix;
  for (const std::string& name : expected) {
    EXPECT_TRUE(in_collection.contains(name)) << name << " is missing from the collection" << kFix;
  }
  // A class that is missing moves all that follow.
  if (HasFailure()) return;
  for (size_t i = 0; i < std::min(walked.size(), expected.size()); ++i) {
    ASSERT_EQ(walked[i], expected[i])
        << "library/src/contracts_collection.cc has another order at place " << i << kFix;
  }
  EXPECT_EQ(walked.size(), expected.size());
  EXPECT_EQ(walked_before_main, expected.size());
}

TEST(ContractsCollection, GivesNullAtTheEndUntilRestarted) {
  ContractsCollection contracts;
  const Message* first = contracts.Next();
  ASSERT_NE(first, nullptr);
  while (contracts.HasNext()) ASSERT_NE(contracts.Next(), nullptr);
  EXPECT_EQ(contracts.Next(), nullptr);
  EXPECT_EQ(contracts.Next(), nullptr);
  EXPECT_FALSE(contracts.HasNext());
  contracts.Restart();
  EXPECT_TRUE(contracts.HasNext());
  EXPECT_EQ(contracts.Next(), first);
}

TEST(ContractsCollection, CopiesStandWhereTheOriginalStandsAndMoveOnTheirOwn) {
  ContractsCollection original;
  original.Next();
  ContractsCollection copy(original);
  ContractsCollection assigned;
  assigned = original;
  const Message* second = original.Next();
  const Message* third = original.Next();
  for (ContractsCollection* other : {&copy, &assigned}) {
    EXPECT_EQ(other->Next(), second);
    EXPECT_EQ(other->Next(), third);
  }
}

TEST(ContractsCollection, HandsOutOwnedInstancesOfTheGeneratedClasses) {
  auto* factory = google::protobuf::MessageFactory::generated_factory();
  for (const Message* prototype : AllPrototypes()) {
    const Message* default_instance = factory->GetPrototype(prototype->GetDescriptor());
    ASSERT_NE(default_instance, nullptr) << prototype->GetDescriptor()->full_name();
    EXPECT_NE(prototype, default_instance);
    EXPECT_EQ(typeid(*prototype), typeid(*default_instance));
  }
}

// First use of descriptors and options, from many threads at once; under the thread sanitizer this
// is the test that finds it.
TEST(ContractsCollection, IsWalkedByManyThreadsAtOnce) {
  std::vector<size_t> seen(8);
  std::vector<std::thread> threads;
  for (size_t& count : seen) {
    threads.emplace_back([&count] {
      ContractsCollection contracts;
      while (const Message* prototype = contracts.Next()) {
        count += prototype->GetDescriptor()->options().ByteSizeLong() < 1000;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(std::set<size_t>(seen.begin(), seen.end()), std::set<size_t>{walked_before_main});
}

}  // namespace
}  // namespace ovix::tests
