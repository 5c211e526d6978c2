#include "json/number.h"

#include <google/protobuf/io/strtod.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <string>

namespace ovix::tool {
namespace {

// A decimal number taken apart: digits x 10^exponent.
struct Decimal {
  bool is_negative = false;
  std::string digits;  // without zeros at either end; empty: zero
  int64_t exponent = 0;
};

// More than any exponent that matters, and far from overflow.
constexpr int64_t kMostExponent = 1'000'000'000;

std::string_view TakeDigits(std::string_view& text) {
  const size_t end = std::min(text.find_first_not_of("0123456789"), text.size());
  const std::string_view digits = text.substr(0, end);
  text.remove_prefix(end);
  return digits;
}

bool Take(std::string_view& text, char c) {
  if (!text.starts_with(c)) return false;
  text.remove_prefix(1);
  return true;
}

// Nothing where the text is not what JSON calls a number.
std::optional<Decimal> ReadDecimal(std::string_view text) {
  Decimal decimal;
  decimal.is_negative = Take(text, '-');
  decimal.digits = TakeDigits(text);
  if (decimal.digits.empty()) return std::nullopt;
  if (decimal.digits.size() > 1 && decimal.digits.front() == '0') return std::nullopt;
  if (Take(text, '.')) {
    const std::string_view fraction = TakeDigits(text);
    if (fraction.empty()) return std::nullopt;
    decimal.digits += fraction;
    decimal.exponent = -static_cast<int64_t>(fraction.size());
  }
  if (Take(text, 'e') || Take(text, 'E')) {
    const bool is_negative = Take(text, '-');
    if (!is_negative) Take(text, '+');
    const std::string_view digits = TakeDigits(text);
    if (digits.empty()) return std::nullopt;
    int64_t exponent = 0;
    const auto [end, error] =
        std::from_chars(digits.data(), digits.data() + digits.size(), exponent);
    if (error != std::errc() || exponent > kMostExponent) exponent = kMostExponent;
    decimal.exponent += is_negative ? -exponent : exponent;
  }
  if (!text.empty()) return std::nullopt;
  decimal.digits.erase(0, std::min(decimal.digits.find_first_not_of('0'), decimal.digits.size()));
  while (decimal.digits.ends_with('0')) {
    decimal.digits.pop_back();
    ++decimal.exponent;
  }
  return decimal;
}

}  // namespace

template <std::integral Number>
std::optional<Number> ReadInteger(std::string_view text) {
  // Most are written plainly.
  Number plain = 0;
  const auto [rest, problem] = std::from_chars(text.data(), text.data() + text.size(), plain);
  const bool has_zero_in_front = text.starts_with('0') || text.starts_with("-0");
  if (problem == std::errc() && rest == text.data() + text.size() && !has_zero_in_front) {
    return plain;
  }
  const auto decimal = ReadDecimal(text);
  if (!decimal) return std::nullopt;
  if (decimal->digits.empty()) return Number{0};
  constexpr int64_t kMostDigits = 20;  // of a uint64
  const auto size = static_cast<int64_t>(decimal->digits.size());
  if (decimal->exponent < 0 || size + decimal->exponent > kMostDigits) return std::nullopt;
  const std::string whole = (decimal->is_negative ? "-" : "") + decimal->digits +
                            std::string(static_cast<size_t>(decimal->exponent), '0');
  Number number = 0;
  const auto [end, error] = std::from_chars(whole.data(), whole.data() + whole.size(), number);
  if (error != std::errc() || end != whole.data() + whole.size()) return std::nullopt;
  return number;
}

template <std::floating_point Number>
std::optional<Number> ReadFloating(std::string_view text) {
  if (!ReadDecimal(text)) return std::nullopt;
  Number number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error == std::errc()) return number;
  // Too large or too close to zero; the library does not say which.
  const std::string whole(text);
  if (std::fabs(google::protobuf::io::NoLocaleStrtod(whole.c_str(), nullptr)) > 1) {
    return std::nullopt;
  }
  return text.starts_with('-') ? -Number{0} : Number{0};
}

template std::optional<int32_t> ReadInteger(std::string_view);
template std::optional<int64_t> ReadInteger(std::string_view);
template std::optional<uint32_t> ReadInteger(std::string_view);
template std::optional<uint64_t> ReadInteger(std::string_view);
template std::optional<float> ReadFloating(std::string_view);
template std::optional<double> ReadFloating(std::string_view);

}  // namespace ovix::tool
