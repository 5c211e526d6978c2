#include "terminal/ci.h"

#include <algorithm>
#include <string_view>

#include "terminal/format.h"

namespace ovix::tool {
namespace {

// As a workflow command takes a message, and with `is_property` a value before it.
std::string ForGithub(std::string_view text, bool is_property) {
  std::string escaped;
  for (const char c : text) {
    if (c == '%') {
      escaped += "%25";
    } else if (c == '\r') {
      escaped += "%0D";
    } else if (c == '\n') {
      escaped += "%0A";
    } else if (is_property && c == ':') {
      escaped += "%3A";
    } else if (is_property && c == ',') {
      escaped += "%2C";
    } else {
      escaped += c;
    }
  }
  return escaped;
}

// XML has no way to write most control characters.
std::string ForXml(const std::string& text) { return Escaped(OneLine(text)); }

}  // namespace

std::string GithubAnnotation(const Annotation& annotation) {
  std::string text = annotation.is_error ? "::error " : "::notice ";
  if (!annotation.file.empty()) text += "file=" + ForGithub(annotation.file, true) + ",";
  if (annotation.line != 0) text += "line=" + std::to_string(annotation.line) + ",";
  return text + "title=" + ForGithub(annotation.title, true) +
         "::" + ForGithub(annotation.text, false) + "\n";
}

std::string JunitReport(const std::string& suite, const std::vector<TestCase>& cases,
                        const std::string& clean) {
  const auto failures = std::count_if(cases.begin(), cases.end(),
                                      [](const TestCase& c) { return !c.failure.empty(); });
  std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites>\n";
  text += "  <testsuite name=\"" + ForXml(suite) + "\" tests=\"" +
          std::to_string(std::max<size_t>(cases.size(), 1)) + "\" failures=\"" +
          std::to_string(failures) + "\">\n";
  if (cases.empty()) {
    text += "    <testcase classname=\"contracts\" name=\"" + ForXml(clean) + "\"/>\n";
  }
  for (const TestCase& each : cases) {
    text +=
        "    <testcase classname=\"" + ForXml(each.group) + "\" name=\"" + ForXml(each.name) + "\"";
    if (!each.file.empty()) text += " file=\"" + ForXml(each.file) + "\"";
    if (each.line != 0) text += " line=\"" + std::to_string(each.line) + "\"";
    if (each.failure.empty()) {
      text += "/>\n";
      continue;
    }
    text += ">\n      <failure type=\"" + ForXml(each.failure) + "\" message=\"" +
            ForXml(each.message) + "\"/>\n    </testcase>\n";
  }
  return text + "  </testsuite>\n</testsuites>\n";
}

}  // namespace ovix::tool
