// What kinds of change there are between two releases, and what each breaks: one table.
#ifndef OVIX_TOOL_DIFF_RULES_H_
#define OVIX_TOOL_DIFF_RULES_H_

#include <string>

namespace ovix::tool {

// Whom a change breaks. A change may break several; none of them makes it safe.
enum Breaks : unsigned {
  kSafe = 0,
  kWire = 1,    // who reads what was or will be sent: bytes, guns and versions
  kSource = 2,  // programs against the classes; JSON and queries by name
  kStore = 4,   // databases that are stored
};

enum class Change {
  kFileRemoved,
  kFileAdded,
  kImportsChanged,
  kSyntaxChanged,
  kMessageRemoved,
  kMessageAdded,
  kMessageMoved,
  kMessageOrderChanged,
  kFieldRemoved,
  kFieldRemovedReserved,
  kFieldAdded,
  kFieldRenamed,
  kJsonNameChanged,
  kFieldRenumbered,
  kFieldTypeChanged,
  kFieldTypeWidened,
  kFieldLabelChanged,
  kFieldPresenceChanged,
  kFieldRequiredChanged,
  kFieldDefaultChanged,
  kFieldOneofChanged,
  kFieldOrderChanged,
  kReservedNumberTaken,
  kReservedNameTaken,
  kReservedNumberFreed,
  kReservedNameFreed,
  kTableAdded,
  kTableRemoved,
  kTableTypeChanged,
  kTableDatabaseChanged,
  kTableNameChanged,
  kTableLimitChanged,
  kTableKeyChanged,
  kTableTaken,
  kDatabaseSizeChanged,
  kPayloadAdded,
  kPayloadRemoved,
  kGunChanged,
  kGunTaken,
  kVersionRaised,
  kVersionLowered,
  kVersionNotRaised,
  kVersionNotOfGun,
  kVersionMalformed,
  kEnumRemoved,
  kEnumAdded,
  kEnumValueRemoved,
  kEnumValueRemovedReserved,
  kEnumValueAdded,
  kEnumValueRenamed,
  kEnumValueRenumbered,
  kEnumFirstValueChanged,
  kExtensionRemoved,
  kExtensionAdded,
  kExtensionChanged,
  kExtensionRangeRemoved,
  kServiceRemoved,
  kServiceAdded,
  kMethodRemoved,
  kMethodAdded,
  kMethodChanged,
  kCodeOptionChanged,
  kOtherOptionChanged,
  kUnitChanged,
  kValuesChanged,
  kFormatChanged,
  kPrivacyLowered,
  kFactsAdded,
  kFactsRemoved,
  kFactsMalformed,
};

struct Rule {
  Change change;
  const char* id;   // stable, for programs: "field-removed"
  unsigned breaks;  // of Breaks
  const char* why;  // in a reader's words; empty where the change says all
};

const Rule& RuleOf(Change change);

constexpr Change kLastChange = Change::kFactsMalformed;

// How far a change of a payload's content has to raise its version.
enum class Raise { kNone, kMinor, kMajor };
Raise RaiseFor(Change change);

// "wire-breaking, source-breaking"; "safe".
std::string BreaksText(unsigned breaks);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_DIFF_RULES_H_
