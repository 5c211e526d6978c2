// The comments of the schemas, as the descriptor set carries them.
#ifndef OVIX_TESTS_SUPPORT_COMMENTS_H_
#define OVIX_TESTS_SUPPORT_COMMENTS_H_

#include <google/protobuf/descriptor.h>
#include <google/protobuf/descriptor.pb.h>

#include <string>
#include <vector>

namespace ovix::tests {

class Comments {
 public:
  explicit Comments(const google::protobuf::FileDescriptorSet& set);

  // The comment above a declaration; empty where there is none. Any descriptor of the generated
  // pool will do: the declaration is found by its name.
  template <typename AnyDescriptor>
  std::string Of(const AnyDescriptor* descriptor) const {
    google::protobuf::SourceLocation location;
    const AnyDescriptor* found = Find(descriptor);
    return found != nullptr && found->GetSourceLocation(&location) ? location.leading_comments : "";
  }

 private:
  const google::protobuf::Descriptor* Find(const google::protobuf::Descriptor* d) const {
    return pool_.FindMessageTypeByName(d->full_name());
  }
  const google::protobuf::EnumDescriptor* Find(const google::protobuf::EnumDescriptor* d) const {
    return pool_.FindEnumTypeByName(d->full_name());
  }
  const google::protobuf::FieldDescriptor* Find(const google::protobuf::FieldDescriptor* d) const {
    return d->is_extension() ? pool_.FindExtensionByName(d->full_name())
                             : pool_.FindFieldByName(d->full_name());
  }

  google::protobuf::DescriptorPool pool_;
};

// A line "Source: NAME, words" of a comment; the words may go on over lines.
struct Source {
  std::string name;
  std::string words;
};
std::vector<Source> Sources(const std::string& comment);

}  // namespace ovix::tests

#endif  // OVIX_TESTS_SUPPORT_COMMENTS_H_
