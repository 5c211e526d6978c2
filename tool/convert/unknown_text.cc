#include "convert/unknown_text.h"

#include <google/protobuf/io/tokenizer.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <map>
#include <optional>

#include "wire/utf8.h"

namespace ovix::tool {
namespace {

using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::UnknownFieldSet;

constexpr int kDeepest = 100;

template <typename Number>
std::optional<Number> ReadNumber(std::string_view word, int base = 10) {
  Number number = 0;
  const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number, base);
  if (error != std::errc() || end != word.data() + word.size()) return std::nullopt;
  return number;
}

}  // namespace

UnknownText::UnknownText(std::string& text, const Descriptor* message, size_t watched)
    : text_(text), watched_(watched), watched_message_(message) {
  ReadFields(message, {}, '\0');
}

void UnknownText::AddTo(Message& message) const {
  for (const Found& found : found_) {
    Message* holder = &message;
    for (const auto& [field, index] : found.path) {
      const auto* reflection = holder->GetReflection();
      holder = field->is_repeated() ? reflection->MutableRepeatedMessage(holder, field, index)
                                    : reflection->MutableMessage(holder, field);
    }
    holder->GetReflection()->MutableUnknownFields(holder)->MergeFrom(found.fields);
  }
}

// The next character after spaces and comments; 0 at the end.
char UnknownText::Next() {
  while (at_ < text_.size()) {
    if (text_[at_] == '#') {
      at_ = std::min(text_.find('\n', at_), text_.size());
    } else if (std::isspace(static_cast<unsigned char>(text_[at_]))) {
      ++at_;
    } else {
      return text_[at_];
    }
  }
  return '\0';
}

bool UnknownText::Take(char c) {
  if (Next() != c || c == '\0') return false;
  ++at_;
  return true;
}

std::string UnknownText::Word() {
  Next();
  const size_t begin = at_;
  while (at_ < text_.size() &&
         (std::isalnum(static_cast<unsigned char>(text_[at_])) ||
          std::string_view("_.-+").find(text_[at_]) != std::string_view::npos)) {
    ++at_;
  }
  return text_.substr(begin, at_ - begin);
}

// A quoted string unchanged; empty where its end is missing.
std::string UnknownText::Quoted() {
  const char quote = Next();
  const size_t begin = at_;
  for (++at_; at_ < text_.size() && text_[at_] != quote; ++at_) {
    if (text_[at_] == '\\') ++at_;
  }
  if (at_ >= text_.size()) return "";
  ++at_;
  return text_.substr(begin, at_ - begin);
}

bool UnknownText::SkipScalar(const FieldDescriptor* field) {
  if (Next() != '"' && Next() != '\'') return !Word().empty();
  const size_t begin = at_;
  std::string value;
  while (Next() == '"' || Next() == '\'') {
    const std::string quoted = Quoted();
    if (quoted.empty()) return false;
    google::protobuf::io::Tokenizer::ParseStringAppend(quoted, &value);
  }
  if (bad_text_field_ == nullptr && field->type() == FieldDescriptor::TYPE_STRING &&
      !IsUtf8(value)) {
    bad_text_ = begin;
    bad_text_field_ = field;
  }
  return true;
}

bool UnknownText::ReadFields(const Descriptor* message, const Path& path, char end) {
  if (++depth_ > kDeepest) return false;
  std::map<const FieldDescriptor*, int> counts;
  while (Next() != '\0') {
    if (Take(end)) {
      --depth_;
      return true;
    }
    const size_t begin = at_;
    const std::string name = Word();
    const auto number = ReadNumber<int>(name);
    if (number && *number > 0 && *number <= FieldDescriptor::kMaxNumber) {
      if (found_.empty() || found_.back().path != path) found_.emplace_back().path = path;
      if (!ReadUnknown(found_.back().fields, *number)) return false;
      for (size_t i = begin; i < at_; ++i) {
        if (text_[i] != '\n') text_[i] = ' ';
      }
      continue;
    }
    const FieldDescriptor* field = message->FindFieldByName(name);
    if (begin <= watched_) {
      watched_message_ = message;
      watched_field_ = field;
    }
    if (field == nullptr || !ReadKnown(field, path, counts[field])) return false;
    if (!Take(',')) Take(';');
  }
  return end == '\0';
}

bool UnknownText::ReadKnown(const FieldDescriptor* field, Path path, int& index) {
  Take(':');
  const bool is_list = Take('[');
  if (is_list && Take(']')) return true;
  do {
    if (field->message_type() == nullptr) {
      if (!SkipScalar(field)) return false;
      continue;
    }
    const char end = Next() == '<' ? '>' : '}';
    if (!Take('{') && !Take('<')) return false;
    path.emplace_back(field, index++);
    if (!ReadFields(field->message_type(), path, end)) return false;
    path.pop_back();
  } while (is_list && Take(','));
  return !is_list || Take(']');
}

// The value after a number, in the forms that TextFormat prints.
bool UnknownText::ReadUnknown(UnknownFieldSet& fields, int number) {
  Take(':');
  if (Take('{')) {
    UnknownFieldSet inner;
    if (!ReadUnknownFields(inner, '}')) return false;
    return inner.SerializeToString(fields.AddLengthDelimited(number));
  }
  if (Next() == '"' || Next() == '\'') {
    std::string* bytes = fields.AddLengthDelimited(number);
    while (Next() == '"' || Next() == '\'') {
      const std::string quoted = Quoted();
      if (quoted.empty()) return false;
      google::protobuf::io::Tokenizer::ParseStringAppend(quoted, bytes);
    }
    return true;
  }
  const std::string word = Word();
  if (!word.starts_with("0x")) {
    const auto value = ReadNumber<uint64_t>(word);
    if (value) fields.AddVarint(number, *value);
    return value.has_value();
  }
  const auto bits = ReadNumber<uint64_t>(std::string_view(word).substr(2), 16);
  if (!bits || (word.size() != 10 && word.size() != 18)) return false;
  if (word.size() == 10) {
    fields.AddFixed32(number, static_cast<uint32_t>(*bits));
  } else {
    fields.AddFixed64(number, *bits);
  }
  return true;
}

bool UnknownText::ReadUnknownFields(UnknownFieldSet& fields, char end) {
  if (++depth_ > kDeepest) return false;
  while (!Take(end)) {
    const auto number = ReadNumber<int>(Word());
    if (!number || *number <= 0 || *number > FieldDescriptor::kMaxNumber) return false;
    if (!ReadUnknown(fields, *number)) return false;
  }
  --depth_;
  return true;
}

}  // namespace ovix::tool
