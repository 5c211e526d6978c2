#include "diff/facts.h"

#include <algorithm>

#include "contracts/facts.h"

namespace ovix::tool {
namespace {

std::vector<std::string> Sorted(const FieldFacts& facts) {
  std::vector<std::string> values = facts.listed_values;
  std::sort(values.begin(), values.end());
  return values;
}

// Whether a fact is stated that was not, or more strictly.
bool StatesMore(Findings& findings, bool older_states_facts, const FieldDescriptor* was,
                const FieldDescriptor* is, const Descriptor* holder) {
  FieldFacts before = FactsOf(findings.older(), was);
  const FieldFacts after = FactsOf(findings.newer(), is);
  // A name promises its unit only where a line would say otherwise.
  if (!older_states_facts && before.unit != after.unit) before.unit.clear();
  const auto changed = [&](Change change, const char* what, const std::string& from,
                           const std::string& to) {
    findings.AddContent(holder, change, was->full_name(), what + FromTo(from, to));
  };
  // Nothing was said before where a fact was missing or unspecified.
  const auto is_said = [](const std::string& fact) {
    return !fact.empty() && fact != "unspecified";
  };
  bool adds = false;
  if (before.unit != after.unit) {
    if (is_said(before.unit)) {
      changed(Change::kUnitChanged, "unit changed ", before.unit, after.unit);
    } else {
      adds = true;
    }
  }
  if (before.format != after.format) {
    if (is_said(before.format)) {
      changed(Change::kFormatChanged, "format changed ", before.format, after.format);
    } else {
      adds = true;
    }
  }
  const bool means_another =
      std::any_of(before.meanings.begin(), before.meanings.end(), [&](const auto& meaning) {
        const auto now = after.meanings.find(meaning.first);
        return now != after.meanings.end() && now->second != meaning.second;
      });
  if (means_another) {
    changed(Change::kValuesChanged, "meaning of a value changed ", before.values, after.values);
  } else if (before.is_closed && (!after.is_closed || Sorted(before) != Sorted(after))) {
    changed(Change::kValuesChanged, "closed list of values changed ", before.values, after.values);
  } else if (before.values != after.values) {
    adds = true;
  }
  if (after.privacy < before.privacy) {
    changed(Change::kPrivacyLowered, "privacy class lowered ", PrivacyText(before.privacy),
            PrivacyText(after.privacy));
  } else if (after.privacy > before.privacy) {
    adds = true;
  }
  return adds;
}

}  // namespace

bool StatesFacts(const Contracts& contracts) {
  for (const Descriptor* message : contracts.messages()) {
    for (int i = 0; i < message->field_count(); ++i) {
      for (const Fact& fact : contracts.CommentOf(message->field(i)).facts) {
        FieldFacts facts;
        const bool is_known = fact.key == "Unit" || fact.key == "Values" || fact.key == "Format" ||
                              fact.key == "Privacy";
        if (is_known && ReadFact(fact, facts)) return true;
      }
    }
  }
  return false;
}

void CompareFacts(Findings& findings, bool older_states_facts, const Descriptor* before,
                  const Descriptor* after) {
  if (findings.older().LineOf(before) == 0 || findings.newer().LineOf(after) == 0) return;
  std::string added;
  for (int i = 0; i < before->field_count(); ++i) {
    const FieldDescriptor* was = before->field(i);
    const FieldDescriptor* is = after->FindFieldByNumber(was->number());
    if (is != nullptr && StatesMore(findings, older_states_facts, was, is, after)) {
      added += (added.empty() ? "" : ", ") + is->name();
    }
  }
  if (!added.empty()) {
    findings.Add(Change::kFactsAdded, before->full_name(), "the comments state more of " + added);
  }
}

}  // namespace ovix::tool
