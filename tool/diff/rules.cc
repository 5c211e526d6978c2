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
    {Change::kSyntaxChanged, "syntax-changed", kWire | kSource, "presence, enumerations and text follow other rules"},
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
    {Change::kFieldPresenceChanged, "field-presence-changed", kSource, "whether zero differs from absent changes"},
    {Change::kFieldRequiredChanged, "field-required-changed", kWire | kSource, "readers for whom a field is required refuse messages without it"},
    {Change::kFieldDefaultChanged, "field-default-changed", kWire | kSource, "what is absent reads as another value"},
    {Change::kFieldOneofChanged, "field-oneof-changed", kWire | kSource, "which values exclude each other changes"},
    {Change::kFieldOrderChanged, "field-order-changed", kSafe, ""},
    {Change::kReservedNumberTaken, "reserved-number-taken", kWire, "old data has the number with another meaning"},
    {Change::kReservedNameTaken, "reserved-name-taken", kSource, "old JSON and old programs have the name with another meaning"},
    {Change::kReservedNumberFreed, "reserved-number-freed", kWire, "the numbers are free for something else"},
    {Change::kReservedNameFreed, "reserved-name-freed", kSource, "the names are free for something else"},
    {Change::kTableAdded, "table-added", kSafe, ""},
    {Change::kTableRemoved, "table-removed", kStore, "stored rows are no longer read"},
    {Change::kTableTypeChanged, "table-type-changed", kStore, "its rows are kept by other rules"},
    {Change::kTableDatabaseChanged, "table-database-changed", kStore, "stored rows are in the old database"},
    {Change::kTableNameChanged, "table-name-changed", kStore, "stored rows are in the old table"},
    {Change::kTableLimitChanged, "table-limit-changed", kStore, "rows are dropped sooner, or fill the disk"},
    {Change::kTableKeyChanged, "table-key-changed", kStore, "stored rows are kept by the old key"},
    {Change::kTableTaken, "table-taken", kStore, "a table holds the rows of one record; case does not count"},
    {Change::kDatabaseSizeChanged, "database-size-changed", kStore, "rows are dropped sooner, or fill the disk"},
    {Change::kPayloadAdded, "payload-added", kSafe, ""},
    {Change::kPayloadRemoved, "payload-removed", kWire, "nothing comes under its gun any more"},
    {Change::kGunChanged, "gun-changed", kWire, "who waits for the old gun gets nothing"},
    {Change::kGunTaken, "gun-taken", kWire, "a gun names one payload"},
    {Change::kVersionRaised, "version-raised", kSafe, ""},
    {Change::kVersionLowered, "version-lowered", kWire, "versions only grow"},
    {Change::kVersionNotRaised, "version-not-raised", kWire, "readers distinguish contents by it"},
    {Change::kVersionNotOfGun, "version-not-of-gun", kWire, "the gun ends in the version's major number"},
    {Change::kVersionMalformed, "version-malformed", kWire, "readers order versions by Semantic Versioning 2.0"},
    {Change::kEnumRemoved, "enum-removed", kSource, ""},
    {Change::kEnumAdded, "enum-added", kSafe, ""},
    {Change::kEnumValueRemoved, "enum-value-removed", kWire | kSource, "its number is free for another value"},
    {Change::kEnumValueRemovedReserved, "enum-value-removed-reserved", kSource, "its number has no name any more"},
    {Change::kEnumValueAdded, "enum-value-added", kSafe, ""},
    {Change::kEnumValueRenamed, "enum-value-renamed", kSource, "JSON and programs have the name"},
    {Change::kEnumValueRenumbered, "enum-value-renumbered", kWire, "old data has it under the old number"},
    {Change::kEnumFirstValueChanged, "enum-first-value-changed", kWire | kSource, "what is absent reads as another value"},
    {Change::kExtensionRemoved, "extension-removed", kWire | kSource, "options of schemas are written with it"},
    {Change::kExtensionAdded, "extension-added", kSafe, ""},
    {Change::kExtensionChanged, "extension-changed", kWire | kSource, "options of schemas are written with it"},
    {Change::kExtensionRangeRemoved, "extension-range-removed", kSource, "extensions with these numbers no longer compile"},
    {Change::kServiceRemoved, "service-removed", kSource, "programs call it"},
    {Change::kServiceAdded, "service-added", kSafe, ""},
    {Change::kMethodRemoved, "method-removed", kSource, "programs call it"},
    {Change::kMethodAdded, "method-added", kSafe, ""},
    {Change::kMethodChanged, "method-changed", kWire | kSource, "callers send and expect other messages"},
    {Change::kCodeOptionChanged, "code-option-changed", kSource, "generated classes are others"},
    {Change::kOtherOptionChanged, "option-changed", kSafe, ""},
    {Change::kUnitChanged, "unit-changed", kWire, "readers take the number for the old quantity"},
    {Change::kValuesChanged, "values-changed", kWire, "readers and old data rely on the old list"},
    {Change::kFormatChanged, "format-changed", kWire, "readers parse the old format"},
    {Change::kPrivacyLowered, "privacy-lowered", kWire, "old data in the field is as personal as before"},
    {Change::kFactsAdded, "facts-added", kSafe, ""},
    {Change::kFactsRemoved, "facts-removed", kSafe, ""},
    {Change::kFactsMalformed, "facts-malformed", kSafe, "what cannot be read counts as not stated"},
};
// clang-format on

constexpr bool RulesAreInOrder() {
  size_t place = 0;
  for (const Rule& rule : kRules) {
    if (static_cast<size_t>(rule.change) != place++) return false;
  }
  return place == static_cast<size_t>(kLastChange) + 1;
}
static_assert(RulesAreInOrder(), "one rule for each change, in the order of Change");

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
    case Change::kFieldRequiredChanged:
    case Change::kFieldDefaultChanged:
    case Change::kFieldOneofChanged:
    case Change::kReservedNumberTaken:
    case Change::kReservedNameTaken:
    case Change::kEnumValueRemoved:
    case Change::kEnumValueRemovedReserved:
    case Change::kEnumValueRenamed:
    case Change::kEnumValueRenumbered:
    case Change::kEnumFirstValueChanged:
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
