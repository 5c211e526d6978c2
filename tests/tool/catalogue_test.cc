// The catalogue as files: an address for everything, text that stays text. What a browser makes of
// it is in catalogue_test.mjs.
#include "catalogue/catalogue.h"

#include <google/protobuf/descriptor.pb.h>
#include <gtest/gtest.h>

#include <cctype>
#include <set>
#include <string>
#include <vector>

#include "catalogue/pages.h"
#include "contracts/embedded.h"
#include "contracts/facts.h"
#include "contracts/personal.h"
#include "ovix/telemetry/contract/storage/storage_options.pb.h"
#include "ovix/telemetry/contract/upload/upload_options.pb.h"
#include "support/folder.h"
#include "terminal/error.h"

namespace ovix::tests {
namespace {

using google::protobuf::FileDescriptorProto;
using tool::Contracts;

size_t Count(const std::string& text, const std::string& part) {
  size_t count = 0;
  for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
  return count;
}

TEST(Catalogue, EveryDeclarationHasItsAddress) {
  const Contracts& contracts = Contracts::Installed();
  const auto pages = tool::CataloguePages(contracts);
  std::set<std::string> without_case;
  for (const auto& [path, bytes] : pages) {
    std::string lower;
    for (const char c : path) lower += static_cast<char>(std::tolower(c));
    EXPECT_TRUE(without_case.insert(lower).second) << path << ": another differs only in case";
  }
  size_t fields = 0;
  for (const tool::Descriptor* message : contracts.messages()) {
    const tool::Descriptor* outermost = message;
    std::string inner;
    for (; outermost->containing_type() != nullptr; outermost = outermost->containing_type()) {
      inner = outermost->name() + "." + inner;
    }
    const auto page = pages.find("contracts/" + outermost->full_name() + ".html");
    ASSERT_NE(page, pages.end()) << message->full_name();
    if (!inner.empty()) {
      const std::string anchor = inner.substr(0, inner.size() - 1);
      EXPECT_EQ(Count(page->second, " id=\"" + anchor + "\""), 1u) << message->full_name();
    }
    for (int i = 0; i < message->field_count(); ++i, ++fields) {
      const std::string anchor = inner + message->field(i)->name();
      EXPECT_EQ(Count(page->second, " id=\"" + anchor + "\""), 1u)
          << message->full_name() << anchor;
    }
  }
  EXPECT_NE(pages.at("index.html").find("<dd>" + std::to_string(fields) + "</dd>"),
            std::string::npos);
}

// The row of a field on its page.
std::string Row(const std::string& page, const std::string& anchor) {
  const size_t begin = page.find("<tr role=\"row\" id=\"" + anchor + "\">");
  return begin == std::string::npos ? "" : page.substr(begin, page.find("</tr>", begin) - begin);
}

TEST(Catalogue, FactsHaveLabelsAndPersonalDataItsLists) {
  const Contracts& contracts = Contracts::Installed();
  const auto pages = tool::CataloguePages(contracts);
  const tool::PersonalData personal(contracts);
  const std::string& list = pages.at("privacy.html");
  const size_t below = list.find("<p id=\"page-none\">No personal data: ");
  ASSERT_NE(below, std::string::npos);
  std::string without = list.substr(below, list.find("</p>", below) - below);
  for (size_t at; (at = without.find("<wbr>")) != std::string::npos;) without.erase(at, 5);
  std::map<tool::Privacy, size_t> rows;
  size_t groups = 0, facts = 0;
  for (const tool::Descriptor* message : contracts.messages()) {
    const auto page = pages.find("contracts/" + message->full_name() + ".html");
    if (page == pages.end()) continue;
    SCOPED_TRACE(message->full_name());
    for (int i = 0; i < message->field_count(); ++i) {
      const tool::FieldFacts stated = tool::FactsOf(contracts, message->field(i));
      const std::string row = Row(page->second, message->field(i)->name());
      for (const auto& [label, is_stated] :
           {std::pair("Unit", !stated.unit.empty()), std::pair("Values", !stated.values.empty()),
            std::pair("Format", !stated.format.empty()),
            std::pair("Privacy", stated.privacy != tool::Privacy::kNone)}) {
        EXPECT_EQ(Count(row, std::string("<dt>") + label + "</dt>"), is_stated ? 1u : 0u)
            << message->field(i)->name() << " " << label;
        facts += is_stated ? 1 : 0;
      }
    }
    const auto kind = tool::KindOf(message);
    if (kind != tool::Kind::kTable && kind != tool::Kind::kPayload) continue;
    const auto fields = personal.In(message);
    EXPECT_EQ(Count(page->second, "<dt>Personal data</dt><dd>none</dd>"), fields.empty() ? 1u : 0u);
    if (!fields.empty()) ++groups;
    // Each is in the list once: with its fields, or below the table.
    EXPECT_EQ(Count(without, ">" + message->name() + "<"), fields.empty() ? 1u : 0u);
    for (const tool::PersonalField& field : fields) {
      ++rows[field.privacy];
      EXPECT_NE(
          page->second.find(std::string("privacy.html#class-") + tool::PrivacyText(field.privacy)),
          std::string::npos);
    }
  }
  EXPECT_GT(facts, 500u);
  EXPECT_EQ(Count(list, "<tbody"), groups);
  for (const tool::Privacy privacy : tool::PrivacyClasses()) {
    const std::string name = tool::PrivacyText(privacy);
    EXPECT_GT(rows[privacy], 0u) << name;
    EXPECT_EQ(Count(list, "data-privacy=\"" + name + "\""), rows[privacy]) << name;
    EXPECT_EQ(Count(list, " id=\"class-" + name + "\""), 1u) << name;
    EXPECT_EQ(Count(list, "(" + std::to_string(rows[privacy]) + " fields by path)"), 1u) << name;
  }
}

// Where no class is stated, nothing is said to be free of personal data.
TEST(Catalogue, SaysWhereAReleaseDoesNotStatePrivacyClasses) {
  const std::string page =
      "contracts/ovix.telemetry.contract.upload.device_profile.IdentityAsCDM.html";
  const std::string none = "This release does not state privacy classes";
  const struct {
    const char* without;  // the end of the names of schemas without comments
    bool states;
    const char* said;  // on the page
  } cases[] = {
      {"", false, "<dt>Personal data</dt><dd>This release does not state privacy classes</dd>"},
      {"/identityAsCDM.proto", true,
       "<dt>Personal data</dt><dd>This release has no comments of this contract, so its privacy "
       "classes are not known</dd>"},
      {"/fwComponentsInfoAsCDM.proto", true, "privacy.html#class-identifier"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.without);
    google::protobuf::FileDescriptorSet set;
    ASSERT_TRUE(set.ParseFromString(std::string(tool::EmbeddedDescriptorSet())));
    for (auto& file : *set.mutable_file()) {
      if (file.name().ends_with(c.without)) file.clear_source_code_info();
    }
    const Contracts contracts(set.SerializeAsString(), "set");
    const auto pages = tool::CataloguePages(contracts);
    const std::string& list = pages.at("privacy.html");
    EXPECT_EQ(Count(list, none), c.states ? 0u : 1u);
    EXPECT_EQ(Count(list, "<table"), c.states ? 1u : 0u);
    EXPECT_EQ(Count(list, "No personal data: "), c.states ? 1u : 0u);
    EXPECT_EQ(Count(pages.at("index.html"), "with personal data"), c.states ? 1u : 0u);
    EXPECT_NE(pages.at(page).find(c.said), std::string::npos);
    EXPECT_EQ(Count(pages.at(page), "<dd>none</dd>"), 0u);
  }
}

// In JSON and in the pages' own markup it is a part.
TEST(Catalogue, CallsAMessageOfOthersASubMessage) {
  const auto pages = tool::CataloguePages(Contracts::Installed());
  size_t headings = 0;
  for (const auto& [name, page] : pages) {
    headings += Count(page, ">sub-message<") + Count(page, ">Sub-message<");
    EXPECT_EQ(Count(page, ">part<") + Count(page, ">Part<"), 0u) << name;
  }
  EXPECT_GT(headings, 100u);
  EXPECT_EQ(Count(pages.at("privacy.html"), " A field of a nested message is listed with each "),
            1u);
}

// The classes are defined once, in docs/contracts.md, and shown elsewhere.
TEST(Catalogue, SaysOfTheClassesWhatTheDocsSay) {
  const std::string defined = ReadFile(SourceFile("docs/contracts.md"));
  const std::string carried = ReadFile(SourceFile("docs/privacy.md"));
  const std::string list = tool::CataloguePages(Contracts::Installed()).at("privacy.html");
  for (const tool::Privacy privacy : tool::PrivacyClasses()) {
    const std::string begin = std::string("\n| `") + tool::PrivacyText(privacy) + "` | ";
    const size_t at = defined.find(begin);
    ASSERT_NE(at, std::string::npos) << begin;
    const size_t meaning = at + begin.size();
    const std::string text = defined.substr(meaning, defined.find(" |", meaning) - meaning);
    EXPECT_NE(list.find("<dd>" + text + " <span"), std::string::npos) << text;
    EXPECT_NE(carried.find(begin + text + " |\n"), std::string::npos) << text;
  }
}

// A table whose change log feeds a payload, but which does not.
TEST(Catalogue, TellsWhatFeedsAPayloadFromWhatHasTheSameData) {
  const auto pages = tool::CataloguePages(Contracts::Installed());
  const std::string storage = "contracts/ovix.telemetry.contract.storage.device_profile.";
  const std::string same = "<span class=\"quiet\">same data in</span>";
  const std::string& table = pages.at(storage + "Application.html");
  EXPECT_NE(table.find("none says that it is filled from here</span>" + same), std::string::npos);
  const std::string& log = pages.at(storage + "ApplicationEvents.html");
  EXPECT_EQ(log.find(same), std::string::npos);
  EXPECT_NE(log.find("Feeds "), std::string::npos);
}

// A schema whose comments and options are markup.
TEST(Catalogue, TextIsNeverMarkup) {
  constexpr const char* kFacts =
      " Unit: unspecified, as <i>they</i> say.\n Values: \"<i>\" = <b>`\n Privacy: content\n";
  const std::string hostile = " Sees </script><script>x()</script> & \"quotes\" `<b>` and `open.\n";
  google::protobuf::FileDescriptorSet set;
  FileDescriptorProto::descriptor()->file()->CopyTo(set.add_file());
  telemetry::contract::upload::cdmMessageOptions::descriptor()->file()->CopyTo(set.add_file());
  telemetry::contract::storage::TableOptions::descriptor()->file()->CopyTo(set.add_file());
  FileDescriptorProto& file = *set.add_file();
  file.set_name("hostile.proto");
  file.set_package("hostile");
  file.set_syntax("proto3");
  file.add_dependency(set.file(1).name());
  file.add_dependency(set.file(2).name());
  auto& message = *file.add_message_type();
  message.set_name("Hostile");
  auto& cdm = *message.mutable_options()->MutableExtension(telemetry::contract::upload::cdm);
  cdm.set_gun("<img src=x onerror=\"x()\">");
  cdm.set_version("1<2");
  auto& field = *message.add_field();
  field.set_name("field");
  field.set_number(1);
  field.set_type(google::protobuf::FieldDescriptorProto::TYPE_STRING);
  field.set_label(google::protobuf::FieldDescriptorProto::LABEL_OPTIONAL);
  auto& record = *file.add_message_type();
  record.set_name("Record");
  auto& persistance =
      *record.mutable_options()->MutableExtension(telemetry::contract::storage::persistance);
  persistance.set_type("Historical");
  persistance.mutable_database()->set_name("<i>\"'&");
  for (const std::vector<int>& path :
       {std::vector<int>{FileDescriptorProto::kSyntaxFieldNumber}, {4, 0}, {4, 0, 2, 0}}) {
    auto& location = *file.mutable_source_code_info()->add_location();
    for (const int step : path) location.add_path(step);
    for (const int place : {0, 0, 1}) location.add_span(place);
    location.set_leading_comments(hostile + (path.size() == 4 ? kFacts : "") +
                                  " Source: none, from <i>nobody</i>\n");
  }
  const Contracts contracts(set.SerializeAsString(), "hostile.binpb");
  const auto pages = tool::CataloguePages(contracts);
  for (const auto& [path, bytes] : pages) {
    if (path.ends_with("site.js") || path.ends_with("search.js") || path.ends_with(".css"))
      continue;
    for (const char* raw : {"<script>", "<b>`", "<i>", "<img", "1<2"}) {
      EXPECT_EQ(bytes.find(raw), std::string::npos) << path << " has " << raw;
    }
  }
  const std::string& page = pages.at("contracts/hostile.Hostile.html");
  EXPECT_NE(page.find("&lt;script&gt;x()&lt;/script&gt; &amp; &quot;quotes&quot;"),
            std::string::npos);
  EXPECT_NE(page.find("`open."), std::string::npos);
  EXPECT_NE(page.find("<dt>Values</dt><dd><code>&quot;&lt;i&gt;&quot;"), std::string::npos);
}

// What the folder may be is in folder_test.cc.
TEST(Catalogue, IsAFolderOfItsOwn) {
  const Folder folder;
  const Contracts& contracts = Contracts::Installed();
  for (int round = 0; round < 2; ++round) {  // the second replaces what the first has written
    tool::WriteCatalogue(contracts, Utf8(folder / "site"));
    auto files = FilesIn(folder / "site");
    EXPECT_TRUE(files["files.txt"].starts_with("The files of this catalogue, written by "));
    files.erase("files.txt");
    EXPECT_TRUE(files == tool::CataloguePages(contracts));
    folder.Write("site/index.html", "older");
  }
  folder.Write("site/assets/mine.css", "mine");
  EXPECT_THROW(tool::WriteCatalogue(contracts, Utf8(folder / "site")), tool::Error);
}

}  // namespace
}  // namespace ovix::tests
