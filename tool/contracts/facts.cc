#include "contracts/facts.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cstdint>
#include <set>
#include <utility>

namespace ovix::tool {
namespace {

constexpr std::string_view kUnspecified = "unspecified";

constexpr std::pair<std::string_view, std::string_view> kSuffixes[] = {
    {"ms", "ms"},        {"msec", "ms"},       {"milliseconds", "ms"}, {"seconds", "s"},
    {"minutes", "min"},  {"hours", "h"},       {"days", "d"},          {"bytes", "By"},
    {"kb", "KiBy"},      {"mb", "MiBy"},       {"megabytes", "MiBy"},  {"gb", "GiBy"},
    {"mbps", "Mbit/s"},  {"gbps", "Gbit/s"},   {"mhz", "MHz"},         {"hz", "Hz"},
    {"celsius", "Cel"},  {"mw", "mW"},         {"watts", "W"},         {"amperes", "A"},
    {"mm", "mm"},        {"inches", "[in_i]"}, {"percent", "%"},       {"perc", "%"},
    {"percentage", "%"}, {"bits", "bit"},
};

// "unspecified" and "unspecified, REASON." taken apart; nothing for another value.
std::optional<std::string> Reason(std::string_view value) {
  if (value == kUnspecified) return "";
  if (!value.starts_with(kUnspecified) || value.size() < kUnspecified.size() + 4) return {};
  value.remove_prefix(kUnspecified.size());
  if (!value.starts_with(", ") || !value.ends_with('.')) return {};
  return std::string(value.substr(2, value.size() - 3));
}

constexpr std::string_view kUnits[] = {
    "ms",     "s",      "min",    "h",       "d",      "By",     "KiBy",   "MiBy", "GiBy",
    "By/s",   "KiBy/s", "MiBy/s", "bit",     "kbit/s", "Mbit/s", "Gbit/s", "Hz",   "MHz",
    "GHz",    "Cel",    "mW",     "W",       "mWh",    "Wh",     "mAh",    "mA",   "A",
    "mV",     "V",      "mJ",     "J",       "mm",     "cm",     "[in_i]", "deg",  "lx",
    "dB[mW]", "/min",   "/s",     "10*12/s", "%"};

constexpr std::string_view kFormats[] = {
    "RFC 3339",         "date", "decimal number", "integer", "hexadecimal", "boolean", "version",
    "semantic version", "GUID", "MAC address",    "JSON",    "SHA-256",     "path"};

constexpr std::string_view kNoQuantity[] = {
    // identifiers and positions
    "id", "ids", "oid", "rowid", "index", "instance", "number", "num", "numbers", "rank",
    "priority", "track", "cylinder", "version", "revision", "generation", "sku",
    // codes and flags
    "code", "opcode", "type", "status", "state", "word", "flag", "flags",
    // counts
    "count", "rows", "slots", "partitions", "tracks", "heads", "cylinders", "sectors", "lanes",
    "processors", "cores", "shaders", "connections", "commands", "entries", "events", "errors",
    "anomalies", "crashes", "shutdowns", "found"};

constexpr std::string_view kUnitsInWords[] = {"milliseconds", "seconds",  "minutes", "hours",
                                              "days",         "bits",     "bytes",   "kilobytes",
                                              "megabytes",    "gigabytes"};

constexpr std::string_view kPersonal[] = {
    // identifiers
    "serial_number", "serial_number_id", "ct_number", "c_t_number", "sn", "uuid", "uid",
    "unique_id", "instance_id", "mac_address", "ip_address", "network_name", "network_name_hash",
    "network_name_sha256_hash", "w_lan_profile_name", "ssid", "bssid", "host_name", "computer_name",
    "user_id", "user_name", "account_name", "tenant_id", "tenant_name", "user", "username", "login",
    "owner", "email", "email_address", "phone_number", "ip", "ip_v4_address", "ip_v6_address",
    "mac", "hostname", "imei", "sid", "asset_tag", "license_key",
    // places
    "latitude", "longitude", "position", "geo_id", "locale", "locale_id", "locale_name",
    "time_zone", "city", "country",
    // files and windows
    "path", "folder", "directory", "file_name", "executable_file", "window_title",
    // applications and processes
    "app_id", "app_product_name", "application_name", "package_name", "process_name", "publisher",
    "publisher_name", "publisher_id"};

bool IsOneOf(std::span<const std::string_view> known, std::string_view word) {
  return std::find(known.begin(), known.end(), word) != known.end();
}

bool EndsInPersonalName(std::string_view field_name) {
  return std::any_of(std::begin(kPersonal), std::end(kPersonal), [&](std::string_view personal) {
    return field_name.ends_with(personal) &&
           (field_name.size() == personal.size() ||
            field_name[field_name.size() - personal.size() - 1] == '_');
  });
}

// The end of an integer without leading zeros that begins there; where it begins without one.
size_t EndOfNumber(std::string_view text, size_t at) {
  const auto is_digit = [&](size_t place) {
    return place < text.size() && text[place] >= '0' && text[place] <= '9';
  };
  if (is_digit(at) && text[at] == '0') return at + 1;
  size_t end = at + (text[at] == '-' ? 1 : 0);
  if (!is_digit(end) || text[end] == '0') return at;
  while (is_digit(end)) ++end;
  return end;
}

template <typename Integer>
bool FitsIn(std::string_view number) {
  Integer value;
  return std::from_chars(number.data(), number.data() + number.size(), value).ec == std::errc();
}

// Whether an integer is one of those that a floating-point type can be.
template <typename Real>
bool IsExactIn(std::string_view number) {
  Real value;
  if (std::from_chars(number.data(), number.data() + number.size(), value).ec != std::errc()) {
    return false;
  }
  std::array<char, 400> digits;  // a double has at most 309 before the point
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value,
                                 std::chars_format::fixed, 0);
  return number == std::string_view(digits.data(), end.ptr);
}

// Whether an integer is a value of the field's type.
bool IsInRange(const FieldDescriptor* field, std::string_view number) {
  switch (field->cpp_type()) {
    case FieldDescriptor::CPPTYPE_INT32:
      return FitsIn<int32_t>(number);
    case FieldDescriptor::CPPTYPE_INT64:
      return FitsIn<int64_t>(number);
    case FieldDescriptor::CPPTYPE_UINT32:
      return FitsIn<uint32_t>(number);
    case FieldDescriptor::CPPTYPE_UINT64:
      return FitsIn<uint64_t>(number);
    case FieldDescriptor::CPPTYPE_FLOAT:
      return IsExactIn<float>(number);
    case FieldDescriptor::CPPTYPE_DOUBLE:
      return IsExactIn<double>(number);
    default:
      return true;
  }
}

bool IsOneBit(std::string_view number) {
  uint64_t value = 0;
  std::from_chars(number.data(), number.data() + number.size(), value);
  return std::has_single_bit(value);
}

bool ReadValues(std::string_view text, FieldFacts& facts) {
  std::vector<std::string> listed;
  std::map<std::string, std::string> meanings;
  bool is_closed = true;
  size_t words = 0;
  for (size_t at = 0; at < text.size();) {
    if (text.substr(at) == "...") {
      is_closed = false;
      if (listed.empty()) return false;
      break;
    }
    size_t end = at;
    if (text[at] == '"') {
      end = text.find('"', at + 1);
      if (end == std::string_view::npos) return false;
      listed.emplace_back(text.substr(at + 1, end - at - 1));
      ++end;
      ++words;
    } else {
      end = EndOfNumber(text, at);
      if (end == at) return false;
      listed.emplace_back(text.substr(at, end - at));
    }
    if (text.substr(end).starts_with(" = ")) {
      const size_t begin = end + 3;
      end = std::min(text.find(", ", begin), text.size());
      const std::string_view meaning = text.substr(begin, end - begin);
      // With a second " = " the comma before the next value is missing.
      if (meaning.empty() || meaning.find(" = ") != std::string_view::npos) return false;
      meanings[listed.back()] = meaning;
    }
    if (end == text.size()) break;
    if (!text.substr(end).starts_with(", ") || end + 2 == text.size()) return false;
    at = end + 2;
  }
  if (listed.empty() || (words != 0 && words != listed.size())) return false;
  facts.listed_values = std::move(listed);
  facts.are_words = words != 0;
  facts.meanings = std::move(meanings);
  facts.is_closed = is_closed;
  return true;
}

}  // namespace

