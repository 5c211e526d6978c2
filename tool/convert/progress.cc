#include "convert/progress.h"

#include <iostream>

#include "terminal/platform.h"

namespace ovix::tool {

Progress::Progress(const Input& input, const Output& output)
    : input_(input), shown_(IsTerminal(stderr) && !(output.is_standard() && IsTerminal(stdout))) {}

Progress::~Progress() {
  if (said_) std::cerr << "\r\x1b[K";
}

void Progress::Count() {
  if (++messages_ % 1024 != 0 || !shown_) return;
  const auto now = std::chrono::steady_clock::now();
  if (now < next_) return;
  next_ = now + std::chrono::milliseconds(500);
  said_ = true;
  std::cerr << "\r" << messages_ << " messages, " << (input_.offset() >> 20) << " MB read\x1b[K"
            << std::flush;
}

}  // namespace ovix::tool
