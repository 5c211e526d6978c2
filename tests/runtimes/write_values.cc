// Writes what other releases and runtimes are held against.
//   write_values corpus FILE  for every message four encodings, the last with fields that no schema
//                             has, as a stream of google.protobuf.Any with their lengths
#include <google/protobuf/any.pb.h>
#include <google/protobuf/unknown_field_set.h>
#include <google/protobuf/util/delimited_message_util.h>

#include <fstream>
#include <iostream>
#include <memory>
#include <string>

#include "support/contracts.h"

namespace {

using google::protobuf::Message;

void Corpus(const std::string& path) {
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

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3 || std::string(argv[1]) != "corpus") {
    std::cerr << "usage: write_values corpus FILE\n";
    return 2;
  }
  Corpus(argv[2]);
  return 0;
}
