#include "convert/json_reader.h"

#include <google/protobuf/descriptor.h>
#include <google/protobuf/stubs/common.h>
#include <google/protobuf/stubs/strutil.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

#include <algorithm>
#include <cctype>
#include <limits>
#include <set>
#include <unordered_map>
#include <vector>

#include "contracts/names.h"
#include "convert/json_number.h"
#include "terminal/error.h"

namespace ovix::tool {
namespace {

using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::Reflection;

constexpr size_t kDeepest = 100;  // messages in messages, as the runtime reads them
constexpr size_t kLongestShown = 40;

bool IsUtf8(std::string_view text) {
  return google::protobuf::internal::IsStructurallyValidUTF8(text.data(),
                                                             static_cast<int>(text.size()));
}

// The first byte that is not UTF-8; npos where all is.
size_t FindInvalidUtf8(std::string_view text) {
  if (IsUtf8(text)) return std::string_view::npos;
  size_t valid = 0;
  while (valid < text.size()) {
    size_t size = 1;
    while (size <= 4 && valid + size <= text.size() && !IsUtf8(text.substr(valid, size))) ++size;
    if (size > 4 || valid + size > text.size()) break;
    valid += size;
  }
  return valid;
}

// A piece of the text for an error: its beginning, where it is long.
std::string Shown(std::string_view piece) {
  if (piece.size() <= kLongestShown) return std::string(piece);
  size_t size = kLongestShown;
  while (size > 0 && (static_cast<unsigned char>(piece[size]) & 0xc0) == 0x80) --size;
  return std::string(piece.substr(0, size)) + "...";
}

template <typename Number>
std::string Range() {
  return "write a whole number from " + std::to_string(std::numeric_limits<Number>::min()) +
         " to " + std::to_string(std::numeric_limits<Number>::max());
}

// Base64 of either alphabet, with its padding or without.
bool ReadBase64(std::string_view text, std::string& bytes) {
  if (text.ends_with('=')) {
    if (text.size() % 4 != 0) return false;
    text.remove_suffix(text.ends_with("==") ? 2 : 1);
  }
  std::string plain(text);
  std::replace(plain.begin(), plain.end(), '+', '-');
  std::replace(plain.begin(), plain.end(), '/', '_');
  const auto is_digit = [](char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' ||
           c == '_';
  };
  return std::all_of(plain.begin(), plain.end(), is_digit) &&
         google::protobuf::WebSafeBase64Unescape(plain, &bytes);
}

// What the values of a field are, for an error: "write ...".
std::string Form(const FieldDescriptor* field) {
  switch (field->cpp_type()) {
    case FieldDescriptor::CPPTYPE_INT32:
      return Range<int32_t>();
    case FieldDescriptor::CPPTYPE_INT64:
      return Range<int64_t>();
    case FieldDescriptor::CPPTYPE_UINT32:
      return Range<uint32_t>();
    case FieldDescriptor::CPPTYPE_UINT64:
      return Range<uint64_t>();
    case FieldDescriptor::CPPTYPE_FLOAT:
    case FieldDescriptor::CPPTYPE_DOUBLE:
      return R"(write a number of its range, "NaN", "Infinity" or "-Infinity")";
    case FieldDescriptor::CPPTYPE_BOOL:
      return "write true or false";
    case FieldDescriptor::CPPTYPE_ENUM: {
      std::string names;
      for (int i = 0; i < field->enum_type()->value_count(); ++i) {
        names += (i == 0 ? "" : ", ") + field->enum_type()->value(i)->name();
      }
      return "write the number or the name of a value: " + names;
    }
    case FieldDescriptor::CPPTYPE_STRING:
      return field->type() == FieldDescriptor::TYPE_BYTES ? "write base64 in double quotes"
                                                          : "write text in double quotes";
    case FieldDescriptor::CPPTYPE_MESSAGE:
      break;
  }
  return "write { ... }";
}

// "uint32", or the full name of a message or enumeration.
std::string TypeName(const FieldDescriptor* field) {
  if (field->message_type() != nullptr) return field->message_type()->full_name();
  if (field->enum_type() != nullptr) return field->enum_type()->full_name();
  return field->type_name();
}

using Names = std::unordered_map<std::string_view, const FieldDescriptor*>;

}  // namespace

// Takes the parser's events and sets the fields.
class JsonReader::Parser : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, Parser> {
 public:
  void Read(std::string_view text, const std::string& input, uint64_t first_line,
            Message& message) {
    text_ = text;
    input_ = &input;
    first_line_ = first_line;
    root_ = &message;
    frames_.clear();
    seen_.clear();
    behind_ = 0;
    invalid_ = FindInvalidUtf8(text);
    rapidjson::MemoryStream stream(text.data(), text.size());
    stream_ = &stream;
    const rapidjson::ParseResult result =
        reader_.Parse<rapidjson::kParseNumbersAsStringsFlag>(stream, *this);
    if (!result) FailSyntax(result.Code(), result.Offset());
    // The parser takes a zero byte for the end.
    if (stream.Tell() != text.size()) {
      FailSyntax(rapidjson::kParseErrorDocumentRootNotSingular, stream.Tell());
    }
    CheckUtf8(text.size());
  }

