// Synthetic messages that obey their contract.
#ifndef OVIX_TOOL_SAMPLE_SAMPLER_H_
#define OVIX_TOOL_SAMPLE_SAMPLER_H_

#include <google/protobuf/message.h>

#include <cstdint>
#include <map>
#include <string>

#include "contracts/contracts.h"
#include "contracts/facts.h"
#include "sample/random.h"

namespace ovix::tool {

// The same messages for the same seed, on every system. Keeps what it learns of message types from
// one message to the next. For one thread.
class Sampler {
 public:
  // `contracts` must outlive it.
  Sampler(const Contracts& contracts, uint64_t seed) : contracts_(contracts), seed_(seed) {}

  // Fills an empty message, the one with this number, from 0. The first has every field; in others
  // fields with presence and lists are also left out.
  void Fill(google::protobuf::Message& message, uint64_t number);

 private:
  using Message = google::protobuf::Message;

  void FillMessage(Message& message, Random random, int depth);
  void AddValue(Message& message, const FieldDescriptor* field, Random random, int depth);
  std::string Text(const FieldDescriptor* field, Random& random);
  int64_t Whole(const FieldDescriptor* field, Random& random);
  const FieldFacts& Of(const FieldDescriptor* field);

  const Contracts& contracts_;
  const uint64_t seed_;
  bool is_full_ = false;
  std::map<const FieldDescriptor*, FieldFacts> facts_;
};

}  // namespace ovix::tool

#endif  // OVIX_TOOL_SAMPLE_SAMPLER_H_
