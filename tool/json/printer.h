// Messages as JSON, byte for byte as protobuf prints it, but for negative zero.
#ifndef OVIX_TOOL_JSON_PRINTER_H_
#define OVIX_TOOL_JSON_PRINTER_H_

#include <google/protobuf/message.h>

#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace ovix::tool {

// Keeps what it learns of message types from one message to the next. For one thread.
class JsonPrinter {
 public:
  // On one line without spaces, or indented; both with the names of the schema.
  explicit JsonPrinter(bool is_one_line) : is_one_line_(is_one_line) {}

  // Appends the message to `out`. Negative zero is -0.0: protobuf prints -0, and reads that as the
  // integer 0. Entries of a map are in the order of their keys. Throws Error for a type that has a
  // JSON form of its own (google.protobuf.Timestamp and the like).
  void Print(const google::protobuf::Message& message, std::string& out);

 private:
  using Message = google::protobuf::Message;
  using FieldDescriptor = google::protobuf::FieldDescriptor;

  void PrintMessage(const Message& message);
  void PrintList(const Message& message, const FieldDescriptor* field);
  void PrintMap(const Message& message, const FieldDescriptor* field);
  void PrintValue(const Message& message, const FieldDescriptor* field, int index);
  void PrintText(std::string_view text);
  const std::string& KeyOf(const FieldDescriptor* field);
  void Open(char bracket);
  void Close(char bracket);
  void Next();

  const bool is_one_line_;
  std::string* out_ = nullptr;
  size_t depth_ = 0;
  bool is_first_ = true;
  std::unordered_map<const FieldDescriptor*, std::string> keys_;
  std::string scratch_;
};

}  // namespace ovix::tool

#endif  // OVIX_TOOL_JSON_PRINTER_H_
