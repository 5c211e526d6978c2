#include "catalogue/model/schema_text.h"

#include <google/protobuf/descriptor.pb.h>

#include <algorithm>
#include <set>
#include <string_view>

namespace ovix::tool {
namespace {

using google::protobuf::DescriptorProto;
using google::protobuf::FieldDescriptorProto;
using google::protobuf::FileDescriptorProto;

// The JSON name of a field that states none.
std::string DefaultJsonName(const std::string& name) {
  std::string json;
  bool is_hump = false;
  for (const char c : name) {
    if (c != '_') json += is_hump && c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    is_hump = c == '_';
  }
  return json;
}

// protoc writes the JSON name of every field.
void RemoveDefaultJsonNames(DescriptorProto& message) {
  for (FieldDescriptorProto& field : *message.mutable_field()) {
    if (field.json_name() == DefaultJsonName(field.name())) field.clear_json_name();
  }
  for (DescriptorProto& nested : *message.mutable_nested_type()) RemoveDefaultJsonNames(nested);
}

// Without the space after "//", which is printed with each line. One without text gets a space,
// for an empty one is not printed.
std::string AsPrinted(std::string_view comment) {
  std::string text;
  while (!comment.empty()) {
    const size_t end = std::min(comment.find('\n'), comment.size());
    std::string_view line = comment.substr(0, end);
    if (line.starts_with(' ')) line.remove_prefix(1);
    text += line.empty() ? " " : line;
    if (end < comment.size()) text += '\n';
    comment.remove_prefix(std::min(end + 1, comment.size()));
  }
  return text;
}

void AddNestedNames(const Descriptor* message, std::set<std::string>& names) {
  for (int i = 0; i < message->nested_type_count(); ++i) {
    names.insert(message->nested_type(i)->name());
    AddNestedNames(message->nested_type(i), names);
  }
  for (int i = 0; i < message->enum_type_count(); ++i) names.insert(message->enum_type(i)->name());
}
void AddNestedNames(const EnumDescriptor*, std::set<std::string>&) {}

// Printed names begin at the root (".a.package.Name"), those of a schema in its own package, or
// without the dot. A name stays as it is where a schema would find another by the shorter one.
void ShortenNames(std::string& code, const std::string& package,
                  const std::set<std::string>& nested) {
  const std::string own = package.empty() ? "." : "." + package + ".";
  for (size_t at = code.find(" ."); at != std::string::npos; at = code.find(" .", at + 1)) {
    const bool is_own = code.compare(at + 1, own.size(), own) == 0;
    const size_t begin = at + 1 + (is_own ? own.size() : 1);
    const size_t end = std::min(code.find_first_of(" .>", begin), code.size());
    const std::string first = code.substr(begin, end - begin);
    const bool is_hidden =
        nested.contains(first) ||
        (!is_own && (package + ".").find("." + first + ".") != std::string::npos);
    if (!is_hidden) code.erase(at + 1, begin - at - 1);
  }
  for (size_t at = code.find("(."); at != std::string::npos; at = code.find("(.", at)) {
    code.erase(at + 1, 1);
  }
}

template <typename AnyDescriptor>
std::string Printed(const AnyDescriptor* descriptor) {
  if (descriptor == nullptr) return "";
  google::protobuf::DebugStringOptions options;
  options.include_comments = true;
  const std::string printed = descriptor->DebugStringWithOptions(options);
  std::set<std::string> nested;
  AddNestedNames(descriptor, nested);
  std::string text;
  for (std::string_view rest = printed; !rest.empty();) {
    const size_t end = std::min(rest.find('\n'), rest.size());
    std::string line(rest.substr(0, end));
    rest.remove_prefix(std::min(end + 1, rest.size()));
    line.erase(line.find_last_not_of(' ') + 1);
    const size_t first = std::min(line.find_first_not_of(' '), line.size());
    if (line.compare(first, 2, "//") != 0) {
      // What follows a quote is text.
      std::string code = line.substr(0, line.find('"'));
      line.erase(0, code.size());
      ShortenNames(code, descriptor->file()->package(), nested);
      line.insert(0, code);
    }
    text += line + "\n";
  }
  return text;
}

}  // namespace

bool SchemaTexts::Files::FindFileByName(const std::string& name, FileDescriptorProto* file) {
  const std::string_view encoded = contracts_.EncodedFile(name);
  if (encoded.empty() || !file->ParseFromArray(encoded.data(), static_cast<int>(encoded.size()))) {
    return false;
  }
  for (DescriptorProto& message : *file->mutable_message_type()) RemoveDefaultJsonNames(message);
  // The places of what has a comment; nothing is asked of the others, which are most.
  auto& places = *file->mutable_source_code_info()->mutable_location();
  places.erase(std::remove_if(places.begin(), places.end(),
                              [](const auto& place) {
                                return place.leading_comments().empty() &&
                                       place.trailing_comments().empty() &&
                                       place.leading_detached_comments().empty();
                              }),
               places.end());
  for (auto& place : places) {
    // One after a declaration would be printed below it, where it is the next one's.
    std::string comment = AsPrinted(place.leading_comments());
    comment += AsPrinted(place.trailing_comments());
    place.set_leading_comments(comment);
    place.clear_trailing_comments();
    for (std::string& detached : *place.mutable_leading_detached_comments()) {
      detached = AsPrinted(detached);
    }
  }
  return true;
}

SchemaTexts::SchemaTexts(const Contracts& contracts) : files_(contracts), pool_(&files_) {}

std::string SchemaTexts::Of(const Descriptor* message) const {
  // What the pool has not built yet it finds by its file only.
  pool_.FindFileByName(message->file()->name());
  return Printed(pool_.FindMessageTypeByName(message->full_name()));
}

std::string SchemaTexts::Of(const EnumDescriptor* enumeration) const {
  pool_.FindFileByName(enumeration->file()->name());
  return Printed(pool_.FindEnumTypeByName(enumeration->full_name()));
}

}  // namespace ovix::tool
