// What ends a command.
#ifndef OVIX_TOOL_TERMINAL_ERROR_H_
#define OVIX_TOOL_TERMINAL_ERROR_H_

#include <stdexcept>
#include <string>

namespace ovix::tool {

// Bad input or a failed write, in one line: which input, where, and what fixes it. Exit code 2.
class Error : public std::runtime_error {
 public:
  // Control characters, of names that an input gives, become spaces: what() would end at a zero.
  explicit Error(std::string what);
};

// Nobody reads what is written to standard output any more: the program ends without a word.
class ClosedPipe : public std::runtime_error {
 public:
  ClosedPipe() : std::runtime_error("the pipe of standard output is closed") {}
};

}  // namespace ovix::tool

#endif  // OVIX_TOOL_TERMINAL_ERROR_H_
