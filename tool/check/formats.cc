#include "check/formats.h"

#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <utility>

#include "diff/version.h"
#include "wire/utf8.h"

namespace ovix::tool {
namespace {

bool IsDigit(char c) { return c >= '0' && c <= '9'; }
bool IsHexDigit(char c) { return IsDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'); }

bool Take(std::string_view& text, std::string_view begin) {
  if (!text.starts_with(begin)) return false;
  text.remove_prefix(begin.size());
  return true;
}

size_t TakeDigits(std::string_view& text) {
  const auto* end = std::find_if_not(text.begin(), text.end(), IsDigit);
  const auto size = static_cast<size_t>(end - text.begin());
  text.remove_prefix(size);
  return size;
}

void TakeSign(std::string_view& text) {
  if (!Take(text, "-")) Take(text, "+");
}

// A number of exactly so many digits; -1 without one.
int TakeNumber(std::string_view& text, size_t digits) {
  int number = -1;
  if (text.size() < digits || !std::all_of(text.begin(), text.begin() + digits, IsDigit)) return -1;
  std::from_chars(text.data(), text.data() + digits, number);
  text.remove_prefix(digits);
  return number;
}

bool TakeDate(std::string_view& text) {
  const int year = TakeNumber(text, 4);
  if (year < 0 || !Take(text, "-")) return false;
  const int month = TakeNumber(text, 2);
  if (month < 0 || !Take(text, "-")) return false;
  const int day = TakeNumber(text, 2);
  return day >= 0 && std::chrono::year_month_day(std::chrono::year(year),
                                                 std::chrono::month(static_cast<unsigned>(month)),
                                                 std::chrono::day(static_cast<unsigned>(day)))
                         .ok();
}

bool TakeHourAndMinute(std::string_view& text) {
  const int hour = TakeNumber(text, 2);
  if (hour < 0 || hour > 23 || !Take(text, ":")) return false;
  const int minute = TakeNumber(text, 2);
  return minute >= 0 && minute <= 59;
}

bool IsTime(std::string_view text) {
  if (!TakeDate(text) || !(Take(text, "T") || Take(text, "t"))) return false;
  if (!TakeHourAndMinute(text) || !Take(text, ":")) return false;
  const int second = TakeNumber(text, 2);
  if (second < 0 || second > 60) return false;  // 60: a leap second
  if (Take(text, ".") && TakeDigits(text) == 0) return false;
  if (Take(text, "Z") || Take(text, "z")) return text.empty();
  return (Take(text, "+") || Take(text, "-")) && TakeHourAndMinute(text) && text.empty();
}

bool IsDate(std::string_view text) { return TakeDate(text) && text.empty(); }

bool IsInteger(std::string_view text) {
  TakeSign(text);
  return TakeDigits(text) != 0 && text.empty();
}

bool IsDecimal(std::string_view text) {
  TakeSign(text);
  size_t digits = TakeDigits(text);
  if (Take(text, ".")) digits += TakeDigits(text);
  if (digits == 0) return false;
  if (Take(text, "e") || Take(text, "E")) return IsInteger(text);
  return text.empty();
}

bool AreHexDigits(std::string_view text, size_t least, size_t most) {
  return text.size() >= least && text.size() <= most &&
         std::all_of(text.begin(), text.end(), IsHexDigit);
}

bool IsHexadecimal(std::string_view text) {
  if (!Take(text, "0x")) Take(text, "0X");
  return AreHexDigits(text, 1, text.size());
}

bool IsBoolean(std::string_view text) { return text == "true" || text == "false"; }

bool IsVersion(std::string_view text) {
  do {
    if (TakeDigits(text) == 0) return false;
  } while (Take(text, "."));
  return text.empty();
}

bool IsSemanticVersion(std::string_view text) { return ReadVersion(text).has_value(); }

bool IsGuid(std::string_view text) {
  if (Take(text, "{")) {
    if (!text.ends_with('}')) return false;
    text.remove_suffix(1);
  }
  for (const size_t digits : {8, 4, 4, 4}) {
    if (!AreHexDigits(text.substr(0, digits), digits, digits)) return false;
    text.remove_prefix(digits);
    if (!Take(text, "-")) return false;
  }
  return AreHexDigits(text, 12, 12);
}

// With colons, hyphens or nothing between the bytes.
bool IsMacAddress(std::string_view text) {
  if (text.size() == 12) return AreHexDigits(text, 12, 12);
  if (text.size() != 17 || (text[2] != ':' && text[2] != '-')) return false;
  for (size_t i = 0; i < text.size(); ++i) {
    if (i % 3 == 2 ? text[i] != text[2] : !IsHexDigit(text[i])) return false;
  }
  return true;
}

bool IsJson(std::string_view text) {
  rapidjson::MemoryStream stream(text.data(), text.size());
  rapidjson::BaseReaderHandler<> nothing;
  rapidjson::Reader reader;
  constexpr unsigned kFlags =
      rapidjson::kParseIterativeFlag | rapidjson::kParseNumbersAsStringsFlag;
  return IsUtf8(text) && reader.Parse<kFlags>(stream, nothing) && stream.Tell() == text.size();
}

bool IsSha256(std::string_view text) { return AreHexDigits(text, 64, 64); }

bool IsPath(std::string_view text) {
  return !text.empty() && text.find('\0') == std::string_view::npos;
}

constexpr std::pair<std::string_view, bool (*)(std::string_view)> kFormats[] = {
    {"RFC 3339", IsTime},
    {"date", IsDate},
    {"decimal number", IsDecimal},
    {"integer", IsInteger},
    {"hexadecimal", IsHexadecimal},
    {"boolean", IsBoolean},
    {"version", IsVersion},
    {"semantic version", IsSemanticVersion},
    {"GUID", IsGuid},
    {"MAC address", IsMacAddress},
    {"JSON", IsJson},
    {"SHA-256", IsSha256},
    {"path", IsPath},
};

}  // namespace

bool HasFormat(std::string_view text, std::string_view format) {
  for (const auto& [name, has] : kFormats) {
    if (format == name) return has(text);
  }
  return true;
}

bool IsRowTime(std::string_view text) {
  // SQLite, by which a store compares ages, knows no leap seconds.
  return text.size() == std::string_view("2026-11-21T04:31:09.120Z").size() && IsTime(text) &&
         text[10] == 'T' && text.substr(17, 2) != "60" && text[19] == '.' && text.ends_with('Z');
}

}  // namespace ovix::tool
