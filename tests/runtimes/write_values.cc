// Writes what the other runtimes are held against.
//   write_values fill DIR     for every message two encodings, filled and with extreme values, each
//                             with a label, as an outbox has them
//   write_values corpus FILE  for every message four encodings, the last with fields that no schema
//                             has, as a stream of google.protobuf.Any with their lengths
//   write_values values DIR   next to each payload of an outbox its values, as protobuf's JSON
#include <google/protobuf/any.pb.h>
#include <google/protobuf/struct.pb.h>
#include <google/protobuf/unknown_field_set.h>
#include <google/protobuf/util/delimited_message_util.h>
#include <google/protobuf/util/json_util.h>

#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>

#include "ovix/telemetry/contract/storage/storage_options.pb.h"
#include "ovix/telemetry/contract/upload/upload_options.pb.h"
#include "support/contracts.h"

namespace {

using google::protobuf::Message;
namespace contract = ovix::telemetry::contract;

std::string Json(const Message& message) {
  google::protobuf::util::JsonPrintOptions options;
  options.preserve_proto_field_names = true;
  std::string json;
  if (!google::protobuf::util::MessageToJsonString(message, &json, options).ok()) std::exit(1);
  return json;
}

std::string Read(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

void Write(const std::filesystem::path& path, const std::string& content) {
  std::ofstream(path, std::ios::binary) << content;
}

void Fill(const std::filesystem::path& folder) {
  for (const Message* prototype : ovix::tests::AllPrototypes()) {
    for (const bool extreme : {false, true}) {
      const std::unique_ptr<Message> message(prototype->New());
      if (extreme) {
        ovix::tests::FillExtremes(message.get());
      } else {
        ovix::tests::FillAll(message.get(), 1);
      }
      const auto& options = prototype->GetDescriptor()->options();
      const std::string name =
          prototype->GetDescriptor()->full_name() + (extreme ? "-extreme" : "-filled");
      google::protobuf::Struct label;
      auto& fields = *label.mutable_fields();
      fields["message"].set_string_value(prototype->GetDescriptor()->full_name());
      fields["payload"].set_string_value(name + ".binpb");
      fields["gun"].set_string_value(options.GetExtension(contract::upload::cdm).gun());
      fields["version"].set_string_value(options.GetExtension(contract::upload::cdm).version());
      const auto& persistance = options.GetExtension(contract::storage::persistance);
      fields["type"].set_string_value(persistance.type());
      fields["database"].set_string_value(persistance.database().name());
      Write(folder / (name + ".binpb"), message->SerializeAsString());
      Write(folder / (name + ".json"), Json(label));
    }
  }
}

void Corpus(const std::filesystem::path& path) {
  std::ofstream file(path, std::ios::binary);
  const auto add = [&](const Message& message) {
    google::protobuf::Any entry;
    entry.PackFrom(message);
    google::protobuf::util::SerializeDelimitedToOstream(entry, &file);
  };
  for (const Message* prototype : ovix::tests::AllPrototypes()) {
    const std::unique_ptr<Message> message(prototype->New());
    add(*message);
    ovix::tests::FillExtremes(message.get());
    add(*message);
    message->Clear();
    ovix::tests::FillAll(message.get(), 1);
    add(*message);
    auto* unknown = message->GetReflection()->MutableUnknownFields(message.get());
    constexpr int kFirst = 100000;  // far beyond the numbers in use
    unknown->AddVarint(kFirst, ~uint64_t{0});
    unknown->AddFixed32(kFirst + 1, 0x80000001);
    unknown->AddFixed64(kFirst + 2, 0x8000000000000001);
    unknown->AddLengthDelimited(kFirst + 3, std::string("\0\xff no text", 10));
    unknown->AddGroup(kFirst + 4)->AddVarint(1, 1);
    add(*message);
  }
  if (!file.flush()) std::exit(1);
}

void Values(const std::filesystem::path& folder) {
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    if (entry.path().extension() != ".json") continue;
    google::protobuf::Struct label;
    if (!google::protobuf::util::JsonStringToMessage(Read(entry.path()), &label).ok()) std::exit(1);
    const auto* descriptor =
        google::protobuf::DescriptorPool::generated_pool()->FindMessageTypeByName(
            label.fields().at("message").string_value());
    const std::unique_ptr<Message> message(
        google::protobuf::MessageFactory::generated_factory()->GetPrototype(descriptor)->New());
    const std::string payload = label.fields().at("payload").string_value();
    if (!message->ParseFromString(Read(folder / payload))) std::exit(1);
    Write(folder / (payload + ".values"), Json(*message));
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 3 && std::string(argv[1]) == "fill") {
    Fill(argv[2]);
  } else if (argc == 3 && std::string(argv[1]) == "corpus") {
    Corpus(argv[2]);
  } else if (argc == 3 && std::string(argv[1]) == "values") {
    Values(argv[2]);
  } else {
    std::cerr << "usage: write_values fill|values DIR, write_values corpus FILE\n";
    return 2;
  }
  return 0;
}
