// What ends a command.
#ifndef OVIX_TOOL_TERMINAL_ERROR_H_
#define OVIX_TOOL_TERMINAL_ERROR_H_

#include <stdexcept>

namespace ovix::tool {

// Bad input or a failed write, in one line: which input, where, and what mends it. Exit code 2.
class Error : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace ovix::tool

#endif  // OVIX_TOOL_TERMINAL_ERROR_H_
