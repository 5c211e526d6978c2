#include "contracts/release.h"

#include "terminal/error.h"

namespace ovix::tool {

const Contracts& Release::contracts() const {
  if (file.empty()) return Contracts::Installed();
  if (read_ == nullptr) {
    std::unique_ptr<Contracts> read = Contracts::Read(file);
    if (read->tables().empty() && read->payloads().empty()) {
      throw Error(file +
                  ": holds no telemetry contracts: no message is a table or a payload; name the "
                  "contracts.binpb of a release");
    }
    read_ = std::move(read);
  }
  return *read_;
}

}  // namespace ovix::tool
