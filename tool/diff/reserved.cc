#include "diff/reserved.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

namespace ovix::tool {
namespace {

// First and last number.
struct Range {
  int64_t first, last;
};

// A message's ranges end after their last number.
template <typename OpenRange>
Range Closed(const OpenRange* range) {
  return {range->start, int64_t{range->end} - 1};
}

std::vector<Range> RangesOf(const Descriptor* message) {
  std::vector<Range> ranges;
  for (int i = 0; i < message->reserved_range_count(); ++i) {
    ranges.push_back(Closed(message->reserved_range(i)));
  }
  return ranges;
}

std::vector<Range> RangesOf(const EnumDescriptor* enumeration) {
  std::vector<Range> ranges;
  for (int i = 0; i < enumeration->reserved_range_count(); ++i) {
    ranges.push_back({enumeration->reserved_range(i)->start, enumeration->reserved_range(i)->end});
  }
  return ranges;
}

int MemberCount(const Descriptor* message) { return message->field_count(); }
int MemberCount(const EnumDescriptor* enumeration) { return enumeration->value_count(); }
const FieldDescriptor* Member(const Descriptor* message, int i) { return message->field(i); }
const EnumValueDescriptor* Member(const EnumDescriptor* enumeration, int i) {
  return enumeration->value(i);
}
bool HasMember(const Descriptor* message, const std::string& name) {
  return message->FindFieldByName(name) != nullptr;
}
bool HasMember(const EnumDescriptor* enumeration, const std::string& name) {
  return enumeration->FindValueByName(name) != nullptr;
}

// Takes `removed` out of `ranges`.
void Remove(std::vector<Range>& ranges, const Range& removed) {
  std::vector<Range> left;
  for (const Range& range : ranges) {
    if (range.first < removed.first) {
      left.push_back({range.first, std::min(range.last, removed.first - 1)});
    }
    if (range.last > removed.last) {
      left.push_back({std::max(range.first, removed.last + 1), range.last});
    }
    // A range that is not met at all lies on one side only.
  }
  ranges = std::move(left);
}

std::string Text(const std::vector<Range>& ranges) {
  std::string text;
  for (const Range& range : ranges) {
    text += (text.empty() ? "" : ", ") + std::to_string(range.first);
    if (range.last != range.first) text += " to " + std::to_string(range.last);
  }
  return text;
}

template <typename Holder>
void Compare(const Holder* before, const Holder* after, unsigned number_besides,
             unsigned name_besides, Differences& differences) {
  std::vector<Range> freed = RangesOf(before);
  for (const Range& range : RangesOf(after)) Remove(freed, range);
  for (int i = 0; i < MemberCount(after); ++i) {
    const auto* member = Member(after, i);
    const int number = member->number();
    if (before->IsReservedNumber(number)) {
      Remove(freed, {number, number});
      differences.AddContent(after, Change::kReservedNumberTaken, member->full_name(),
                             "takes number " + std::to_string(number) + ", which was reserved",
                             number_besides);
    }
    if (before->IsReservedName(member->name())) {
      differences.AddContent(after, Change::kReservedNameTaken, member->full_name(),
                             "takes a name that was reserved", name_besides);
    }
  }
  if (!freed.empty()) {
    differences.Add(Change::kReservedNumberFreed, before->full_name(),
                    "no longer reserves the numbers " + Text(freed), kSafe, "reserve them again");
  }
  std::string names;
  for (int i = 0; i < before->reserved_name_count(); ++i) {
    const std::string& name = before->reserved_name(i);
    if (after->IsReservedName(name) || HasMember(after, name)) continue;
    names += (names.empty() ? "" : ", ") + name;
  }
  if (!names.empty()) {
    differences.Add(Change::kReservedNameFreed, before->full_name(),
                    "no longer reserves the names " + names, kSafe, "reserve them again");
  }
}

}  // namespace

void CompareExtensionRanges(const Descriptor* before, const Descriptor* after,
                            Differences& differences) {
  const auto ranges_of = [](const Descriptor* message) {
    std::vector<Range> ranges;
    for (int i = 0; i < message->extension_range_count(); ++i) {
      ranges.push_back(Closed(message->extension_range(i)));
    }
    return ranges;
  };
  std::vector<Range> removed = ranges_of(before);
  for (const Range& range : ranges_of(after)) Remove(removed, range);
  if (removed.empty()) return;
  differences.Add(Change::kExtensionRangeRemoved, before->full_name(),
                  "no longer has the extension numbers " + Text(removed), kSafe,
                  "declare them again");
}

void CompareReserved(const Descriptor* before, const Descriptor* after, unsigned number_besides,
                     unsigned name_besides, Differences& differences) {
  Compare(before, after, number_besides, name_besides, differences);
}

void CompareReserved(const EnumDescriptor* before, const EnumDescriptor* after,
                     unsigned number_besides, unsigned name_besides, Differences& differences) {
  Compare(before, after, number_besides, name_besides, differences);
}

}  // namespace ovix::tool