const char* PrivacyText(Privacy privacy) {
  switch (privacy) {
    case Privacy::kIdentifier:
      return "identifier";
    case Privacy::kLocation:
      return "location";
    case Privacy::kContent:
      return "content";
    case Privacy::kInteraction:
      return "interaction";
    default:
      return "";
  }
}

const std::vector<Privacy>& PrivacyClasses() {
  static const std::vector<Privacy>& classes = *new std::vector<Privacy>{
      Privacy::kIdentifier, Privacy::kLocation, Privacy::kContent, Privacy::kInteraction};
  return classes;
}

std::optional<Privacy> ReadPrivacy(std::string_view text) {
  for (const Privacy privacy : PrivacyClasses()) {
    if (text == PrivacyText(privacy)) return privacy;
  }
  return {};
}

std::span<const std::pair<std::string_view, std::string_view>> UnitSuffixes() { return kSuffixes; }
std::span<const std::string_view> Units() { return kUnits; }
std::span<const std::string_view> Formats() { return kFormats; }

std::span<const std::string_view> WordsOfNoQuantity() { return kNoQuantity; }

std::span<const std::string_view> PersonalNames() { return kPersonal; }

std::span<const std::string_view> UnitsInWords() { return kUnitsInWords; }

bool SaysNoQuantity(std::string_view prose) {
  if (BeginsWith(prose, {"Number of"})) {
    std::string_view counted = prose.substr(9);
    counted.remove_prefix(std::min(counted.find_first_not_of(" \t\r\n\f\v"), counted.size()));
    return std::none_of(std::begin(kUnitsInWords), std::end(kUnitsInWords),
                        [&](std::string_view unit) { return BeginsWith(counted, {unit}); });
  }
  return BeginsWith(prose, {"Code", "Identifier", "Index", "Flags", "Version", "Ratio"});
}