  // --- The events.

  bool Null() {
    if (frames_.empty()) FailRoot();
    const Frame& frame = frames_.back();
    if (frame.kind != Frame::kMessage) {
      Fail(Begin(), frame.field->full_name(),
           std::string("null is not an element of a ") +
               (frame.kind == Frame::kMap ? "map" : "list") + "; remove it");
    }
    return Done();
  }
  bool Bool(bool value) {
    const Target target = Expect();
    if (target.field->cpp_type() != FieldDescriptor::CPPTYPE_BOOL) FailType(target.field);
    Store<&Reflection::SetBool, &Reflection::AddBool>(target, value);
    return Done();
  }
  bool RawNumber(const char* text, rapidjson::SizeType size, bool) {
    const Target target = Expect();
    const std::string_view number(text, size);
    if (target.field->cpp_type() == FieldDescriptor::CPPTYPE_ENUM) {
      const auto value = ReadInteger<int32_t>(number);
      if (!value) FailType(target.field);
      Store<&Reflection::SetEnumValue, &Reflection::AddEnumValue>(target, *value);
    } else {
      SetNumber(target, number);
    }
    return Done();
  }
  bool String(const char* text, rapidjson::SizeType size, bool) {
    const Target target = Expect();
    const std::string_view value(text, size);
    // An escaped half of a pair makes what is not UTF-8.
    if (!IsUtf8(value)) FailHalfPair();
    if (target.field->type() == FieldDescriptor::TYPE_STRING) {
      Store<&Reflection::SetString, &Reflection::AddString>(target, std::string(value));
    } else if (target.field->type() == FieldDescriptor::TYPE_BYTES) {
      std::string bytes;
      if (!ReadBase64(value, bytes)) FailType(target.field);
      Store<&Reflection::SetString, &Reflection::AddString>(target, std::move(bytes));
    } else if (const auto* type = target.field->enum_type()) {
      const auto* named = type->FindValueByName(std::string(value));
      if (named == nullptr) FailType(target.field);
      Store<&Reflection::SetEnumValue, &Reflection::AddEnumValue>(target, named->number());
    } else {
      SetNumber(target, value);
    }
    return Done();
  }
  bool StartObject() {
    if (frames_.empty()) {
      Push(root_);
      return Done();
    }
    const Frame& frame = frames_.back();
    if (frame.kind == Frame::kMessage && frame.field->is_map()) {
      frames_.push_back({Frame::kMap, frame.message, frame.field});
      return Done();
    }
    const Target target = Expect(true);
    const auto* reflection = target.message->GetReflection();
    Push(target.is_element ? reflection->AddMessage(target.message, target.field)
                           : reflection->MutableMessage(target.message, target.field));
    return Done();
  }
  bool Key(const char* text, rapidjson::SizeType size, bool) {
    Frame& frame = frames_.back();
    const std::string_view key(text, size);
    if (!IsUtf8(key)) FailHalfPair();
    if (frame.kind == Frame::kMap) {
      StartEntry(frame, key);
      return Advance();
    }
    const Descriptor* type = frame.message->GetDescriptor();
    const auto found = frame.names->find(key);
    if (found == frame.names->end()) FailUnknown(type, key);
    frame.field = found->second;
    char& seen = seen_[frame.seen + static_cast<size_t>(frame.field->index())];
    if (seen != 0) {
      Fail(Begin(), frame.field->full_name(), "is set twice in one message; remove one");
    }
    seen = 1;
    return Advance();
  }
  bool EndObject(rapidjson::SizeType) {
    if (frames_.back().kind == Frame::kMessage) seen_.resize(frames_.back().seen);
    return Pop();
  }
  bool StartArray() {
    if (frames_.empty()) FailRoot();
    const Frame& frame = frames_.back();
    const FieldDescriptor* field = frame.field;
    if (frame.kind != Frame::kMessage) {
      Fail(Begin(), field->full_name(), "an element is itself a list; remove the inner [ ]");
    }
    if (!field->is_repeated() || field->is_map()) {
      Fail(Begin(), field->full_name(),
           field->is_map() ? "is a map, not a list; write { ... }"
                           : "is one value, not a list; " + Form(field));
    }
    frames_.push_back({Frame::kList, frame.message, field});
    return Done();
  }
  bool EndArray(rapidjson::SizeType) { return Pop(); }

