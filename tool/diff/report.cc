#include "diff/report.h"

#include <algorithm>
#include <cstddef>

#include "terminal/format.h"
#include "terminal/platform.h"

namespace ovix::tool {
namespace {

// More messages with facts added than this are counted instead of named: a release that begins to
// state facts does so everywhere.
constexpr std::ptrdiff_t kMostNamed = 10;

bool IsFactsAdded(const Difference& difference) { return difference.change == Change::kFactsAdded; }

}  // namespace

std::vector<Difference> ForReaders(std::vector<Difference> differences) {
  const auto added = std::count_if(differences.begin(), differences.end(), IsFactsAdded);
  if (added <= kMostNamed) return differences;
  std::erase_if(differences, IsFactsAdded);
  differences.push_back({Change::kFactsAdded, kSafe, std::to_string(added) + " messages",
                         "the comments state more; --format json names the fields", ""});
  return differences;
}

std::string WhatAndWhyOf(const Difference& difference) {
  const std::string why = RuleOf(difference.change).why;
  return difference.what + (why.empty() ? "" : ": " + why);
}

std::string WordsOf(const Difference& difference) {
  return WhatAndWhyOf(difference) + (difference.fix.empty() ? "" : "; " + difference.fix);
}

std::string CountOf(const std::vector<Difference>& differences) {
  const auto of = [&](unsigned part) {
    return std::to_string(std::count_if(differences.begin(), differences.end(), [&](const auto& d) {
      return part == kSafe ? d.breaks == kSafe : (d.breaks & part) != 0;
    }));
  };
  if (differences.empty()) return "no change";
  return std::to_string(differences.size()) +
         (differences.size() == 1 ? " change: " : " changes: ") + of(kWire) + " wire-breaking, " +
         of(kSource) + " source-breaking, " + of(kStore) + " store-breaking, " + of(kSafe) +
         " safe";
}

std::string AsText(const std::vector<Difference>& differences) {
  const bool colour = WantsColour();
  std::string text;
  for (const Difference& difference : ForReaders(differences)) {
    text += Styled(BreaksText(difference.breaks),
                   difference.breaks == kSafe ? Style::kGood : Style::kBad, colour) +
            ": " + Styled(difference.subject, Style::kName, colour) + "\n" +
            Wrapped(WordsOf(difference), 100, 2);
  }
  return text + CountOf(differences) + "\n";
}

std::string AsMarkdown(const std::vector<Difference>& differences) {
  std::string text = CountOf(differences) + ".\n";
  const std::vector<Difference> shown = ForReaders(differences);
  for (const bool breaking : {true, false}) {
    std::string rows;
    for (const Difference& difference : shown) {
      if ((difference.breaks != kSafe) != breaking) continue;
      std::string words = WordsOf(difference);
      for (size_t at = 0; (at = words.find('|', at)) != std::string::npos; at += 2) {
        words.insert(at, "\\");
      }
      rows += "| `" + difference.subject + "` | " + words + " | " +
              (breaking ? BreaksText(difference.breaks) + " |" : "") + "\n";
    }
    if (rows.empty()) continue;
    text += breaking ? "\n## Breaking\n\n| What | Change | Breaks |\n|---|---|---|\n"
                     : "\n## Safe\n\n| What | Change |\n|---|---|\n";
    text += rows;
  }
  return text;
}

std::string AsJson(const std::vector<Difference>& differences) {
  JsonWriter json;
  const bool breaking = std::any_of(differences.begin(), differences.end(),
                                    [](const auto& d) { return d.breaks != kSafe; });
  json.BeginObject().Add("breaking", breaking);
  json.Key("changes").BeginArray();
  for (const Difference& difference : differences) {
    std::vector<std::string> breaks;
    if (difference.breaks & kWire) breaks.push_back("wire");
    if (difference.breaks & kSource) breaks.push_back("source");
    if (difference.breaks & kStore) breaks.push_back("store");
    const Rule& rule = RuleOf(difference.change);
    json.BeginObject()
        .Add("rule", rule.id)
        .Add("breaks", breaks)
        .Add("subject", difference.subject)
        .Add("what", difference.what)
        .Add("why", rule.why)
        .Add("fix", difference.fix)
        .EndObject();
  }
  return json.EndArray().EndObject().Text();
}

}  // namespace ovix::tool
