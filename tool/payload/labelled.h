// A payload with its label, as an outbox holds them (docs/payloads.md), and whether the two fit.
#ifndef OVIX_TOOL_PAYLOAD_LABELLED_H_
#define OVIX_TOOL_PAYLOAD_LABELLED_H_

#include <optional>
#include <string>
#include <vector>

#include "contracts/contracts.h"
#include "contracts/label.h"

namespace ovix::tool {

struct LabelProblem {
  std::string
      rule;  // a key of the label: "payload", "bytes", "sha256", "gun", "message", "version"
  std::string what;
  std::string values = {};  // that were compared; by some of them a guess at the content is tested
  // Whether the payload cannot be what the label says, or cannot be read.
  bool is_fatal = true;

  std::string WithValues() const { return what + values; }
};

struct LabelledPayload {
  Label label;
  std::string file;                  // of the payload; empty where the label names none
  std::string bytes;                 // of the payload; empty where it could not be read
  const Descriptor* type = nullptr;  // by the gun; null where no payload has it
  std::vector<LabelProblem> problems;

  // The first problem that is fatal; null without one.
  const LabelProblem* Fatal() const;
};

struct LabelFile {
  std::string name;
  bool is_listed = false;  // found in an outbox, not named by the user
};

// The labels that a user names: each alone, or all in an outbox, by the sequence numbers in
// their names; files of other names are not the agent's. Says on standard error which outboxes are
// empty. Throws Error where a folder cannot be read.
std::vector<LabelFile> LabelsOf(const std::vector<std::string>& named);

// Reads a label, and next to it the payload that it names. Nothing where it was listed and a sender
// has taken it since. Throws Error where the file is not a label.
std::optional<LabelledPayload> ReadLabelled(const Contracts& contracts, const LabelFile& file);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_PAYLOAD_LABELLED_H_
