#include "convert/json_places.h"

#include <google/protobuf/stubs/common.h>

#include <algorithm>

namespace ovix::tool {
namespace {

constexpr int kDeepest = 200;

// Protobuf takes battery_status and batteryStatus for the same name.
std::string Plain(std::string_view name) {
  std::string plain;
  for (char c : name) {
    if (c != '_') plain += c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  }
  return plain;
}

bool IsSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

}  // namespace

JsonPlaces::JsonPlaces(std::string_view text) : text_(text) {
  Value("", 0);
  Space();
  if (at_ != text_.size()) Break();
}

std::optional<size_t> JsonPlaces::Find(const std::string& path) const {
  const std::string plain = Plain(path);
  for (const auto& [place, known] : places_) {
    if (Plain(known) == plain) return place;
  }
  return std::nullopt;
}

std::string JsonPlaces::PathAt(size_t place) const {
  std::string path;
  for (const auto& [begin, known] : places_) {
    if (begin <= place) path = known;
  }
  return path;
}

void JsonPlaces::Break() {
  if (!broken_) broken_ = at_;
}

void JsonPlaces::Space() {
  while (at_ < text_.size() && IsSpace(text_[at_])) ++at_;
}

bool JsonPlaces::Take(char c) {
  Space();
  if (at_ == text_.size() || text_[at_] != c) return false;
  ++at_;
  return true;
}

// A quoted text or a bare word.
std::string JsonPlaces::Name() {
  Space();
  const size_t begin = at_;
  if (begin == text_.size()) {
    Break();
    return "";
  }
  const char quote = text_[begin];
  if (quote != '"' && quote != '\'') {
    while (at_ < text_.size() && !IsSpace(text_[at_]) &&
           std::string_view(",:[]{}\"'").find(text_[at_]) == std::string_view::npos) {
      ++at_;
    }
    if (at_ == begin) Break();
    return std::string(text_.substr(begin, at_ - begin));
  }
  for (++at_; at_ < text_.size() && text_[at_] != quote; ++at_) {
    if (text_[at_] == '\\') ++at_;
  }
  if (at_ >= text_.size()) {
    at_ = text_.size();
    Break();
    return "";
  }
  ++at_;
  return std::string(text_.substr(begin + 1, at_ - begin - 2));
}

void JsonPlaces::Value(const std::string& path, int depth) {
  if (depth > kDeepest) return Break();
  Space();
  if (Take('{')) return Object(path, depth);
  if (Take('[')) return Array(path, depth);
  Name();
}

void JsonPlaces::Object(const std::string& path, int depth) {
  while (!broken_ && !Take('}')) {
    Space();
    const size_t place = at_;
    const std::string name = Name();
    if (broken_) return;
    std::string below = path.empty() ? name : path + "." + name;
    places_.emplace_back(place, below);
    if (!Take(':')) return Break();
    Value(below, depth + 1);
    if (broken_ || Take(',')) continue;
    if (Take('}')) return;
    return Break();
  }
}

void JsonPlaces::Array(const std::string& path, int depth) {
  for (int index = 0; !broken_ && !Take(']'); ++index) {
    Space();
    const std::string below = path + "[" + std::to_string(index) + "]";
    places_.emplace_back(at_, below);
    Value(below, depth + 1);
    if (broken_ || Take(',')) continue;
    if (Take(']')) return;
    return Break();
  }
}

const google::protobuf::FieldDescriptor* FieldAt(const google::protobuf::Descriptor* message,
                                                 const std::string& path) {
  const google::protobuf::FieldDescriptor* field = nullptr;
  for (size_t begin = 0; begin < path.size() && message != nullptr;) {
    const size_t end = std::min(path.find('.', begin), path.size());
    std::string_view name = std::string_view(path).substr(begin, end - begin);
    const std::string plain = Plain(name.substr(0, name.find('[')));
    field = nullptr;
    for (int i = 0; i < message->field_count() && field == nullptr; ++i) {
      if (Plain(message->field(i)->name()) == plain) field = message->field(i);
    }
    message = field == nullptr ? nullptr : field->message_type();
    begin = end + 1;
    if (field == nullptr) return nullptr;
  }
  return field;
}

size_t FindInvalidUtf8(std::string_view text) {
  const auto is_valid = [&](size_t begin, size_t size) {
    return google::protobuf::internal::IsStructurallyValidUTF8(text.data() + begin,
                                                               static_cast<int>(size));
  };
  if (is_valid(0, text.size())) return std::string_view::npos;
  size_t valid = 0;
  while (valid < text.size()) {
    size_t size = 1;
    while (size <= 4 && valid + size <= text.size() && !is_valid(valid, size)) ++size;
    if (size > 4 || valid + size > text.size()) break;
    valid += size;
  }
  return valid;
}

}  // namespace ovix::tool
