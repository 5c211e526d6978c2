// The options, read as a store reads them: through descriptors, for every message of the
// collection.
#include <google/protobuf/descriptor.h>
#include <gtest/gtest.h>

#include <regex>
#include <set>

#include "ovix/telemetry/contract/storage/db.pb.h"
#include "ovix/telemetry/contract/storage/device_health/battery.pb.h"
#include "ovix/telemetry/contract/storage/device_profile/hw_components.pb.h"
#include "ovix/telemetry/contract/storage/state_change_utils.pb.h"
#include "ovix/telemetry/contract/storage/storage_options.pb.h"
#include "ovix/telemetry/contract/upload/upload_options.pb.h"
#include "support/contracts.h"

namespace ovix::tests {
namespace {

namespace storage = telemetry::contract::storage;
namespace upload = telemetry::contract::upload;
using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::Message;

const storage::PersistanceMessageOptions& Persistance(const Descriptor* descriptor) {
  return descriptor->options().GetExtension(storage::persistance);
}

std::vector<const Descriptor*> Tables() {
  std::vector<const Descriptor*> tables;
  for (const Message* prototype : AllPrototypes()) {
    if (!Persistance(prototype->GetDescriptor()).type().empty()) {
      tables.push_back(prototype->GetDescriptor());
    }
  }
  return tables;
}

int KeyColumns(const Descriptor* table) {
  int count = 0;
  for (int i = 0; i < table->field_count(); ++i) {
    count += table->field(i)->options().GetExtension(storage::column).constraint().pk();
  }
  return count;
}

TEST(StorageOptions, TellAStoreAllThatItNeedsOfEachTable) {
  EXPECT_FALSE(Tables().empty());
  std::set<std::string> names;
  for (const Descriptor* table : Tables()) {
    SCOPED_TRACE(table->full_name());
    const auto& options = Persistance(table);
    EXPECT_TRUE(options.type() == "State" || options.type() == "Historical") << options.type();
    EXPECT_FALSE(options.database().name().empty());
    EXPECT_EQ(options.database().max_size_mb(), 0U) << "sizes belong to the markers";
    EXPECT_TRUE(options.type() != "State" || KeyColumns(table) > 0) << "a State table has a key";
    EXPECT_TRUE(names.insert(options.database().name() + "." + table->name()).second)
        << "two tables of one name in database " << options.database().name();
    const FieldDescriptor* time = table->FindFieldByName("time");
    ASSERT_NE(time, nullptr);
    EXPECT_EQ(time->type(), FieldDescriptor::TYPE_STRING);
    EXPECT_LE(time->number(), 2);
  }
}

TEST(StorageOptions, GiveEachMarkedDatabaseOneSizeAndOnlyToDatabasesThatAreUsed) {
  std::set<std::string> used;
  for (const Descriptor* table : Tables()) used.insert(Persistance(table).database().name());
  const auto* file = storage::DeviceProfile::descriptor()->file();
  for (int i = 0; i < file->message_type_count(); ++i) {
    const Descriptor* marker = file->message_type(i);
    EXPECT_TRUE(used.contains(marker->name())) << marker->name() << " marks a database of no table";
    EXPECT_GT(Persistance(marker).database().max_size_mb(), 0U) << marker->name();
    EXPECT_EQ(Persistance(marker).type(), "") << marker->name() << " must not be a table";
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

// --- The option of the payloads

const upload::cdmMessageOptions& Cdm(const Descriptor* descriptor) {
  return descriptor->options().GetExtension(upload::cdm);
}

TEST(UploadOptions, GiveEachPayloadAGunOfItsOwnAndAVersionOfThatMajorNumber) {
  const std::regex gun(
      "com\\.ovix\\.cdm\\.domain\\.telemetry\\.type\\.eventDetail\\.category\\."
      "[a-z][A-Za-z0-9]*\\.version\\.([0-9]+)");
  const std::regex version("([0-9]+)\\.[0-9]+\\.[0-9]+(-(alpha|beta)\\.[0-9]+)?");
  std::set<std::string> guns;
  for (const Message* prototype : AllPrototypes()) {
    const Descriptor* message = prototype->GetDescriptor();
    SCOPED_TRACE(message->full_name());
    // A payload is a message of its own file whose name says so; its parts carry nothing.
    const bool is_payload =
        message->name().ends_with("AsCDM") && message->containing_type() == nullptr;
    EXPECT_EQ(Cdm(message).gun().empty(), !is_payload);
    EXPECT_EQ(Cdm(message).version().empty(), !is_payload);
    if (!is_payload) continue;
    std::smatch in_gun;
    std::smatch in_version;
    ASSERT_TRUE(std::regex_match(Cdm(message).gun(), in_gun, gun)) << Cdm(message).gun();
    ASSERT_TRUE(std::regex_match(Cdm(message).version(), in_version, version));
    EXPECT_EQ(in_gun[1], in_version[1]);
    EXPECT_TRUE(guns.insert(Cdm(message).gun()).second) << "another payload has this gun";
    EXPECT_EQ(Persistance(message).type(), "") << "a payload is no table";
    const FieldDescriptor* envelope = message->FindFieldByNumber(1);
    ASSERT_NE(envelope, nullptr);
    EXPECT_EQ(envelope->name(), "version");
    EXPECT_EQ(envelope->type(), FieldDescriptor::TYPE_STRING);
    EXPECT_FALSE(envelope->has_presence());
  }
  EXPECT_FALSE(guns.empty());
}

// Every record of a change has the five fields that the writer of changes fills.
TEST(StorageOptions, MakeEveryChangeLogOfOneShape) {
  const Descriptor* shape = nullptr;
  int change_logs = 0;
  for (const Descriptor* table : Tables()) {
    const FieldDescriptor* event = table->FindFieldByName("event");
    if (event == nullptr || event->enum_type() != storage::StateEventType_descriptor()) continue;
    ++change_logs;
    EXPECT_EQ(Persistance(table).type(), "Historical") << table->full_name();
    EXPECT_EQ(KeyColumns(table), 0) << table->full_name();
    if (shape == nullptr) shape = table;
    ASSERT_EQ(table->field_count(), shape->field_count()) << table->full_name();
    for (int i = 0; i < table->field_count(); ++i) {
      EXPECT_EQ(table->field(i)->name(), shape->field(i)->name()) << table->full_name();
      EXPECT_EQ(table->field(i)->type(), shape->field(i)->type()) << table->full_name();
    }
  }
  EXPECT_GT(change_logs, 0);
}

}  // namespace
}  // namespace ovix::tests
