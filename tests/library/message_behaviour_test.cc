// How every message class of the library behaves, found by reflection over the collection: a new
// contract is tested without a line here.
#include <google/protobuf/arena.h>
#include <google/protobuf/descriptor.h>
#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/io/zero_copy_stream_impl_lite.h>
#include <google/protobuf/unknown_field_set.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

#include "support/contracts.h"

namespace ovix::tests {
namespace {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::Reflection;

constexpr char kInvalidUtf8[] = "ok\xC3(";
constexpr int kNumberThatNoContractUses = 20000;

class EveryMessage : public testing::TestWithParam<const Message*> {
 protected:
  std::unique_ptr<Message> New() const { return std::unique_ptr<Message>(GetParam()->New()); }
  std::unique_ptr<Message> Filled(int seed = 1) const {
    auto message = New();
    FillAll(message.get(), seed);
    return message;
  }
  std::unique_ptr<Message> Parsed(const std::string& bytes) const {
    auto message = New();
    EXPECT_TRUE(message->ParseFromString(bytes));
    return message;
  }
  std::vector<const FieldDescriptor*> FieldsWhere(bool (*condition)(const FieldDescriptor*)) const {
    std::vector<const FieldDescriptor*> fields;
    const auto* descriptor = GetParam()->GetDescriptor();
    for (int i = 0; i < descriptor->field_count(); ++i) {
      if (condition(descriptor->field(i))) fields.push_back(descriptor->field(i));
    }
    return fields;
  }
};

INSTANTIATE_TEST_SUITE_P(Contract, EveryMessage, testing::ValuesIn(AllPrototypes()),
                         [](const auto& info) { return TestName(*info.param); });

TEST_P(EveryMessage, IsEmptyAndEncodesToNothingWhenNew) {
  EXPECT_EQ(New()->SerializeAsString(), "");
  EXPECT_EQ(GetParam()->SerializeAsString(), "") << "a prototype was modified";
  EXPECT_TRUE(New()->IsInitialized());
}

// A zero is written where presence is explicit, and only there; a sub-message counts when it is
// there, empty or not; negative zero is a value.
TEST_P(EveryMessage, WritesWhatIsPresentAndNothingElse) {
  const auto* descriptor = GetParam()->GetDescriptor();
  for (int i = 0; i < descriptor->field_count(); ++i) {
    const FieldDescriptor* field = descriptor->field(i);
    if (field->is_repeated()) continue;
    SCOPED_TRACE(field->full_name());
    const auto message = New();
    const Reflection* reflection = message->GetReflection();
    if (field->cpp_type() == FieldDescriptor::CPPTYPE_MESSAGE) {
      reflection->MutableMessage(message.get(), field);
    } else {
      SetZero(message.get(), field);
    }
    EXPECT_EQ(reflection->HasField(*message, field), field->has_presence());
    const std::string bytes = message->SerializeAsString();
    EXPECT_EQ(!bytes.empty(), field->has_presence());
    EXPECT_EQ(reflection->HasField(*Parsed(bytes), field), field->has_presence());
    reflection->ClearField(message.get(), field);
    EXPECT_EQ(message->SerializeAsString(), "");
    if (field->cpp_type() == FieldDescriptor::CPPTYPE_FLOAT) {
      reflection->SetFloat(message.get(), field, -0.0F);
      EXPECT_EQ(message->SerializeAsString(),
                Tag(field->number(), 5) + std::string("\0\0\0\x80", 4));
    }
  }
}

TEST_P(EveryMessage, ComesBackFromItsBytes) {
  const auto filled = Filled();
  const auto extremes = New();
  FillExtremes(extremes.get());
  for (const Message* message : {filled.get(), extremes.get()}) {
    const std::string bytes = message->SerializeAsString();
    EXPECT_EQ(message->ByteSizeLong(), bytes.size());
    EXPECT_EQ(Parsed(bytes)->SerializeAsString(), bytes);
    EXPECT_EQ(Parsed(bytes)->DebugString(), message->DebugString());
    const auto fields = Fields(bytes);
    EXPECT_TRUE(std::is_sorted(fields.begin(), fields.end(), [](const auto& a, const auto& b) {
      return a.number < b.number;
    })) << "fields must be written in the order of their numbers";
  }
}

TEST_P(EveryMessage, ReadsListsOfNumbersPackedAndUnpackedAndWritesThemPacked) {
  for (const FieldDescriptor* field :
       FieldsWhere([](const FieldDescriptor* f) { return f->is_packable(); })) {
    SCOPED_TRACE(field->full_name());
    const bool varint = field->cpp_type() != FieldDescriptor::CPPTYPE_FLOAT &&
                        field->cpp_type() != FieldDescriptor::CPPTYPE_DOUBLE;
    ASSERT_TRUE(varint) << "teach this test the fixed width of the new list";
    std::string unpacked;
    std::string run;
    for (uint64_t value : {1, 0, 300, 1}) {
      unpacked += Tag(field->number(), 0) + Varint(value);
      run += Varint(value);
    }
    const std::string packed = Tag(field->number(), 2) + Varint(run.size()) + run;
    EXPECT_EQ(Parsed(unpacked)->SerializeAsString(), packed);
    EXPECT_EQ(Parsed(packed)->SerializeAsString(), packed);
    EXPECT_EQ(
        Parsed(packed + unpacked)->GetReflection()->FieldSize(*Parsed(packed + unpacked), field),
        8);
  }
}

TEST_P(EveryMessage, KeepsUnknownFieldsByteForByteBehindItsOwn) {
  const int n = kNumberThatNoContractUses;
  const std::string unknown = Tag(n, 0) + Varint(~uint64_t{0}) + Tag(n + 1, 1) + "12345678" +
                              Tag(n, 2) + Varint(3) + "\xFFxy" + Tag(n + 2, 5) + "1234" +
                              Tag(n + 3, 3) + Tag(1, 0) + Varint(7) + Tag(n + 3, 4);
  const std::string own = Filled()->SerializeAsString();
  EXPECT_EQ(Parsed(unknown + own)->SerializeAsString(), own + unknown);

  // A known number in a wire type that is not its own is unknown too.
  const auto* descriptor = GetParam()->GetDescriptor();
  for (int i = 0; i < descriptor->field_count(); ++i) {
    const std::string wrong = Tag(descriptor->field(i)->number(), 1) + "abcdefgh";
    const auto message = Parsed(wrong);
    EXPECT_EQ(message->SerializeAsString(), wrong) << descriptor->field(i)->full_name();
    EXPECT_EQ(message->GetReflection()->GetUnknownFields(*message).field_count(), 1);
  }
}

TEST_P(EveryMessage, RefusesTextThatIsNotUtf8ByTheFieldsFullName) {
  for (const FieldDescriptor* field : FieldsWhere(
           [](const FieldDescriptor* f) { return f->type() == FieldDescriptor::TYPE_STRING; })) {
    const std::string bytes =
        Tag(field->number(), 2) + Varint(sizeof kInvalidUtf8 - 1) + kInvalidUtf8;
    const auto message = New();
    std::string said;
    {
      RuntimeLog log;
      EXPECT_FALSE(message->ParseFromString(bytes)) << field->full_name();
      said = log.text();
    }
    EXPECT_NE(said.find("'" + field->full_name() + "'"), std::string::npos) << said;

    // Writing reports it too, and writes it all the same.
    const auto written = New();
    if (field->is_repeated()) {
      written->GetReflection()->AddString(written.get(), field, kInvalidUtf8);
    } else {
      written->GetReflection()->SetString(written.get(), field, kInvalidUtf8);
    }
    RuntimeLog log;
    EXPECT_EQ(written->SerializeAsString(), bytes);
    EXPECT_NE(log.text().find("'" + field->full_name() + "'"), std::string::npos) << log.text();
  }
}

// A prefix of an encoding is a message exactly where it ends between two fields.
TEST_P(EveryMessage, RefusesTruncatedBytes) {
  const std::string bytes = Filled()->SerializeAsString();
  std::vector<size_t> whole = {0};
  for (const EncodedField& field : Fields(bytes))
    whole.push_back(whole.back() + field.bytes.size());
  ASSERT_EQ(whole.back(), bytes.size());
  for (size_t length = 0; length <= bytes.size(); ++length) {
    const bool is_whole = std::binary_search(whole.begin(), whole.end(), length);
    EXPECT_EQ(New()->ParseFromArray(bytes.data(), static_cast<int>(length)), is_whole)
        << length << " of " << bytes.size() << " bytes";
  }
}

TEST_P(EveryMessage, RefusesToNestDeeperThanTheRuntimeAllows) {
  const auto nested = [](int depth) {
    std::string bytes;
    for (int i = 0; i < depth; ++i) bytes += Tag(kNumberThatNoContractUses, 3);
    for (int i = 0; i < depth; ++i) bytes += Tag(kNumberThatNoContractUses, 4);
    return bytes;
  };
  const int limit = google::protobuf::io::CodedInputStream::GetDefaultRecursionLimit();
  EXPECT_TRUE(New()->ParseFromString(nested(limit)));
  EXPECT_FALSE(New()->ParseFromString(nested(limit + 1)));
}

TEST_P(EveryMessage, IsAValueThatCopiesMergesMovesAndLivesOnAnArena) {
  const auto first = Filled(1);
  const auto second = Filled(2);
  const std::string first_bytes = first->SerializeAsString();
  const std::string second_bytes = second->SerializeAsString();

  const auto copy = New();
  copy->CopyFrom(*first);
  EXPECT_EQ(copy->SerializeAsString(), first_bytes);

  // Merging is what parsing one encoding after the other gives.
  copy->MergeFrom(*second);
  EXPECT_EQ(copy->SerializeAsString(), Parsed(first_bytes + second_bytes)->SerializeAsString());

  google::protobuf::Arena arena;
  Message* on_arena = GetParam()->New(&arena);
  on_arena->CopyFrom(*second);
  EXPECT_EQ(on_arena->GetArena(), &arena);
  first->GetReflection()->Swap(first.get(), on_arena);
  EXPECT_EQ(first->SerializeAsString(), second_bytes);
  EXPECT_EQ(on_arena->SerializeAsString(), first_bytes);

  on_arena->Clear();
  copy->Clear();
  EXPECT_EQ(on_arena->SerializeAsString() + copy->SerializeAsString(), "");
}

TEST_P(EveryMessage, KeepsEnumerationNumbersThatNoSchemaNames) {
  for (const FieldDescriptor* field : FieldsWhere([](const FieldDescriptor* f) {
         return f->cpp_type() == FieldDescriptor::CPPTYPE_ENUM && !f->is_repeated();
       })) {
    const auto message = Parsed(Tag(field->number(), 0) + Varint(9));
    EXPECT_EQ(field->enum_type()->FindValueByNumber(9), nullptr);
    EXPECT_EQ(message->GetReflection()->GetEnumValue(*message, field), 9) << field->full_name();
  }
}

}  // namespace
}  // namespace ovix::tests
