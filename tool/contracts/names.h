// Names as people type them.
#ifndef OVIX_TOOL_CONTRACTS_NAMES_H_
#define OVIX_TOOL_CONTRACTS_NAMES_H_

#include <string>
#include <string_view>
#include <vector>

#include "contracts/contracts.h"

namespace ovix::tool {

// What a name means; one of the three.
struct Named {
  const Descriptor* message = nullptr;
  const EnumDescriptor* enumeration = nullptr;
  const FieldDescriptor* field = nullptr;
};

// A contract by what its user has in hand:
// - a full name, or the end of one from a dot on ("BatteryHealthLog", "Outer.Inner"). Where several
//   end so, the one that is a table or a payload; standard error says then which was taken.
// - the gun of a payload.
// - one of these and a path to a field ("BatteryHealthLog.battery_status.charging").
// - the label file of a payload (contracts/label.h), whose gun is taken.
// Throws Error: an ambiguous name with its candidates, an unknown one with what comes near it.
Named FindNamed(const Contracts& contracts, const std::string& name);
// The same where only a message will do.
const Descriptor* FindMessage(const Contracts& contracts, const std::string& name);
// The payload of this gun. Throws Error.
const Descriptor* FindByGun(const Contracts& contracts, const std::string& gun);

// Those of `known` that come near, the nearest first, three at most.
std::vector<std::string> Nearest(const std::string& name, const std::vector<std::string>& known);
// "A, B or C", with this word before the last.
std::string Listed(const std::vector<std::string>& names, const std::string& word);
// "; is it A or B?", empty where nothing comes near.
std::string Suggestion(const std::string& name, const std::vector<std::string>& known);

// Whether the pattern, with * for any text and ? for any character, fits the whole text; letters
// match without regard to case.
bool MatchesGlob(std::string_view text, std::string_view pattern);

// Finds tables and payloads by a pattern: with * or ? one that fits the whole of their name, short
// or full, or gun; without one a string in it, not in what nearly all begin with. Letters
// match without regard to case.
class Matcher {
 public:
  Matcher(const Contracts& contracts, std::string pattern);
  bool Matches(const Descriptor* message) const;

 private:
  const std::string pattern_;
  std::string name_prefix_;  // what nearly all full names begin with
  std::string gun_prefix_;
};

}  // namespace ovix::tool

#endif  // OVIX_TOOL_CONTRACTS_NAMES_H_
