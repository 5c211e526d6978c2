#include "store/store.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include "store/json.h"
#include "store_test.pb.h"
#include "support/contracts.h"
#include "support/folder.h"
#include "support/store.h"

namespace ovix::tests {
namespace {

using agent::Store;
using agent::Table;
using google::protobuf::Message;
namespace storage = telemetry::contract::storage;

// --- Every table of the library

class StoreOfEveryTable : public testing::TestWithParam<const Message*> {};

std::vector<const Message*> TablePrototypes() {
  std::vector<const Message*> prototypes;
  for (const Table& table : Library().tables()) {
    prototypes.push_back(
        google::protobuf::MessageFactory::generated_factory()->GetPrototype(table.record));
  };
  return prototypes;
}

INSTANTIATE_TEST_SUITE_P(Table, StoreOfEveryTable, testing::ValuesIn(TablePrototypes()),
                         [](const auto& info) { return TestName(*info.param); });

TEST_P(StoreOfEveryTable, GivesBackWhatWasPut) {
  const Folder folder;
  std::vector<std::string> put;
  {
    Store store(folder.path(), Library(), Options());
    for (int i = 0; i < 4; ++i) {
      const std::unique_ptr<Message> record(GetParam()->New());
      // Empty, filled twice over and extreme; all of them with keys of their own.
      if (i == 1 || i == 2) FillAll(record.get(), i);
      if (i == 3) {
        FillExtremes(record.get());
        const std::unique_ptr<Message> keys(GetParam()->New());
        FillAll(keys.get(), i);
        for (const agent::Column& column : Library().Get(GetParam()->GetDescriptor()).key) {
          record->GetReflection()->SwapFields(record.get(), keys.get(), {column.field});
        }
      }
      store.Put(*record);
      put.push_back(record->SerializeAsString());
    }
  }
  Store store(folder.path(), Library(), Options());
  std::vector<std::string> got;
  for (const auto& row : Rows(store, GetParam()->GetDescriptor())) {
    got.push_back(row->SerializeAsString());
  }
  std::sort(put.begin(), put.end());
  std::sort(got.begin(), got.end());
  EXPECT_EQ(got, put);
}

// --- Values

template <typename Float, typename Bits>
Float FromBits(Bits bits) {
  Float value;
  std::memcpy(&value, &bits, sizeof value);
  return value;
}

TEST(StoreValues, AllComeBackTheSame) {
  const std::string nul("a\0b", 3);
  const std::vector<std::pair<const char*, std::function<void(Everything&)>>> cases = {
      {"nothing set", [](Everything&) {}},
      {"largest uint64", [](Everything& e) { e.set_uint64(~uint64_t{0}); }},
      {"2^63 as uint64", [](Everything& e) { e.set_fixed64(uint64_t{1} << 63); }},
      {"smallest int64", [](Everything& e) { e.set_int64(std::numeric_limits<int64_t>::min()); }},
      {"zigzag", [](Everything& e) { e.set_sint64(-5); }},
      {"largest uint32", [](Everything& e) { e.set_uint32(~uint32_t{0}); }},
      {"negative zeros", [](Everything& e) { e.set_single(-0.0F), e.set_real(-0.0); }},
      {"NaN", [](Everything& e) { e.set_real(std::nan("")), e.set_single(std::nanf("")); }},
      {"NaN with a payload",
       [](Everything& e) {
         e.set_real(FromBits<double>(uint64_t{0xfff8dead0000beef}));
         e.set_single(FromBits<float>(uint32_t{0x7fc0beef}));
       }},
      {"infinities", [](Everything& e) { e.set_real(INFINITY), e.set_single(-INFINITY); }},
      {"smallest double", [](Everything& e) { e.set_real(5e-324); }},
      {"a float that no double text has", [](Everything& e) { e.set_single(0.1F); }},
      {"a whole real", [](Everything& e) { e.set_real(3); }},
      {"embedded NUL", [&](Everything& e) { e.set_text(nul), e.set_maybe_text(nul); }},
      {"text like a number", [](Everything& e) { e.set_text("007"); }},
      {"bytes that are not text", [](Everything& e) { e.set_blob("\xff\xfe"); }},
      {"present but empty",
       [](Everything& e) {
         e.set_maybe_text("");
         e.set_maybe_number(0);
         e.set_maybe_real(0);
         e.set_maybe_boolean(false);
         e.mutable_part();
       }},
      {"present and not", [](Everything& e) { e.set_maybe_number(~uint64_t{0}); }},
      {"unknown enumeration number",
       [](Everything& e) { e.set_event(static_cast<storage::StateEventType>(9)); }},
      {"one of", [](Everything& e) { e.set_word(""); }},
      {"other of", [](Everything& e) { e.set_digit(0); }},
      {"a tree",
       [&](Everything& e) {
         e.mutable_part()->set_text(nul + "\"\\\xE2\x82\xAC");
         e.mutable_part()->set_real(-0.0);
         e.mutable_part()->set_count(~uint64_t{0});
         e.mutable_part()->add_parts()->add_parts()->set_count(0);
         e.mutable_part()->add_parts()->set_text("-0,");
       }},
      {"lists",
       [&](Everything& e) {
         e.add_texts(""), e.add_texts("-0"), e.add_texts(nul);
         for (double real : {-0.0, 0.0, double{INFINITY}, std::nan(""), 0.1}) e.add_reals(real);
         e.add_numbers(~uint64_t{0});
         e.add_parts(), e.add_parts()->set_real(-0.0);
       }},
  };
  const Folder folder;
  for (const auto& [name, fill] : cases) {
    SCOPED_TRACE(name);
    Everything record;
    fill(record);
    Store store(folder.path(), Awkward(), Options());
    store.Put(record);
    const auto rows = Rows<Everything>(store);
    ASSERT_EQ(rows.size(), 1U);
    EXPECT_EQ(agent::CanonicalBytes(rows[0]), agent::CanonicalBytes(record))
        << rows[0].DebugString() << " for " << record.DebugString();
    // Putting it once more finds it as it is.
    EXPECT_EQ(store.Put(record).unchanged, 1);
  }
}

TEST(StoreValues, OfMapsComeBackTheSame) {
  const Folder folder;
  Store store(folder.path(), Awkward(), Options());
  std::vector<WithMap> records(2);
  (*records[1].mutable_counts())[""] = -1;
  (*records[1].mutable_counts())["b"] = 0;
  for (const WithMap& record : records) store.Put(record);
  const auto rows = Rows<WithMap>(store);
  for (size_t i = 0; i < records.size(); ++i) {
    EXPECT_EQ(agent::CanonicalBytes(rows.at(i)), agent::CanonicalBytes(records[i]));
  }
}

TEST(StoreValues, AreRefusedWhereTheyWouldNotComeBack) {
  const std::vector<std::pair<const char*, std::function<void(Everything&)>>> cases = {
      {"Everything.text", [](Everything& e) { e.set_text("\xff"); }},
      {"Part.text", [](Everything& e) { e.add_parts()->add_parts()->set_text("\xff"); }},
      {"Everything.texts", [](Everything& e) { e.add_texts("\xff"); }},
      {"Everything: ",
       [](Everything& e) { ASSERT_TRUE(e.ParseFromString(Tag(999, 0) + Varint(1))); }},
      {"Part: ",
       [](Everything& e) {
         ASSERT_TRUE(e.mutable_part()->ParseFromString(Tag(9, 0) + Varint(1)));
       }},
      {"Everything.reals",
       [](Everything& e) { e.add_reals(FromBits<double>(uint64_t{0xfff8dead0000beef})); }},
  };
  const Folder folder;
  Store store(folder.path(), Awkward(), Options());
  store.Put(Everything());
  const auto before = folder.Contents();
  for (const auto& [named, spoil] : cases) {
    Everything record;
    spoil(record);
    ExpectContains(ErrorOf([&] { store.Put(record); }), {"ovix.tests.", named});
  }
  EXPECT_EQ(folder.Contents(), before);
}

TEST(StoreValues, OfNoTextAreEmptyTextAndNotNull) {
  const Folder folder;
  agent::Connection connection(folder / "a.db", std::chrono::milliseconds(0));
  agent::Statement types(connection, "SELECT typeof(?), typeof(?)");
  types.Bind(1, std::string_view());
  types.BindBlob(2, std::string_view());
  ASSERT_TRUE(types.Step());
  EXPECT_EQ(types.Bytes(0), "text");
  EXPECT_EQ(types.Bytes(1), "blob");
}

TEST(StoreValues, LieInSqlAsAReaderWouldExpect) {
  const Folder folder;
  {
    Store store(folder.path(), Awkward(), Options());
    Everything record;
    record.set_uint64(~uint64_t{0});
    record.set_real(1.5);
    record.mutable_part()->set_text("x");
    record.add_numbers(7);
    store.Put(record);
  }
  const auto holds = [&](const std::string& condition) {
    return Execute(folder / "Tests.db", "SELECT " + condition + " FROM Everything");
  };
  for (const char* condition :
       {"printf('%u', uint64) = '18446744073709551615'", "real = 1.5", "maybe_text IS NULL",
        "text = '' AND typeof(text) = 'text'", "part ->> '$.text' = 'x'", "numbers ->> 0 = '7'",
        "parts = '[]'", "word IS NULL"}) {
    EXPECT_EQ(holds(condition), 1) << condition;
  }
}

}  // namespace
}  // namespace ovix::tests
