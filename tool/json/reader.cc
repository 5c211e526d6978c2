#include "json/reader.h"

#include <google/protobuf/descriptor.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <new>
#include <set>
#include <unordered_map>
#include <vector>

#include "json/fields.h"
#include "json/number.h"
#include "json/syntax.h"
#include "json/text.h"

namespace ovix::tool {
namespace {

using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::Reflection;

constexpr size_t kDeepest = 100;  // messages in messages, as the runtime reads them

using Names = std::unordered_map<std::string_view, const FieldDescriptor*>;

// Memory for RapidJSON, whose own allocator hands on a null pointer that it then writes to.
class ThrowingAllocator {
 public:
  void* Malloc(size_t size) { return size == 0 ? nullptr : Checked(std::malloc(size)); }
  void* Realloc(void* memory, size_t, size_t size) {
    if (size != 0) return Checked(std::realloc(memory, size));
    std::free(memory);
    return nullptr;
  }
  static void Free(void* memory) { std::free(memory); }

 private:
  static void* Checked(void* memory) {
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
  }
};

}  // namespace

// Takes the parser's events and sets the fields.
class JsonReader::Parser : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, Parser> {
 public:
  void Read(std::string_view text, const std::string& input, uint64_t first_line,
            Message& message) {
    text_ = JsonText(text, input, first_line);
    root_ = &message;
    frames_.clear();
    seen_.clear();
    behind_ = 0;
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
      Fail(frame.field->full_name(), std::string("null is not an element of a ") +
                                         (frame.kind == Frame::kMap ? "map" : "list") +
                                         "; remove it");
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
      Fail(frame.field->full_name(), "is set twice in one message; remove one");
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
      Fail(field->full_name(), "an element is itself a list; remove the inner [ ]");
    }
    if (!field->is_repeated() || field->is_map()) {
      Fail(field->full_name(), field->is_map() ? "is a map, not a list; write { ... }"
                                               : "is one value, not a list; " + JsonForm(field));
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
      Fail(type->full_name(), "has a JSON form of its own, which this tool does not read");
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
      Fail(target.field->full_name(), target.field->is_map()
                                          ? Value() + " is not a map; write { ... }"
                                          : Value() + " is not a list; write [ ... ]");
    }
    if (is_message != (target.field->message_type() != nullptr)) FailType(target.field);
    const auto* oneof = target.is_element ? nullptr : target.field->real_containing_oneof();
    if (oneof != nullptr && target.message->GetReflection()->HasOneof(*target.message, oneof)) {
      Fail(target.field->full_name(),
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
      Fail(frame.field->full_name(), Value() + " is set twice in one map; remove one");
    }
  }

  // --- What went wrong.

  // Where what was just read begins.
  size_t Begin() const { return text_.TokenAfter(behind_); }
  // What was just read, as it is written.
  std::string Value() const {
    const std::string value = text_.Shown(Begin(), stream_->Tell());
    return value == "{" ? "an object" : value;
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
    if (frames_.empty() || frames_.back().field == nullptr) return "write { ... }";
    const Frame& frame = frames_.back();
    if (frame.kind == Frame::kMessage && frame.field->is_map()) return "write { ... }";
    if (frame.kind == Frame::kMessage && frame.field->is_repeated()) return "write [ ... ]";
    return JsonForm(frame.field);
  }

  [[noreturn]] void Fail(const std::string& where, const std::string& what) const {
    text_.Fail(Begin(), where, what);
  }
  // Fails where the text up to here has a byte that is not UTF-8.
  void CheckUtf8(size_t end) const {
    if (!text_.IsUtf8Before(end)) text_.Fail(end, Here(), "");
  }
  [[noreturn]] void FailRoot() const {
    Fail(root_->GetDescriptor()->full_name(), "a message is written as an object; write { ... }");
  }
  [[noreturn]] void FailType(const FieldDescriptor* field) const {
    std::string word = Value();
    std::erase(word, '"');
    Fail(field->full_name(),
         Value() + " is not of type " + JsonTypeName(field) + Fix(field, word, JsonForm(field)));
  }
  [[noreturn]] void FailHalfPair() const {
    CheckUtf8(stream_->Tell());
    Fail(Here(), "half of a surrogate pair is not a character; write both \\u escapes");
  }
  [[noreturn]] void FailDeep(const Descriptor* type) const {
    Fail(type->full_name(),
         "messages nested deeper than " + std::to_string(kDeepest) + "; no runtime reads them");
  }
  [[noreturn]] void FailUnknown(const Descriptor* type, std::string_view key) const {
    Fail(type->full_name(), "has no field " + Value() + FieldSuggestion(type, std::string(key)));
  }

  [[noreturn]] void FailSyntax(rapidjson::ParseErrorCode code, size_t at) const {
    const JsonProblem problem = ExplainSyntax(code, at, text_.all(), behind_, FormHere());
    text_.Fail(problem.at, Here(), problem.what);
  }

  rapidjson::GenericReader<rapidjson::UTF8<>, rapidjson::UTF8<>, ThrowingAllocator> reader_;
  std::unordered_map<const Descriptor*, Names> names_;

  // Of the text that is being read.
  JsonText text_;
  Message* root_ = nullptr;
  const rapidjson::MemoryStream* stream_ = nullptr;
  std::vector<Frame> frames_;
  std::vector<char> seen_;  // by message that has begun and index of the field
  size_t behind_ = 0;       // the end of what was read before
};

JsonReader::JsonReader() : parser_(std::make_unique<Parser>()) {}
JsonReader::~JsonReader() = default;

void JsonReader::Read(std::string_view text, const std::string& input, uint64_t first_line,
                      Message& message) {
  parser_->Read(text, input, first_line, message);
}

}  // namespace ovix::tool
