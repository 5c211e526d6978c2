#include "wire/messages.h"

#include "terminal/error.h"
#include "wire/wire.h"

namespace ovix::tool {

using google::protobuf::Message;

Message& Messages::Empty(const Descriptor* type) {
  std::unique_ptr<Message>& message = messages_[type];
  if (message == nullptr) message = contracts_.NewMessage(type);
  message->Clear();
  return *message;
}

void Parse(std::string_view bytes, uint64_t offset, const std::string& input, Message& message) {
  if (message.ParseFromArray(bytes.data(), static_cast<int>(bytes.size()))) return;
  const WireProblem problem = FindWireProblem(bytes, message.GetDescriptor());
  throw Error(input + ": byte " + std::to_string(offset + problem.offset) + ": " +
              (problem.what.empty() ? "cannot be read" : problem.what) + "; it is not of type " +
              message.GetDescriptor()->full_name() + ", or it is damaged");
}

}  // namespace ovix::tool
