#include "lint/report.h"

#include "lint/rules.h"
#include "terminal/ci.h"
#include "terminal/format.h"
#include "terminal/platform.h"

namespace ovix::tool::lint {

std::string AsText(const std::vector<Finding>& findings) {
  std::string text;
  for (const auto& [file, line, rule, what, fix] : findings) {
    text +=
        OneLine(file + ":" + std::to_string(line) + ": " + rule + ": " + what + "; " + fix) + "\n";
  }
  return text;
}

std::string AsJson(const std::vector<Finding>& findings) {
  JsonWriter json;
  json.BeginObject().Key("findings").BeginArray();
  for (const auto& [file, line, rule, what, fix] : findings) {
    json.BeginObject()
        .Add("file", file)
        .Add("line", line)
        .Add("rule", rule)
        .Add("what", what)
        .Add("fix", fix)
        .EndObject();
  }
  return json.EndArray().EndObject().Text();
}

std::string AsGithub(const std::vector<Finding>& findings) {
  std::string text;
  for (const auto& [file, line, rule, what, fix] : findings) {
    text += GithubAnnotation({true, file, line, rule, what + "; " + fix});
  }
  return text;
}

std::string AsJunit(const std::vector<Finding>& findings) {
  std::vector<TestCase> cases;
  for (const auto& [file, line, rule, what, fix] : findings) {
    cases.push_back({rule, file + ":" + std::to_string(line), file, line, rule, what + "; " + fix});
  }
  return JunitReport("ovix-contracts lint", cases, "no finding");
}

std::string RulesAsText() {
  const bool colour = WantsColour();
  std::string text;
  for (const RuleText& rule : Rules()) {
    text += Styled(rule.id, Style::kName, colour) + "\n" + Wrapped(rule.asks, 100, 2) +
            Wrapped(std::string("Why: ") + rule.why, 100, 2);
  }
  return text;
}

std::string RulesAsJson() {
  JsonWriter json;
  json.BeginObject().Key("rules").BeginArray();
  for (const RuleText& rule : Rules()) {
    json.BeginObject().Add("rule", rule.id).Add("asks", rule.asks).Add("why", rule.why).EndObject();
  }
  return json.EndArray().EndObject().Text();
}

}  // namespace ovix::tool::lint
