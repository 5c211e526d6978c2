#include "contracts/label.h"

#include <rapidjson/document.h>

#include <algorithm>
#include <set>
#include <string_view>

#include "terminal/error.h"
#include "terminal/format.h"
#include "terminal/input.h"

namespace ovix::tool {
namespace {

// A label has less than 1 KiB.
constexpr size_t kLargest = size_t{1} << 20;

std::string TextOf(const rapidjson::Document& label, const char* key) {
  const auto found = label.FindMember(key);
  if (found == label.MemberEnd() || !found->value.IsString()) return "";
  return {found->value.GetString(), found->value.GetStringLength()};
}

}  // namespace

Label ReadLabel(const std::string& file) {
  Input input(file);
  const std::string_view text = input.Peek(kLargest + 1);
  const auto fail = [&](const std::string& why) {
    throw Error(input.name() + ": is not a metadata file: " + why +
                "; a metadata file is the JSON file next to a payload");
  };
  if (text.size() > kLargest) fail("it is larger than 1 MiB");
  const auto fail_at = [&](size_t at) {
    const std::string_view before = text.substr(0, at);
    fail("line " + std::to_string(std::count(before.begin(), before.end(), '\n') + 1) +
         " is not JSON");
  };
  // The parser skips a byte order mark, and takes a zero byte for the end.
  if (text.starts_with("\xef\xbb\xbf")) {
    fail("it begins with a byte order mark; save it as UTF-8 without it");
  }
  if (const size_t zero = text.find('\0'); zero != std::string_view::npos) fail_at(zero);
  rapidjson::Document json;
  json.Parse<rapidjson::kParseValidateEncodingFlag | rapidjson::kParseIterativeFlag>(text.data(),
                                                                                     text.size());
  if (json.HasParseError()) fail_at(json.GetErrorOffset());
  if (!json.IsObject()) fail("it is not a JSON object");
  std::set<std::string_view> keys;
  const rapidjson::Document& read = json;
  for (auto member = read.MemberBegin(); member != read.MemberEnd(); ++member) {
    const std::string_view key(member->name.GetString(), member->name.GetStringLength());
    if (!keys.insert(key).second) fail("it has the key " + JsonText(key) + " twice");
  }
  const auto number = [&](const char* key) -> std::optional<uint64_t> {
    // Not by FindMember(): clang finds the comparison of its iterators ambiguous in C++20.
    if (!json.HasMember(key) || !json[key].IsUint64()) return std::nullopt;
    return json[key].GetUint64();
  };
  Label label{.gun = TextOf(json, "gun"),
              .version = TextOf(json, "version"),
              .message = TextOf(json, "message"),
              .payload = TextOf(json, "payload"),
              .sha256 = TextOf(json, "sha256"),
              .bytes = number("bytes"),
              .device = TextOf(json, "device"),
              .created = TextOf(json, "created"),
              .sequence = number("sequence"),
              .id = TextOf(json, "id")};
  if (label.gun.empty()) fail("it has no gun");
  return label;
}

}  // namespace ovix::tool