bool IsFormatOfNumber(std::string_view format) {
  return format == "decimal number" || format == "integer" || format == "hexadecimal" ||
         format == kUnspecified;
}

bool LooksPersonal(std::string_view field_name) {
  if (EndsInPersonalName(field_name)) return true;
  // Of several: users, mac_addresses, countries.
  constexpr std::pair<std::string_view, const char*> kEnds[] = {
      {"s", ""}, {"es", ""}, {"ies", "y"}};
  return std::any_of(std::begin(kEnds), std::end(kEnds), [&](const auto& end) {
    const auto& [several, one] = end;
    return field_name.ends_with(several) &&
           EndsInPersonalName(
               std::string(field_name.substr(0, field_name.size() - several.size())) + one);
  });
}

bool IsCount(const Contracts& contracts, const FieldDescriptor* field) {
  return IsNumber(field) && (field->name().starts_with("number_of_") ||
                             BeginsWith(contracts.CommentOf(field).text, {"Number of"}));
}

bool ShowsNoQuantity(std::string_view field_name) {
  return field_name.starts_with("number_of_") ||
         IsOneOf(kNoQuantity, field_name.substr(field_name.rfind('_') + 1));
}

std::string UnitOfName(std::string_view field_name) {
  const size_t underscore = field_name.rfind('_');
  if (underscore == std::string_view::npos) return "";
  for (const auto& [suffix, unit] : kSuffixes) {
    if (field_name.substr(underscore + 1) == suffix) return std::string(unit);
  }
  return "";
}

bool ReadFact(const Fact& fact, FieldFacts& facts) {
  const auto reason = Reason(fact.value);
  if (fact.key == "Unit") {
    if (!reason && !IsOneOf(kUnits, fact.value)) return false;
    facts.unit = reason ? kUnspecified : std::string_view(fact.value);
    facts.unit_reason = reason.value_or("");
    facts.unit_from = UnitFrom::kLine;
  } else if (fact.key == "Values") {
    if (!reason && !ReadValues(fact.value, facts)) return false;
    facts.values = reason ? kUnspecified : std::string_view(fact.value);
    facts.values_reason = reason.value_or("");
  } else if (fact.key == "Format") {
    if (!reason && !IsOneOf(kFormats, fact.value)) return false;
    facts.format = reason ? kUnspecified : std::string_view(fact.value);
    facts.format_reason = reason.value_or("");
  } else if (fact.key == "Privacy") {
    const auto privacy = ReadPrivacy(fact.value);
    if (!privacy) return false;
    facts.privacy = *privacy;
  }
  return true;
}

