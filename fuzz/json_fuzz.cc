// Arbitrary text as the JSON of any contract, and arbitrary bytes that parse: both are refused
// cleanly, or are printed as protobuf prints them and come back by way of the tool's reader.
#include <google/protobuf/util/json_util.h>

#include "contracts.h"
#include "json/printer.h"
#include "json/reader.h"
#include "terminal/error.h"

namespace {

using namespace ovix::fuzz;
using google::protobuf::Message;
using ovix::tool::JsonPrinter;
using ovix::tool::JsonReader;

// False where the text is refused, which is one line.
bool Read(const Input& input, std::string_view json, Message& message) {
  static JsonReader reader;
  try {
    reader.Read(json, "input", 1, message);
    return true;
  } catch (const ovix::tool::Error& error) {
    const std::string_view what = error.what();
    Require(what.starts_with("input:") && what.find("ovix.") != what.npos, input,
            "an error without a place");
    return false;
  }
}

// From a message to JSON and back.
void RoundTrip(const Input& input, Message& message) {
  message.DiscardUnknownFields();
  const auto decoded = input.New();
  Require(decoded->ParseFromString(Encode(message)), input, "JSON made what does not parse");
  std::string json, expected;
  JsonPrinter(true).Print(*decoded, json);
  google::protobuf::util::JsonPrintOptions options;
  options.preserve_proto_field_names = true;
  Require(google::protobuf::util::MessageToJsonString(*decoded, &expected, options).ok(), input,
          "cannot be written as JSON");
  // Negative zero is the one difference.
  Require(json == expected || json.find("-0.0") != json.npos, input,
          "is not printed as protobuf prints it");
  const auto read = input.New();
  Require(Read(input, json, *read), input, "does not read its own JSON");
  std::string again;
  JsonPrinter(true).Print(*read, again);
  Require(again == json, input, "comes back from JSON as something else");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const Input input = Choose(Prototypes(), data, size);
  const auto message = input.New();
  // JSON begins with a brace; what does not is taken for bytes.
  const bool accepted =
      input.content.starts_with('{')
          ? Read(input, input.content, *message)
          : message->ParseFromArray(input.content.data(), static_cast<int>(input.content.size()));
  if (accepted) RoundTrip(input, *message);
  return 0;
}