 private:
  // An object or list that has begun.
  struct Frame {
    enum Kind { kMessage, kList, kMap } kind;
    Message* message;                 // that holds the fields, the list or the map
    const FieldDescriptor* field;     // that the next value is of; null in an object before its key
    const Names* names = nullptr;     // of a message
    size_t seen = 0;                  // of a message: its first field in seen_
    Message* entry = nullptr;         // of a map: what the next value goes to
    std::set<std::string> keys = {};  // of a map
  };
  // Where a value goes.
  struct Target {
    Message* message;
    const FieldDescriptor* field;
    bool is_element;
  };

  bool Advance() {
    behind_ = stream_->Tell();
    CheckUtf8(behind_);
    return true;
  }
  // A value ends, or an object begins that has no key yet.
  bool Done() {
    if (!frames_.empty() && frames_.back().kind == Frame::kMessage) frames_.back().field = nullptr;
    return Advance();
  }
  bool Pop() {
    frames_.pop_back();
    return Done();
  }
  void Push(Message* message) {
    const Descriptor* type = message->GetDescriptor();
    if (type->well_known_type() != Descriptor::WELLKNOWNTYPE_UNSPECIFIED) {
      Fail(Begin(), type->full_name(), "has a JSON form of its own, which this tool does not read");
    }
    const auto messages = std::count_if(frames_.begin(), frames_.end(), [](const Frame& frame) {
      return frame.kind == Frame::kMessage;
    });
    if (static_cast<size_t>(messages) > kDeepest) FailDeep(type);
    frames_.push_back({Frame::kMessage, message, nullptr, &NamesOf(type), seen_.size()});
    seen_.resize(seen_.size() + static_cast<size_t>(type->field_count()));
  }

  const Names& NamesOf(const Descriptor* type) {
    const auto [found, is_new] = names_.try_emplace(type);
    for (int i = 0; is_new && i < type->field_count(); ++i) {
      found->second.emplace(type->field(i)->name(), type->field(i));
      found->second.emplace(type->field(i)->json_name(), type->field(i));
    }
    return found->second;
  }

  // Where the value goes that was just read, or the message that begins.
  Target Expect(bool is_message = false) {
    if (frames_.empty()) FailRoot();
    const Frame& frame = frames_.back();
    Target target{frame.message, frame.field, frame.kind == Frame::kList};
    if (frame.kind == Frame::kMap) {
      target = {frame.entry, frame.entry->GetDescriptor()->map_value(), false};
    } else if (target.field->is_repeated() && !target.is_element) {
      Fail(Begin(), target.field->full_name(),
           target.field->is_map() ? Value() + " is not a map; write { ... }"
                                  : Value() + " is not a list; write [ ... ]");
    }
    if (is_message != (target.field->message_type() != nullptr)) FailType(target.field);
    const auto* oneof = target.is_element ? nullptr : target.field->real_containing_oneof();
    if (oneof != nullptr && target.message->GetReflection()->HasOneof(*target.message, oneof)) {
      Fail(Begin(), target.field->full_name(),
           "another field of " + oneof->full_name() + " is set; remove one");
    }
    return target;
  }

  template <auto Set, auto Add, typename AnyValue>
  void Store(const Target& target, AnyValue&& value) {
    const Reflection* reflection = target.message->GetReflection();
    if (target.is_element) {
      (reflection->*Add)(target.message, target.field, std::forward<AnyValue>(value));
    } else {
      (reflection->*Set)(target.message, target.field, std::forward<AnyValue>(value));
    }
  }

  template <auto Set, auto Add, typename Number>
  void StoreNumber(const Target& target, const std::optional<Number>& number) {
    if (!number) FailType(target.field);
    Store<Set, Add>(target, *number);
  }

  template <typename Number>
  static std::optional<Number> ReadFloat(std::string_view text) {
    if (text == "NaN") return std::numeric_limits<Number>::quiet_NaN();
    if (text == "Infinity") return std::numeric_limits<Number>::infinity();
    if (text == "-Infinity") return -std::numeric_limits<Number>::infinity();
    return ReadFloating<Number>(text);
  }

