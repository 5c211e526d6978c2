// The options of contracts, as rules ask for them.
#ifndef OVIX_TOOL_LINT_OPTIONS_H_
#define OVIX_TOOL_LINT_OPTIONS_H_

#include "contracts/contracts.h"
#include "ovix/telemetry/contract/storage/storage_options.pb.h"
#include "ovix/telemetry/contract/upload/upload_options.pb.h"

namespace ovix::tool::lint {

using telemetry::contract::storage::persistance;
using telemetry::contract::storage::PersistanceMessageOptions;
using telemetry::contract::upload::cdm;
using telemetry::contract::upload::cdmMessageOptions;

// The places of what the options set, for Contracts::LineOfOption().
constexpr int kPersistance = telemetry::contract::storage::kPersistanceFieldNumber;
constexpr int kType = PersistanceMessageOptions::kTypeFieldNumber;
constexpr int kDatabase = PersistanceMessageOptions::kDatabaseFieldNumber;
constexpr int kTable = PersistanceMessageOptions::kTableFieldNumber;
constexpr int kCdm = telemetry::contract::upload::kCdmFieldNumber;
constexpr int kGun = cdmMessageOptions::kGunFieldNumber;
constexpr int kVersion = cdmMessageOptions::kVersionFieldNumber;

constexpr char kMarkers[] = "ovix/telemetry/contract/storage/db.proto";

inline const auto& Persistance(const Descriptor* message) {
  return message->options().GetExtension(persistance);
}
inline bool IsTable(const Descriptor* message) { return !Persistance(message).type().empty(); }
// Gives its database, which has its name, a size limit.
inline bool IsMarker(const Descriptor* message) {
  return Persistance(message).database().max_size_mb() != 0 && !IsTable(message);
}

// Whether the field is declared `optional`.
inline bool IsOptional(const FieldDescriptor* field) {
  return field->containing_oneof() != nullptr && field->real_containing_oneof() == nullptr;
}
// Whether it is one text with a given name, which is never absent.
inline bool IsPlainText(const FieldDescriptor* field) {
  return field->type() == FieldDescriptor::TYPE_STRING && !field->is_repeated() &&
         !IsOptional(field);
}

}  // namespace ovix::tool::lint

#endif  // OVIX_TOOL_LINT_OPTIONS_H_
