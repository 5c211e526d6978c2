// What ovix-contracts says of two releases: each rule by a pair of schemas, what buf says of the
// same pair, and versions.
#include <google/protobuf/descriptor.pb.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "contracts/contracts.h"
#include "diff/compare.h"
#include "diff/version.h"
#include "support/contracts.h"
#include "support/folder.h"
#include "support/schema_pair.h"
#include "support/tool.h"
#include "tool/schema_pairs.h"

namespace ovix::tests {
namespace {

using google::protobuf::FileDescriptorSet;
using google::protobuf::Struct;

// What is said of each pair, of which the first is the older.
std::vector<std::vector<tool::Difference>> Compared(
    const Folder& folder, const std::vector<std::pair<std::string, std::string>>& pairs) {
  std::vector<std::string> older, newer;
  for (const auto& [before, after] : pairs) {
    older.push_back(before);
    newer.push_back(after);
  }
  const FileDescriptorSet before = Compiled(folder, older), after = Compiled(folder, newer);
  std::vector<std::vector<tool::Difference>> differences;
  for (size_t i = 0; i < pairs.size(); ++i) {
    differences.push_back(
        tool::Compare(tool::Contracts(OnlyPackage(before, i).SerializeAsString(), "old"),
                      tool::Contracts(OnlyPackage(after, i).SerializeAsString(), "new")));
  }
  return differences;
}

std::vector<std::vector<tool::Difference>> ComparedPairs(const Folder& folder) {
  std::vector<std::pair<std::string, std::string>> pairs;
  for (const SchemaPair& pair : SchemaPairs()) pairs.emplace_back(pair.older, pair.newer);
  return Compared(folder, pairs);
}

// "field-added: safe", sorted.
std::vector<std::string> Said(const std::vector<tool::Difference>& differences) {
  std::vector<std::string> said;
  for (const tool::Difference& difference : differences) {
    said.push_back(std::string(tool::RuleOf(difference.change).id) + ": " +
                   tool::BreaksText(difference.breaks));
  }
  std::sort(said.begin(), said.end());
  return said;
}

TEST(DiffRules, SayWhomEachChangeBreaks) {
  const Folder folder;
  const auto differences = ComparedPairs(folder);
  std::set<std::string> seen;
  for (size_t i = 0; i < SchemaPairs().size(); ++i) {
    SCOPED_TRACE(SchemaPairs()[i].name);
    std::vector<std::string> expected = SchemaPairs()[i].said;
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(Said(differences[i]), expected);
    for (const auto& difference : differences[i]) {
      seen.insert(tool::RuleOf(difference.change).id);
      EXPECT_FALSE(difference.subject.empty());
      EXPECT_FALSE(difference.what.empty());
    }
  }
  for (int i = 0; i <= static_cast<int>(tool::kLastChange); ++i) {
    const std::string id = tool::RuleOf(static_cast<tool::Change>(i)).id;
    EXPECT_TRUE(seen.contains(id)) << "no pair shows " << id;
  }
}

// The pairs of which buf says that they break something, by the rules of one of its categories.
std::set<size_t> BrokenForBuf(const Folder& folder, const std::string& category) {
  const ProgramRun run = RunIn(
      folder, "'" OVIX_TESTS_SOURCE_ROOT "/node_modules/.bin/buf'",
      "breaking '" + Utf8(folder / "new.binpb") + "' --against '" + Utf8(folder / "old.binpb") +
          "' --error-format json --config '{\"version\":\"v2\",\"breaking\":{\"use\":[\"" +
          category + "\"]}}'");
  EXPECT_TRUE(run.exit_code == 0 || run.exit_code == 100) << run.errors;
  std::set<size_t> broken;
  std::istringstream lines(run.output);
  for (std::string line; std::getline(lines, line);) {
    std::smatch match;
    if (std::regex_search(line, match, std::regex("pair([0-9]+)"))) {
      broken.insert(std::stoul(match[1]));
    } else {
      ADD_FAILURE() << "of no pair: " << line;
    }
  }
  return broken;
}

// Words as a paragraph of the docs has them.
std::string OneLine(std::string text) { return std::regex_replace(text, std::regex("\\s+"), " "); }

// buf's category WIRE is about the same as wire-breaking; its category FILE holds WIRE and what
// breaks programs.
TEST(DiffRules, AreThoseOfBufButForWhatIsDocumented) {
  if (!std::filesystem::exists(OVIX_TESTS_SOURCE_ROOT "/node_modules/.bin/buf")) {
    GTEST_SKIP() << "buf is not installed; scripts/setup test installs it";
  }
  const Folder folder;
  const std::vector<SchemaPair>& pairs = SchemaPairs();
  std::vector<std::string> older, newer;
  for (const SchemaPair& pair : pairs) {
    older.push_back(pair.older);
    newer.push_back(pair.newer);
  }
  folder.Write("old.binpb", Compiled(folder, older).SerializeAsString());
  folder.Write("new.binpb", Compiled(folder, newer).SerializeAsString());
  const auto differences = ComparedPairs(folder);
  const std::set<size_t> wire = BrokenForBuf(folder, "WIRE"), any = BrokenForBuf(folder, "FILE");
  const std::string page = OneLine(ReadFile(SourceFile("docs/compatibility.md")));
  for (size_t i = 0; i < pairs.size(); ++i) {
    SCOPED_TRACE(pairs[i].name);
    unsigned breaks = tool::kSafe;
    for (const auto& difference : differences[i]) breaks |= difference.breaks;
    const bool same = ((breaks & tool::kWire) != 0) == wire.contains(i) &&
                      ((breaks & (tool::kWire | tool::kSource)) != 0) == any.contains(i);
    EXPECT_EQ(same, pairs[i].why_not_as_buf.empty())
        << "we: " << tool::BreaksText(breaks) << "; buf: " << (wire.contains(i) ? "WIRE " : "")
        << (any.contains(i) ? "FILE" : "");
    EXPECT_NE(page.find(OneLine(pairs[i].why_not_as_buf)), std::string::npos)
        << "docs/compatibility.md does not say: " << pairs[i].why_not_as_buf;
  }
}
TEST(DiffVersions, AreReadAsSemanticVersioningSays) {
  const char* in_order[] = {"0.0.0-0",
                            "0.0.0",
                            "0.0.4",
                            "1.0.0--",
                            "1.0.0-0A.is.legal",
                            "1.0.0-alpha",
                            "1.0.0-alpha.1",
                            "1.0.0-alpha.beta",
                            "1.0.0-beta",
                            "1.0.0-beta.2",
                            "1.0.0-beta.11",
                            "1.0.0-beta.99999999999999999999",
                            "1.0.0-beta.100000000000000000000",
                            "1.0.0-rc.1",
                            "1.0.0",
                            "1.0.1",
                            "1.1.0-rc.1",
                            "1.1.0",
                            "2.0.0",
                            "10.0.0",
                            "99999999999999999999999.999999999999999999.99999999999999999"};
  for (size_t i = 0; i < std::size(in_order); ++i) {
    const auto version = tool::ReadVersion(in_order[i]);
    ASSERT_TRUE(version) << in_order[i];
    for (size_t j = 0; j < std::size(in_order); ++j) {
      const auto other = tool::ReadVersion(in_order[j]);
      EXPECT_EQ(*version < *other, i < j) << in_order[i] << " " << in_order[j];
    }
  }
  EXPECT_EQ(*tool::ReadVersion("1.0.0-a.1+build.001"), *tool::ReadVersion("1.0.0-a.1+--"));
  for (const char* wrong :
       {"",           "1",         "1.2",       "1.2.3.4",        "1x1x0",      "v1.0.0",
        " 1.0.0",     "1.0.0 ",    "01.0.0",    "1.02.0",         "1.0.003",    "-1.0.0",
        "+1.0.0",     "1.-1.0",    "1.0.0-",    "1.0.0+",         "1.0.0-a..b", "1.0.0-01",
        "1.0.0-a.01", "1.0.0-a_b", "1.0.0+a+b", "1.0.0-\xc3\xa4", "1.0.0beta",  "a.b.c",
        "1..0"}) {
    EXPECT_FALSE(tool::ReadVersion(wrong)) << wrong;
  }
  EXPECT_EQ(tool::ReadVersion("1.199.0")->minor.Next().digits, "200");
  EXPECT_EQ(tool::ReadVersion("99.0.0")->major.Next().digits, "100");
}

// How far a payload's version must go with a change of its content.
TEST(DiffVersions, MustBeRaisedAsFarAsTheContentChanged) {
  enum Change { kAdded, kRemoved };
  const struct {
    const char* before;
    const char* after;
    Change change;
    const char* said;  // of the version
    const char* fix;
  } cases[] = {
      {"1.0.0", "1.1.0", kAdded, "version-raised", ""},
      {"1.0.0", "1.1.0-rc.1", kAdded, "version-raised", ""},
      {"1.0.0", "2.0.0", kAdded, "version-raised", ""},
      {"1.0.0", "1.0.1", kAdded, "version-not-raised", "set version 1.1.0"},
      {"1.0.0", "1.0.0", kAdded, "version-not-raised", "set version 1.1.0"},
      {"1.9.0", "1.9.1-rc.1", kAdded, "version-not-raised", "set version 1.10.0"},
      {"1.0.0", "1.1.0", kRemoved, "version-not-raised",
       "set version 2.0.0 and end the gun in .version.2"},
      {"9.0.0", "10.0.0-beta.1", kRemoved, "version-raised", ""},
      {"2.0.0", "1.1.0", kAdded, "version-lowered", ""},
      // What a pre-release of a new major version will have is not decided.
      {"1.0.0-beta.4", "1.0.0-beta.5", kAdded, "version-raised", ""},
      {"1.0.0-beta.4", "1.0.0-beta.5", kRemoved, "version-raised", ""},
      {"1.0.0-beta.9", "1.0.0-beta.10", kRemoved, "version-raised", ""},
      {"1.0.0-rc.1", "1.0.0", kRemoved, "version-raised", ""},
      {"1.0.0-beta.4", "1.0.0-beta.4", kRemoved, "version-not-raised",
       "set version 1.0.0, or a later pre-release of it"},
      {"1.0.0-beta.5", "1.0.0-beta.4", kAdded, "version-lowered", ""},
      // That of a new minor version has all of the version before.
      {"1.1.0-rc.1", "1.1.0-rc.2", kAdded, "version-raised", ""},
      {"1.1.0-rc.1", "1.1.0", kAdded, "version-raised", ""},
      {"1.1.0-rc.1", "1.1.0-rc.2", kRemoved, "version-not-raised",
       "set version 2.0.0 and end the gun in .version.2"},
      {"1.1.1-rc.1", "1.1.1", kAdded, "version-not-raised", "set version 1.2.0"},
      // Version 0 is for development.
      {"0.1.0", "0.1.1", kRemoved, "version-raised", ""},
      {"0.1.0", "0.1.0", kRemoved, "version-not-raised", "set version 0.2.0"},
      {"0.9.0", "1.0.0", kRemoved, "version-raised", ""},
      {"1.0.0", "1x1x0", kAdded, "version-malformed", "set a version such as 1.0.0"},
      {"1.0.0", "1.1", kAdded, "version-malformed", "set a version such as 1.0.0"},
      {"1x1x0", "1.1.0", kAdded, "version-raised", ""},
      // A build is none of a version's precedence.
      {"1.0.0+1", "1.0.0+2", kAdded, "version-lowered", ""},
  };
  const auto schema = [](const std::string& version, bool has_more) {
    return "message P { option $cdm.gun = \"a.version." + version.substr(0, version.find('.')) +
           "\"; option $cdm.version = \"" + version +
           "\"; Part part = 1; }\nmessage Part { string a = 1; " +
           (has_more ? "string b = 2; }\n" : "}\n");
  };
  std::vector<std::pair<std::string, std::string>> pairs;
  for (const auto& c : cases) {
    pairs.emplace_back(schema(c.before, c.change == kRemoved), schema(c.after, c.change == kAdded));
  }
  const Folder folder;
  const auto differences = Compared(folder, pairs);
  for (size_t i = 0; i < pairs.size(); ++i) {
    const auto& c = cases[i];
    SCOPED_TRACE(std::string(c.before) + " to " + c.after);
    bool said = false, passes = true;
    for (const auto& difference : differences[i]) {
      const std::string id = tool::RuleOf(difference.change).id;
      if (id == "version-not-raised" || id == "version-lowered" || id == "version-malformed") {
        passes = false;
      }
      if (id != c.said) continue;
      said = true;
      EXPECT_TRUE(difference.fix.starts_with(c.fix)) << difference.fix;
    }
    EXPECT_TRUE(said);
    EXPECT_EQ(passes, std::string(c.said) == "version-raised");
  }
}

// --- The command

TEST(ToolDiff, SaysThatASetIsWithoutComments) {
  const Folder folder;
  const auto write = [&](const std::string& name, const std::string& comment, bool with) {
    FileDescriptorSet set = Compiled(
        folder, {"message M {\n  // A length.\n  // " + comment + "\n  uint32 a = 1;\n}\n"});
    if (!with) {
      for (auto& file : *set.mutable_file()) file.clear_source_code_info();
    }
    folder.Write(name, set.SerializeAsString());
  };
  write("old", "Unit: mm", true);
  write("new", "Unit: cm", true);
  write("bare", "Unit: cm", false);
  const auto diff = [&](const char* older, const char* newer) {
    return RunTool(folder,
                   "diff \"" + Utf8(folder / older) + "\" \"" + Utf8(folder / newer) + "\"");
  };
  ProgramRun run = diff("old", "new");
  EXPECT_EQ(run.exit_code, 1) << run.output;
  EXPECT_EQ(run.errors, "");
  run = diff("old", "bare");
  EXPECT_EQ(run.exit_code, 0);
  EXPECT_EQ(run.output, "no change\n");
  EXPECT_NE(run.errors.find("bare: 3 of 3 schemas are without comments, so their facts are not "
                            "compared; protoc writes comments with --include_source_info\n"),
            std::string::npos)
      << run.errors;
  run = diff("bare", "old");
  EXPECT_NE(run.errors.find("bare: 3 of 3 schemas are without comments"), std::string::npos);
  EXPECT_EQ(std::count(run.errors.begin(), run.errors.end(), '\n'), 1);
}

TEST(ToolDiff, WritesEachChangeAsJson) {
  const Folder folder;
  folder.Write("old", Compiled(folder, {"message M { reserved 2; }\n"}).SerializeAsString());
  folder.Write("new", Compiled(folder, {"message M { string b = 3; }\n"}).SerializeAsString());
  const std::string sets = "\"" + Utf8(folder / "old") + "\" \"" + Utf8(folder / "new") + "\"";
  const ProgramRun run = RunTool(folder, "diff --format json " + sets);
  EXPECT_EQ(run.exit_code, 1);
  const Struct json = Json(run.output);
  EXPECT_TRUE(json.fields().at("breaking").bool_value());
  const auto& changes = json.fields().at("changes").list_value();
  ASSERT_EQ(changes.values_size(), 2) << run.output;
  const auto& breaking = changes.values(0).struct_value().fields();
  EXPECT_EQ(breaking.at("rule").string_value(), "reserved-number-freed");
  ASSERT_EQ(breaking.at("breaks").list_value().values_size(), 1);
  EXPECT_EQ(breaking.at("breaks").list_value().values(0).string_value(), "wire");
  EXPECT_EQ(breaking.at("subject").string_value(), "pair0.M");
  EXPECT_EQ(breaking.at("what").string_value(), "no longer reserves the numbers 2");
  EXPECT_EQ(breaking.at("why").string_value(), "the numbers are free for something else");
  EXPECT_EQ(breaking.at("fix").string_value(), "reserve them again");
  EXPECT_FALSE(breaking.contains("mend"));
  const auto& safe = changes.values(1).struct_value().fields();
  EXPECT_EQ(safe.at("rule").string_value(), "field-added");
  EXPECT_EQ(safe.at("breaks").list_value().values_size(), 0);
  EXPECT_EQ(safe.at("fix").string_value(), "");
  // The same in words, and both ways round.
  EXPECT_EQ(RunTool(folder, "diff " + sets).output,
            "wire-breaking: pair0.M\n"
            "  no longer reserves the numbers 2: the numbers are free for something else; reserve "
            "them again\n"
            "safe: pair0.M.b\n"
            "  added, number 3, string\n"
            "2 changes: 1 wire-breaking, 0 source-breaking, 0 store-breaking, 1 safe\n");
  EXPECT_EQ(
      RunTool(folder, "diff \"" + Utf8(folder / "old") + "\" \"" + Utf8(folder / "old") + "\"")
          .output,
      "no change\n");
}

}  // namespace
}  // namespace ovix::tests
