// What the generated accessors of fields with awkward names, orders and values do.
#include <google/protobuf/descriptor.h>
#include <gtest/gtest.h>

#include <memory>

#include "ovix/telemetry/contract/storage/acm_cache.pb.h"
#include "ovix/telemetry/contract/storage/cache.pb.h"
#include "ovix/telemetry/contract/storage/device_health/storage.pb.h"
#include "ovix/telemetry/contract/storage/device_performance/amd_pmf.pb.h"
#include "ovix/telemetry/contract/storage/device_performance/energy.pb.h"
#include "ovix/telemetry/contract/storage/device_profile/device.pb.h"
#include "ovix/telemetry/contract/storage/device_profile/hw_components.pb.h"
#include "ovix/telemetry/contract/storage/device_profile/operating_system.pb.h"
#include "ovix/telemetry/contract/upload/analytics/pcAppInventorySummaryAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/analytics/pcDriverInventorySummaryAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/analytics/pcHwBatteryUsageSummaryAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/analytics/pcUsageSummaryAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/device_profile/hwComponentsInfoAsCDM.pb.h"
#include "support/contracts.h"

namespace ovix::tests {
namespace {

namespace storage = telemetry::contract::storage;
namespace upload = telemetry::contract::upload;
using google::protobuf::Message;
namespace profile = storage::device_profile;

TEST(Accessors, OfAFieldNamedLikeAKeywordCarryAnUnderscoreThatTheSchemaLacks) {
  profile::DriverInfo driver;
  driver.set_class_("net");
  EXPECT_EQ(driver.class_(), "net");
  EXPECT_NE(driver.GetDescriptor()->FindFieldByName("class"), nullptr);
  EXPECT_EQ(driver.GetDescriptor()->FindFieldByName("class_"), nullptr);
}

TEST(Accessors, OfAFieldNamedHasOwnerReadItsValue) {
  profile::HwTrustedPlatformModule module;
  EXPECT_FALSE(module.has_owner());
  module.set_has_owner(true);
  EXPECT_TRUE(module.has_owner());
  module.set_has_owner(false);
  EXPECT_EQ(module.SerializeAsString(), "");
}

// Where the field has presence, has_owner() is its value and has_has_owner() the presence.
TEST(Accessors, OfAFieldNamedHasOwnerTellValueFromPresence) {
  upload::device_profile::HwTrustedPlatformModule module;
  EXPECT_FALSE(module.has_has_owner());
  module.set_has_owner(false);
  EXPECT_TRUE(module.has_has_owner());
  upload::device_profile::HwTrustedPlatformModule back;
  ASSERT_TRUE(back.ParseFromString(module.SerializeAsString()));
  EXPECT_TRUE(back.has_has_owner());
  EXPECT_FALSE(back.has_owner());
}

TEST(Accessors, WriteByNumberWhatTheSchemaDeclaresInAnotherOrder) {
  storage::device_performance::EnergyEMISamples sample;
  FillAll(&sample, 1);
  EXPECT_EQ(sample.GetDescriptor()->field(1)->name(), "absolute_time");
  EXPECT_EQ(Fields(sample.SerializeAsString()).back().number, sample.kAbsoluteTimeFieldNumber);
}

TEST(Accessors, WriteNegativeNumbersAsTenByteVarints) {
  storage::device_performance::AmdPmfSamples sample;
  sample.set_battery_charge_rate(-1500);
  EXPECT_EQ(sample.ByteSizeLong(), 2U + 10U);
}

TEST(Accessors, LeaveTheGapInTheNumbersToUnknownFields) {
  const std::string bytes = Tag(1, 0) + Varint(1) + Tag(2, 0) + Varint(1);
  storage::device_health::NVMEHealthEnduranceCriticalWarning warning;
  ASSERT_TRUE(warning.ParseFromString(bytes));
  EXPECT_TRUE(warning.available_space_low());
  EXPECT_EQ(warning.GetReflection()->GetUnknownFields(warning).field_count(), 1);
  EXPECT_EQ(warning.SerializeAsString(), bytes);
}

TEST(Accessors, OfTwinRecordsReadEachOthersBytes) {
  storage::ACMCache acm;
  FillAll(&acm, 1);
  storage::CollectorCache cache;
  ASSERT_TRUE(cache.ParseFromString(acm.SerializeAsString()));
  EXPECT_EQ(cache.data(), acm.data());
  EXPECT_NE(cache.GetDescriptor(), acm.GetDescriptor());
}

// Messages that are declared twice with the same fields, in a payload of their own and in a bundle.
TEST(Accessors, OfTwinPartsOfPayloadsShareTheirBytes) {
  namespace analytics = upload::analytics;
  const std::vector<std::pair<std::unique_ptr<Message>, std::unique_ptr<Message>>> twins = [] {
    std::vector<std::pair<std::unique_ptr<Message>, std::unique_ptr<Message>>> pairs;
    const auto add = [&](auto one, auto other) {
      pairs.emplace_back(std::make_unique<decltype(one)>(), std::make_unique<decltype(other)>());
    };
    add(analytics::PcAppInventorySummaryAsCDM_AppInventorySummary(),
        analytics::AppInventorySummary());
    add(analytics::PcDriverInventorySummaryAsCDM_DriverInventorySummary(),
        analytics::DriverInventorySummary());
    add(analytics::PcHwBatteryUsageSummaryAsCDM_HwBatteryUsageSummary(),
        analytics::HwBatteryUsageSummary());
    return pairs;
  }();
  for (const auto& [one, other] : twins) {
    FillAll(one.get(), 1);
    ASSERT_TRUE(other->ParseFromString(one->SerializeAsString()));
    EXPECT_EQ(other->SerializeAsString(), one->SerializeAsString());
    EXPECT_TRUE(other->GetReflection()->GetUnknownFields(*other).empty());
    EXPECT_NE(one->GetDescriptor()->full_name(), other->GetDescriptor()->full_name());
  }
}

TEST(Accessors, OfEnumerationsKnowOnlyTheirOwnNumbers) {
  EXPECT_TRUE(profile::OSArchitecture_IsValid(profile::OS_ARCH_64_BITS));
  EXPECT_FALSE(profile::OSArchitecture_IsValid(profile::OSArchitecture_MAX + 1));
  EXPECT_EQ(profile::OSArchitecture_Name(profile::OS_ARCH_32_BITS), "OS_ARCH_32_BITS");
}

}  // namespace
}  // namespace ovix::tests
