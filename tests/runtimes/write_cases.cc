// Writes messages and damaged bytes with what this library makes of them, for other runtimes to be
// held against. A line a case: message, gun, version, bytes (hexadecimal), oddities, 1 where they
// parse, and then what they are encoded to and their values as protobuf's JSON. The oddities are
// letters for what runtimes treat each in their own way; docs/readers.md says what they mean.
//
//   write_cases random COUNT SEED   COUNT cases of each message. They follow from its name, its
//   fields and
//                                   SEED, and from nothing else: another message in the collection
//                                   changes none of them.
//   write_cases corpus FILE         every encoding of a release's corpus
//   write_cases given FILE          the cases that a file names, as odd_cases.txt does
#include <google/protobuf/any.pb.h>
#include <google/protobuf/io/zero_copy_stream_impl.h>
#include <google/protobuf/reflection.h>
#include <google/protobuf/stubs/logging.h>
#include <google/protobuf/unknown_field_set.h>
#include <google/protobuf/util/delimited_message_util.h>
#include <google/protobuf/util/json_util.h>
#include <google/protobuf/wire_format.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <limits>
#include <memory>
#include <random>
#include <vector>

#include "ovix/telemetry/contract/upload/upload_options.pb.h"
#include "support/contracts.h"

namespace {

using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::UnknownField;
using google::protobuf::UnknownFieldSet;
using google::protobuf::internal::WireFormat;
using google::protobuf::internal::WireFormatLite;
using google::protobuf::io::CodedInputStream;
using google::protobuf::io::CodedOutputStream;

std::mt19937_64 engine;

uint64_t Below(uint64_t end) { return std::uniform_int_distribution<uint64_t>(0, end - 1)(engine); }
bool OneIn(uint64_t chances) { return Below(chances) == 0; }

// Numbers of every length, the extremes often.
uint64_t Number() {
  const uint64_t edges[] = {
      0, 1, 127, 128, 0x7fffffff, 0x80000000, 0xffffffff, ~uint64_t{0}, uint64_t{1} << 63};
  return OneIn(3) ? edges[Below(std::size(edges))] : engine() >> Below(64);
}

double Real() {
  const double edges[] = {0.0,
                          -0.0,
                          0.1,
                          1e300,
                          -1e-300,
                          std::numeric_limits<double>::infinity(),
                          -std::numeric_limits<double>::infinity(),
                          std::numeric_limits<double>::quiet_NaN()};
  return OneIn(2) ? edges[Below(std::size(edges))] : std::ldexp(static_cast<double>(engine()), -60);
}

std::string Text() {
  const char* pieces[] = {"a",        "Zz 09",        "\t\n",         "\"\\/",
                          "\xC3\xA9", "\xE2\x82\xAC", "\xEF\xBF\xBD", "\xF0\x9F\x98\x80",
                          "\x7f"};
  std::string text;
  for (uint64_t left = Below(12); left > 0; --left) text += pieces[Below(std::size(pieces))];
  if (OneIn(8)) text += '\0';
  return text;
}

void Set(Message* message, const FieldDescriptor* field);

void Fill(Message* message, uint64_t one_in) {
  const auto* descriptor = message->GetDescriptor();
  for (int i = 0; i < descriptor->field_count(); ++i) {
    const FieldDescriptor* field = descriptor->field(i);
    if (!OneIn(one_in)) continue;
    for (uint64_t left = field->is_repeated() ? Below(4) : 1; left > 0; --left) Set(message, field);
  }
  if (OneIn(6)) {
    auto* unknown = message->GetReflection()->MutableUnknownFields(message);
    unknown->AddVarint(static_cast<int>(1000 + Below(1000)), Number());
    unknown->AddLengthDelimited(2000, Text());
  }
}

void Set(Message* message, const FieldDescriptor* field) {
  const auto* reflection = message->GetReflection();
  const bool add = field->is_repeated();
  switch (field->cpp_type()) {
#define OVIX_CASE(TYPE, METHOD, VALUE)                          \
  case FieldDescriptor::CPPTYPE_##TYPE:                         \
    return add ? reflection->Add##METHOD(message, field, VALUE) \
               : reflection->Set##METHOD(message, field, VALUE)
    OVIX_CASE(INT32, Int32, static_cast<int32_t>(Number()));
    OVIX_CASE(INT64, Int64, static_cast<int64_t>(Number()));
    OVIX_CASE(UINT32, UInt32, static_cast<uint32_t>(Number()));
    OVIX_CASE(UINT64, UInt64, Number());
    OVIX_CASE(FLOAT, Float, static_cast<float>(Real()));
    OVIX_CASE(DOUBLE, Double, Real());
    OVIX_CASE(BOOL, Bool, OneIn(2));
    OVIX_CASE(ENUM, EnumValue, static_cast<int>(OneIn(4) ? Number() : Below(4)));
    OVIX_CASE(STRING, String, Text());
#undef OVIX_CASE
    case FieldDescriptor::CPPTYPE_MESSAGE:
      return Fill(
          add ? reflection->AddMessage(message, field) : reflection->MutableMessage(message, field),
          2);
  }
}

// A few bytes changed, gone, come in, or repeated.
void Mutate(std::string& bytes) {
  for (uint64_t left = 1 + Below(3); left > 0; --left) {
    const size_t place = Below(bytes.size() + 1);
    switch (Below(6)) {
      case 0:
        if (place < bytes.size()) bytes[place] = static_cast<char>(bytes[place] ^ (1 << Below(8)));
        break;
      case 1:
        bytes.insert(place, 1, static_cast<char>(engine()));
        break;
      case 2:
        bytes.erase(place, 1 + Below(4));
        break;
      case 3:
        bytes.resize(place);
        break;
      case 4:
        bytes.insert(place, bytes.substr(Below(bytes.size() + 1), Below(12)));
        break;
      case 5:
        bytes.insert(place, ovix::tests::Varint(Number()));
        break;
    }
  }
}

// Reads a varint; adds `oddity` where it is not written as this library would.
bool ReadVarint(CodedInputStream& input, uint64_t* value, char oddity, std::string& oddities) {
  const int begin = input.CurrentPosition();
  const void* bytes = nullptr;
  int available = 0;
  input.GetDirectBufferPointer(&bytes, &available);
  if (!input.ReadVarint64(value)) {
    if (available >= 10) oddities += oddity;
    return false;
  }
  const size_t size = static_cast<size_t>(input.CurrentPosition() - begin);
  if (ovix::tests::Varint(*value) != std::string(static_cast<const char*>(bytes), size)) {
    oddities += oddity;
  }
  return true;
}

// Skips a field's value; adds 'b' where it is a varint of more than 64 bits.
bool SkipValue(uint32_t tag, CodedInputStream& input, std::string& oddities) {
  const void* data = nullptr;
  int available = 0;
  input.GetDirectBufferPointer(&data, &available);
  if ((tag & 7) == WireFormatLite::WIRETYPE_VARINT && available >= 10) {
    const auto* bytes = static_cast<const unsigned char*>(data);
    const bool has_ten = std::all_of(bytes, bytes + 9, [](auto byte) { return byte > 127; });
    if (has_ten && bytes[9] > 1) oddities += 'b';
  }
  return WireFormatLite::SkipField(&input, tag);
}

// Skips an unknown number or group; adds 'v' where it is not written as this library would.
bool SkipUnknown(uint32_t tag, CodedInputStream& input, std::string& oddities) {
  const int begin = input.CurrentPosition();
  const void* bytes = nullptr;
  int available = 0;
  input.GetDirectBufferPointer(&bytes, &available);
  const auto skips_within = [&](int depth) {
    CodedInputStream again(static_cast<const uint8_t*>(bytes), available);
    again.SetRecursionLimit(depth);
    return WireFormatLite::SkipField(&again, tag);
  };
  if (!skips_within(99) && skips_within(available)) oddities += 'd';
  const bool skipped = SkipValue(tag, input, oddities);
  const size_t size = static_cast<size_t>(input.CurrentPosition() - begin);
  const std::string field =
      ovix::tests::Varint(tag) + std::string(static_cast<const char*>(bytes), size);
  UnknownFieldSet fields;
  std::string written;
  if (!skipped) {
    if (available >= 10) oddities += 'v';
    return false;
  }
  if (!fields.ParseFromString(field) || !fields.SerializeToString(&written) || written != field) {
    oddities += 'v';
  }
  return true;
}

// Skips the numbers of a packed list; false where the last is not whole.
bool SkipElements(WireFormatLite::WireType wire_type, CodedInputStream& input,
                  std::string& oddities) {
  const uint32_t tag = WireFormatLite::MakeTag(1, wire_type);
  while (input.BytesUntilLimit() > 0) {
    if (!SkipValue(tag, input, oddities)) return false;
  }
  return true;
}

// Looks for oddities in the fields of a message, up to the first byte that is not a field; false
// where there is such.
bool FindOddities(const Descriptor* descriptor, CodedInputStream& input, std::string& oddities) {
  while (input.BytesUntilLimit() > 0) {
    uint64_t tag = 0;
    if (!ReadVarint(input, &tag, 't', oddities)) return false;
    if (tag > std::numeric_limits<uint32_t>::max()) oddities += 't';
    if ((tag & 0xffffffff) == 0 || (tag & 7) == WireFormatLite::WIRETYPE_END_GROUP) {
      oddities += 'g';
      return false;
    }
    const FieldDescriptor* field =
        descriptor->FindFieldByNumber(static_cast<int>((tag & 0xffffffff) >> 3));
    const auto wire_type = static_cast<WireFormatLite::WireType>(tag & 7);
    const bool length_delimited = wire_type == WireFormatLite::WIRETYPE_LENGTH_DELIMITED;
    auto expected = wire_type;
    if (field != nullptr) expected = WireFormat::WireTypeForFieldType(field->type());
    const bool packed = length_delimited && field != nullptr && field->is_packable();
    const bool mismatch = wire_type != expected && !packed;
    if (mismatch) oddities += 'w';
    if ((field == nullptr || mismatch) && !length_delimited) {
      if (!SkipUnknown(static_cast<uint32_t>(tag), input, oddities)) return false;
      continue;
    }
    if (length_delimited) {
      uint64_t length = 0;
      const size_t found = oddities.size();
      if (!ReadVarint(input, &length, 'l', oddities)) return false;
      if (oddities.size() != found && (field == nullptr || mismatch)) oddities += 'v';
      if (length > std::numeric_limits<int32_t>::max()) oddities += 'l';
      if (length > static_cast<uint64_t>(input.BytesUntilLimit())) return false;
      const auto limit = input.PushLimit(static_cast<int>(length));
      const bool nested = field != nullptr && field->message_type() != nullptr;
      const bool whole = nested   ? FindOddities(field->message_type(), input, oddities)
                         : packed ? SkipElements(expected, input, oddities)
                                  : true;
      if (!whole) oddities += 'e';
      input.Skip(input.BytesUntilLimit());
      input.PopLimit(limit);
      continue;
    }
    if (!SkipValue(static_cast<uint32_t>(tag), input, oddities)) return false;
  }
  return true;
}

// Whether unknown fields are in the order of their numbers, each number's with one wire type.
bool InOrder(const UnknownFieldSet& fields) {
  for (int i = 0; i < fields.field_count(); ++i) {
    const UnknownField& field = fields.field(i);
    if (field.type() == UnknownField::TYPE_GROUP && !InOrder(field.group())) return false;
    if (i == 0) continue;
    const UnknownField& before = fields.field(i - 1);
    if (field.number() < before.number()) return false;
    if (field.number() == before.number() && field.type() != before.type()) return false;
  }
  return true;
}

// The same of a message and all messages in it.
bool UnknownInOrder(const Message& message) {
  const auto* reflection = message.GetReflection();
  std::vector<const FieldDescriptor*> fields;
  reflection->ListFields(message, &fields);
  for (const FieldDescriptor* field : fields) {
    if (field->message_type() == nullptr) continue;
    if (!field->is_repeated()) {
      if (!UnknownInOrder(reflection->GetMessage(message, field))) return false;
      continue;
    }
    for (const Message& part : reflection->GetRepeatedFieldRef<Message>(message, field)) {
      if (!UnknownInOrder(part)) return false;
    }
  }
  return InOrder(reflection->GetUnknownFields(message));
}

std::string Hexadecimal(const std::string& bytes) {
  std::string text;
  for (unsigned char byte : bytes) {
    text += "0123456789abcdef"[byte >> 4];
    text += "0123456789abcdef"[byte & 15];
  }
  return text;
}

// Writes one case; false where the library cannot print what it has read.
bool WriteCase(Message* message, const std::string& bytes) {
  const Descriptor* descriptor = message->GetDescriptor();
  const bool parsed = message->ParseFromString(bytes);
  google::protobuf::util::JsonPrintOptions options;
  options.preserve_proto_field_names = true;
  std::string json;
  if (!google::protobuf::util::MessageToJsonString(*message, &json, options).ok()) return false;
  std::string oddities = json.find("\"NaN\"") == std::string::npos ? "" : "n";
  if (json.find("-0") != std::string::npos) oddities += 'z';
  CodedInputStream input(reinterpret_cast<const uint8_t*>(bytes.data()),
                         static_cast<int>(bytes.size()));
  input.PushLimit(static_cast<int>(bytes.size()));
  FindOddities(descriptor, input, oddities);
  if (!UnknownInOrder(*message)) oddities += 'u';
  const auto& cdm = descriptor->options().GetExtension(ovix::telemetry::contract::upload::cdm);
  std::cout << descriptor->full_name() << '\t' << cdm.gun() << '\t' << cdm.version() << '\t'
            << Hexadecimal(bytes) << '\t' << oddities << '\t' << parsed;
  if (parsed) {
    std::cout << '\t' << Hexadecimal(message->SerializeAsString()) << '\t' << json;
  }
  std::cout << '\n';
  return true;
}

bool WriteRandomCases(long count, const std::string& seed) {
  for (const Message* prototype : ovix::tests::AllPrototypes()) {
    const std::string source = seed + " " + prototype->GetTypeName();
    std::seed_seq sequence(source.begin(), source.end());
    engine.seed(sequence);
    for (long left = count; left > 0; --left) {
      const std::unique_ptr<Message> message(prototype->New());
      Fill(message.get(), 1 + Below(6));
      std::string bytes = message->SerializeAsString();
      if (!OneIn(3)) Mutate(bytes);
      if (!WriteCase(message.get(), bytes)) return false;
    }
  }
  return true;
}

// A message by its name, or null.
std::unique_ptr<Message> New(const std::string& name) {
  const auto* descriptor =
      google::protobuf::DescriptorPool::generated_pool()->FindMessageTypeByName(name);
  if (descriptor == nullptr) return nullptr;
  return std::unique_ptr<Message>(
      google::protobuf::MessageFactory::generated_factory()->GetPrototype(descriptor)->New());
}

bool WriteCorpus(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  google::protobuf::io::IstreamInputStream stream(&file);
  google::protobuf::Any entry;
  bool at_end = false;
  while (google::protobuf::util::ParseDelimitedFromZeroCopyStream(&entry, &stream, &at_end)) {
    const std::string& url = entry.type_url();
    const std::unique_ptr<Message> message = New(url.substr(url.rfind('/') + 1));
    if (message == nullptr || !WriteCase(message.get(), entry.value())) return false;
    entry.Clear();
  }
  return file.is_open() && at_end;
}

// A line a case: message and bytes (hexadecimal). Empty lines and those that begin with # are
// comments.
bool WriteGiven(const std::string& path) {
  std::ifstream file(path);
  for (std::string line; std::getline(file, line);) {
    if (line.empty() || line.front() == '#') continue;
    const size_t space = line.find(' ');
    const std::unique_ptr<Message> message = New(line.substr(0, space));
    if (message == nullptr || space == std::string::npos) return false;
    std::string bytes;
    for (size_t i = space + 1; i + 1 < line.size(); i += 2) {
      bytes += static_cast<char>(std::stoi(line.substr(i, 2), nullptr, 16));
    }
    if (!WriteCase(message.get(), bytes)) return false;
  }
  return file.eof();
}

}  // namespace

int main(int argc, char** argv) {
  const std::string mode = argc > 1 ? argv[1] : "";
  // What the runtime reports of bad bytes is not what is tested.
  google::protobuf::SetLogHandler(nullptr);
  bool written = false;
  if (mode == "random" && argc == 4) {
    written = WriteRandomCases(std::atol(argv[2]), argv[3]);
  } else if (mode == "corpus" && argc == 3) {
    written = WriteCorpus(argv[2]);
  } else if (mode == "given" && argc == 3) {
    written = WriteGiven(argv[2]);
  } else {
    std::cerr << "usage: write_cases random COUNT SEED, write_cases corpus|given FILE\n";
    return 2;
  }
  return written && std::cout.flush() ? 0 : 1;
}
