// What the facts in a schema's comments say about a field: its unit, values, format and privacy
// class (docs/contracts.md has the grammar), and what is wrong with them.
#ifndef OVIX_TOOL_CONTRACTS_FACTS_H_
#define OVIX_TOOL_CONTRACTS_FACTS_H_

#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "contracts/contracts.h"
#include "terminal/format.h"

namespace ovix::tool {

// The classes in the order of their rank: a later one is more sensitive.
enum class Privacy { kNone, kInteraction, kContent, kLocation, kIdentifier };

const char* PrivacyText(Privacy privacy);  // "identifier" ...; empty for kNone
std::optional<Privacy> ReadPrivacy(std::string_view text);
// Every class but kNone, the most sensitive first.
const std::vector<Privacy>& PrivacyClasses();

// Where a unit is stated.
enum class UnitFrom { kNowhere, kName, kLine };

struct FieldFacts {
  std::string unit;  // a code of UCUM or "unspecified"; empty for what is not a quantity
  UnitFrom unit_from = UnitFrom::kNowhere;
  std::string values;                           // as written; empty without the fact
  std::vector<std::string> listed_values;       // without quotes and meanings; empty if unspecified
  bool are_words = false;                       // whether the listed values are in quotes
  std::map<std::string, std::string> meanings;  // of the listed values that have one
  bool is_closed = false;  // whether no other values than the listed ones occur
  std::string format;      // as written, without a reason
  Privacy privacy = Privacy::kNone;
  // Why a unit, the values or a format are unspecified; empty without a reason.
  std::string unit_reason, values_reason, format_reason;
};

// A fact that is malformed reads as if it were not there; `ovix-contracts lint` and
// scripts/check-contracts report it.
FieldFacts FactsOf(const Contracts& contracts, const FieldDescriptor* field);

// What is wrong with the values that a field lists, and the fix.
struct WrongValues {
  std::string what, fix;
};

// Nothing if the listed values fit the field's type, differ, and are single bits where `prose`, its
// comment, says that they are flags.
std::optional<WrongValues> FindWrongValues(const FieldDescriptor* field, std::string_view prose,
                                           const FieldFacts& facts);

// Reads one fact, Source excepted, into `facts`; false for a value that the grammar does not allow.
bool ReadFact(const Fact& fact, FieldFacts& facts);

bool IsNumber(const FieldDescriptor* field);     // integers and floating point; no enumeration
bool CanHaveUnit(const FieldDescriptor* field);  // a number, or a string that may hold one
// Whether the listed values of a number are bits of which a value can have several.
bool AreFlags(const Contracts& contracts, const FieldDescriptor* field);

// What the grammar knows: the suffixes with their units, the codes of units, the formats.
std::span<const std::pair<std::string_view, std::string_view>> UnitSuffixes();
std::span<const std::string_view> Units();
std::span<const std::string_view> Formats();

// The last words of names that show an identifier, a code or a count, which has no unit.
std::span<const std::string_view> WordsOfNoQuantity();

// The units of which a number is a quantity, though its comment begins with "Number of".
std::span<const std::string_view> UnitsInWords();

// Whether the prose says that a number has no unit: "Number of rows", "Code of the error".
bool SaysNoQuantity(std::string_view prose);

// Whether a string of this format holds a number, which can have a unit.
bool IsFormatOfNumber(std::string_view format);

// The names, and last words of names, of fields that must have a privacy class.
std::span<const std::string_view> PersonalNames();

// Whether a field has such a name, perhaps as a plural.
bool LooksPersonal(std::string_view field_name);

// Whether a field is the number of something, by its name or its comment: not what is counted.
bool IsCount(const Contracts& contracts, const FieldDescriptor* field);

// Whether a number's name shows that it has no unit.
bool ShowsNoQuantity(std::string_view field_name);

// The unit that a field's name gives by its suffix; empty without one.
std::string UnitOfName(std::string_view field_name);

// One line for each fact, as people read it: "unit: ms (by its name)", "privacy: location".
std::vector<std::string> FactLines(const FieldFacts& facts);
// The facts as keys of an object of JSON: unit, unit_from, unit_reason, values_kind, values,
// format, privacy, each only if there is something to say.
void AddFacts(JsonWriter& json, const FieldFacts& facts);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_CONTRACTS_FACTS_H_
