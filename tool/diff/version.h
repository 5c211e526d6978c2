// Versions as Semantic Versioning 2.0 has them.
#ifndef OVIX_TOOL_DIFF_VERSION_H_
#define OVIX_TOOL_DIFF_VERSION_H_

#include <compare>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ovix::tool {

// A number of any size, in decimal digits without leading zeros.
struct Number {
  std::string digits;

  Number Next() const;
  bool IsZero() const { return digits == "0"; }
  bool operator==(const Number&) const = default;
  std::strong_ordering operator<=>(const Number& other) const;
};

// "1.2.0-beta.3+build". Versions compare by precedence, for which the build does not count.
struct Version {
  Number major, minor, patch;
  std::vector<std::string> pre_release;  // "beta", "3"; empty for a release

  bool IsPreRelease() const { return !pre_release.empty(); }
  bool operator==(const Version& other) const { return (*this <=> other) == 0; }
  std::strong_ordering operator<=>(const Version& other) const;
};

// Nothing for what is not a version.
std::optional<Version> ReadVersion(std::string_view text);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_DIFF_VERSION_H_
