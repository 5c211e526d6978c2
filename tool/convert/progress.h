// How far a long conversion is.
#ifndef OVIX_TOOL_CONVERT_PROGRESS_H_
#define OVIX_TOOL_CONVERT_PROGRESS_H_

#include <chrono>
#include <cstdint>

#include "terminal/input.h"
#include "terminal/output.h"

namespace ovix::tool {

// Says on a terminal how far a long run is; nothing for the first second.
class Progress {
 public:
  Progress(const Input& input, const Output& output);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  // One message more is done.
  void Count();
  uint64_t messages() const { return messages_; }

 private:
  const Input& input_;
  const bool shown_;
  bool said_ = false;
  uint64_t messages_ = 0;
  std::chrono::steady_clock::time_point next_ =
      std::chrono::steady_clock::now() + std::chrono::seconds(1);
};

}  // namespace ovix::tool

#endif  // OVIX_TOOL_CONVERT_PROGRESS_H_
