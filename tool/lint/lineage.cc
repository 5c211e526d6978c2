// Where payloads come from: lines Source that lead to records and their fields.
#include <algorithm>
#include <set>
#include <utility>

#include "contracts/comment.h"
#include "contracts/facts.h"
#include "lint/checks.h"
#include "lint/fields.h"

namespace ovix::tool::lint {
namespace {

constexpr char kNone[] = "none";
constexpr char kSameData[] = "same data.";

// The type as a line Source says it: "uint32", "repeated string", "StateEventType".
std::string TypeWords(const FieldDescriptor* field) {
  const std::string repeated = field->is_repeated() ? "repeated " : "";
  if (field->enum_type() != nullptr) return repeated + field->enum_type()->name();
  if (field->message_type() != nullptr) return repeated + field->message_type()->name();
  return repeated + field->type_name();
}

// The bits of an integer; 0 for another type.
int BitsOf(const FieldDescriptor* field) {
  switch (field->cpp_type()) {
    case FieldDescriptor::CPPTYPE_INT32:
    case FieldDescriptor::CPPTYPE_UINT32:
      return 32;
    case FieldDescriptor::CPPTYPE_INT64:
    case FieldDescriptor::CPPTYPE_UINT64:
      return 64;
    default:
      return 0;
  }
}

bool IsNarrower(const FieldDescriptor* field, const FieldDescriptor* origin) {
  if (field->is_repeated() != origin->is_repeated()) return false;
  return (BitsOf(field) != 0 && BitsOf(field) < BitsOf(origin)) ||
         (field->type() == FieldDescriptor::TYPE_FLOAT &&
          origin->type() == FieldDescriptor::TYPE_DOUBLE);
}

// What a line Source says of how a field differs from the one that it comes from.
std::string ChangeWords(const FieldDescriptor* origin, const FieldDescriptor* field) {
  const std::string renamed = field->name() == origin->name() ? "" : "renamed";
  if (HaveSameType(field, origin)) return renamed.empty() ? "copied" : renamed;
  return renamed + (renamed.empty() ? "" : " and ") +
         (IsNarrower(field, origin) ? "narrowed" : "retyped") + " from " + TypeWords(origin) +
         " to " + TypeWords(field);
}

// Whether the words say that a field only has the same data, perhaps in another unit.
bool SaysSameData(std::string_view words) {
  return words == kSameData || (words.starts_with("same data, in ") && words.ends_with('.'));
}

// Whether the words name another unit than that of the record: "renamed, in megabytes."
bool SaysConversion(std::string_view words) {
  return words.starts_with("computed") || words.find(", in ") != std::string_view::npos;
}

struct Line {
  Fact fact;
  Source source;
};

class Lineage {
 public:
  Lineage(const Checked& checked, Findings& findings)
      : contracts_(checked.contracts),
        tables_are_known_(checked.options_are_known),
        findings_(findings) {
    for (const Descriptor* message : MessagesOf(contracts_)) {
      messages_.emplace(message->full_name(), message);
    }
  }

  void Check(const Descriptor* message) {
    const std::vector<Line> lines = LinesOf(message);
    if (lines.empty()) {
      findings_.Add(Rule::kLineage, message, "has no line Source in its comment",
                    "add 'Source: ' and a record's full name, or 'Source: none'");
    }
    std::set<std::string> seen;
    std::vector<const Descriptor*> records;
    for (const Line& line : lines) {
      const auto& [name, words] = line.source;
      const bool is_second = !seen.insert(name).second;
      if (is_second || (seen.contains(kNone) && lines.size() > 1)) {
        Add(message, line.fact,
            "'" + line.fact.value + "' is a second line that excludes the first",
            "keep one of them");
      }
      if (name == kNone) continue;
      if (!words.empty() && words != kSameData) {
        Add(message, line.fact, "'" + words + "' is not what a message's source can be",
            "write nothing, or 'same data.'");
      }
      const auto record = messages_.find(name);
      if (record != messages_.end()) records.push_back(record->second);
      if (record == messages_.end() || IsUpload(record->second->file())) {
        Add(message, line.fact, name + " is not a stored record",
            "write the full name of a message of storage/");
      } else if (tables_are_known_ && contracts_.HoldersOf(record->second, Kind::kTable).empty()) {
        Add(message, line.fact, name + " is kept in no table",
            "write the full name of a table, or of a message that one holds");
      }
    }
    const bool is_fed = std::any_of(lines.begin(), lines.end(), [](const Line& line) {
      return line.source.words != kSameData;
    });
    for (int i = 0; i < message->field_count(); ++i) {
      CheckField(message->field(i), records, is_fed);
    }
  }

