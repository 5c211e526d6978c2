// What is offered for a command line that is being typed.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "contracts/names.h"
#include "support/folder.h"
#include "support/tool.h"

namespace ovix::tests {
namespace {

TEST(ToolCompletion, OffersWhatTheWordCanBe) {
  const struct {
    const char* words;
    std::vector<std::string> offered;      // lines, or beginnings of them
    std::vector<std::string> not_offered;  // the same
  } cases[] = {
      {"decode Battery", {"words\n", "BatteryHealthLog\t"}, {"files\n"}},
      {"decode BatteryHealthLog \"\"", {"files\n"}, {"words\n"}},
      // These say what the first word would.
      {"decode --raw \"\"", {"files\n"}, {"words\n", "BatteryHealthLog"}},
      {"decode --gun com.ovix \"\"", {"files\n"}, {"words\n"}},
      {"check --gun=com.ovix \"\"", {"files\n"}, {"words\n"}},
      {"decode --gun com.ovix", {"words\n", "com.ovix.cdm."}, {"files\n"}},
      // show takes enumerations too, by both names.
      {"show StateEv", {"words\n", "StateEventType\tenumeration"}, {}},
      {"show ovix.telemetry.contract.storage.StateEv",
       {"ovix.telemetry.contract.storage.StateEventType\tenumeration"},
       {}},
      {"decode StateEv", {}, {"StateEventType"}},
      {"describe --as \"\"", {"words\n", "bash\n", "zsh\n", "fish\n", "man\n"}, {}},
      {"desc", {"words\n"}, {"describe"}},
      // What a list has already is not offered again.
      {"decode --redact \"\"", {"identifier\n", "location\n", "all\n"}, {}},
      {"decode --redact identifier,",
       {"identifier,location\n", "identifier,content\n"},
       {"identifier,identifier"}},
      {"decode --redact identifier,content,i",
       {"identifier,content,interaction\n"},
       {"identifier,content,identifier"}},
  };
  const Folder folder;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.words);
    const std::string answer = "\n" + RunTool(folder, std::string("complete ") + c.words).output;
    for (const std::string& line : c.offered) {
      EXPECT_NE(answer.find("\n" + line), std::string::npos) << line << " of" << answer;
    }
    for (const std::string& line : c.not_offered) {
      EXPECT_EQ(answer.find("\n" + line), std::string::npos) << line << " of" << answer;
    }
  }
}

TEST(ToolNames, ComeNearIfMostOfThemStays) {
  const struct {
    const char* name;
    std::vector<std::string> known;
    std::vector<std::string> near;
  } cases[] = {
      {"agee", {"age", "voltage"}, {"age"}},
      {"aeg", {"age", "id"}, {"age"}},
      {"ag", {"age", "id"}, {"age"}},
      {"xy", {"id", "xz"}, {"xz"}},
      {"xy", {"id"}, {}},
      {"zz", {"b", "by", "d"}, {}},
      {"\xc3\xbc", {"b", "by", "d"}, {}},
      {"", {"b", "by"}, {}},
      {"batery_health_lgo", {"battery_health_log", "battery"}, {"battery_health_log"}},
  };
  for (const auto& c : cases) EXPECT_EQ(tool::Nearest(c.name, c.known), c.near) << c.name;
}

}  // namespace
}  // namespace ovix::tests
