#include "convert/conversion.h"

#include "contracts/contracts.h"
#include "contracts/names.h"

namespace ovix::tool {

std::unique_ptr<google::protobuf::Message> NewMessage(const Conversion& conversion) {
  const Descriptor* descriptor = FindMessage(Contracts::Installed(), conversion.name);
  return std::unique_ptr<google::protobuf::Message>(
      google::protobuf::MessageFactory::generated_factory()->GetPrototype(descriptor)->New());
}

}  // namespace ovix::tool