 private:
  void CheckField(const FieldDescriptor* field, const std::vector<const Descriptor*>& records,
                  bool is_fed) {
    const std::vector<Line> lines = LinesOf(field);
    std::set<std::string> seen;
    for (const Line& line : lines) {
      const auto& [name, words] = line.source;
      const FieldDescriptor* origin = FindSourceField(records, name);
      const std::string change = origin == nullptr ? "" : ChangeWords(origin, field);
      if (!seen.insert(name).second && name != kNone) {
        Add(field, line.fact, "has the source " + name + " twice", "keep one of them");
      }
      if (name == kNone) {
        if (lines.size() > 1) {
          Add(field, line.fact, "has a source and none", "keep one of them");
        }
      } else if (records.empty()) {
        Add(field, line.fact, "has the source " + name + ", which its message does not name",
            "name the record in the message's comment");
      } else if (origin == nullptr) {
        Add(field, line.fact, name + " is in no source record",
            "write a field of one of them, or none");
      } else if (HaveSameType(field, origin) &&
                 BeginsWith(words, {change + " and narrowed", change + " and retyped"})) {
        Add(field, line.fact,
            "the source says that the type changes, but both are " + TypeWords(field),
            "write '" + change + "' without it");
      } else if (!SaysSameData(words) && !BeginsWith(words, {change, "computed"})) {
        Add(field, line.fact, "the source does not say how the field differs, but '" + words + "'",
            "begin with '" + change + "' or computed, or write 'same data.'");
      } else if (!is_fed && !SaysSameData(words)) {
        Add(field, line.fact,
            "comes from a record that only has the same data, as its message says",
            "write 'same data.'");
      }
    }
    CheckUnits(field, lines, records);
    // A part of an upload schema has a lineage of its own, or the finding is there.
    const auto part = field->message_type() == nullptr
                          ? messages_.end()
                          : messages_.find(field->message_type()->full_name());
    const bool is_part = part != messages_.end() && IsUpload(part->second->file());
    if (!records.empty() && lines.empty() && !is_part &&
        SourceFieldsOf(contracts_, field).empty()) {
      findings_.Add(Rule::kLineage, field,
                    "has no line Source, and no source record has such a field",
                    "add 'Source: ' and the field that it comes from, or 'Source: none'");
    }
  }

  // A value that is not computed has the unit that it has in the record, unless its line names the
  // other.
  void CheckUnits(const FieldDescriptor* field, const std::vector<Line>& lines,
                  const std::vector<const Descriptor*>& records) {
    if (!CanHaveUnit(field)) return;
    const std::string unit = FactsOf(contracts_, field).unit;
    const auto check = [&](const FieldDescriptor* origin, std::string_view words, int line) {
      if (origin == nullptr) return;
      const std::string other = FactsOf(contracts_, origin).unit;
      if (unit == other) return;
      const bool is_same = SaysSameData(words);
      findings_.AddAt(line, Rule::kLineage, field,
                      "has " + (unit.empty() ? "no unit" : "the unit " + unit) + ", but " +
                          origin->full_name() + ", where it comes from, has " +
                          (other.empty() ? "none" : other),
                      std::string("give both the same unit, ") +
                          (is_same ? "" : "write computed, ") + "or name the new unit: '" +
                          (is_same ? "same data" : ChangeWords(origin, field)) +
                          ", in megabytes.'");
    };
    for (const Line& line : lines) {
      if (SaysConversion(line.source.words)) continue;
      check(FindSourceField(records, line.source.name), line.source.words,
            contracts_.LineOf(field) + line.fact.line);
    }
    if (!lines.empty()) return;
    for (const FieldDescriptor* origin : SourceFieldsOf(contracts_, field)) {
      check(origin, "", contracts_.DeclarationOf(field));
    }
  }

  template <typename AnyDescriptor>
  std::vector<Line> LinesOf(const AnyDescriptor* subject) const {
    Comment comment = contracts_.CommentOf(subject);
    std::erase_if(comment.facts, [](const Fact& fact) { return fact.key != "Source"; });
    std::vector<Line> lines;
    for (size_t i = 0; i < comment.sources.size(); ++i) {
      lines.push_back({comment.facts[i], comment.sources[i]});
    }
    return lines;
  }

  template <typename AnyDescriptor>
  void Add(const AnyDescriptor* subject, const Fact& fact, const std::string& what,
           const std::string& fix) {
    findings_.AddAt(contracts_.LineOf(subject) + fact.line, Rule::kLineage, subject, what, fix);
  }

  const Contracts& contracts_;
  const bool tables_are_known_;
  Findings& findings_;
  std::map<std::string, const Descriptor*> messages_;
};

}  // namespace

void CheckLineage(const Checked& checked, Findings& findings) {
  Lineage lineage(checked, findings);
  for (const Descriptor* message : MessagesOf(checked.contracts)) {
    if (IsUpload(message->file()) && message->file()->extension_count() == 0) {
      lineage.Check(message);
    }
  }
}

}  // namespace ovix::tool::lint
