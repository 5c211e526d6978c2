#include "sample/sampler.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <vector>

#include "sample/texts.h"

namespace ovix::tool {
namespace {

using google::protobuf::Message;
using google::protobuf::Reflection;

// Messages that hold themselves end here.
constexpr int kDeepest = 6;
constexpr uint64_t kPresent = 75;  // of a hundred fields with presence
constexpr uint64_t kMostElements = 3;

bool IsUnsigned(const FieldDescriptor* field) {
  return field->cpp_type() == FieldDescriptor::CPPTYPE_UINT32 ||
         field->cpp_type() == FieldDescriptor::CPPTYPE_UINT64;
}

bool HasUnit(const FieldFacts& facts) { return !facts.unit.empty() && facts.unit != "unspecified"; }

}  // namespace

void Sampler::Fill(Message& message, uint64_t number) {
  is_full_ = number == 0;
  FillMessage(message, Random(seed_).Part(number), 0);
  const Descriptor* type = message.GetDescriptor();
  if (KindOf(type) == Kind::kPayload) {
    const FieldDescriptor* version = type->FindFieldByNumber(1);
    if (version != nullptr && version->type() == FieldDescriptor::TYPE_STRING &&
        !version->is_repeated()) {
      message.GetReflection()->SetString(&message, version, PayloadOptionsOf(type).version);
    }
  }
}

void Sampler::FillMessage(Message& message, Random random, int depth) {
  const Descriptor* type = message.GetDescriptor();
  for (int i = 0; i < type->field_count(); ++i) {
    const FieldDescriptor* field = type->field(i);
    if (field->message_type() != nullptr && depth == kDeepest) continue;
    Random own = random.Part(static_cast<uint64_t>(field->number()));
    if (field->is_repeated()) {
      const uint64_t least = is_full_ ? 1 : 0;
      const uint64_t count = least + own.Below(kMostElements + 1 - least);
      for (uint64_t n = 0; n < count; ++n) AddValue(message, field, own.Part(n), depth);
    } else if (field->real_containing_oneof() != nullptr) {
      // The first of a oneof, so that one is set.
      if (field->real_containing_oneof()->field(0) == field) AddValue(message, field, own, depth);
    } else if (!field->has_presence() || is_full_ || own.Chance(kPresent)) {
      AddValue(message, field, own, depth);
    }
  }
}

void Sampler::AddValue(Message& message, const FieldDescriptor* field, Random random, int depth) {
  const Reflection* reflection = message.GetReflection();
  const auto set = [&](auto one, auto add, auto value) {
    if (field->is_repeated()) {
      (reflection->*add)(&message, field, value);
    } else {
      (reflection->*one)(&message, field, value);
    }
  };
  // Quarters, which every floating type has exactly.
  const auto floating = [&] {
    if (!Of(field).listed_values.empty()) return static_cast<double>(Whole(field, random));
    const Range range = RangeOfUnit(Of(field).unit);
    return static_cast<double>(random.Between(range.least * 4, range.most * 4)) / 4;
  };
  switch (field->cpp_type()) {
    case FieldDescriptor::CPPTYPE_MESSAGE:
      return FillMessage(field->is_repeated() ? *reflection->AddMessage(&message, field)
                                              : *reflection->MutableMessage(&message, field),
                         random, depth + 1);
    case FieldDescriptor::CPPTYPE_ENUM: {
      const auto* type = field->enum_type();
      const auto index = static_cast<int>(random.Below(static_cast<uint64_t>(type->value_count())));
      return set(&Reflection::SetEnumValue, &Reflection::AddEnumValue,
                 type->value(index)->number());
    }
    case FieldDescriptor::CPPTYPE_STRING: {
      const std::string text = Text(field, random);
      return set(&Reflection::SetString, &Reflection::AddString, text);
    }
    case FieldDescriptor::CPPTYPE_BOOL:
      return set(&Reflection::SetBool, &Reflection::AddBool, random.Chance(50));
    case FieldDescriptor::CPPTYPE_FLOAT:
      return set(&Reflection::SetFloat, &Reflection::AddFloat, static_cast<float>(floating()));
    case FieldDescriptor::CPPTYPE_DOUBLE:
      return set(&Reflection::SetDouble, &Reflection::AddDouble, floating());
    case FieldDescriptor::CPPTYPE_INT32:
      return set(&Reflection::SetInt32, &Reflection::AddInt32,
                 static_cast<int32_t>(Whole(field, random)));
    case FieldDescriptor::CPPTYPE_INT64:
      return set(&Reflection::SetInt64, &Reflection::AddInt64, Whole(field, random));
    case FieldDescriptor::CPPTYPE_UINT32:
      return set(&Reflection::SetUInt32, &Reflection::AddUInt32,
                 static_cast<uint32_t>(Whole(field, random)));
    case FieldDescriptor::CPPTYPE_UINT64:
      return set(&Reflection::SetUInt64, &Reflection::AddUInt64,
                 static_cast<uint64_t>(Whole(field, random)));
  }
}

std::string Sampler::Text(const FieldDescriptor* field, Random& random) {
  const FieldFacts& facts = Of(field);
  if (!facts.listed_values.empty()) return random.OneOf(facts.listed_values);
  if (facts.format == "integer" || HasUnit(facts)) {
    if (const std::string text =
            facts.format == "integer" ? "" : TextOfFormat(random, facts.format);
        !text.empty()) {
      return text;
    }
    const Range range = RangeOfUnit(facts.unit);
    return std::to_string(random.Between(range.least, range.most));
  }
  const std::string text = TextOfFormat(random, facts.format);
  if (!text.empty()) return text;
  const bool is_row = KindOf(field->containing_type()) == Kind::kTable;
  if (is_row && field->name() == "time") return Time(random);
  std::string words = field->name();
  std::replace(words.begin(), words.end(), '_', ' ');
  return words + " " + std::to_string(random.Between(1, 999));
}

int64_t Sampler::Whole(const FieldDescriptor* field, Random& random) {
  const FieldFacts& facts = Of(field);
  if (!facts.listed_values.empty()) {
    const std::string& listed = random.OneOf(facts.listed_values);
    int64_t value = 0;
    std::from_chars(listed.data(), listed.data() + listed.size(), value);
    return value;
  }
  const Range range = RangeOfUnit(facts.unit);
  return random.Between(IsUnsigned(field) ? std::max<int64_t>(range.least, 0) : range.least,
                        IsUnsigned(field) ? std::max<int64_t>(range.most, 0) : range.most);
}

const FieldFacts& Sampler::Of(const FieldDescriptor* field) {
  const auto [found, is_new] = facts_.try_emplace(field);
  if (is_new) found->second = FactsOf(contracts_, field);
  return found->second;
}

}  // namespace ovix::tool
