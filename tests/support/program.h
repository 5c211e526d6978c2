// Runs a program with its standard streams in files of a test's folder, so that output and errors
// are distinguished, byte for byte.
#ifndef OVIX_TESTS_SUPPORT_PROGRAM_H_
#define OVIX_TESTS_SUPPORT_PROGRAM_H_

#include <string>

#include "support/folder.h"

#ifndef _WIN32
#include <sys/wait.h>
#endif

namespace ovix::tests {

struct ProgramRun {
  int exit_code;  // -1 where the program ended in another way
  std::string output;
  std::string errors;
};

// Runs `program` with arguments as a shell takes them, in the files in, out and err of the folder.
inline ProgramRun RunIn(const Folder& folder, const std::string& program,
                        const std::string& arguments, const std::string& input = "") {
  folder.Write("in", input);
  const auto quoted = [&](const char* name) { return "\"" + Utf8(folder / name) + "\""; };
  const std::string command = program + " " + arguments + " <" + quoted("in") + " >" +
                              quoted("out") + " 2>" + quoted("err");
  const int status = RunCommand(command);
  std::string errors = folder.Read("err");
#ifdef _WIN32
  const int exit_code = status;
  // Lines for people end as Windows ends them.
  for (size_t at = 0; (at = errors.find("\r\n", at)) != std::string::npos; ++at)
    errors.erase(at, 1);
#else
  const int exit_code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
#endif
  return {exit_code, folder.Read("out"), errors};
}

}  // namespace ovix::tests

#endif  // OVIX_TESTS_SUPPORT_PROGRAM_H_
