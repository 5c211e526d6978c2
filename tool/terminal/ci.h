// What systems for continuous integration show: annotations of GitHub Actions, and JUnit's XML.
#ifndef OVIX_TOOL_TERMINAL_CI_H_
#define OVIX_TOOL_TERMINAL_CI_H_

#include <string>
#include <vector>

namespace ovix::tool {

struct Annotation {
  bool is_error = true;  // else a notice
  std::string file;      // empty where there is none
  int line = 0;          // 0 where there is none
  std::string title;
  std::string text;
};

// A line of a workflow's output.
std::string GithubAnnotation(const Annotation& annotation);

struct TestCase {
  std::string group;
  std::string name;
  std::string file;     // empty where there is none
  int line = 0;         // 0 where there is none
  std::string failure;  // its kind; empty where the case passes
  std::string message;  // of the failure
};

// The XML of one suite; without cases it has one of the name `clean`, which passes.
std::string JunitReport(const std::string& suite, const std::vector<TestCase>& cases,
                        const std::string& clean);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_TERMINAL_CI_H_
