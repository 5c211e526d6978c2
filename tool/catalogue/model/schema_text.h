// Declarations as a schema writes them.
#ifndef OVIX_TOOL_CATALOGUE_MODEL_SCHEMA_TEXT_H_
#define OVIX_TOOL_CATALOGUE_MODEL_SCHEMA_TEXT_H_

#include <google/protobuf/descriptor.h>
#include <google/protobuf/descriptor_database.h>

#include <string>

#include "contracts/contracts.h"

namespace ovix::tool {

// Prints declarations, with their comments and all that is nested in them, in protobuf's schema
// language. A descriptor set has no text, so this is another layout of the file's: protoc reads the
// same declarations and comments from it. Not for use by two threads at once.
class SchemaTexts {
 public:
  // `contracts` must outlive it.
  explicit SchemaTexts(const Contracts& contracts);

  // A declaration at package level; ends in a line end.
  std::string Of(const Descriptor* message) const;
  std::string Of(const EnumDescriptor* enumeration) const;

 private:
  // The files of the set with what makes the printed text worth reading.
  class Files : public google::protobuf::DescriptorDatabase {
   public:
    explicit Files(const Contracts& contracts) : contracts_(contracts) {}
    bool FindFileByName(const std::string& name,
                        google::protobuf::FileDescriptorProto* file) override;
    bool FindFileContainingSymbol(const std::string&,
                                  google::protobuf::FileDescriptorProto*) override {
      return false;
    }
    bool FindFileContainingExtension(const std::string&, int,
                                     google::protobuf::FileDescriptorProto*) override {
      return false;
    }

   private:
    const Contracts& contracts_;
  };

  Files files_;
  google::protobuf::DescriptorPool pool_;
};

}  // namespace ovix::tool

#endif  // OVIX_TOOL_CATALOGUE_MODEL_SCHEMA_TEXT_H_
