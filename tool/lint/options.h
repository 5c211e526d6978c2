// The options of contracts, as rules ask for them.
#ifndef OVIX_TOOL_LINT_OPTIONS_H_
#define OVIX_TOOL_LINT_OPTIONS_H_

#include <string>
#include <string_view>

#include "contracts/contracts.h"
#include "ovix/telemetry/contract/storage/storage_options.pb.h"
#include "ovix/telemetry/contract/upload/upload_options.pb.h"

namespace ovix::tool::lint {

using telemetry::contract::storage::persistance;
using telemetry::contract::upload::cdm;

// The places of what the options set, for Contracts::LineOfOption().
constexpr int kPersistance = telemetry::contract::storage::kPersistanceFieldNumber;
constexpr int kType = 1, kDatabase = 2, kTable = 3;
constexpr int kCdm = telemetry::contract::upload::kCdmFieldNumber;
constexpr int kGun = 1, kVersion = 2;

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

// As Windows compares names: what differs in case only is equal.
inline std::string WithoutCase(std::string_view name) {
  std::string lower(name);
  for (char& c : lower) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  return lower;
}

}  // namespace ovix::tool::lint

#endif  // OVIX_TOOL_LINT_OPTIONS_H_
