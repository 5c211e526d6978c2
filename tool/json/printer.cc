#include "json/printer.h"

#include <google/protobuf/descriptor.h>
#include <google/protobuf/stubs/strutil.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <map>

#include "terminal/error.h"

namespace ovix::tool {
namespace {

using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::Message;

template <typename Number>
void AddInteger(std::string& out, Number number, const char* quote = "") {
  std::array<char, 24> digits;
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
  out += quote;
  out.append(digits.data(), end);
  out += quote;
}

template <typename Number>
void AddFloating(std::string& out, Number number, std::string (*print)(Number)) {
  if (std::isnan(number)) {
    out += "\"NaN\"";
  } else if (std::isinf(number)) {
    out += number < 0 ? "\"-Infinity\"" : "\"Infinity\"";
  } else if (number == 0 && std::signbit(number)) {
    out += "-0.0";
  } else {
    out += print(number);
  }
}

void AddEscape(std::string& out, uint32_t unit) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  out += "\\u";
  for (int shift = 12; shift >= 0; shift -= 4) out += kDigits[(unit >> shift) & 15];
}

// Beyond ASCII: characters that are not seen, or that end a line in JavaScript.
bool IsEscaped(uint32_t c) {
  constexpr std::array<std::pair<uint32_t, uint32_t>, 15> kRanges = {{
      {0x80, 0x9f},
      {0xad, 0xad},
      {0x600, 0x603},
      {0x6dd, 0x6dd},
      {0x70f, 0x70f},
      {0x17b4, 0x17b5},
      {0x200b, 0x200f},
      {0x2028, 0x202e},
      {0x2060, 0x2064},
      {0x206a, 0x206f},
      {0xfeff, 0xfeff},
      {0xfff9, 0xfffb},
      {0x1d173, 0x1d17a},
      {0xe0001, 0xe0001},
      {0xe0020, 0xe007f},
  }};
  return std::any_of(kRanges.begin(), kRanges.end(),
                     [&](const auto& range) { return c >= range.first && c <= range.second; });
}

// ASCII that stays as it is.
bool IsPlain(char c) {
  return c >= ' ' && c < 0x7f && c != '"' && c != '\\' && c != '<' && c != '>';
}

// Adds any other ASCII character as protobuf has it: markup is escaped, for JSON within a page.
void AddAscii(std::string& out, char c) {
  constexpr std::string_view kShort = "\b\t\n\f\r\"\\";
  constexpr std::string_view kLetters = "btnfr\"\\";
  const size_t found = kShort.find(c);
  if (found == std::string_view::npos) return AddEscape(out, static_cast<uint32_t>(c));
  out += '\\';
  out += kLetters[found];
}

// The size of the character at the beginning of text that is UTF-8, and its number.
size_t Decode(std::string_view text, uint32_t& number) {
  const auto lead = static_cast<unsigned char>(text[0]);
  const size_t size = lead < 0xe0 ? 2 : lead < 0xf0 ? 3 : 4;
  number = lead & (0x7fU >> size);
  for (size_t i = 1; i < size; ++i) {
    number = number << 6 | (static_cast<unsigned char>(text[i]) & 0x3fU);
  }
  return size;
}

}  // namespace

void JsonPrinter::Print(const Message& message, std::string& out) {
  out_ = &out;
  depth_ = 0;
  is_first_ = true;
  PrintMessage(message);
  if (!is_one_line_) out += '\n';
}

void JsonPrinter::Open(char bracket) {
  *out_ += bracket;
  ++depth_;
  is_first_ = true;
}

void JsonPrinter::Close(char bracket) {
  --depth_;
  if (!is_one_line_ && !is_first_) out_->append("\n").append(depth_, ' ');
  *out_ += bracket;
  is_first_ = false;
}

// Before a key or an element.
void JsonPrinter::Next() {
  if (!is_first_) *out_ += ',';
  if (!is_one_line_) out_->append("\n").append(depth_, ' ');
  is_first_ = false;
}

void JsonPrinter::PrintMessage(const Message& message) {
  const Descriptor* type = message.GetDescriptor();
  if (type->well_known_type() != Descriptor::WELLKNOWNTYPE_UNSPECIFIED) {
    throw Error(type->full_name() +
                ": has a JSON form of its own, which this tool does not write; use --format text");
  }
  const auto* reflection = message.GetReflection();
  std::vector<const FieldDescriptor*> fields;
  reflection->ListFields(message, &fields);
  Open('{');
  for (const FieldDescriptor* field : fields) {
    Next();
    *out_ += KeyOf(field);
    if (field->is_map()) {
      PrintMap(message, field);
    } else if (field->is_repeated()) {
      PrintList(message, field);
    } else {
      PrintValue(message, field, -1);
    }
  }
  Close('}');
}

void JsonPrinter::PrintList(const Message& message, const FieldDescriptor* field) {
  const int size = message.GetReflection()->FieldSize(message, field);
  Open('[');
  for (int i = 0; i < size; ++i) {
    Next();
    PrintValue(message, field, i);
  }
  Close(']');
}

