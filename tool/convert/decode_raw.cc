#include "convert/decode_raw.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <optional>

#include "terminal/error.h"
#include "terminal/format.h"
#include "terminal/input.h"
#include "terminal/output.h"
#include "wire/delimited.h"
#include "wire/utf8.h"

namespace ovix::tool {
namespace {

constexpr int kDeepest = 100;
// A message that could as well be text is taken for one where it holds a string of this size.
constexpr size_t kLeastText = 4;

// A number of a little-endian encoding.
uint64_t Fixed(std::string_view bytes) {
  uint64_t value = 0;
  for (size_t i = bytes.size(); i-- > 0;) {
    value = value << 8 | static_cast<unsigned char>(bytes[i]);
  }
  return value;
}

std::string Hex(std::string_view bytes) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (const unsigned char byte : bytes) {
    text += kDigits[byte >> 4];
    text += kDigits[byte & 15];
  }
  return text;
}

std::optional<uint64_t> TakeVarint(std::string_view& rest) {
  uint64_t value = 0;
  for (size_t i = 0; i < std::min<size_t>(rest.size(), 10); ++i) {
    const auto byte = static_cast<unsigned char>(rest[i]);
    value |= static_cast<uint64_t>(byte & 0x7f) << (7 * i);
    if (byte < 0x80) {
      rest.remove_prefix(i + 1);
      return value;
    }
  }
  return std::nullopt;
}

// The numbers of a packed list of varints; empty where the bytes are not one.
std::string PackedNumbers(std::string_view bytes) {
  std::string numbers;
  while (!bytes.empty()) {
    const auto value = TakeVarint(bytes);
    if (!value) return "";
    numbers += (numbers.empty() ? "" : ", ") + std::to_string(*value);
  }
  return numbers;
}

// Characters that a person could have written. The first is not a line end: that is the tag of a
// text with the number 1.
bool IsText(std::string_view bytes) {
  if (bytes.starts_with('\n') || !IsUtf8(bytes)) return false;
  return std::all_of(bytes.begin(), bytes.end(), [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return (byte >= 0x20 && byte != 0x7f) || c == '\t' || c == '\r' || c == '\n';
  });
}

template <typename Number>
std::string FloatText(Number number) {
  std::array<char, 64> digits;
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
  return {digits.data(), end};
}

// Writes one message; its bytes have no fault.
class RawPrinter {
 public:
  explicit RawPrinter(std::string& out) : out_(out) {}

  // Returns what is left after the end of a group.
  std::string_view Print(std::string_view rest, int depth) {
    while (!rest.empty()) {
      const uint64_t tag = TakeVarint(rest).value_or(0);
      const uint32_t type = tag & 7;
      if (type == 4) return rest;
      out_.append(2 * static_cast<size_t>(depth), ' ');
      out_ += std::to_string(tag >> 3);
      if (type == 0) {
        PrintVarint(TakeVarint(rest).value_or(0));
      } else if (type == 1 || type == 5) {
        const size_t size = type == 1 ? 8 : 4;
        PrintFixed(rest.substr(0, size));
        rest.remove_prefix(size);
      } else if (type == 3) {
        out_ += " (group): {\n";
        rest = Print(rest, depth + 1);
        Close(depth);
      } else {
        const auto size = static_cast<size_t>(TakeVarint(rest).value_or(0));
        PrintBytes(rest.substr(0, size), depth);
        rest.remove_prefix(size);
      }
    }
    return rest;
  }

 private:
  void PrintVarint(uint64_t value) {
    out_ += " (varint): " + std::to_string(value);
    if (value >> 63 != 0) out_ += " or " + std::to_string(static_cast<int64_t>(value));
    out_ += '\n';
  }
  void PrintFixed(std::string_view bytes) {
    const uint64_t value = Fixed(bytes);
    const bool is_double = bytes.size() == 8;
    out_ += is_double ? " (i64): " : " (i32): ";
    out_ += std::to_string(value) + " or " +
            (is_double ? FloatText(std::bit_cast<double>(value))
                       : FloatText(std::bit_cast<float>(static_cast<uint32_t>(value)))) +
            "\n";
  }
  void PrintBytes(std::string_view bytes, int depth) {
    const bool is_text = IsText(bytes);
    if (IsMessage(bytes, is_text, depth)) {
      out_ += " (len): {\n";
      Print(bytes, depth + 1);
      Close(depth);
    } else if (is_text) {
      out_ += " (len): " + JsonText(bytes) + "\n";
    } else {
      const std::string numbers = PackedNumbers(bytes);
      out_ += " (len): 0x" + Hex(bytes) + (numbers.empty() ? "" : " or " + numbers) + "\n";
    }
  }
  void Close(int depth) {
    out_.append(2 * static_cast<size_t>(depth), ' ');
    out_ += "}\n";
  }

  // Whether the bytes are rather a message than anything else.
  static bool IsMessage(std::string_view bytes, bool is_text, int depth) {
    if (bytes.empty() || depth >= kDeepest || !FindWireProblem(bytes, nullptr).what.empty()) {
      return false;
    }
    return !is_text || HoldsText(bytes);
  }
  // Whether one of the fields is a string that is not short: its length hardly fits by chance.
  static bool HoldsText(std::string_view rest) {
    while (!rest.empty()) {
      const uint32_t type = TakeVarint(rest).value_or(0) & 7;
      if (type == 0) {
        TakeVarint(rest);
      } else if (type == 1 || type == 5) {
        rest.remove_prefix(type == 1 ? 8 : 4);
      } else if (type == 2) {
        const auto size = static_cast<size_t>(TakeVarint(rest).value_or(0));
        if (size >= kLeastText && IsText(rest.substr(0, size))) return true;
        rest.remove_prefix(size);
      }
    }
    return false;
  }

  std::string& out_;
};

}  // namespace

WireProblem PrintRaw(std::string_view encoded, std::string& out) {
  WireProblem problem = FindWireProblem(encoded, nullptr);
  RawPrinter(out).Print(encoded.substr(0, problem.what.empty() ? encoded.size() : problem.sound),
                        0);
  return problem;
}

bool DecodeRaw(const Conversion& options) {
  Input input(options.input, options.encoding);
  Output output(options.output);
  Skipped skipped;
  std::string printed;
  const auto print = [&](std::string_view bytes, uint64_t offset) {
    printed.clear();
    const WireProblem problem = PrintRaw(bytes, printed);
    output.Write(printed);
    if (problem.what.empty()) return;
    const std::string what =
        input.name() + ": byte " + std::to_string(offset + problem.offset) + ": " + problem.what;
    if (!options.skip_bad) {
      output.Flush();
      throw Error(what + "; it is not protobuf's binary encoding, or it is damaged");
    }
    skipped.Add(what);
  };
  if (!options.delimited) {
    print(input.PeekAll(), 0);
  } else {
    input.BeforeReading([&output] { output.Flush(); });
    DelimitedReader stream(input);
    for (std::string_view bytes; stream.Next(bytes);) {
      output.Write("# message " + std::to_string(stream.number()) + "\n");
      print(bytes, stream.offset());
    }
  }
  output.Finish();
  skipped.Say(input.name());
  return skipped.count() != 0;
}

}  // namespace ovix::tool
