// Where payloads come from: lines Source that lead to records and their fields.
#include <algorithm>
#include <set>
#include <utility>

#include "contracts/comment.h"
#include "lint/checks.h"
#include "lint/fields.h"

namespace ovix::tool::lint {
namespace {

constexpr char kNone[] = "none";
constexpr char kSameData[] = "same data.";

// Whether the words say how a field differs from its source.
bool SaysChange(std::string_view words) {
  if (words == kSameData) return true;
  return BeginsWith(words, {"renamed", "retyped", "narrowed", "computed", "copied"});
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
    for (const Line& line : lines) {
      const auto& [name, words] = line.source;
      if (name == kNone) {
        if (lines.size() > 1) {
          Add(field, line.fact, "has a source and none", "keep one of them");
        }
      } else if (records.empty()) {
        Add(field, line.fact, "has the source " + name + ", which its message does not name",
            "name the record in the message's comment");
      } else if (FindSourceField(records, name) == nullptr) {
        Add(field, line.fact, name + " is in no source record",
            "write a field of one of them, or none");
      } else if (!SaysChange(words)) {
        Add(field, line.fact, "the source does not say how the field differs, but '" + words + "'",
            "begin with renamed, retyped, narrowed, computed or copied, or write 'same data.'");
      } else if (!is_fed && words != kSameData) {
        Add(field, line.fact,
            "comes from a record that only has the same data, as its message says",
            "write 'same data.'");
      }
    }
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
