#include "collectors/serials.h"

#include <algorithm>
#include <map>
#include <set>

namespace ovix::agent {

bool IsPlaceholder(const std::string& serial) {
  static const std::set<std::string> known = {"0123456789",
                                              "123456789",
                                              "1234567890",
                                              "default string",
                                              "empty",
                                              "n/a",
                                              "no dimm",
                                              "none",
                                              "not available",
                                              "not specified",
                                              "serial number",
                                              "serial",
                                              "system serial number",
                                              "to be filled by o.e.m.",
                                              "unknown"};
  std::string lower = serial;
  std::transform(lower.begin(), lower.end(), lower.begin(), [](unsigned char c) {
    return static_cast<char>(c >= 'A' && c <= 'Z' ? c + ('a' - 'A') : c);
  });
  // One character over and over: "0", "00000000", "FFFFFFFF", "........"; but "77" is a number.
  const bool is_repeated = lower.find_first_not_of(lower.substr(0, 1)) == std::string::npos;
  const bool is_filler = is_repeated && (lower.size() > 3 || lower.find_first_of("0.-") == 0);
  return lower.empty() || is_filler || known.contains(lower);
}

std::vector<std::string> DistinctSerials(const std::vector<Part>& parts) {
  std::map<std::string, int> count;
  for (const Part& part : parts) ++count[part.serial];
  std::vector<std::string> keys;
  std::set<std::string> taken;
  for (const Part& part : parts) {
    const std::string key = IsPlaceholder(part.serial) ? part.place
                            : count[part.serial] == 1  ? part.serial
                                                       : part.serial + " at " + part.place;
    std::string distinct = key;
    for (int number = 2; !taken.insert(distinct).second; ++number) {
      distinct = key + " #" + std::to_string(number);
    }
    keys.push_back(distinct);
  }
  return keys;
}

}  // namespace ovix::agent
