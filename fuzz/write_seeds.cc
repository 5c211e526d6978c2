// Writes what the fuzzers start from, of a frozen release's corpus: its encodings, their JSON, and
// databases that hold its records.
//   write_seeds CORPUS.BINPB DIR
#include <google/protobuf/any.pb.h>
#include <google/protobuf/descriptor.pb.h>
#include <google/protobuf/util/delimited_message_util.h>
#include <google/protobuf/util/json_util.h>

#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>

#include "contracts.h"
#include "ovix/telemetry/contract/storage/device_profile/application.pb.h"
#include "store/store.h"

namespace {

namespace fs = std::filesystem;
using google::protobuf::Message;

// The two bytes by which an input chooses its contract.
std::string Choice(size_t number) {
  return {static_cast<char>(number & 255), static_cast<char>(number >> 8)};
}

void Write(const fs::path& folder, size_t number, const std::string& content) {
  fs::create_directories(folder);
  std::ofstream(folder / std::to_string(number), std::ios::binary) << content;
}

// For each command of the tool what it reads.
void WriteToolSeeds(const fs::path& folder) {
  size_t written = 0;
  const std::pair<const char*, std::string> readers[] = {
      {"message", {0, 1, 8, 12}},
      {"json", {3, 5, 14}},
  };
  for (const auto& [from, commands] : readers) {
    for (const auto& entry : fs::directory_iterator(folder / from)) {
      std::ifstream file(entry.path(), std::ios::binary);
      const std::string seed{std::istreambuf_iterator<char>(file), {}};
      Write(folder / "tool", written, commands[written % commands.size()] + seed);
      ++written;
    }
  }
  google::protobuf::FileDescriptorSet set;
  const auto* schema =
      ovix::telemetry::contract::storage::device_profile::Application::descriptor()->file();
  for (int i = 0; i < schema->dependency_count(); ++i) {
    for (int n = 0; n < schema->dependency(i)->dependency_count(); ++n) {
      schema->dependency(i)->dependency(n)->CopyTo(set.add_file());
    }
    schema->dependency(i)->CopyTo(set.add_file());
  }
  schema->CopyTo(set.add_file());
  for (const char command : {'\6', '\7'}) {
    Write(folder / "tool", written++, command + Choice(0) + set.SerializeAsString());
  }
}

int WriteSeeds(const char* corpus, const fs::path& folder) {
  using ovix::fuzz::Prototypes;
  const ovix::agent::Catalogue catalogue;
  std::map<std::string, size_t> numbers;
  for (size_t i = 0; i < Prototypes().size(); ++i) numbers[Prototypes()[i]->GetTypeName()] = i;
  std::map<std::string, size_t> tables;
  for (const auto* prototype : Prototypes()) {
    for (const auto& table : catalogue.tables()) {
      if (table.record == prototype->GetDescriptor()) {
        tables.emplace(prototype->GetTypeName(), tables.size());
      }
    }
  }

  std::ifstream file(corpus, std::ios::binary);
  google::protobuf::io::IstreamInputStream stream(&file);
  google::protobuf::Any entry;
  size_t written = 0;
  for (; google::protobuf::util::ParseDelimitedFromZeroCopyStream(&entry, &stream, nullptr);
       entry.Clear()) {
    const std::string name = entry.type_url().substr(entry.type_url().rfind('/') + 1);
    const auto number = numbers.find(name);
    if (number == numbers.end()) continue;
    Write(folder / "message", written, Choice(number->second) + entry.value());
    const std::unique_ptr<Message> message(Prototypes()[number->second]->New());
    std::string json;
    if (message->ParseFromString(entry.value()) &&
        google::protobuf::util::MessageToJsonString(*message, &json).ok()) {
      Write(folder / "json", written, Choice(number->second) + json);
    }
    if (const auto table = tables.find(name); table != tables.end()) {
      Write(folder / "store", written, Choice(table->second) + entry.value());
      if (table->second % 20 == 0) {
        const fs::path stored = folder / "database";
        fs::remove_all(stored);
        const auto& place = catalogue.Get(message->GetDescriptor());
        ovix::agent::Store store(stored, catalogue);
        try {
          store.Put(*message);
          std::ifstream database(store.FileOf(place.database), std::ios::binary);
          Write(folder / "store", written + 1000000,
                Choice(table->second) + std::string(std::istreambuf_iterator<char>(database), {}));
        } catch (const ovix::agent::StoreError&) {
          // A record with values that no database takes.
        }
      }
    }
    ++written;
  }
  fs::remove_all(folder / "database");
  WriteToolSeeds(folder);
  if (written == 0) std::cerr << "write_seeds: " << corpus << " has no entries\n";
  return written == 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 3) return WriteSeeds(argv[1], argv[2]);
  std::cerr << "usage: write_seeds CORPUS.BINPB DIR\n";
  return 2;
}
