// The comments and lines of declarations: from the descriptor set's bytes, a schema at a time.
#include <google/protobuf/descriptor.pb.h>

#include <algorithm>
#include <set>
#include <utility>

#include "contracts/contracts.h"

namespace ovix::tool {
namespace {

using google::protobuf::FileDescriptorProto;

void AppendPath(const Descriptor* message, std::vector<int>& path) {
  if (message->containing_type() != nullptr) {
    AppendPath(message->containing_type(), path);
    path.push_back(google::protobuf::DescriptorProto::kNestedTypeFieldNumber);
  } else {
    path.push_back(FileDescriptorProto::kMessageTypeFieldNumber);
  }
  path.push_back(message->index());
}

std::vector<int> PathOf(const Descriptor* message) {
  std::vector<int> path;
  AppendPath(message, path);
  return path;
}

// The path of something declared in a message or, without one, in the file.
std::vector<int> PathIn(const Descriptor* scope, int number_in_message, int number_in_file,
                        int index) {
  std::vector<int> path;
  if (scope != nullptr) AppendPath(scope, path);
  path.push_back(scope != nullptr ? number_in_message : number_in_file);
  path.push_back(index);
  return path;
}

std::vector<int> PathOf(const FieldDescriptor* field) {
  using google::protobuf::DescriptorProto;
  if (!field->is_extension()) {
    return PathIn(field->containing_type(), DescriptorProto::kFieldFieldNumber, 0, field->index());
  }
  return PathIn(field->extension_scope(), DescriptorProto::kExtensionFieldNumber,
                FileDescriptorProto::kExtensionFieldNumber, field->index());
}

std::vector<int> PathOf(const EnumDescriptor* enumeration) {
  return PathIn(enumeration->containing_type(),
                google::protobuf::DescriptorProto::kEnumTypeFieldNumber,
                FileDescriptorProto::kEnumTypeFieldNumber, enumeration->index());
}

std::vector<int> PathOf(const EnumValueDescriptor* value) {
  std::vector<int> path = PathOf(value->type());
  path.push_back(google::protobuf::EnumDescriptorProto::kValueFieldNumber);
  path.push_back(value->index());
  return path;
}

std::vector<int> PathOf(const google::protobuf::ServiceDescriptor* service) {
  return {FileDescriptorProto::kServiceFieldNumber, service->index()};
}

std::vector<int> PathOf(const google::protobuf::MethodDescriptor* method) {
  std::vector<int> path = PathOf(method->service());
  path.push_back(google::protobuf::ServiceDescriptorProto::kMethodFieldNumber);
  path.push_back(method->index());
  return path;
}

}  // namespace

template <typename Function>
void Contracts::ForPlacesOf(const FileDescriptor* file, Function use) const {
  const auto encoded = encoded_.find(file->name());
  FileDescriptorProto schema;
  if (encoded == encoded_.end() ||
      !schema.ParseFromArray(encoded->second.data(), static_cast<int>(encoded->second.size()))) {
    return;
  }
  for (auto& location : *schema.mutable_source_code_info()->mutable_location()) {
    if (location.span_size() == 0) continue;
    Place place{std::move(*location.mutable_leading_comments()), 0, location.span(0) + 1, {}};
    place.line = place.declaration -
                 static_cast<int>(std::count(place.comment.begin(), place.comment.end(), '\n'));
    place.other_comments.push_back(std::move(*location.mutable_trailing_comments()));
    for (auto& comment : *location.mutable_leading_detached_comments()) {
      place.other_comments.push_back(std::move(comment));
    }
    use(Path(location.path().begin(), location.path().end()), std::move(place));
  }
}

const std::map<Contracts::Path, Contracts::Place>& Contracts::PlacesOf(
    const FileDescriptor* file) const {
  auto known = places_.find(file);
  if (known == places_.end()) {
    known = places_.try_emplace(file).first;
    ForPlacesOf(file, [&](Path path, Place place) {
      known->second.emplace(std::move(path), std::move(place));
    });
  }
  return known->second;
}

std::vector<Contracts::Place> Contracts::OtherPlacesOf(const FileDescriptor* file) const {
  std::set<Path> declared;
  for (const Descriptor* message : messages()) {
    if (message->file() != file) continue;
    declared.insert(PathOf(message));
    for (int i = 0; i < message->field_count(); ++i) declared.insert(PathOf(message->field(i)));
  }
  for (const EnumDescriptor* enumeration : enums()) {
    if (enumeration->file() != file) continue;
    declared.insert(PathOf(enumeration));
    for (int i = 0; i < enumeration->value_count(); ++i) {
      declared.insert(PathOf(enumeration->value(i)));
    }
  }
  for (int i = 0; i < file->extension_count(); ++i) declared.insert(PathOf(file->extension(i)));

  std::vector<Place> others;
  ForPlacesOf(file, [&](const Path& path, Place place) {
    if (declared.contains(path)) return;
    if (path == Path{FileDescriptorProto::kSyntaxFieldNumber}) place.comment.clear();
    others.push_back(std::move(place));
  });
  return others;
}

const Contracts::Place& Contracts::PlaceOf(const FileDescriptor* file, const Path& path) const {
  static const Place& nowhere = *new Place;
  const std::map<Path, Place>& places = PlacesOf(file);
  const auto found = places.find(path);
  return found == places.end() ? nowhere : found->second;
}

Comment Contracts::CommentOf(const FileDescriptor* file) const {
  return ParseComment(PlaceOf(file, {FileDescriptorProto::kSyntaxFieldNumber}).comment);
}
Comment Contracts::CommentOf(const Descriptor* message) const {
  return ParseComment(PlaceOf(message->file(), PathOf(message)).comment);
}
Comment Contracts::CommentOf(const FieldDescriptor* field) const {
  return ParseComment(PlaceOf(field->file(), PathOf(field)).comment);
}
Comment Contracts::CommentOf(const EnumDescriptor* enumeration) const {
  return ParseComment(PlaceOf(enumeration->file(), PathOf(enumeration)).comment);
}
Comment Contracts::CommentOf(const EnumValueDescriptor* value) const {
  return ParseComment(PlaceOf(value->type()->file(), PathOf(value)).comment);
}

const std::vector<std::string>& Contracts::OtherCommentsOf(const Descriptor* message) const {
  return PlaceOf(message->file(), PathOf(message)).other_comments;
}
const std::vector<std::string>& Contracts::OtherCommentsOf(const FieldDescriptor* field) const {
  return PlaceOf(field->file(), PathOf(field)).other_comments;
}
const std::vector<std::string>& Contracts::OtherCommentsOf(
    const EnumDescriptor* enumeration) const {
  return PlaceOf(enumeration->file(), PathOf(enumeration)).other_comments;
}
const std::vector<std::string>& Contracts::OtherCommentsOf(const EnumValueDescriptor* value) const {
  return PlaceOf(value->type()->file(), PathOf(value)).other_comments;
}

int Contracts::LineOf(const FileDescriptor* file) const {
  return PlaceOf(file, {FileDescriptorProto::kSyntaxFieldNumber}).line;
}
int Contracts::LineOf(const Descriptor* message) const {
  return PlaceOf(message->file(), PathOf(message)).line;
}
int Contracts::LineOf(const FieldDescriptor* field) const {
  return PlaceOf(field->file(), PathOf(field)).line;
}
int Contracts::LineOf(const EnumDescriptor* enumeration) const {
  return PlaceOf(enumeration->file(), PathOf(enumeration)).line;
}
int Contracts::LineOf(const EnumValueDescriptor* value) const {
  return PlaceOf(value->type()->file(), PathOf(value)).line;
}

int Contracts::LineOf(const google::protobuf::ServiceDescriptor* service) const {
  return PlaceOf(service->file(), PathOf(service)).line;
}
int Contracts::LineOf(const google::protobuf::MethodDescriptor* method) const {
  return PlaceOf(method->service()->file(), PathOf(method)).line;
}

int Contracts::DeclarationOf(const Descriptor* message) const {
  return PlaceOf(message->file(), PathOf(message)).declaration;
}
int Contracts::DeclarationOf(const FieldDescriptor* field) const {
  return PlaceOf(field->file(), PathOf(field)).declaration;
}

int Contracts::LineOfOption(const Descriptor* message, const std::vector<int>& option) const {
  Path path = PathOf(message);
  const size_t options = path.size() + 1;
  path.push_back(google::protobuf::DescriptorProto::kOptionsFieldNumber);
  path.insert(path.end(), option.begin(), option.end());
  const std::map<Path, Place>& places = PlacesOf(message->file());
  int line = 0;
  for (auto place = places.lower_bound(path); place != places.end(); ++place) {
    if (place->first.size() < path.size() ||
        !std::equal(path.begin(), path.end(), place->first.begin())) {
      break;
    }
    const int declaration = place->second.declaration;
    line = line == 0 ? declaration : std::min(line, declaration);
  }
  // The fields of one that is set in braces have no places of their own.
  for (; line == 0 && path.size() > options; path.pop_back()) {
    line = PlaceOf(message->file(), path).declaration;
  }
  return line == 0 ? DeclarationOf(message) : line;
}

}  // namespace ovix::tool
