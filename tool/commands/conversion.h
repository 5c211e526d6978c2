// The options that the commands for messages have in common.
#ifndef OVIX_TOOL_COMMANDS_CONVERSION_H_
#define OVIX_TOOL_COMMANDS_CONVERSION_H_

#include <string>
#include <vector>

#include "commands/commands.h"
#include "contracts/contracts.h"
#include "convert/conversion.h"

namespace ovix::tool {

// Adds the output and the notation. `conversion` must outlive the command.
void AddConversion(CLI::App& command, Conversion& conversion);
// Adds how the bytes of the input are written.
void AddInputEncoding(CLI::App& command, Encoding& encoding);

// What a command for payloads reads, as its words and options say it.
struct SubjectWords {
  std::string name;                 // the first word
  std::vector<std::string> inputs;  // the others
  std::string gun;                  // of --gun
};
// Adds the words and --gun. `words` must outlive the command.
void AddSubject(CLI::App& command, SubjectWords& words);

struct Subject {
  const Descriptor* type = nullptr;   // of the messages; null where labels say it
  std::vector<std::string> inputs;    // of messages of this type; empty for standard input
  std::vector<std::string> labelled;  // labels and outboxes, without a type
};
// The first word is a message, where there is one of this name; otherwise all words are labels or
// outboxes. With a gun all are inputs. Throws Error.
Subject ReadSubject(const Contracts& contracts, const SubjectWords& words);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_COMMANDS_CONVERSION_H_
