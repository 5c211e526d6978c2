// Messages as text, and what the text cannot hold.
#ifndef OVIX_TOOL_CONVERT_PRINTER_H_
#define OVIX_TOOL_CONVERT_PRINTER_H_

#include <google/protobuf/message.h>
#include <google/protobuf/text_format.h>

#include <cstdint>
#include <set>
#include <string>

#include "convert/conversion.h"
#include "json/printer.h"

namespace ovix::tool {

// Prints messages of any types in one notation.
class Printer {
 public:
  // On one line each, or indented.
  Printer(Notation notation, bool is_one_line);

  // Ends in a line end; valid until the next call.
  const std::string& Print(const google::protobuf::Message& message);

 private:
  const Notation notation_;
  JsonPrinter json_;
  google::protobuf::TextFormat::Printer text_;
  std::string printed_;
};

// What was seen of fields that the schemas do not know. JSON cannot hold them, so it is reported.
class UnknownFields {
 public:
  // `number` is that of the message in its stream or folder.
  void Look(const google::protobuf::Message& message, uint64_t number);
  bool any() const { return messages_ != 0; }
  // One line on standard error. `is_one`: the input can have no more than one message.
  void Say(const std::string& input, bool is_one) const;

 private:
  std::set<std::string> seen_;
  uint64_t messages_ = 0;
  uint64_t first_ = 0;
};

}  // namespace ovix::tool

#endif  // OVIX_TOOL_CONVERT_PRINTER_H_
