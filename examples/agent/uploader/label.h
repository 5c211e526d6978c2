// The metadata of a payload (its .json file): what a receiver must know before it reads the bytes.
#ifndef OVIX_AGENT_UPLOADER_LABEL_H_
#define OVIX_AGENT_UPLOADER_LABEL_H_

#include <google/protobuf/message.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace ovix::agent {

// No payload has a larger number: JSON readers that take numbers for doubles have this one exactly.
// The names in the outbox have no more digits.
constexpr int64_t kLargestSequence = 999'999'999'999'999;

struct Label {
  std::string gun;       // of the payload's cdm option, as is the version
  std::string version;   //
  std::string message;   // full name
  uint64_t bytes = 0;    // of the payload
  std::string sha256;    // of the payload, in hexadecimal
  std::string device;    // pseudonymous: see DeviceId
  std::string created;   // when the payload was built, in the form of TimeText
  int64_t sequence = 0;  // grows from payload to payload of a device
  std::string id;        // the payload's own: a receiver takes each id once

  // The names of the payload's two files without their endings: TIME-SEQUENCE-MESSAGE.
  std::string FileStem() const;
  std::string ToJson() const;
  // A line of a batch file, without its end: the metadata in one line, with the payload in base64
  // as one more key, `data`.
  std::string ToBatchLine(std::string_view payload) const;
  // Nothing where the text is not metadata with an id.
  static std::optional<Label> FromJson(const std::string& json);
};

// The metadata of a payload of these bytes. Throws std::runtime_error, in one line, where the
// schema does not set the option cdm.
Label MakeLabel(const google::protobuf::Descriptor* message, std::string_view bytes,
                const std::string& device, const std::string& created, int64_t sequence);

// The parts of a name of the outbox's own files.
struct OutboxName {
  std::string stem;  // TIME-SEQUENCE-MESSAGE
  int64_t sequence;
  std::string ending;  // ".binpb" or ".json"
  bool aside;          // not yet whole: .NAME.part, in older agents NAME.part
};
// Nothing for any other name, one whose message is not a payload of the contracts included.
std::optional<OutboxName> ParseOutboxName(const std::string& name);

}  // namespace ovix::agent

#endif  // OVIX_AGENT_UPLOADER_LABEL_H_