  // A number as JSON has it, or in quotes.
  void SetNumber(const Target& target, std::string_view text) {
    switch (target.field->cpp_type()) {
      case FieldDescriptor::CPPTYPE_INT32:
        return StoreNumber<&Reflection::SetInt32, &Reflection::AddInt32>(
            target, ReadInteger<int32_t>(text));
      case FieldDescriptor::CPPTYPE_INT64:
        return StoreNumber<&Reflection::SetInt64, &Reflection::AddInt64>(
            target, ReadInteger<int64_t>(text));
      case FieldDescriptor::CPPTYPE_UINT32:
        return StoreNumber<&Reflection::SetUInt32, &Reflection::AddUInt32>(
            target, ReadInteger<uint32_t>(text));
      case FieldDescriptor::CPPTYPE_UINT64:
        return StoreNumber<&Reflection::SetUInt64, &Reflection::AddUInt64>(
            target, ReadInteger<uint64_t>(text));
      case FieldDescriptor::CPPTYPE_FLOAT:
        return StoreNumber<&Reflection::SetFloat, &Reflection::AddFloat>(target,
                                                                         ReadFloat<float>(text));
      case FieldDescriptor::CPPTYPE_DOUBLE:
        return StoreNumber<&Reflection::SetDouble, &Reflection::AddDouble>(target,
                                                                           ReadFloat<double>(text));
      default:
        FailType(target.field);
    }
  }

  // The entry that a key of a map begins.
  void StartEntry(Frame& frame, std::string_view key) {
    const Reflection* reflection = frame.message->GetReflection();
    frame.entry = reflection->AddMessage(frame.message, frame.field);
    const FieldDescriptor* field = frame.entry->GetDescriptor()->map_key();
    const Target target{frame.entry, field, false};
    if (field->type() == FieldDescriptor::TYPE_STRING) {
      Store<&Reflection::SetString, &Reflection::AddString>(target, std::string(key));
    } else if (field->cpp_type() != FieldDescriptor::CPPTYPE_BOOL) {
      SetNumber(target, key);
    } else if (key == "true" || key == "false") {
      Store<&Reflection::SetBool, &Reflection::AddBool>(target, key == "true");
    } else {
      FailType(field);
    }
    // 1 and 1.0 are one key.
    if (!frame.keys.insert(frame.entry->SerializePartialAsString()).second) {
      Fail(Begin(), frame.field->full_name(), Value() + " is set twice in one map; remove one");
    }
  }

  // --- What went wrong.

  // Where what was just read begins: only spaces and these two stand between it and what came
  // before.
  size_t Begin() const {
    return std::min(text_.find_first_not_of(" \t\r\n:,", behind_), text_.size());
  }
  // What was just read, as it is written.
  std::string Value() const {
    const std::string_view value = text_.substr(Begin(), stream_->Tell() - Begin());
    return value == "{" ? "an object" : Shown(value);
  }
  // The field or message that is being read.
  std::string Here() const {
    if (frames_.empty()) return root_->GetDescriptor()->full_name();
    const Frame& frame = frames_.back();
    return frame.field != nullptr ? frame.field->full_name()
                                  : frame.message->GetDescriptor()->full_name();
  }

  // How the next value is written.
  std::string FormHere() const {
    if (frames_.empty()) return "write { ... }";
    const Frame& frame = frames_.back();
    if (frame.kind == Frame::kMap) return Form(frame.field->message_type()->map_value());
    if (frame.kind == Frame::kMessage && frame.field->is_repeated()) {
      return frame.field->is_map() ? "write { ... }" : "write [ ... ]";
    }
    return Form(frame.field);
  }

  [[noreturn]] void Fail(size_t at, const std::string& where, const std::string& what) const {
    CheckUtf8(at);
    Throw(at, where, what);
  }
  // Fails where the text up to here has a byte that is not UTF-8.
  void CheckUtf8(size_t end) const {
    if (invalid_ < end) Throw(invalid_, Here(), "text that is not UTF-8; save the file as UTF-8");
  }
  [[noreturn]] void Throw(size_t at, const std::string& where, const std::string& what) const {
    const std::string_view before = text_.substr(0, at);
    const auto lines = static_cast<uint64_t>(std::count(before.begin(), before.end(), '\n'));
    const size_t line_begin = before.rfind('\n') + 1;  // 0 in the first line
    throw Error(*input_ + ":" + std::to_string(first_line_ + lines) + ":" +
                std::to_string(at - line_begin + 1) + ": " + where + ": " + what);
  }
  [[noreturn]] void FailRoot() const {
    Fail(Begin(), root_->GetDescriptor()->full_name(),
         "a message is written as an object; write { ... }");
  }
  [[noreturn]] void FailType(const FieldDescriptor* field) const {
    Fail(Begin(), field->full_name(),
         Value() + " is not of type " + TypeName(field) + "; " + Form(field));
  }
  [[noreturn]] void FailHalfPair() const {
    CheckUtf8(stream_->Tell());
    Fail(Begin(), Here(),
         "text with half of a surrogate pair, which is not a character; write both \\u escapes");
  }
  [[noreturn]] void FailDeep(const Descriptor* type) const {
    Fail(Begin(), type->full_name(),
         "messages nested deeper than " + std::to_string(kDeepest) + "; no runtime reads them");
  }
  [[noreturn]] void FailUnknown(const Descriptor* type, std::string_view key) const {
    std::vector<std::string> known;
    for (int i = 0; i < type->field_count(); ++i) known.push_back(type->field(i)->name());
    const std::string suggestion = Suggestion(std::string(key), known);
    Fail(Begin(), type->full_name(),
         "has no field " + Value() +
             (suggestion.empty() ? "; ovix-contracts show lists those it has" : suggestion));
  }

