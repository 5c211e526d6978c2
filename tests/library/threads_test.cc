// What may be done from many threads at once, each time as the first use in its process: the thread
// sanitizer watches. ctest runs each case as a process of its own, so that first use is first.
#include <google/protobuf/util/json_util.h>
#include <gtest/gtest.h>

#include <latch>
#include <thread>
#include <vector>

#include "ovix/telemetry/contract/contracts_collection.h"
#include "ovix/telemetry/contract/storage/device_profile/application.pb.h"
#include "ovix/telemetry/contract/storage/storage_options.pb.h"
#include "ovix/telemetry/contract/upload/log/hardware/hwBatteryHealthLogAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/upload_options.pb.h"

namespace ovix::tests {
namespace {

using google::protobuf::Message;
namespace contract = telemetry::contract;

constexpr int kThreads = 8;

// Runs `work` in threads that begin together.
template <typename Work>
void Together(const Work& work) {
  std::latch ready(kThreads);
  std::vector<std::thread> threads;
  for (int number = 0; number < kThreads; ++number) {
    threads.emplace_back([&, number] {
      ready.arrive_and_wait();
      work(number);
    });
  }
  for (auto& thread : threads) thread.join();
}

// Iterates the collection and gives the strings of every message's options.
std::string WalkOptions() {
  std::string found;
  contract::ContractsCollection contracts;
  while (const Message* prototype = contracts.Next()) {
    const auto& options = prototype->GetDescriptor()->options();
    found += options.GetExtension(contract::storage::persistance).type();
    found += options.GetExtension(contract::upload::cdm).gun();
  }
  return found;
}

TEST(Threads, MayWalkAndReadOptionsFirstAtOnce) {
  std::string found[kThreads];
  Together([&](int number) { found[number] = WalkOptions(); });
  const std::string expected = WalkOptions();
  EXPECT_GT(expected.size(), 1000U);
  for (const std::string& each : found) EXPECT_EQ(each, expected);
}

TEST(Threads, MayMakeMessagesOfPrototypesFirstAtOnce) {
  Together([](int number) {
    contract::ContractsCollection contracts;
    while (const Message* prototype = contracts.Next()) {
      const std::unique_ptr<Message> message(prototype->New());
      EXPECT_TRUE(message->ParseFromString(prototype->SerializeAsString())) << number;
    }
  });
}

TEST(Threads, MayReadOneMessage) {
  contract::storage::device_profile::Application application;
  application.set_name("one for all");
  const std::string bytes = application.SerializeAsString();
  Together([&](int) {
    for (int i = 0; i < 100; ++i) {
      EXPECT_EQ(application.SerializeAsString(), bytes);
      EXPECT_EQ(application.ByteSizeLong(), bytes.size());
      EXPECT_EQ(contract::storage::device_profile::Application(application).name(), "one for all");
      EXPECT_TRUE(application.vendor().empty());
      std::string json;
      EXPECT_TRUE(google::protobuf::util::MessageToJsonString(application, &json).ok());
    }
  });
}

TEST(Threads, MayUseOneArenaEach) {
  Together([](int number) {
    google::protobuf::Arena arena;
    for (int i = 0; i < 100; ++i) {
      auto* payload = google::protobuf::Arena::CreateMessage<
          contract::upload::log::hardware::HwBatteryHealthLogAsCDM>(&arena);
      payload->set_version(std::to_string(number));
      EXPECT_EQ(payload->version(), std::to_string(number));
    }
  });
}

}  // namespace
}  // namespace ovix::tests
