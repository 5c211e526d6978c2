// The library as a program sees it: one copy of each thing, for every user, and ready before
// the program's own static objects are made.
#include "program_test.pb.h"

#include <google/protobuf/descriptor.h>
#include <gtest/gtest.h>

#include "ovix/telemetry/contract/contracts_collection.h"
#include "ovix/telemetry/contract/storage/cache.pb.h"
#include "ovix/telemetry/contract/storage/device_health/battery.pb.h"
#include "ovix/telemetry/contract/storage/storage_options.pb.h"
#include "ovix/telemetry/contract/upload/ai_pc/pcSettingsCommandFlowAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/device_profile/identityAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/upload_options.pb.h"

namespace ovix::tests {
namespace {

namespace storage = telemetry::contract::storage;
namespace upload = telemetry::contract::upload;
using google::protobuf::DescriptorPool;
using google::protobuf::Message;
using google::protobuf::MessageFactory;

// Made before main(): a message of the library, an option read through an extension identifier.
const std::string made_before_main = [] {
  storage::CollectorCache cache;
  cache.set_collector("early");
  return cache.SerializeAsString() +
         cache.GetDescriptor()->options().GetExtension(storage::persistance).database().name();
}();

TEST(Program, MayUseTheLibraryInItsStaticInitialisers) {
  EXPECT_EQ(made_before_main,
            "\x0a\x05"
            "earlyCache");
}

// The library registers its default instances with the runtime; the program refers to them by
// symbol.
template <typename Contract>
void ExpectOneDefaultInstance() {
  const Message* as_library =
      MessageFactory::generated_factory()->GetPrototype(Contract::descriptor());
  EXPECT_EQ(as_library, Contract::internal_default_instance())
      << Contract::descriptor()->full_name();
  EXPECT_EQ(as_library, &Contract::default_instance());
}

TEST(Program, SeesTheDefaultInstancesThatTheLibrarySees) {
  ExpectOneDefaultInstance<storage::CollectorCache>();
  ExpectOneDefaultInstance<storage::PersistanceMessageOptions>();
  ExpectOneDefaultInstance<storage::device_health::BatteryHealthLog>();
  ExpectOneDefaultInstance<upload::device_profile::IdentityAsCDM>();
  ExpectOneDefaultInstance<ovix::velmor::models::cdm::device::pcSettingsCommandFlowAsCDM>();
  // Where a sub-message is absent, the accessor gives its type's default instance.
  EXPECT_EQ(&storage::device_health::BatteryHealthLog().battery_status(),
            &storage::device_health::BatteryStatus::default_instance());
}

TEST(Program, CastsAndNamesTheLibrarysTypes) {
  telemetry::contract::ContractsCollection contracts;
  int found = 0;
  while (const Message* prototype = contracts.Next()) {
    if (prototype->GetDescriptor() != storage::CollectorCache::descriptor()) continue;
    ++found;
    EXPECT_NE(dynamic_cast<const storage::CollectorCache*>(prototype), nullptr);
    EXPECT_EQ(typeid(*prototype), typeid(storage::CollectorCache));
  }
  EXPECT_EQ(found, 1);
}

TEST(Program, ReadsTheExtensionIdentifiers) {
  EXPECT_EQ(storage::persistance.number(), 50000);
  EXPECT_EQ(storage::column.number(), 50000);
  EXPECT_EQ(upload::cdm.number(), 50001);
  EXPECT_EQ(upload::device_profile::IdentityAsCDM::descriptor()
                ->options()
                .GetExtension(upload::cdm)
                .version(),
            "1.1.0");
}

TEST(Program, MayHaveASchemaThatUsesTheOptionsAndTheContracts) {
  const auto* descriptor = ProgramTable::descriptor();
  EXPECT_EQ(descriptor->options().GetExtension(storage::persistance).database().name(), "Program");
  EXPECT_TRUE(descriptor->field(0)->options().GetExtension(storage::column).constraint().pk());
  EXPECT_EQ(DescriptorPool::generated_pool()->FindMessageTypeByName("ovix.tests.ProgramTable"),
            descriptor);
  ProgramTable row;
  row.mutable_log()->add_cell_voltages(4100);
  ProgramTable back;
  ASSERT_TRUE(back.ParseFromString(row.SerializeAsString()));
  EXPECT_EQ(back.log().cell_voltages(0), 4100U);
  ExpectOneDefaultInstance<ProgramTable>();
}

}  // namespace
}  // namespace ovix::tests
