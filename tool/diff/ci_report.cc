#include "diff/ci_report.h"

#include <algorithm>
#include <string_view>

#include "diff/report.h"
#include "terminal/format.h"

namespace ovix::tool {
namespace {

struct Place {
  std::string file;  // empty where the subject has none
  int line = 0;      // 0 where it has none
};

// Where a release declares what has this full name or path.
Place PlaceIn(const Contracts& contracts, const std::string& subject) {
  const auto& pool = contracts.pool();
  const auto place = [&](const auto* found) {
    return Place{found->file()->name(), contracts.LineOf(found)};
  };
  if (const auto* file = pool.FindFileByName(subject))
    return {file->name(), contracts.LineOf(file)};
  if (const auto* message = pool.FindMessageTypeByName(subject)) return place(message);
  if (const auto* field = pool.FindFieldByName(subject)) return place(field);
  if (const auto* extension = pool.FindExtensionByName(subject)) return place(extension);
  if (const auto* enumeration = pool.FindEnumTypeByName(subject)) return place(enumeration);
  if (const auto* value = pool.FindEnumValueByName(subject)) {
    return {value->type()->file()->name(), contracts.LineOf(value)};
  }
  return {};
}

// In the newer release; of what is gone what held it, or the file, as far as that is still there.
Place PlaceOf(const Difference& difference, const Contracts& older, const Contracts& newer) {
  for (std::string name = difference.subject;;) {
    const Place place = PlaceIn(newer, name);
    if (!place.file.empty()) return place;
    const size_t dot = name.rfind('.');
    if (dot == std::string::npos) break;
    name.resize(dot);
  }
  const Place before = PlaceIn(older, difference.subject);
  const bool is_left = newer.pool().FindFileByName(before.file) != nullptr;
  return is_left ? Place{before.file, 0} : Place{};
}

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

std::string AsGithub(const std::vector<Difference>& differences, const Contracts& older,
                     const Contracts& newer) {
  std::string text;
  for (const Difference& difference : ForReaders(differences)) {
    const Place place = PlaceOf(difference, older, newer);
    text += difference.breaks == kSafe ? "::notice " : "::error ";
    if (!place.file.empty()) text += "file=" + ForGithub(place.file, true) + ",";
    if (place.line != 0) text += "line=" + std::to_string(place.line) + ",";
    text += "title=" + ForGithub(RuleOf(difference.change).id, true) +
            "::" + ForGithub(difference.subject + ": " + WordsOf(difference), false) + "\n";
  }
  return text + CountOf(differences) + "\n";
}

std::string AsJunit(const std::vector<Difference>& differences, const Contracts& older,
                    const Contracts& newer) {
  const auto failures = std::count_if(differences.begin(), differences.end(),
                                      [](const Difference& d) { return d.breaks != kSafe; });
  const size_t tests = std::max<size_t>(differences.size(), 1);
  std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites>\n";
  text += "  <testsuite name=\"ovix-contracts diff\" tests=\"" + std::to_string(tests) +
          "\" failures=\"" + std::to_string(failures) + "\">\n";
  if (differences.empty()) {
    text += "    <testcase classname=\"contracts\" name=\"no change\"/>\n";
  }
  for (const Difference& difference : differences) {
    const Place place = PlaceOf(difference, older, newer);
    const std::string rule = RuleOf(difference.change).id;
    text += "    <testcase classname=\"" + ForXml(rule) + "\" name=\"" +
            ForXml(difference.subject) + "\"";
    if (!place.file.empty()) text += " file=\"" + ForXml(place.file) + "\"";
    if (place.line != 0) text += " line=\"" + std::to_string(place.line) + "\"";
    if (difference.breaks == kSafe) {
      text += "/>\n";
      continue;
    }
    text += ">\n      <failure type=\"" + BreaksText(difference.breaks) + "\" message=\"" +
            ForXml(WordsOf(difference)) + "\"/>\n    </testcase>\n";
  }
  return text + "  </testsuite>\n</testsuites>\n";
}

}  // namespace ovix::tool
