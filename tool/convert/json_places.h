// Where in a JSON text a value stands; protobuf's parser says what is wrong, but not in which line.
#ifndef OVIX_TOOL_CONVERT_JSON_PLACES_H_
#define OVIX_TOOL_CONVERT_JSON_PLACES_H_

#include <google/protobuf/descriptor.h>

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace ovix::tool {

class JsonPlaces {
 public:
  // Reads as much of the text as is JSON, as leniently as protobuf does: single quotes, keys
  // without quotes, a comma before the end.
  explicit JsonPlaces(std::string_view text);

  // Where the text stops being JSON; nothing where all of it is.
  std::optional<size_t> broken() const { return broken_; }
  // Of the key or list element of a path ("battery_status.error", "cell_voltages[1]"); nothing
  // where the text has no such path. Names match as protobuf's do, underscores and case aside.
  std::optional<size_t> Find(const std::string& path) const;
  // The path of the last key or element that begins before a place; empty before the first.
  std::string PathAt(size_t place) const;

 private:
  void Value(const std::string& path, int depth);
  void Object(const std::string& path, int depth);
  void Array(const std::string& path, int depth);
  std::string Name();
  void Space();
  bool Take(char c);
  void Break();

  std::string_view text_;
  size_t at_ = 0;
  std::optional<size_t> broken_;
  std::vector<std::pair<size_t, std::string>> places_;
};

// The field at such a path below a message; null where it has none.
const google::protobuf::FieldDescriptor* FieldAt(const google::protobuf::Descriptor* message,
                                                 const std::string& path);

// The first byte that is not UTF-8; npos where all is.
size_t FindInvalidUtf8(std::string_view text);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_CONVERT_JSON_PLACES_H_
