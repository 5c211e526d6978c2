#include "diff/rules.h"

#include <cstddef>
#include <utility>

namespace ovix::tool {
namespace {

// clang-format off
constexpr Rule kRules[] = {
    {Change::kFileRemoved, "file-removed", kSource, "programs include its header"},
    {Change::kFileAdded, "file-added", kSafe, ""},
    {Change::kImportsChanged, "imports-changed", kSafe, ""},
    {Change::kMessageRemoved, "message-removed", kWire | kSource, "what was kept or sent can no longer be read"},
    {Change::kMessageAdded, "message-added", kSafe, ""},
    {Change::kMessageMoved, "message-moved", kSource, "programs include the header of its old file"},
    {Change::kMessageOrderChanged, "message-order-changed", kSafe, ""},
    {Change::kFieldRemoved, "field-removed", kWire | kSource, "its number is free for another field"},
    {Change::kFieldRemovedReserved, "field-removed-reserved", kWire | kSource, "what was sent in it is unknown now"},
    {Change::kFieldAdded, "field-added", kSafe, ""},
    {Change::kFieldRenamed, "field-renamed", kSource, "a name is a JSON key and a line in somebody's query"},
    {Change::kJsonNameChanged, "json-name-changed", kSource, "JSON is written with it"},
    {Change::kFieldRenumbered, "field-renumbered", kWire, "old bytes have it under the old number"},
    {Change::kFieldTypeChanged, "field-type-changed", kWire | kSource, "old bytes hold the old type"},
    {Change::kFieldTypeWidened, "field-type-widened", kSource, "the encoding is the same, the class is not"},
    {Change::kFieldLabelChanged, "field-label-changed", kWire | kSource, "one value and a list read differently"},
    {Change::kFieldPresenceChanged, "field-presence-changed", kSource, "whether zero is told from absent changes"},
    {Change::kFieldOneofChanged, "field-oneof-changed", kWire | kSource, "which values may stand together changes"},
    {Change::kFieldOrderChanged, "field-order-changed", kSafe, ""},
    {Change::kTableAdded, "table-added", kSafe, ""},
    {Change::kTableRemoved, "table-removed", kStore, "rows that stand are no longer read"},
    {Change::kTableTypeChanged, "table-type-changed", kStore, "its rows are kept by other rules"},
    {Change::kTableDatabaseChanged, "table-database-changed", kStore, "rows that stand are in the old database"},
    {Change::kTableNameChanged, "table-name-changed", kStore, "rows that stand are in the old table"},
    {Change::kTableLimitChanged, "table-limit-changed", kStore, "rows are dropped sooner, or fill the disk"},
    {Change::kTableKeyChanged, "table-key-changed", kStore, "rows that stand are kept by the old key"},
    {Change::kDatabaseSizeChanged, "database-size-changed", kStore, "rows are dropped sooner, or fill the disk"},
    {Change::kPayloadAdded, "payload-added", kSafe, ""},
    {Change::kPayloadRemoved, "payload-removed", kWire, "nothing comes under its gun any more"},
    {Change::kGunChanged, "gun-changed", kWire, "who waits for the old gun gets nothing"},
    {Change::kGunTaken, "gun-taken", kWire, "a gun names one payload"},
    {Change::kVersionRaised, "version-raised", kSafe, ""},
    {Change::kVersionLowered, "version-lowered", kWire, "versions only grow"},
    {Change::kVersionNotRaised, "version-not-raised", kWire, "readers tell contents apart by it"},
    {Change::kVersionNotOfGun, "version-not-of-gun", kWire, "the gun ends in the version's major number"},
    {Change::kEnumRemoved, "enum-removed", kSource, ""},
    {Change::kEnumAdded, "enum-added", kSafe, ""},
    {Change::kEnumValueRemoved, "enum-value-removed", kSource, "its number has no name any more"},
    {Change::kEnumValueAdded, "enum-value-added", kSafe, ""},
    {Change::kEnumValueRenamed, "enum-value-renamed", kSource, "the name stands in JSON and in payloads"},
    {Change::kExtensionRemoved, "extension-removed", kWire | kSource, "options of schemas are written with it"},
    {Change::kExtensionAdded, "extension-added", kSafe, ""},
    {Change::kExtensionChanged, "extension-changed", kWire | kSource, "options of schemas are written with it"},
    {Change::kOtherOptionChanged, "option-changed", kSafe, ""},
    {Change::kUnitChanged, "unit-changed", kWire, "readers take the number for the old quantity"},
    {Change::kValuesChanged, "values-changed", kWire, "readers and old data rely on the old list"},
    {Change::kFormatChanged, "format-changed", kWire, "readers parse the old format"},
    {Change::kPrivacyLowered, "privacy-lowered", kWire, "old data in the field is as personal as before"},
    {Change::kFactsAdded, "facts-added", kSafe, ""},
};
// clang-format on

constexpr bool RulesStandInOrder() {
  size_t place = 0;
  for (const Rule& rule : kRules) {
    if (static_cast<size_t>(rule.change) != place++) return false;
  }
  return place == static_cast<size_t>(kLastChange) + 1;
}
static_assert(RulesStandInOrder(), "one rule for each change, in the order of Change");

}  // namespace

const Rule& RuleOf(Change change) { return kRules[static_cast<size_t>(change)]; }

Raise RaiseFor(Change change) {
  switch (change) {
    case Change::kFieldAdded:
    case Change::kEnumValueAdded:
      return Raise::kMinor;
    case Change::kFieldRemoved:
    case Change::kFieldRemovedReserved:
    case Change::kFieldRenamed:
    case Change::kJsonNameChanged:
    case Change::kFieldRenumbered:
    case Change::kFieldTypeChanged:
    case Change::kFieldTypeWidened:
    case Change::kFieldLabelChanged:
    case Change::kFieldPresenceChanged:
    case Change::kFieldOneofChanged:
    case Change::kEnumValueRemoved:
    case Change::kEnumValueRenamed:
    case Change::kUnitChanged:
    case Change::kValuesChanged:
    case Change::kFormatChanged:
      return Raise::kMajor;
    default:
      return Raise::kNone;
  }
}

std::string BreaksText(unsigned breaks) {
  if (breaks == kSafe) return "safe";
  constexpr std::pair<unsigned, const char*> words[] = {
      {kWire, "wire-breaking"}, {kSource, "source-breaking"}, {kStore, "store-breaking"}};
  std::string text;
  for (const auto& [part, word] : words) {
    if ((breaks & part) != 0) text += (text.empty() ? "" : ", ") + std::string(word);
  }
  return text;
}

}  // namespace ovix::tool
