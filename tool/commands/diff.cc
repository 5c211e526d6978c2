// diff: what changed between two releases.
#include <algorithm>
#include <cstddef>
#include <iostream>
#include <memory>

#include "commands/commands.h"
#include "diff/comments.h"
#include "diff/compare.h"
#include "terminal/output.h"
#include "terminal/platform.h"

namespace ovix::tool {
namespace {

enum class DiffFormat { kText, kMarkdown, kJson };

struct Options {
  std::string older;
  std::string newer;
  DiffFormat format = DiffFormat::kText;
};

std::string Words(const Difference& difference) {
  const std::string why = RuleOf(difference.change).why;
  return difference.what + (why.empty() ? "" : ": " + why) +
         (difference.fix.empty() ? "" : "; " + difference.fix);
}

std::string Count(const std::vector<Difference>& differences) {
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

// More messages with facts added than this are counted instead of named: a release that begins to
// state facts does so everywhere.
constexpr std::ptrdiff_t kMostNamed = 10;

bool IsFactsAdded(const Difference& difference) { return difference.change == Change::kFactsAdded; }

// What a reader is shown: all, or all but the facts added, and then how many messages have some.
std::vector<Difference> ForReaders(std::vector<Difference> differences) {
  const auto added = std::count_if(differences.begin(), differences.end(), IsFactsAdded);
  if (added <= kMostNamed) return differences;
  std::erase_if(differences, IsFactsAdded);
  differences.push_back({Change::kFactsAdded, kSafe, std::to_string(added) + " messages",
                         "the comments state more; --format json names the fields", ""});
  return differences;
}

std::string AsText(const std::vector<Difference>& differences) {
  const bool colour = WantsColour();
  std::string text;
  for (const Difference& difference : ForReaders(differences)) {
    text += Styled(BreaksText(difference.breaks),
                   difference.breaks == kSafe ? Style::kGood : Style::kBad, colour) +
            ": " + Styled(difference.subject, Style::kName, colour) + "\n" +
            Wrapped(Words(difference), 100, 2);
  }
  return text + Count(differences) + "\n";
}

std::string AsMarkdown(const std::vector<Difference>& differences) {
  std::string text = Count(differences) + ".\n";
  const std::vector<Difference> shown = ForReaders(differences);
  for (const bool breaking : {true, false}) {
    std::string rows;
    for (const Difference& difference : shown) {
      if ((difference.breaks != kSafe) != breaking) continue;
      std::string words = Words(difference);
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

// Says that facts were not compared; that is easily taken for "they did not change".
void SayWithoutComments(const Contracts& contracts, const std::string& name) {
  const int schemas = SchemasWithoutComments(contracts);
  if (schemas == 0) return;
  std::cerr << "ovix-contracts: " << name << ": " << schemas << " of " << contracts.files().size()
            << " schemas are without comments, so their facts are not compared; protoc writes "
               "comments with --include_source_info\n";
}

int Diff(const Options& options) {
  const auto older = Contracts::FromFile(options.older);
  const auto read = options.newer.empty() ? nullptr : Contracts::FromFile(options.newer);
  const Contracts& newer = read == nullptr ? Contracts::Installed() : *read;
  std::vector<Difference> differences = Compare(*older, newer);
  // What breaks comes first.
  std::stable_partition(differences.begin(), differences.end(),
                        [](const Difference& d) { return d.breaks != kSafe; });
  SayWithoutComments(*older, options.older);
  if (read != nullptr) SayWithoutComments(newer, options.newer);
  WriteAll(options.format == DiffFormat::kJson       ? AsJson(differences)
           : options.format == DiffFormat::kMarkdown ? AsMarkdown(differences)
                                                     : AsText(differences));
  return !differences.empty() && differences.front().breaks != kSafe ? kFound : kDone;
}

}  // namespace

void AddDiff(CLI::App& app, int& exit_code) {
  CLI::App* command = app.add_subcommand("diff", "Show what changed between two releases");
  const auto options = std::make_shared<Options>();
  command->add_option("old", options->older, "Descriptor set of the older release")
      ->type_name("OLD.binpb")
      ->required();
  command
      ->add_option("new", options->newer,
                   "Descriptor set of the newer release; without it these contracts")
      ->type_name("NEW.binpb");
  AddChoice(*command, "--format", options->format,
            {{"text", DiffFormat::kText},
             {"markdown", DiffFormat::kMarkdown},
             {"json", DiffFormat::kJson}});
  command->footer(
      "Examples:\n"
      "  ovix-contracts diff old/contracts.binpb\n"
      "  ovix-contracts diff old/contracts.binpb new/contracts.binpb --format markdown\n"
      "Exit codes: 0 no change breaks anything, 1 one does, 2 failed.");
  command->callback([options, &exit_code] { exit_code = Diff(*options); });
}

}  // namespace ovix::tool