  [[noreturn]] void FailSyntax(rapidjson::ParseErrorCode code, size_t at) const {
    if (code == rapidjson::kParseErrorNumberTooBig) at = Begin();
    // A word that is not a value fails within.
    const auto is_in_word = [&](char c) {
      return std::isalnum(static_cast<unsigned char>(c)) || c == '-';
    };
    while (code == rapidjson::kParseErrorValueInvalid && at > behind_ &&
           is_in_word(text_[at - 1])) {
      --at;
    }
    const char next = at < text_.size() ? text_[at] : '\0';
    switch (code) {
      case rapidjson::kParseErrorDocumentEmpty:
        Fail(at, Here(), "the input is empty; a message without values is {}");
      case rapidjson::kParseErrorDocumentRootNotSingular:
        Fail(at, Here(),
             "text follows the message; remove it (--delimited reads one message a line)");
      case rapidjson::kParseErrorNumberTooBig:
        Fail(at, Here(), "the number is too large; write one that fits the field");
      default:
        break;
    }
    if (at >= text_.size()) Fail(text_.size(), Here(), "the input ends within the message");
    switch (code) {
      case rapidjson::kParseErrorValueInvalid:
      case rapidjson::kParseErrorObjectMissName:
        if (text_.starts_with("\xef\xbb\xbf")) {
          Fail(at, Here(), "a byte order mark; save the file as UTF-8 without it");
        }
        if (next == '\'') Fail(at, Here(), "single quotes; JSON has double quotes");
        if (next == ']' || next == '}') {
          Fail(at, Here(),
               std::string("a comma without anything behind it before ") + next + "; remove it");
        }
        if (code == rapidjson::kParseErrorObjectMissName) {
          Fail(at, Here(), "a name in double quotes belongs here");
        }
        Fail(at, Here(), "a value belongs here; " + FormHere());
      case rapidjson::kParseErrorObjectMissColon:
        Fail(at, Here(), "a colon belongs between a name and its value");
      case rapidjson::kParseErrorObjectMissCommaOrCurlyBracket:
        Fail(at, Here(), "a comma or } belongs here");
      case rapidjson::kParseErrorArrayMissCommaOrSquareBracket:
        Fail(at, Here(), "a comma or ] belongs here");
      case rapidjson::kParseErrorNumberMissFraction:
      case rapidjson::kParseErrorNumberMissExponent:
        Fail(at, Here(), "a digit belongs here");
      case rapidjson::kParseErrorStringUnicodeSurrogateInvalid:
        FailHalfPair();
      default:
        if (next != '\\') {
          Fail(at, Here(),
               "a line end or control character in text; close the quotes, or write an escape");
        }
        Fail(at, Here(),
             R"(JSON has no such escape; write \\ for a backslash, \uXXXX for a character)");
    }
  }

  rapidjson::Reader reader_;
  std::unordered_map<const Descriptor*, Names> names_;

  // Of the text that is being read.
  std::string_view text_;
  const std::string* input_ = nullptr;
  uint64_t first_line_ = 1;
  Message* root_ = nullptr;
  const rapidjson::MemoryStream* stream_ = nullptr;
  std::vector<Frame> frames_;
  std::vector<char> seen_;  // by message that has begun and index of the field
  size_t behind_ = 0;       // the end of what was read before
  size_t invalid_ = std::string_view::npos;
};

JsonReader::JsonReader() : parser_(std::make_unique<Parser>()) {}
JsonReader::~JsonReader() = default;

void JsonReader::Read(std::string_view text, const std::string& input, uint64_t first_line,
                      Message& message) {
  parser_->Read(text, input, first_line, message);
}

}  // namespace ovix::tool