std::optional<WrongValues> FindWrongValues(const FieldDescriptor* field, std::string_view prose,
                                           const FieldFacts& facts) {
  if (facts.listed_values.empty() || !CanHaveUnit(field)) return {};
  const bool is_text = field->type() == FieldDescriptor::TYPE_STRING;
  if (is_text && !facts.are_words) {
    return WrongValues{"is a string, but lists numbers", "put each word in quotes"};
  }
  if (!is_text && facts.are_words) {
    return WrongValues{"is a number, but lists words", "write numbers without quotes"};
  }
  std::set<std::string_view> seen;
  for (const std::string& value : facts.listed_values) {
    if (!seen.insert(value).second) {
      return WrongValues{"lists " + value + " twice", "keep one of them"};
    }
  }
  if (is_text) return {};
  const auto& values = facts.listed_values;
  const auto wide = std::find_if_not(values.begin(), values.end(), [&](const std::string& value) {
    return IsInRange(field, value);
  });
  if (wide != values.end()) {
    return WrongValues{"lists " + *wide + ", which no " + field->type_name() + " can be",
                       "list values of its type"};
  }
  if (!BeginsWith(prose, {"Flags"})) return {};
  const auto wrong = std::find_if_not(values.begin(), values.end(), IsOneBit);
  if (wrong == values.end()) return {};
  return WrongValues{"is a set of flags, but lists " + *wrong + ", which is not one bit",
                     "list powers of two"};
}

bool IsNumber(const FieldDescriptor* field) {
  switch (field->cpp_type()) {
    case FieldDescriptor::CPPTYPE_INT32:
    case FieldDescriptor::CPPTYPE_INT64:
    case FieldDescriptor::CPPTYPE_UINT32:
    case FieldDescriptor::CPPTYPE_UINT64:
    case FieldDescriptor::CPPTYPE_DOUBLE:
    case FieldDescriptor::CPPTYPE_FLOAT:
      return true;
    default:
      return false;
  }
}

bool CanHaveUnit(const FieldDescriptor* field) {
  return IsNumber(field) || field->type() == FieldDescriptor::TYPE_STRING;
}

bool AreFlags(const Contracts& contracts, const FieldDescriptor* field) {
  return IsNumber(field) && BeginsWith(contracts.CommentOf(field).text, {"Flags"});
}

FieldFacts FactsOf(const Contracts& contracts, const FieldDescriptor* field) {
  FieldFacts facts;
  const Comment comment = contracts.CommentOf(field);
  for (const Fact& fact : comment.facts) ReadFact(fact, facts);
  if (!CanHaveUnit(field) || FindWrongValues(field, comment.text, facts)) {
    facts.values.clear();
    facts.listed_values.clear();
    facts.meanings.clear();
    facts.is_closed = false;
  }
  if (facts.unit_from == UnitFrom::kNowhere && CanHaveUnit(field)) {
    facts.unit = UnitOfName(field->name());
    if (!facts.unit.empty()) facts.unit_from = UnitFrom::kName;
  }
  return facts;
}

std::vector<std::string> FactLines(const FieldFacts& facts) {
  std::vector<std::string> lines;
  const auto add = [&](const char* key, const std::string& value, const std::string& reason) {
    if (!value.empty()) lines.push_back(key + value + (reason.empty() ? "" : ", " + reason));
  };
  add("unit: ", facts.unit, facts.unit_reason);
  if (facts.unit_from == UnitFrom::kName) lines.back() += " (by its name)";
  add("values: ", facts.values, facts.values_reason);
  add("format: ", facts.format, facts.format_reason);
  add("privacy: ", PrivacyText(facts.privacy), "");
  return lines;
}

void AddFacts(JsonWriter& json, const FieldFacts& facts) {
  const auto add = [&](const char* key, const std::string& value) {
    if (!value.empty()) json.Add(key, value);
  };
  add("unit", facts.unit);
  if (!facts.unit.empty()) {
    json.Add("unit_from", facts.unit_from == UnitFrom::kName ? "name" : "comment");
  }
  add("unit_reason", facts.unit_reason);
  if (!facts.values.empty()) {
    json.Add("values_kind", facts.listed_values.empty() ? "unspecified"
                            : facts.is_closed           ? "closed"
                                                        : "open");
    json.Add("values", facts.listed_values);
  }
  add("values_reason", facts.values_reason);
  add("format", facts.format);
  add("format_reason", facts.format_reason);
  add("privacy", PrivacyText(facts.privacy));
}

}  // namespace ovix::tool
