#include "diff/comments.h"

#include <algorithm>
#include <vector>

namespace ovix::tool {
namespace {

bool IsFact(const Fact& fact) {
  return fact.key == "Unit" || fact.key == "Values" || fact.key == "Format" ||
         fact.key == "Privacy";
}

// Whether a release's comments are written with facts; lineage alone is older than they are.
bool StatesFacts(const Contracts& contracts) {
  for (const Descriptor* message : contracts.messages()) {
    for (int i = 0; i < message->field_count(); ++i) {
      for (const Fact& fact : contracts.CommentOf(message->field(i)).facts) {
        FieldFacts facts;
        if (IsFact(fact) && ReadFact(fact, facts)) return true;
      }
    }
  }
  return false;
}

std::vector<std::string> Sorted(const FieldFacts& facts) {
  std::vector<std::string> values = facts.listed_values;
  std::sort(values.begin(), values.end());
  return values;
}

bool MeansAnother(const FieldFacts& before, const FieldFacts& after) {
  return std::any_of(before.meanings.begin(), before.meanings.end(), [&](const auto& meaning) {
    const auto now = after.meanings.find(meaning.first);
    return now != after.meanings.end() && now->second != meaning.second;
  });
}

// Whether `a` says something of values that `b` does not.
bool SaysMore(const FieldFacts& a, const FieldFacts& b) {
  if (a.listed_values.empty()) return !a.values.empty() && b.values.empty();
  const std::vector<std::string> ours = Sorted(a), theirs = Sorted(b);
  return !std::includes(theirs.begin(), theirs.end(), ours.begin(), ours.end()) ||
         (a.is_closed && !b.is_closed) ||
         std::any_of(a.meanings.begin(), a.meanings.end(),
                     [&](const auto& meaning) { return !b.meanings.contains(meaning.first); });
}

void Append(std::string& list, const std::string& name) {
  list += (list.empty() ? "" : ", ") + name;
}

}  // namespace

CommentComparison::CommentComparison(const Contracts& older, const Contracts& newer,
                                     Differences& differences)
    : older_(older),
      newer_(newer),
      differences_(differences),
      older_states_facts_(StatesFacts(older)) {}

void CommentComparison::Compare(const Descriptor* before, const Descriptor* after) {
  if (older_.LineOf(before) == 0 || newer_.LineOf(after) == 0) return;
  std::string more, less, malformed;
  for (int i = 0; i < before->field_count(); ++i) {
    const FieldDescriptor* was = before->field(i);
    const FieldDescriptor* is = after->FindFieldByNumber(was->number());
    if (is == nullptr) continue;
    const Stated stated = Compare(was, is, after);
    if (stated.more) Append(more, is->name());
    if (stated.less) Append(less, is->name());
    const std::string keys = MalformedOf(was, is);
    if (!keys.empty()) Append(malformed, is->name() + " (" + keys + ")");
  }
  const std::string& name = before->full_name();
  if (!more.empty()) {
    differences_.Add(Change::kFactsAdded, name, "the comments state more of " + more);
  }
  if (!less.empty()) {
    differences_.Add(Change::kFactsRemoved, name, "the comments state less of " + less);
  }
  if (!malformed.empty()) {
    differences_.Add(Change::kFactsMalformed, name, "the comments cannot be read of " + malformed);
  }
}

CommentComparison::Stated CommentComparison::Compare(const FieldDescriptor* was,
                                                     const FieldDescriptor* is,
                                                     const Descriptor* holder) {
  FieldFacts before = FactsOf(older_, was);
  const FieldFacts after = FactsOf(newer_, is);
  // A name promises its unit only where a line would say otherwise.
  if (!older_states_facts_ && before.unit != after.unit) before.unit.clear();
  const auto changed = [&](Change change, const char* what, const std::string& from,
                           const std::string& to) {
    differences_.AddContent(holder, change, was->full_name(), what + FromTo(from, to));
  };
  Stated stated;
  // Nothing was promised where a fact was missing or unspecified.
  const auto compare = [&](Change change, const char* what, const std::string& from,
                           const std::string& to) {
    if (from == to) return;
    if (!from.empty() && from != "unspecified") return changed(change, what, from, to);
    (to.empty() ? stated.less : stated.more) = true;
  };
  compare(Change::kUnitChanged, "unit changed ", before.unit, after.unit);
  compare(Change::kFormatChanged, "format changed ", before.format, after.format);
  if (MeansAnother(before, after)) {
    changed(Change::kValuesChanged, "meaning of a value changed ", before.values, after.values);
  } else if (before.is_closed && (!after.is_closed || Sorted(before) != Sorted(after))) {
    changed(Change::kValuesChanged, "closed list of values changed ", before.values, after.values);
  } else {
    stated.more |= SaysMore(after, before);
    stated.less |= SaysMore(before, after);
  }
  if (after.privacy < before.privacy) {
    changed(Change::kPrivacyLowered, "privacy class lowered ", PrivacyText(before.privacy),
            PrivacyText(after.privacy));
  } else if (after.privacy > before.privacy) {
    stated.more = true;
  }
  return stated;
}

std::string CommentComparison::MalformedOf(const FieldDescriptor* was,
                                           const FieldDescriptor* is) const {
  const std::vector<Fact> before = older_.CommentOf(was).facts;
  std::string keys;
  for (const Fact& fact : newer_.CommentOf(is).facts) {
    FieldFacts ignored;
    if (!IsFact(fact) || ReadFact(fact, ignored)) continue;
    const bool was_there = std::any_of(before.begin(), before.end(), [&](const Fact& other) {
      return other.key == fact.key && other.value == fact.value;
    });
    if (!was_there) Append(keys, fact.key);
  }
  return keys;
}

int SchemasWithoutComments(const Contracts& contracts) {
  return static_cast<int>(
      std::count_if(contracts.files().begin(), contracts.files().end(),
                    [&](const FileDescriptor* file) { return contracts.LineOf(file) == 0; }));
}

}  // namespace ovix::tool
