// What the tests of the outbox and of uploads share: what a sender finds in an outbox.
#ifndef OVIX_TESTS_SUPPORT_OUTBOX_H_
#define OVIX_TESTS_SUPPORT_OUTBOX_H_

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <map>
#include <string>

#include "system/hash.h"
#include "uploader/label.h"
#include "uploader/lock.h"

namespace ovix::tests {

inline const std::chrono::system_clock::time_point kNow =
    std::chrono::sys_days(std::chrono::year(2026) / 11 / 21);
inline constexpr char kDevice[] = "5c91a2bf-2873-8c8c-9f56-07345e9936b3";
inline constexpr auto kMake = agent::UploadLock::IfMissing::kMake;

// The payloads by id, as a sender finds them. Fails the test where a label and its payload do not
// fit.
inline std::map<std::string, std::string> Labelled(
    const std::map<std::string, std::string>& contents) {
  std::map<std::string, std::string> whole;
  for (const auto& [name, content] : contents) {
    if (!agent::ParseOutboxName(name) || !name.ends_with(".json")) continue;
    const auto label = agent::Label::FromJson(content);
    if (!label) {
      ADD_FAILURE() << name << " is not a label: " << content;
      continue;
    }
    const auto payload = contents.find(label->FileStem() + ".binpb");
    if (payload == contents.end() ||
        agent::Hexadecimal(agent::Sha256(payload->second)) != label->sha256) {
      ADD_FAILURE() << name << " has not the payload that it says";
      continue;
    }
    EXPECT_EQ(label->FileStem() + ".json", name);
    whole[label->id] = payload->second;
  }
  return whole;
}

// The same where an upload has cleaned up: there is nothing else of ours.
inline std::map<std::string, std::string> Whole(
    const std::map<std::string, std::string>& contents) {
  const auto whole = Labelled(contents);
  const auto is_ours = [](const auto& file) {
    return agent::ParseOutboxName(file.first).has_value();
  };
  EXPECT_EQ(std::count_if(contents.begin(), contents.end(), is_ours),
            static_cast<int64_t>(whole.size() * 2))
      << "something is left over";
  return whole;
}

}  // namespace ovix::tests

#endif  // OVIX_TESTS_SUPPORT_OUTBOX_H_
