// Fields of a message in text format that are written by number because the contracts do not know
// them, or with another wire type. TextFormat prints them so, but does not read them back.
#ifndef OVIX_TOOL_CONVERT_UNKNOWN_TEXT_H_
#define OVIX_TOOL_CONVERT_UNKNOWN_TEXT_H_

#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>
#include <google/protobuf/unknown_field_set.h>

#include <deque>
#include <string>
#include <utility>
#include <vector>

namespace ovix::tool {

class UnknownText {
 public:
  // Takes them out of the text, in whose place spaces stay, so that lines and columns hold. Text
  // that is not well formed stays as it is from there on, for TextFormat to complain of. `watched`
  // is a place in the text whose field is asked for.
  UnknownText(std::string& text, const google::protobuf::Descriptor* message,
              size_t watched = std::string::npos);

  bool any() const { return !found_.empty(); }

  // What the watched place is in: the message, and the field whose name is the last before it; null
  // without one.
  const google::protobuf::Descriptor* watched_message() const { return watched_message_; }
  const google::protobuf::FieldDescriptor* watched_field() const { return watched_field_; }

  // Where the first text begins that is not UTF-8, and its field; null where all are.
  size_t bad_text() const { return bad_text_; }
  const google::protobuf::FieldDescriptor* field_of_bad_text() const { return bad_text_field_; }

  // Puts them into the message that the rest of the text was read as.
  void AddTo(google::protobuf::Message& message) const;

 private:
  using Path = std::vector<std::pair<const google::protobuf::FieldDescriptor*, int>>;
  struct Found {
    Path path;
    google::protobuf::UnknownFieldSet fields;
  };

  bool ReadFields(const google::protobuf::Descriptor* message, const Path& path, char end);
  bool ReadKnown(const google::protobuf::FieldDescriptor* field, Path path, int& index);
  bool ReadUnknown(google::protobuf::UnknownFieldSet& fields, int number);
  bool ReadUnknownFields(google::protobuf::UnknownFieldSet& fields, char end);
  bool SkipScalar(const google::protobuf::FieldDescriptor* field);
  std::string Word();
  std::string Quoted();
  char Next();
  bool Take(char c);

  std::string& text_;
  const size_t watched_;
  const google::protobuf::Descriptor* watched_message_;
  const google::protobuf::FieldDescriptor* watched_field_ = nullptr;
  size_t bad_text_ = 0;
  const google::protobuf::FieldDescriptor* bad_text_field_ = nullptr;
  size_t at_ = 0;
  int depth_ = 0;
  std::deque<Found> found_;  // an UnknownFieldSet does not move
};

}  // namespace ovix::tool

#endif  // OVIX_TOOL_CONVERT_UNKNOWN_TEXT_H_
