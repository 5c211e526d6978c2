// What the fuzzers share: an input's first two bytes choose a contract, the rest is its content.
#ifndef OVIX_FUZZ_CONTRACTS_H_
#define OVIX_FUZZ_CONTRACTS_H_

#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/io/zero_copy_stream_impl_lite.h>
#include <google/protobuf/message.h>
#include <google/protobuf/stubs/logging.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "ovix/telemetry/contract/contracts_collection.h"

namespace ovix::fuzz {

inline const std::vector<const google::protobuf::Message*>& Prototypes() {
  static const auto* prototypes = [] {
    // What the runtime reports of bad input would fill the terminal.
    google::protobuf::SetLogHandler(nullptr);
    auto* all = new std::vector<const google::protobuf::Message*>;
    telemetry::contract::ContractsCollection contracts;
    while (const auto* prototype = contracts.Next()) all->push_back(prototype);
    return all;
  }();
  return *prototypes;
}

struct Input {
  const google::protobuf::Message* prototype;
  std::string_view content;

  std::unique_ptr<google::protobuf::Message> New() const {
    return std::unique_ptr<google::protobuf::Message>(prototype->New());
  }
};

// The contract that an input chooses among `prototypes`.
inline Input Choose(const std::vector<const google::protobuf::Message*>& prototypes,
                    const uint8_t* data, size_t size) {
  const size_t number = (size > 0 ? data[0] : 0) + 256 * (size > 1 ? data[1] : 0);
  const size_t skipped = size < 2 ? size : 2;
  return {prototypes[number % prototypes.size()],
          {reinterpret_cast<const char*>(data) + skipped, size - skipped}};
}

// Ends the run with a report: the fuzzer keeps the input.
inline void Require(bool holds, const Input& input, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "%s: %s\n", input.prototype->GetTypeName().c_str(), what);
  std::abort();
}

// The message's encoding, maps sorted.
inline std::string Encode(const google::protobuf::Message& message) {
  std::string bytes;
  google::protobuf::io::StringOutputStream stream(&bytes);
  google::protobuf::io::CodedOutputStream output(&stream);
  output.SetSerializationDeterministic(true);
  message.SerializeToCodedStream(&output);
  output.Trim();
  return bytes;
}

}  // namespace ovix::fuzz

#endif  // OVIX_FUZZ_CONTRACTS_H_
