// Whether a message is what its contract says: its facts, its version, its fields.
#ifndef OVIX_TOOL_CHECK_CHECKER_H_
#define OVIX_TOOL_CHECK_CHECKER_H_

#include <google/protobuf/message.h>

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "contracts/contracts.h"
#include "contracts/facts.h"
#include "wire/messages.h"

namespace ovix::tool {

struct Finding {
  std::string rule;   // "format", "values" ...: docs/tool.md lists them
  std::string place;  // a path from the message: "BatteryHealthLog.cell_voltages[2]"; can be empty
  std::string what;   // with the fix where there is one
};

// Keeps what it learns of message types from one message to the next. For one thread.
class Checker {
 public:
  // `contracts` must outlive it.
  explicit Checker(const Contracts& contracts) : contracts_(contracts), messages_(contracts) {}

  // The findings in the order of the fields; values of fields with a privacy class are not shown.
  // `offset` is that of the encoding in its input.
  std::vector<Finding> Check(std::string_view encoded, const Descriptor* type, uint64_t offset = 0);

 private:
  using Message = google::protobuf::Message;
  struct Known {
    FieldFacts facts;
    bool is_flags = false;  // whether the listed values are bits
  };

  void CheckVersion(const Message& message);
  void CheckRowTime(const Message& message);
  void CheckMessage(const Message& message, const std::string& path);
  void CheckUnknown(const Message& message, const std::string& path);
  void CheckValue(const Message& message, const FieldDescriptor* field, int index,
                  const std::string& path);
  void CheckText(const std::string& text, const FieldDescriptor* field, const std::string& path);
  void CheckNumber(const std::string& text, const FieldDescriptor* field, const std::string& path);
  bool IsListed(const std::string& value, const Known& known) const;
  std::string Shown(const std::string& value, const FieldDescriptor* field);
  const Known& Of(const FieldDescriptor* field);
  void Add(const char* rule, const std::string& place, const std::string& what);

  const Contracts& contracts_;
  Messages messages_;
  std::map<const FieldDescriptor*, Known> known_;
  std::vector<Finding> findings_;
};

}  // namespace ovix::tool

#endif  // OVIX_TOOL_CHECK_CHECKER_H_
