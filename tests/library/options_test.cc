// The options, read as a store reads them: through descriptors, for every message of the
// collection. What they may say is held by scripts/check-contracts.
#include <google/protobuf/descriptor.h>
#include <google/protobuf/descriptor.pb.h>
#include <gtest/gtest.h>

#include "ovix/telemetry/contract/storage/device_health/battery.pb.h"
#include "ovix/telemetry/contract/storage/device_profile/hw_components.pb.h"
#include "ovix/telemetry/contract/storage/storage_options.pb.h"
#include "support/contracts.h"

namespace ovix::tests {
namespace {

namespace storage = telemetry::contract::storage;
using google::protobuf::Descriptor;
using google::protobuf::DescriptorPool;
using google::protobuf::Message;

const storage::PersistanceMessageOptions& Persistance(const Descriptor* descriptor) {
  return descriptor->options().GetExtension(storage::persistance);
}

TEST(Options, OfTheLibraryAreThoseOfTheDescriptorSet) {
  DescriptorPool pool;
  const auto set = DescriptorSet();
  for (const auto& file : set.file()) ASSERT_NE(pool.BuildFile(file), nullptr) << file.name();
  for (const Message* prototype : AllPrototypes()) {
    const Descriptor* message = prototype->GetDescriptor();
    const Descriptor* same = pool.FindMessageTypeByName(message->full_name());
    ASSERT_NE(same, nullptr) << message->full_name();
    EXPECT_EQ(message->options().SerializeAsString(), same->options().SerializeAsString())
        << message->full_name();
    for (int i = 0; i < message->field_count(); ++i) {
      EXPECT_EQ(message->field(i)->options().SerializeAsString(),
                same->field(i)->options().SerializeAsString())
          << message->field(i)->full_name();
    }
  }
}

TEST(StorageOptions, ReadAsEmptyWhereAMessageOrFieldHasNone) {
  EXPECT_EQ(Persistance(storage::device_health::BatteryStatus::descriptor()).ByteSizeLong(), 0U);
  const auto* time =
      storage::device_health::BatteryHealthLog::descriptor()->FindFieldByName("time");
  EXPECT_FALSE(time->options().HasExtension(storage::column));
  EXPECT_FALSE(time->options().GetExtension(storage::column).has_constraint());
}

TEST(StorageOptions, ShareANumberBecauseTheyExtendDifferentMessages) {
  EXPECT_EQ(storage::persistance.number(), storage::column.number());
  const auto* battery = storage::device_profile::HwBattery::descriptor();
  EXPECT_EQ(Persistance(battery).database().name(), "DeviceProfile");
  const auto& column =
      battery->FindFieldByName("ct_number")->options().GetExtension(storage::column);
  EXPECT_TRUE(column.constraint().has_pk() && column.constraint().pk());
}

}  // namespace
}  // namespace ovix::tests
