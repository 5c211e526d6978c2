// Runs ovix-contracts, the executable of the build, and reads the JSON that it prints.
#ifndef OVIX_TESTS_SUPPORT_TOOL_H_
#define OVIX_TESTS_SUPPORT_TOOL_H_

#include <google/protobuf/struct.pb.h>
#include <google/protobuf/util/json_util.h>
#include <gtest/gtest.h>

#include <string>

#include "support/program.h"

namespace ovix::tests {

inline ProgramRun RunTool(const Folder& folder, const std::string& arguments,
                          const std::string& input = "") {
  return RunIn(folder, OVIX_TESTS_TOOL, arguments, input);
}

// Runs a script of sh in the folder, where $tool is the executable.
inline ProgramRun RunShell(const Folder& folder, const std::string& script) {
  folder.Write("script",
               "tool=" OVIX_TESTS_TOOL "\ncd '" + Utf8(folder.path()) + "'\n" + script + "\n");
  return RunIn(folder, "sh", Quoted(folder, "script"));
}

inline google::protobuf::Struct Json(const std::string& text) {
  google::protobuf::Struct json;
  const auto status = google::protobuf::util::JsonStringToMessage(text, &json);
  EXPECT_TRUE(status.ok()) << status.ToString() << "\n" << text;
  return json;
}

}  // namespace ovix::tests

#endif  // OVIX_TESTS_SUPPORT_TOOL_H_
