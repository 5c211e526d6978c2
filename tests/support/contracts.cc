#include "support/contracts.h"

#include <google/protobuf/stubs/logging.h>
#include <google/protobuf/unknown_field_set.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <iterator>
#include <limits>

#include "ovix/telemetry/contract/contracts_collection.h"
#include "support/names.h"

namespace ovix::tests {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::Reflection;

namespace {

std::string logged;

// Sets a singular field, or adds an element, from the values given for each type.
struct Values {
  int64_t int64;
  uint64_t uint64;
  double real;
  bool boolean;
  int enumeration;
  std::string text;
};

template <typename Number>
Number Clamped(int64_t value) {
  return static_cast<Number>(std::clamp<int64_t>(value, std::numeric_limits<Number>::min(),
                                                 std::numeric_limits<Number>::max()));
}

void SetField(Message* message, const FieldDescriptor* field, const Values& v) {
  const Reflection* reflection = message->GetReflection();
  const bool add = field->is_repeated();
  const uint32_t uint32 =
      static_cast<uint32_t>(std::min<uint64_t>(v.uint64, std::numeric_limits<uint32_t>::max()));
  switch (field->cpp_type()) {
    case FieldDescriptor::CPPTYPE_INT32:
      return add ? reflection->AddInt32(message, field, Clamped<int32_t>(v.int64))
                 : reflection->SetInt32(message, field, Clamped<int32_t>(v.int64));
    case FieldDescriptor::CPPTYPE_INT64:
      return add ? reflection->AddInt64(message, field, v.int64)
                 : reflection->SetInt64(message, field, v.int64);
    case FieldDescriptor::CPPTYPE_UINT32:
      return add ? reflection->AddUInt32(message, field, uint32)
                 : reflection->SetUInt32(message, field, uint32);
    case FieldDescriptor::CPPTYPE_UINT64:
      return add ? reflection->AddUInt64(message, field, v.uint64)
                 : reflection->SetUInt64(message, field, v.uint64);
    case FieldDescriptor::CPPTYPE_FLOAT:
      return add ? reflection->AddFloat(message, field, static_cast<float>(v.real))
                 : reflection->SetFloat(message, field, static_cast<float>(v.real));
    case FieldDescriptor::CPPTYPE_DOUBLE:
      return add ? reflection->AddDouble(message, field, v.real)
                 : reflection->SetDouble(message, field, v.real);
    case FieldDescriptor::CPPTYPE_BOOL:
      return add ? reflection->AddBool(message, field, v.boolean)
                 : reflection->SetBool(message, field, v.boolean);
    case FieldDescriptor::CPPTYPE_ENUM:
      return add ? reflection->AddEnumValue(message, field, v.enumeration)
                 : reflection->SetEnumValue(message, field, v.enumeration);
    case FieldDescriptor::CPPTYPE_STRING:
      return add ? reflection->AddString(message, field, v.text)
                 : reflection->SetString(message, field, v.text);
    case FieldDescriptor::CPPTYPE_MESSAGE:
      break;
  }
}

}  // namespace

std::vector<const Message*> AllPrototypes() {
  std::vector<const Message*> prototypes;
  telemetry::contract::ContractsCollection contracts;
  while (const Message* prototype = contracts.Next()) prototypes.push_back(prototype);
  return prototypes;
}

std::string TestName(const Message& prototype) {
  std::string name = prototype.GetDescriptor()->full_name();
  std::replace(name.begin(), name.end(), '.', '_');
  return name;
}

void FillAll(Message* message, int seed) {
  const auto* descriptor = message->GetDescriptor();
  for (int i = 0; i < descriptor->field_count(); ++i) {
    const FieldDescriptor* field = descriptor->field(i);
    const int count = field->is_repeated() ? 3 : 1;
    for (int n = 0; n < count; ++n) {
      const int salt = (seed * 100 + i * 3 + n) % 1000000 + 1;
      if (field->cpp_type() == FieldDescriptor::CPPTYPE_MESSAGE) {
        FillAll(field->is_repeated() ? message->GetReflection()->AddMessage(message, field)
                                     : message->GetReflection()->MutableMessage(message, field),
                salt);
      } else {
        SetField(message, field,
                 {-salt, static_cast<uint64_t>(salt), salt / 8.0, true, 1,
                  field->name() + " " + std::to_string(salt)});
      }
    }
  }
}

void FillExtremes(Message* message) {
  const Values low = {std::numeric_limits<int64_t>::min(), 0, -0.0, false, -1, ""};
  const Values high = {std::numeric_limits<int64_t>::max(),
                       std::numeric_limits<uint64_t>::max(),
                       std::numeric_limits<double>::quiet_NaN(),
                       true,
                       1 << 30,
                       std::string("a\0\"\\\n\xE2\x82\xAC\xF0\x9F\x98\x80", 12)};
  const auto* descriptor = message->GetDescriptor();
  for (int i = 0; i < descriptor->field_count(); ++i) {
    const FieldDescriptor* field = descriptor->field(i);
    if (field->cpp_type() == FieldDescriptor::CPPTYPE_MESSAGE) {
      Message* nested = field->is_repeated()
                            ? message->GetReflection()->AddMessage(message, field)
                            : message->GetReflection()->MutableMessage(message, field);
      FillExtremes(nested);
      if (field->is_repeated())
        message->GetReflection()->AddMessage(message, field);  // an empty one
    } else if (field->is_repeated()) {
      SetField(message, field, low);
      SetField(message, field, high);
    } else {
      SetField(message, field, i % 2 == 0 ? high : low);
    }
  }
}

void SetZero(Message* message, const FieldDescriptor* field) {
  SetField(message, field, {0, 0, 0.0, false, 0, ""});
}

std::vector<EncodedField> Fields(const std::string& encoded) {
  google::protobuf::UnknownFieldSet set;
  EXPECT_TRUE(set.ParseFromString(encoded)) << "not a message: " << encoded.size() << " bytes";
  std::vector<EncodedField> fields;
  for (int i = 0; i < set.field_count(); ++i) {
    google::protobuf::UnknownFieldSet one;
    one.AddField(set.field(i));
    std::string bytes;
    one.SerializeToString(&bytes);
    const int wire_types[] = {0, 5, 1, 2, 3};  // by UnknownField::Type
    fields.push_back({set.field(i).number(), wire_types[set.field(i).type()], bytes});
  }
  return fields;
}

std::string Varint(uint64_t value) {
  std::string bytes;
  for (; value >= 0x80; value >>= 7) bytes += static_cast<char>(value | 0x80);
  return bytes + static_cast<char>(value);
}

std::string Tag(int number, int wire_type) {
  return Varint(static_cast<uint64_t>(number) << 3 | static_cast<uint64_t>(wire_type));
}

google::protobuf::FileDescriptorSet DescriptorSet() {
  google::protobuf::FileDescriptorSet set;
  std::ifstream file(FromUtf8(OVIX_TESTS_DESCRIPTOR_SET), std::ios::binary);
  EXPECT_TRUE(set.ParseFromIstream(&file))
      << OVIX_TESTS_DESCRIPTOR_SET << " is not a descriptor set";
  return set;
}

RuntimeLog::RuntimeLog() {
  logged.clear();
  google::protobuf::SetLogHandler([](google::protobuf::LogLevel, const char*, int,
                                     const std::string& message) { logged += message + "\n"; });
}

RuntimeLog::~RuntimeLog() { google::protobuf::SetLogHandler(nullptr); }

std::string RuntimeLog::text() const { return logged; }

}  // namespace ovix::tests
