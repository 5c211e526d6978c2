// What tests over every contract share: the prototypes, values to fill them with, and an ear for
// what the protobuf runtime reports.
#ifndef OVIX_TESTS_SUPPORT_CONTRACTS_H_
#define OVIX_TESTS_SUPPORT_CONTRACTS_H_

#include <google/protobuf/descriptor.pb.h>
#include <google/protobuf/message.h>

#include <cstdint>
#include <string>
#include <vector>

namespace ovix::tests {

// Every prototype of the collection, in its order.
std::vector<const google::protobuf::Message*> AllPrototypes();

// A message's full name with underscores, as a test's name.
std::string TestName(const google::protobuf::Message& prototype);

// Sets every field, sub-messages and their fields included, to values that `seed` varies and that
// are not the fields' defaults; lists get three elements.
void FillAll(google::protobuf::Message* message, int seed);

// Sets every field to an extreme of its type: the largest and smallest numbers, negative zero, NaN,
// enumeration numbers that no schema has, text with an embedded NUL and beyond the basic plane.
void FillExtremes(google::protobuf::Message* message);

// Sets one singular scalar field to its type's zero.
void SetZero(google::protobuf::Message* message, const google::protobuf::FieldDescriptor* field);

// One field of an encoded message.
struct EncodedField {
  int number;
  int wire_type;
  std::string bytes;  // tag included
};
// Takes apart what the runtime encoded; fails the test for bytes that are not a message.
std::vector<EncodedField> Fields(const std::string& encoded);

std::string Varint(uint64_t value);
std::string Tag(int number, int wire_type);

// contracts.binpb of the build.
google::protobuf::FileDescriptorSet DescriptorSet();

// Collects what the runtime reports while it lives.
class RuntimeLog {
 public:
  RuntimeLog();
  ~RuntimeLog();
  std::string text() const;
};

}  // namespace ovix::tests

#endif  // OVIX_TESTS_SUPPORT_CONTRACTS_H_
