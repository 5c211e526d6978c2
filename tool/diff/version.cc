#include "diff/version.h"

#include <algorithm>

namespace ovix::tool {
namespace {

bool IsDigit(char c) { return c >= '0' && c <= '9'; }
bool IsLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '-'; }
bool IsNumeric(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), IsDigit);
}

// Identifiers between dots, none of them empty.
bool ReadIdentifiers(std::string_view text, std::vector<std::string>& identifiers) {
  for (;;) {
    const size_t end = std::min(text.find('.'), text.size());
    const std::string_view identifier = text.substr(0, end);
    if (identifier.empty() || !std::all_of(identifier.begin(), identifier.end(),
                                           [](char c) { return IsDigit(c) || IsLetter(c); })) {
      return false;
    }
    identifiers.emplace_back(identifier);
    if (end == text.size()) return true;
    text.remove_prefix(end + 1);
  }
}

bool HasLeadingZero(std::string_view text) { return text.size() > 1 && text.front() == '0'; }

// Takes a number from the front.
bool TakeNumber(std::string_view& text, Number& number) {
  const auto end = std::find_if_not(text.begin(), text.end(), IsDigit);
  number.digits.assign(text.begin(), end);
  text.remove_prefix(number.digits.size());
  return !number.digits.empty() && !HasLeadingZero(number.digits);
}

bool TakeDot(std::string_view& text) {
  if (!text.starts_with('.')) return false;
  text.remove_prefix(1);
  return true;
}

// Numbers are below words.
std::strong_ordering CompareIdentifiers(const std::string& a, const std::string& b) {
  if (IsNumeric(a) && IsNumeric(b)) return Number{a} <=> Number{b};
  if (IsNumeric(a) != IsNumeric(b)) {
    return IsNumeric(a) ? std::strong_ordering::less : std::strong_ordering::greater;
  }
  return a <=> b;
}

}  // namespace

Number Number::Next() const {
  Number next = *this;
  for (size_t i = next.digits.size(); i-- > 0;) {
    if (next.digits[i] != '9') {
      ++next.digits[i];
      return next;
    }
    next.digits[i] = '0';
  }
  next.digits.insert(0, "1");
  return next;
}

std::strong_ordering Number::operator<=>(const Number& other) const {
  if (const auto by_size = digits.size() <=> other.digits.size(); by_size != 0) return by_size;
  return digits <=> other.digits;
}

std::strong_ordering Version::operator<=>(const Version& other) const {
  if (const auto order = major <=> other.major; order != 0) return order;
  if (const auto order = minor <=> other.minor; order != 0) return order;
  if (const auto order = patch <=> other.patch; order != 0) return order;
  // A release is above its pre-releases.
  if (IsPreRelease() != other.IsPreRelease()) {
    return IsPreRelease() ? std::strong_ordering::less : std::strong_ordering::greater;
  }
  return std::lexicographical_compare_three_way(pre_release.begin(), pre_release.end(),
                                                other.pre_release.begin(), other.pre_release.end(),
                                                CompareIdentifiers);
}

std::optional<Version> ReadVersion(std::string_view text) {
  Version version;
  if (!TakeNumber(text, version.major) || !TakeDot(text) || !TakeNumber(text, version.minor) ||
      !TakeDot(text) || !TakeNumber(text, version.patch)) {
    return std::nullopt;
  }
  if (const size_t plus = text.find('+'); plus != std::string_view::npos) {
    std::vector<std::string> build;
    if (!ReadIdentifiers(text.substr(plus + 1), build)) return std::nullopt;
    text = text.substr(0, plus);
  }
  if (text.empty()) return version;
  if (text.front() != '-' || !ReadIdentifiers(text.substr(1), version.pre_release)) {
    return std::nullopt;
  }
  for (const std::string& identifier : version.pre_release) {
    if (IsNumeric(identifier) && HasLeadingZero(identifier)) return std::nullopt;
  }
  return version;
}

}  // namespace ovix::tool
