// The facts in the comments of schemas, as tools read and compare them. What is wrong with a
// comment is reported by `ovix-contracts lint` and scripts/check-contracts.
#include "contracts/facts.h"

#include <google/protobuf/descriptor.pb.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <regex>
#include <sstream>

#include "contracts/contracts.h"
#include "diff/compare.h"
#include "support/folder.h"

namespace ovix::tests {
namespace {

using google::protobuf::FieldDescriptorProto;
using google::protobuf::FileDescriptorProto;
using google::protobuf::FileDescriptorSet;
using tool::Contracts;

std::string Upper(std::string text) {
  for (char& c : text) c = static_cast<char>(c >= 'a' && c <= 'z' ? c - 'a' + 'A' : c);
  return text;
}

// Reads schemas as simple as those below: a comment, a declaration or a bracket on each line. (The
// runtime's own parser is not there on every platform.)
void AddSchema(FileDescriptorSet& set, const std::string& name, const std::string& text) {
  FileDescriptorProto& file = *set.add_file();
  file.set_name(name);
  std::vector<google::protobuf::DescriptorProto*> messages;
  google::protobuf::EnumDescriptorProto* enumeration = nullptr;
  std::vector<int> path;
  std::string comment;
  std::istringstream lines(text);
  int number = 0;
  for (std::string line; std::getline(lines, line); ++number) {
    line.erase(0, std::min(line.find_first_not_of(' '), line.size()));
    if (line.starts_with("//")) {
      comment += line.substr(2) + "\n";
      continue;
    }
    std::istringstream words(line);
    std::string kind, declared;
    words >> kind >> declared;
    const auto place = [&](int tag, int index) {
      path.insert(path.end(), {tag, index});
      auto& location = *file.mutable_source_code_info()->add_location();
      location.mutable_path()->Add(path.begin(), path.end());
      location.add_span(number);
      location.set_leading_comments(comment);
      comment.clear();
    };
    FieldDescriptorProto::Type type{};
    if (kind == "syntax") {
      file.set_syntax("proto3");
    } else if (kind == "package") {
      file.set_package(declared.substr(0, declared.size() - 1));
    } else if (kind == "message") {
      auto* list =
          messages.empty() ? file.mutable_message_type() : messages.back()->mutable_nested_type();
      place(messages.empty() ? 4 : 3, list->size());
      messages.push_back(list->Add());
      messages.back()->set_name(declared);
      if (!line.ends_with("{}")) continue;
      messages.pop_back();
      path.resize(path.size() - 2);
    } else if (kind == "enum") {
      place(5, file.enum_type_size());
      enumeration = file.add_enum_type();
      enumeration->set_name(declared);
    } else if (kind == "}") {
      enumeration = nullptr;
      if (!messages.empty()) messages.pop_back();
      path.resize(path.size() - 2);
    } else if (enumeration != nullptr) {
      place(2, enumeration->value_size());
      enumeration->add_value()->set_name(kind);
      enumeration->mutable_value()->rbegin()->set_number(0);
      path.resize(path.size() - 2);
    } else if (FieldDescriptorProto::Type_Parse("TYPE_" + Upper(kind), &type)) {
      place(2, messages.back()->field_size());
      auto& field = *messages.back()->add_field();
      field.set_name(declared);
      field.set_number(messages.back()->field_size());
      field.set_type(type);
      field.set_label(FieldDescriptorProto::LABEL_OPTIONAL);
      path.resize(path.size() - 2);
    } else {
      FAIL() << "cannot read '" << line << "'";
    }
  }
}

// A record with one field, and what its comment says after the first line.
std::string Schema(const std::string& field_comment, const std::string& field) {
  return "syntax = \"proto3\";\n"
         "package p;\n"
         "// A record of the test.\n"
         "message R {\n"
         "  // The first line.\n" +
         field_comment + "  " + field +
         " = 1;\n"
         "}\n";
}

TEST(Facts, AreReadAsTheyAreWritten) {
  FileDescriptorSet set;
  AddSchema(
      set, "s.proto",
      Schema("  // Unit: unspecified, as it comes.\n  // Values: \"a\" = first, \"b, c\", ...\n"
             "  // Format: version\n  // Privacy: interaction\n",
             "string total_mb"));
  const Contracts contracts(set.SerializeAsString(), "test");
  const auto* field = contracts.messages().at(0)->field(0);
  const tool::FieldFacts facts = tool::FactsOf(contracts, field);
  EXPECT_EQ(contracts.CommentOf(field).text, "The first line.");
  EXPECT_EQ(facts.unit, "unspecified");
  EXPECT_EQ(facts.unit_reason, "as it comes");
  EXPECT_EQ(facts.listed_values, (std::vector<std::string>{"a", "b, c"}));
  EXPECT_FALSE(facts.is_closed);
  EXPECT_EQ(facts.format, "version");
  EXPECT_EQ(facts.privacy, tool::Privacy::kInteraction);

  for (const auto& [name, unit] :
       std::vector<std::pair<std::string, std::string>>{{"a_ms", "ms"},
                                                        {"a_mb", "MiBy"},
                                                        {"a_perc", "%"},
                                                        {"a_inches", "[in_i]"},
                                                        {"a_gbps", "Gbit/s"},
                                                        {"a_celsius", "Cel"},
                                                        {"ms", ""},
                                                        {"a_msx", ""},
                                                        {"hours", ""}}) {
    EXPECT_EQ(tool::UnitOfName(name), unit) << name;
  }
}

// What two releases state of one field, and whom the change breaks.
TEST(Facts, AChangeThatReadersRelyOnBreaksThem) {
  const struct {
    const char* before;
    const char* after;
    const char* rule;  // empty: no change
  } cases[] = {
      {"  // Unit: ms\n", "  // Unit: s\n", "unit-changed"},
      {"  // Unit: ms\n", "  // Unit: unspecified\n", "unit-changed"},
      {"  // Unit: ms\n", "", "unit-changed"},
      {"  // Unit: unspecified\n", "  // Unit: ms\n", "facts-added"},
      {"", "  // Unit: ms\n", "facts-added"},
      {"  // Values: \"a\", \"b\"\n", "  // Values: \"a\"\n", "values-changed"},
      {"  // Values: \"a\"\n", "  // Values: \"a\", ...\n", "values-changed"},
      {"  // Values: \"a\", \"b\"\n", "  // Values: \"b\" = two, \"a\"\n", "facts-added"},
      {"  // Values: \"a\", ...\n", "  // Values: \"a\", \"b\", ...\n", "facts-added"},
      {"  // Values: \"a\" = up\n", "  // Values: \"a\" = down\n", "values-changed"},
      {"  // Values: \"a\" = up, ...\n", "  // Values: \"a\" = down, ...\n", "values-changed"},
      {"  // Format: date\n", "  // Format: RFC 3339\n", "format-changed"},
      {"  // Format: date\n", "", "format-changed"},
      {"", "  // Format: date\n", "facts-added"},
      {"  // Privacy: identifier\n", "  // Privacy: content\n", "privacy-lowered"},
      {"  // Privacy: interaction\n", "", "privacy-lowered"},
      {"  // Privacy: content\n", "  // Privacy: location\n", "facts-added"},
      {"  // Other words.\n  // Unit: ms\n", "  // Unit: ms\n", ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.before) + "->\n" + c.after);
    FileDescriptorSet before, after;
    AddSchema(before, "s.proto", Schema(c.before, "string a"));
    AddSchema(after, "s.proto", Schema(c.after, "string a"));
    const Contracts older(before.SerializeAsString(), "old");
    const Contracts newer(after.SerializeAsString(), "new");
    const auto differences = tool::Compare(older, newer);
    if (*c.rule == '\0') {
      EXPECT_EQ(differences.size(), 0u);
      continue;
    }
    ASSERT_EQ(differences.size(), 1u);
    const tool::Rule& rule = tool::RuleOf(differences[0].change);
    EXPECT_EQ(rule.id, std::string(c.rule));
    EXPECT_EQ(differences[0].breaks,
              rule.id == std::string("facts-added") ? tool::kSafe : tool::kWire);
    // A set without comments says nothing of what was taken away.
    for (auto& file : *after.mutable_file()) file.clear_source_code_info();
    const Contracts silent(after.SerializeAsString(), "silent");
    EXPECT_EQ(tool::Compare(older, silent).size(), 0u);
  }
}

// A unit that only the name gives is promised once a release states facts at all.
TEST(Facts, AUnitByItsNameIsPromisedByAReleaseThatStatesFacts) {
  for (const bool states_facts : {false, true}) {
    SCOPED_TRACE(states_facts);
    const auto schema = [&](const char* line) {
      FileDescriptorSet set;
      AddSchema(set, "s.proto",
                std::string("syntax = \"proto3\";\npackage p;\n// A record.\nmessage R {\n") +
                    line + "  uint32 a_ms = 1;\n" +
                    (states_facts ? "  // Privacy: content\n" : "  // Unsigned: whatever.\n") +
                    "  string b = 2;\n}\n");
      return set.SerializeAsString();
    };
    const Contracts older(schema(""), "old"), newer(schema("  // Unit: s\n"), "new");
    const auto differences = tool::Compare(older, newer);
    ASSERT_EQ(differences.size(), 1u);
    EXPECT_EQ(tool::RuleOf(differences[0].change).id,
              std::string(states_facts ? "unit-changed" : "facts-added"));
  }
}

// docs/contracts.md between two of its headings.
std::string Section(const std::string& begin, const std::string& end) {
  const std::string page = ReadFile(SourceFile("docs/contracts.md"));
  const size_t from = page.find("\n" + begin + "\n"), to = page.find("\n" + end + "\n");
  EXPECT_LT(from, to) << begin;
  EXPECT_NE(to, std::string::npos) << end;
  return page.substr(from, to - from);
}

// What is in backticks.
std::vector<std::string> Codes(const std::string& text) {
  static const std::regex code("`([^`]+)`");
  std::vector<std::string> codes;
  for (std::sregex_iterator it(text.begin(), text.end(), code), end; it != end; ++it) {
    codes.push_back((*it)[1]);
  }
  return codes;
}

template <typename Range>
std::vector<std::string> InOrder(const Range& words) {
  std::vector<std::string> sorted(words.begin(), words.end());
  std::sort(sorted.begin(), sorted.end());
  return sorted;
}

TEST(Facts, ThePageListsWhatTheToolKnows) {
  const std::string units = Section("### Unit", "### Values");
  const std::string formats = Section("### Format", "### Privacy");
  const std::string classes = Section("### Privacy", "## Conventions");

  std::map<std::string, std::string> listed, known;
  const std::regex pair(R"(\| ((?:`_\w+`(?:, )?)+) \| `([^`]+)` )");
  for (std::sregex_iterator it(units.begin(), units.end(), pair), end; it != end; ++it) {
    for (const std::string& suffix : Codes((*it)[1])) listed[suffix] = (*it)[2];
  }
  for (const auto& [suffix, unit] : tool::UnitSuffixes()) {
    known["_" + std::string(suffix)] = std::string(unit);
  }
  EXPECT_EQ(listed, known);

  const size_t begin = units.find("Codes in use: ");
  const std::string codes = units.substr(begin, units.find(". ", begin) - begin);
  EXPECT_EQ(InOrder(Codes(codes)), InOrder(tool::Units()));

  const size_t words = units.find("its last word is one of these:");
  ASSERT_NE(words, std::string::npos);
  const std::string listed_words =
      units.substr(words, units.find("\nA number whose name", words) - words);
  EXPECT_EQ(InOrder(Codes(listed_words)), InOrder(tool::WordsOfNoQuantity()));
  const size_t counted = units.find("What is counted is never one of");
  const std::string units_in_words = units.substr(counted, units.find(':', counted) - counted);
  EXPECT_EQ(InOrder(Codes(units_in_words)), InOrder(tool::UnitsInWords()));
  for (const auto& [name, shows] :
       std::vector<std::pair<std::string, bool>>{{"number_of_lit_lamps", true},
                                                 {"lamp_count", true},
                                                 {"count", true},
                                                 {"counts", false},
                                                 {"count_of_lamps", false}}) {
    EXPECT_EQ(tool::ShowsNoQuantity(name), shows) << name;
  }

  const std::regex row(R"(\n\| `([^`]+)` \|)");
  const auto rows = [&](const std::string& text) {
    std::vector<std::string> names;
    for (std::sregex_iterator it(text.begin(), text.end(), row), end; it != end; ++it) {
      names.push_back((*it)[1]);
    }
    return names;
  };
  EXPECT_EQ(InOrder(rows(formats)), InOrder(tool::Formats()));
  std::vector<std::string> ranked;
  for (const tool::Privacy privacy : tool::PrivacyClasses()) {
    ranked.emplace_back(tool::PrivacyText(privacy));
  }
  EXPECT_EQ(rows(classes), ranked) << "the order is the rank";

  // scripts/check-contracts reads the names from the page.
  const size_t names = classes.find("or ends in one after an underscore:\n\n");
  ASSERT_NE(names, std::string::npos);
  const std::string personal = classes.substr(names, classes.find("\n\nA plural", names) - names);
  EXPECT_EQ(InOrder(Codes(personal)), InOrder(tool::PersonalNames()));
}

}  // namespace
}  // namespace ovix::tests
