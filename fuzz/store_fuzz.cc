// The store, given any record, and any bytes for a database file: it keeps the record whole and
// gives it back, or refuses with its own error; a damaged file is an error too, never a crash.
#include <filesystem>
#include <fstream>

#include "contracts.h"
#include "folder.h"
#include "store/store.h"

namespace {

using namespace ovix::fuzz;
using google::protobuf::Message;
using ovix::agent::Catalogue;
using ovix::agent::Store;
using ovix::agent::StoreError;
namespace fs = std::filesystem;

const Catalogue& Library() {
  static const Catalogue catalogue;
  return catalogue;
}

const std::vector<const Message*>& Tables() {
  static const auto* prototypes = [] {
    auto* tables = new std::vector<const Message*>;
    for (const auto* prototype : Prototypes()) {
      for (const auto& table : Library().tables()) {
        if (table.record == prototype->GetDescriptor()) tables->push_back(prototype);
      }
    }
    return tables;
  }();
  return *prototypes;
}

// Empty at each call.
fs::path EmptyFolder() {
  static const Folder folder("store");
  std::error_code ignored;
  fs::remove_all(folder.path(), ignored);
  fs::create_directories(folder.path());
  return folder.path();
}

void KeepRecord(const Input& input) {
  const auto record = input.New();
  if (!record->ParseFromArray(input.content.data(), static_cast<int>(input.content.size()))) return;
  record->DiscardUnknownFields();
  Store store(EmptyFolder(), Library());
  try {
    store.Put(*record);
  } catch (const StoreError&) {
    Require(store.CountRows(Library().Get(record->GetDescriptor())) == 0, input,
            "was refused, and a row was left");
    return;
  }
  store.Read(record->GetDescriptor(), [&](const Message& row) {
    Require(Encode(row) == Encode(*record), input, "came back as something else");
  });
}

void ReadFile(const Input& input) {
  const auto& table = Library().Get(input.prototype->GetDescriptor());
  const fs::path folder = EmptyFolder();
  std::ofstream(folder / (table.database + ".db"), std::ios::binary) << input.content;
  const auto ignore = [](const auto&) {};
  try {
    Store store(folder, Library());
    store.Read(table.record, ignore, ignore);
    store.Put(*input.prototype);
    store.Trim();
  } catch (const StoreError&) {
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const Input input = Choose(Tables(), data, size);
  // Every database file begins with these words.
  if (input.content.starts_with("SQLite format 3")) {
    ReadFile(input);
  } else {
    KeepRecord(input);
  }
  return 0;
}
