#include "sample/texts.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace ovix::tool {
namespace {

constexpr Range kCount = {0, 999};

constexpr std::pair<std::string_view, Range> kRanges[] = {
    {"ms", {0, 60'000}},
    {"s", {0, 86'400}},
    {"min", {0, 1'440}},
    {"h", {0, 20'000}},
    {"d", {0, 1'000}},
    {"By", {0, 1'000'000'000}},
    {"KiBy", {0, 16'777'216}},
    {"MiBy", {0, 65'536}},
    {"GiBy", {1, 4'096}},
    {"By/s", {0, 100'000'000}},
    {"KiBy/s", {0, 100'000}},
    {"MiBy/s", {0, 7'000}},
    {"bit", {1, 64}},
    {"kbit/s", {0, 1'000'000}},
    {"Mbit/s", {0, 2'500}},
    {"Gbit/s", {1, 40}},
    {"Hz", {24, 240}},
    {"MHz", {400, 5'600}},
    {"GHz", {1, 6}},
    {"Cel", {15, 95}},
    {"mW", {0, 65'000}},
    {"W", {0, 240}},
    {"mWh", {0, 90'000}},
    {"Wh", {0, 90}},
    {"mAh", {0, 6'000}},
    {"mA", {0, 5'000}},
    {"A", {0, 6}},
    {"mV", {3'000, 20'000}},
    {"V", {3, 20}},
    {"mJ", {0, 1'000'000}},
    {"J", {0, 100'000}},
    {"mm", {50, 800}},
    {"cm", {5, 80}},
    {"[in_i]", {7, 34}},
    {"deg", {0, 90}},
    {"lx", {0, 10'000}},
    {"dB[mW]", {-90, -30}},
    {"/min", {0, 6'000}},
    {"/s", {0, 10'000}},
    {"10*12/s", {1, 50}},
    {"%", {0, 100}},
};

std::string Digits(uint64_t number, size_t width) {
  std::string digits = std::to_string(number);
  if (digits.size() < width) digits.insert(0, width - digits.size(), '0');
  return digits;
}

std::string HexDigits(Random& random, size_t count, bool upper = false) {
  const std::string_view known = upper ? "0123456789ABCDEF" : "0123456789abcdef";
  std::string digits;
  for (size_t i = 0; i < count; ++i) digits += known[random.Below(16)];
  return digits;
}

std::string Date(Random& random) {
  using std::chrono::days;
  const std::chrono::year_month_day date =
      std::chrono::sys_days(std::chrono::year(2026) / 1 / 1) + days(random.Below(365));
  return Digits(static_cast<uint64_t>(static_cast<int>(date.year())), 4) + "-" +
         Digits(static_cast<unsigned>(date.month()), 2) + "-" +
         Digits(static_cast<unsigned>(date.day()), 2);
}

std::string Integer(Random& random) { return std::to_string(random.Below(1'000)); }

std::string Decimal(Random& random) { return Integer(random) + "." + Digits(random.Below(100), 2); }

std::string Hexadecimal(Random& random) { return "0x" + HexDigits(random, 8, true); }

std::string Boolean(Random& random) { return random.Chance(50) ? "true" : "false"; }

std::string SemanticVersion(Random& random) {
  return std::to_string(random.Below(10)) + "." + std::to_string(random.Below(20)) + "." +
         std::to_string(random.Below(100));
}

std::string Version(Random& random) {
  return SemanticVersion(random) + "." + std::to_string(random.Below(10'000));
}

// Of version 4, as a generator of random ones makes it.
std::string Guid(Random& random) {
  std::string guid = HexDigits(random, 32);
  guid[12] = '4';
  guid[16] = std::string_view("89ab")[random.Below(4)];
  for (const size_t place : {20, 16, 12, 8}) guid.insert(place, "-");
  return guid;
}

// Locally administered, so that it is nobody's.
std::string MacAddress(Random& random) {
  std::string address = "02";
  for (int i = 0; i < 5; ++i) address += ":" + HexDigits(random, 2, true);
  return address;
}

std::string Json(Random& random) {
  return "{\"sample\":" + std::to_string(random.Below(1'000)) + "}";
}

std::string Sha256Text(Random& random) { return HexDigits(random, 64); }

std::string Path(Random& random) {
  return "C:\\Program Files\\Sample " + std::to_string(random.Below(100)) + "\\sample.exe";
}

constexpr std::pair<std::string_view, std::string (*)(Random&)> kFormats[] = {
    {"RFC 3339", Time},
    {"date", Date},
    {"decimal number", Decimal},
    {"integer", Integer},
    {"hexadecimal", Hexadecimal},
    {"boolean", Boolean},
    {"version", Version},
    {"semantic version", SemanticVersion},
    {"GUID", Guid},
    {"MAC address", MacAddress},
    {"JSON", Json},
    {"SHA-256", Sha256Text},
    {"path", Path},
};

}  // namespace

std::string Time(Random& random) {
  const std::string date = Date(random);
  const uint64_t milliseconds = random.Below(86'400'000);
  const uint64_t seconds = milliseconds / 1'000;
  return date + "T" + Digits(seconds / 3'600, 2) + ":" + Digits(seconds / 60 % 60, 2) + ":" +
         Digits(seconds % 60, 2) + "." + Digits(milliseconds % 1'000, 3) + "Z";
}

std::string TextOfFormat(Random& random, std::string_view format) {
  for (const auto& [name, make] : kFormats) {
    if (format == name) return make(random);
  }
  return "";
}

Range RangeOfUnit(std::string_view unit) {
  for (const auto& [name, range] : kRanges) {
    if (unit == name) return range;
  }
  return kCount;
}

}  // namespace ovix::tool
