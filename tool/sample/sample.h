// Synthetic messages, written.
#ifndef OVIX_TOOL_SAMPLE_SAMPLE_H_
#define OVIX_TOOL_SAMPLE_SAMPLE_H_

#include <cstdint>
#include <string>

#include "contracts/contracts.h"

namespace ovix::tool {

struct Sampling {
  const Descriptor* type = nullptr;
  uint64_t count = 1;
  uint64_t seed = 1;
  bool delimited = false;  // the binary encoding, each after its length; else lines of JSON
  std::string output;      // a file; standard output where it is empty or "-"
};

// Throws Error, with nothing written to a file.
void Sample(const Contracts& contracts, const Sampling& options);

// The same of every payload, each in a file of its name in the folder `output`. `type` is not used.
// Throws Error, with the folder as it was.
void SamplePayloads(const Contracts& contracts, Sampling options);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_SAMPLE_SAMPLE_H_
