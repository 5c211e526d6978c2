// Small schemas written as text, to see what a comparison says of two releases of them.
#ifndef OVIX_TESTS_SUPPORT_SCHEMA_PAIR_H_
#define OVIX_TESTS_SUPPORT_SCHEMA_PAIR_H_

#include <google/protobuf/descriptor.pb.h>

#include <string>
#include <vector>

#include "support/folder.h"

namespace ovix::tests {

// Compiles schemas, each to a package of its own, pair0, pair1 ..., with their comments and with
// the options of the contracts. A schema is the body of PACKAGE/main.proto; a line "=== NAME"
// begins PACKAGE/NAME.proto. Both are of proto3 unless they begin with another line `syntax`.
// "$persistance", "$column" and "$cdm" are the options of the contracts, "$package" is the package,
// "$extension" a number for an extension that no other text has.
// Fails the test where a schema does not compile.
google::protobuf::FileDescriptorSet Compiled(const Folder& folder,
                                             const std::vector<std::string>& texts);

// Of what Compiled() gave the files of one package, and the options.
google::protobuf::FileDescriptorSet OnlyPackage(const google::protobuf::FileDescriptorSet& set,
                                                size_t number);

}  // namespace ovix::tests

#endif  // OVIX_TESTS_SUPPORT_SCHEMA_PAIR_H_
