// Schemas compiled as protoc compiles them.
#ifndef OVIX_TOOL_CONTRACTS_COMPILE_H_
#define OVIX_TOOL_CONTRACTS_COMPILE_H_

#include <google/protobuf/compiler/importer.h>

#include <string>
#include <vector>

namespace ovix::tool {

// What protoc says of a schema, in its words.
struct SchemaError {
  std::string file;
  int line = 0;  // from 1, as the column; 0 where the error is of the whole file
  int column = 0;
  std::string what;
};

struct CompiledSchemas {
  std::string set;  // the bytes of a descriptor set with imports and comments; empty with errors
  std::vector<SchemaError> errors;  // in the order in which they were met
};

// Compiles the schemas of these names. They and what they import are read from `sources`; where it
// has no file of google/protobuf/, protobuf's own is taken, as far as the program has it.
CompiledSchemas CompileSchemas(google::protobuf::compiler::SourceTree& sources,
                               const std::vector<std::string>& names);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_CONTRACTS_COMPILE_H_
