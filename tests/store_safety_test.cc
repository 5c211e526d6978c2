// What other programs and people do to a store's files: whatever it is, it stops nothing else, and
// the store touches nothing that is not its own.
#include <gtest/gtest.h>

#include "ovix/telemetry/contract/storage/cache.pb.h"
#include "ovix/telemetry/contract/storage/device_profile/application.pb.h"
#include "support/folder.h"
#include "support/store.h"

namespace ovix::tests {
namespace {

using agent::Changes;
using agent::Store;
using google::protobuf::Message;
namespace fs = std::filesystem;
namespace storage = telemetry::contract::storage;
namespace profile = storage::device_profile;

storage::CollectorCache CacheRow() {
  storage::CollectorCache row;
  row.set_collector("c");
  return row;
}

Store Reader(const Folder& folder) {
  Store::Options options = Options();
  options.access = Store::Access::kRead;
  return Store(folder.path(), Library(), options);
}

TEST(StoreSafety, OneDatabaseThatCannotBeReadStopsNoOther) {
  struct Case {
    const char* said;
    std::function<void(const fs::path&)> spoil;
  };
  std::unique_ptr<agent::Connection> other;
  const Case cases[] = {
      {"switched the database to a write-ahead log",
       [](const fs::path& file) { Execute(file, "PRAGMA journal_mode = WAL"); }},
      {"locked by another program",
       [&](const fs::path& file) {
         other = std::make_unique<agent::Connection>(file, std::chrono::milliseconds(0));
         other->Execute("BEGIN EXCLUSIVE");
       }},
      {"another program's",
       [](const fs::path& file) { Execute(file, "PRAGMA application_id = 7"); }},
  };
  for (const auto& [said, spoil] : cases) {
    SCOPED_TRACE(said);
    const Folder folder;
    const auto row = CacheRow();
    const profile::Application application;
    Store(folder.path(), Library(), Options()).Put({&row, &application});
    spoil(folder / "Cache.db");
    {
      Store reader = Reader(folder);
      const Store::Snapshot snapshot(reader);
      EXPECT_EQ(Rows<profile::Application>(reader).size(), 1U);
      for (int i = 0; i < 2; ++i) {
        ExpectContains(ErrorOf([&] { Rows<storage::CollectorCache>(reader); }), {"Cache.db", said});
      }
    }
    other.reset();
  }
}

}  // namespace
}  // namespace ovix::tests
