#include "wire/wire.h"

#include <google/protobuf/stubs/common.h>
#include <google/protobuf/unknown_field_set.h>

#include <algorithm>
#include <vector>

namespace ovix::tool {
namespace {

using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::UnknownFieldSet;

constexpr int kDeepest = 100;  // messages in messages, as the runtime reads them

// The type on the wire of one element.
uint32_t WireTypeOf(const FieldDescriptor* field) {
  switch (field->type()) {
    case FieldDescriptor::TYPE_DOUBLE:
    case FieldDescriptor::TYPE_FIXED64:
    case FieldDescriptor::TYPE_SFIXED64:
      return 1;
    case FieldDescriptor::TYPE_STRING:
    case FieldDescriptor::TYPE_BYTES:
    case FieldDescriptor::TYPE_MESSAGE:
      return 2;
    case FieldDescriptor::TYPE_GROUP:
      return 3;
    case FieldDescriptor::TYPE_FLOAT:
    case FieldDescriptor::TYPE_FIXED32:
    case FieldDescriptor::TYPE_SFIXED32:
      return 5;
    default:
      return 0;
  }
}

class Reader {
 public:
  explicit Reader(std::string_view encoded) : begin_(encoded.data()), sound_(begin_) {}

  // Reads one message; false once a problem is found.
  bool Read(std::string_view rest, const Descriptor* message, int depth, uint32_t group = 0) {
    if (depth > kDeepest)
      return Fail(rest, "messages nested deeper than " + std::to_string(kDeepest));
    rest_ = rest;
    while (!rest_.empty()) {
      const std::string_view at = rest_;
      if (depth == 0) sound_ = at.data();
      uint64_t tag = 0;
      if (!ReadVarint(tag)) return false;
      const uint32_t number = static_cast<uint32_t>(tag >> 3);
      const uint32_t type = tag & 7;
      if (type == 4 && group != 0 && number == group) return true;
      if (number == 0 || tag > 0xffffffffU) return Fail(at, "no field has this tag");
      if (type == 4) return Fail(at, "a group ends that has not begun");
      const FieldDescriptor* field =
          message == nullptr ? nullptr : message->FindFieldByNumber(static_cast<int>(number));
      const std::string name =
          field != nullptr ? field->full_name() : "unknown field " + std::to_string(number);
      if (!ReadValue(at, type, number, field, name, depth)) return false;
    }
    return group == 0 || Fail(rest_, "the input ends within a group");
  }

  WireProblem problem;

 private:
  bool ReadValue(std::string_view at, uint32_t type, uint32_t number, const FieldDescriptor* field,
                 const std::string& name, int depth) {
    uint64_t value = 0;
    switch (type) {
      case 0:
        return ReadVarint(value);
      case 1:
      case 5:
        return Skip(at, type == 1 ? 8 : 4, name);
      case 3: {
        return Read(rest_, nullptr, depth + 1, number);
      }
      case 2:
        break;
      default:
        return Fail(at, name + " has wire type " + std::to_string(type) + ", which there is not");
    }
    if (!ReadVarint(value)) return false;
    const std::string_view content = rest_.substr(0, static_cast<size_t>(value));
    if (!Skip(at, value, name)) return false;
    if (field == nullptr || WireTypeOf(field) != 2) return true;
    if (field->type() == FieldDescriptor::TYPE_STRING &&
        !google::protobuf::internal::IsStructurallyValidUTF8(content.data(),
                                                             static_cast<int>(content.size()))) {
      return Fail(content, name + " is text that is not UTF-8");
    }
    if (field->message_type() == nullptr) return true;
    const std::string_view behind = rest_;
    if (!Read(content, field->message_type(), depth + 1)) return false;
    rest_ = behind;
    return true;
  }

  bool ReadVarint(uint64_t& value) {
    const std::string_view at = rest_;
    value = 0;
    for (size_t i = 0; i < 10; ++i) {
      if (i == rest_.size()) return Fail(at, "the input ends within a number");
      const auto byte = static_cast<unsigned char>(rest_[i]);
      value |= static_cast<uint64_t>(byte & 0x7f) << (7 * i);
      if (byte < 0x80) {
        rest_.remove_prefix(i + 1);
        return true;
      }
    }
    return Fail(at, "a number takes more than 10 bytes");
  }

  bool Skip(std::string_view at, uint64_t size, const std::string& name) {
    if (size > rest_.size()) {
      return Fail(at, name + " needs " + std::to_string(size) + " bytes, but " +
                          std::to_string(rest_.size()) + " are left");
    }
    rest_.remove_prefix(static_cast<size_t>(size));
    return true;
  }

  bool Fail(std::string_view at, const std::string& what) {
    problem = {static_cast<uint64_t>(at.data() - begin_), what,
               static_cast<size_t>(sound_ - begin_)};
    return false;
  }

  const char* const begin_;
  const char* sound_;  // up to here all fields of the message itself were read
  std::string_view rest_;
};

}  // namespace

WireProblem FindWireProblem(std::string_view encoded, const Descriptor* message) {
  Reader reader(encoded);
  reader.Read(encoded, message, 0);
  return reader.problem;
}

std::string InOrderOfNumbers(const std::string& encoded, const Descriptor* message) {
  using google::protobuf::UnknownField;
  UnknownFieldSet fields;
  fields.ParseFromString(encoded);
  std::vector<const UnknownField*> order;
  for (int i = 0; i < fields.field_count(); ++i) order.push_back(&fields.field(i));
  std::stable_sort(order.begin(), order.end(),
                   [](const auto* a, const auto* b) { return a->number() < b->number(); });
  UnknownFieldSet ordered;
  for (const UnknownField* field : order) {
    const FieldDescriptor* known = message->FindFieldByNumber(field->number());
    if (known != nullptr && known->message_type() != nullptr &&
        field->type() == UnknownField::TYPE_LENGTH_DELIMITED) {
      *ordered.AddLengthDelimited(field->number()) =
          InOrderOfNumbers(field->length_delimited(), known->message_type());
    } else {
      ordered.AddField(*field);
    }
  }
  std::string bytes;
  ordered.SerializeToString(&bytes);
  return bytes;
}

void CollectUnknown(const google::protobuf::Message& message, std::set<std::string>& unknown) {
  const auto* reflection = message.GetReflection();
  const auto& fields = reflection->GetUnknownFields(message);
  for (int i = 0; i < fields.field_count(); ++i) {
    unknown.insert(message.GetDescriptor()->full_name() + " " +
                   std::to_string(fields.field(i).number()));
  }
  const Descriptor* descriptor = message.GetDescriptor();
  for (int i = 0; i < descriptor->field_count(); ++i) {
    const FieldDescriptor* field = descriptor->field(i);
    if (field->message_type() == nullptr) continue;
    if (!field->is_repeated()) {
      if (reflection->HasField(message, field)) {
        CollectUnknown(reflection->GetMessage(message, field), unknown);
      }
      continue;
    }
    for (int n = 0; n < reflection->FieldSize(message, field); ++n) {
      CollectUnknown(reflection->GetRepeatedMessage(message, field, n), unknown);
    }
  }
}

}  // namespace ovix::tool
