// Arbitrary text as the JSON of any contract, and arbitrary bytes that parse: both are refused
// cleanly or come back as the same JSON by way of the binary encoding.
#include <google/protobuf/util/json_util.h>

#include "contracts.h"

namespace {

using namespace ovix::fuzz;
using google::protobuf::Message;

// From a message to JSON and back.
void RoundTrip(const Input& input, Message& message) {
  namespace util = google::protobuf::util;
  message.DiscardUnknownFields();
  const auto decoded = input.New();
  Require(decoded->ParseFromString(Encode(message)), input, "JSON made what does not parse");
  std::string json;
  Require(util::MessageToJsonString(*decoded, &json).ok(), input, "cannot be written as JSON");
  const auto read = input.New();
  Require(util::JsonStringToMessage(json, read.get()).ok(), input, "does not read its own JSON");
  std::string again;
  Require(util::MessageToJsonString(*read, &again).ok() && again == json, input,
          "comes back from JSON as something else");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const Input input = Choose(Prototypes(), data, size);
  const auto message = input.New();
  // JSON begins with a brace; what does not is taken for bytes.
  const bool accepted =
      input.content.starts_with('{')
          ? google::protobuf::util::JsonStringToMessage(
                {input.content.data(), input.content.size()}, message.get())
                .ok()
          : message->ParseFromArray(input.content.data(), static_cast<int>(input.content.size()));
  if (accepted) RoundTrip(input, *message);
  return 0;
}
