// Runs a program as its user does.
#ifndef OVIX_TESTS_SUPPORT_PROCESS_H_
#define OVIX_TESTS_SUPPORT_PROCESS_H_

#include <array>
#include <cstdio>
#include <string>

#include "support/names.h"

#ifndef _WIN32
#include <sys/wait.h>
#endif

namespace ovix::tests {

struct Outcome {
  int exit_code;       // -1 where the program ended in another way
  std::string output;  // standard output and error, with line ends of one character
};

// Runs `program` with arguments as a shell takes them.
inline Outcome RunProgram(const std::string& program, const std::string& arguments) {
  FILE* pipe = OpenCommand(program + " " + arguments + " 2>&1");
  Outcome outcome{-1, ""};
  std::array<char, 4096> part;
  while (size_t read = fread(part.data(), 1, part.size(), pipe)) {
    outcome.output.append(part.data(), read);
  }
  const int status = pclose(pipe);
#ifdef _WIN32
  outcome.exit_code = status;
#else
  outcome.exit_code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
#endif
  return outcome;
}

}  // namespace ovix::tests

#endif  // OVIX_TESTS_SUPPORT_PROCESS_H_
