// Takes personal data out of messages, so that they can be passed on.
#ifndef OVIX_TOOL_CONVERT_REDACT_H_
#define OVIX_TOOL_CONVERT_REDACT_H_

#include <google/protobuf/message.h>

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "contracts/contracts.h"
#include "contracts/facts.h"

namespace ovix::tool {

// The classes to redact, and how.
class Redactor {
 public:
  // `classes` are words of the command line: classes, or "all". With a key file a string is
  // replaced by its keyed hash, so that equal values can still be recognised; without one it is
  // dropped. Throws Error: a word that is not a class, a key file that cannot be read or is too
  // short, and with classes, contracts that state none.
  Redactor(const Contracts& contracts, const std::vector<std::string>& classes,
           const std::optional<std::string>& key_file);

  // Numbers, flags and nested messages of the classes are dropped with or without a key: they
  // cannot hold a hash. So are unknown fields, however deep: what they hold nobody knows. Throws
  // Error as Require() does.
  void Redact(google::protobuf::Message& message);

  // Throws Error if the contracts have no comments of a type of message or of one in it: what is
  // personal in it is not known.
  void Require(const Descriptor* type);

  // How many values were replaced and dropped so far.
  size_t replaced() const { return replaced_; }
  size_t dropped() const { return dropped_; }
  // Says it on standard error.
  void Say(const std::string& input) const;

 private:
  bool IsMeant(const FieldDescriptor* field);
  void RedactFields(google::protobuf::Message& message);
  void Replace(google::protobuf::Message& message, const FieldDescriptor* field);

  const Contracts& contracts_;
  std::set<Privacy> classes_;
  std::string key_;
  std::map<const FieldDescriptor*, bool> meant_;
  std::set<const Descriptor*> known_;  // types that have their comments
  size_t replaced_ = 0;
  size_t dropped_ = 0;
};

}  // namespace ovix::tool

#endif  // OVIX_TOOL_CONVERT_REDACT_H_