void JsonPrinter::PrintMap(const Message& message, const FieldDescriptor* field) {
  const auto* reflection = message.GetReflection();
  std::map<std::string, const Message*> entries;  // by their keys as printed
  std::string* const out = out_;
  for (int i = 0; i < reflection->FieldSize(message, field); ++i) {
    const Message& entry = reflection->GetRepeatedMessage(message, field, i);
    std::string key;
    out_ = &key;
    PrintValue(entry, field->message_type()->map_key(), -1);
    if (!key.starts_with('"')) key = "\"" + key + "\"";
    entries[key] = &entry;
  }
  out_ = out;
  Open('{');
  for (const auto& [key, entry] : entries) {
    Next();
    *out_ += key;
    *out_ += is_one_line_ ? ":" : ": ";
    PrintValue(*entry, field->message_type()->map_value(), -1);
  }
  Close('}');
}

// The value of a field, or with an index of one of its elements.
void JsonPrinter::PrintValue(const Message& message, const FieldDescriptor* field, int index) {
  const auto* reflection = message.GetReflection();
  const auto get = [&](auto one, auto element) {
    return index < 0 ? (reflection->*one)(message, field)
                     : (reflection->*element)(message, field, index);
  };
  using Reflection = google::protobuf::Reflection;
  switch (field->cpp_type()) {
    case FieldDescriptor::CPPTYPE_INT32:
      return AddInteger(*out_, get(&Reflection::GetInt32, &Reflection::GetRepeatedInt32));
    case FieldDescriptor::CPPTYPE_UINT32:
      return AddInteger(*out_, get(&Reflection::GetUInt32, &Reflection::GetRepeatedUInt32));
    case FieldDescriptor::CPPTYPE_INT64:
      return AddInteger(*out_, get(&Reflection::GetInt64, &Reflection::GetRepeatedInt64), "\"");
    case FieldDescriptor::CPPTYPE_UINT64:
      return AddInteger(*out_, get(&Reflection::GetUInt64, &Reflection::GetRepeatedUInt64), "\"");
    case FieldDescriptor::CPPTYPE_FLOAT:
      return AddFloating(*out_, get(&Reflection::GetFloat, &Reflection::GetRepeatedFloat),
                         &google::protobuf::SimpleFtoa);
    case FieldDescriptor::CPPTYPE_DOUBLE:
      return AddFloating(*out_, get(&Reflection::GetDouble, &Reflection::GetRepeatedDouble),
                         &google::protobuf::SimpleDtoa);
    case FieldDescriptor::CPPTYPE_BOOL:
      *out_ += get(&Reflection::GetBool, &Reflection::GetRepeatedBool) ? "true" : "false";
      return;
    case FieldDescriptor::CPPTYPE_ENUM: {
      const int number = get(&Reflection::GetEnumValue, &Reflection::GetRepeatedEnumValue);
      const auto* value = field->enum_type()->FindValueByNumber(number);
      if (value == nullptr) return AddInteger(*out_, number);
      *out_ += "\"" + value->name() + "\"";
      return;
    }
    case FieldDescriptor::CPPTYPE_STRING: {
      const std::string& text =
          index < 0 ? reflection->GetStringReference(message, field, &scratch_)
                    : reflection->GetRepeatedStringReference(message, field, index, &scratch_);
      if (field->type() != FieldDescriptor::TYPE_BYTES) return PrintText(text);
      std::string base64;
      google::protobuf::Base64Escape(text, &base64);
      *out_ += "\"" + base64 + "\"";
      return;
    }
    case FieldDescriptor::CPPTYPE_MESSAGE:
      return PrintMessage(index < 0 ? reflection->GetMessage(message, field)
                                    : reflection->GetRepeatedMessage(message, field, index));
  }
}

void JsonPrinter::PrintText(std::string_view text) {
  *out_ += '"';
  while (!text.empty()) {
    const auto* plain = std::find_if_not(text.begin(), text.end(), IsPlain);
    out_->append(text.begin(), plain);
    text.remove_prefix(static_cast<size_t>(plain - text.begin()));
    if (text.empty()) break;
    size_t size = 1;
    if (static_cast<unsigned char>(text[0]) < 0x80) {
      AddAscii(*out_, text[0]);
    } else {
      uint32_t number = 0;
      size = Decode(text, number);
      if (!IsEscaped(number)) {
        *out_ += text.substr(0, size);
      } else if (number < 0x10000) {
        AddEscape(*out_, number);
      } else {
        AddEscape(*out_, 0xd800 + ((number - 0x10000) >> 10));
        AddEscape(*out_, 0xdc00 + ((number - 0x10000) & 0x3ff));
      }
    }
    text.remove_prefix(size);
  }
  *out_ += '"';
}

const std::string& JsonPrinter::KeyOf(const FieldDescriptor* field) {
  const auto [found, is_new] = keys_.try_emplace(field);
  if (is_new) found->second = "\"" + field->name() + (is_one_line_ ? "\":" : "\": ");
  return found->second;
}

}  // namespace ovix::tool
