#include "contracts/label.h"

#include <rapidjson/document.h>

#include <algorithm>
#include <string_view>

#include "terminal/error.h"
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

Label ReadLabel(const std::filesystem::path& file) {
  Input input(file);
  const std::string_view text = input.Peek(kLargest + 1);
  const auto fail = [&](const std::string& why) {
    throw Error(input.name() + ": is not a label: " + why +
                "; a label is the JSON file next to a payload");
  };
  if (text.size() > kLargest) fail("it is larger than 1 MiB");
  rapidjson::Document json;
  json.Parse<rapidjson::kParseValidateEncodingFlag | rapidjson::kParseIterativeFlag>(text.data(),
                                                                                     text.size());
  if (json.HasParseError()) {
    const std::string_view before = text.substr(0, json.GetErrorOffset());
    fail("line " + std::to_string(std::count(before.begin(), before.end(), '\n') + 1) +
         " is not JSON");
  }
  if (!json.IsObject()) fail("it is not a JSON object");
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
