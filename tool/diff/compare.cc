#include "diff/compare.h"

#include <google/protobuf/descriptor.pb.h>

#include "diff/enums.h"
#include "diff/facts.h"
#include "diff/fields.h"
#include "diff/findings.h"
#include "diff/payloads.h"
#include "diff/tables.h"

namespace ovix::tool {
namespace {

void CompareOrder(Findings& findings, const FileDescriptor* before, const FileDescriptor* after) {
  int last = -1;
  for (int i = 0; i < before->message_type_count(); ++i) {
    const Descriptor* same = after->FindMessageTypeByName(before->message_type(i)->name());
    if (same == nullptr) continue;
    if (same->index() < last) {
      findings.Add(Change::kMessageOrderChanged, before->name(),
                   "its messages stand in another order from " + same->name() + " on");
      return;
    }
    last = same->index();
  }
}

void CompareFiles(Findings& findings) {
  for (const FileDescriptor* before : findings.older().files()) {
    const FileDescriptor* after = findings.newer().pool().FindFileByName(before->name());
    if (after == nullptr) {
      findings.Add(Change::kFileRemoved, before->name(), "removed");
      continue;
    }
    const auto imports = [](const FileDescriptor* file) {
      std::string names;
      for (int i = 0; i < file->dependency_count(); ++i) {
        names += (i == 0 ? "" : ", ") + file->dependency(i)->name();
      }
      return names;
    };
    if (imports(before) != imports(after)) {
      findings.Add(Change::kImportsChanged, before->name(),
                   "imports changed " + FromTo(imports(before), imports(after)));
    }
    CompareOrder(findings, before, after);
    CompareOtherOptions(findings, before->name(), before->options(), after->options());
  }
  for (const FileDescriptor* after : findings.newer().files()) {
    if (findings.older().pool().FindFileByName(after->name()) == nullptr) {
      findings.Add(Change::kFileAdded, after->name(), "added");
    }
  }
}

void RemoveMessage(Findings& findings, const Descriptor* message) {
  const Kind kind = KindOf(message);
  findings.Add(Change::kMessageRemoved, message->full_name(),
               std::string(KindText(kind)) + " removed", kind == Kind::kTable ? kStore : kSafe);
}

void AddMessage(Findings& findings, const Descriptor* message) {
  const Kind kind = KindOf(message);
  findings.Add(kind == Kind::kTable     ? Change::kTableAdded
               : kind == Kind::kPayload ? Change::kPayloadAdded
                                        : Change::kMessageAdded,
               message->full_name(), std::string(KindText(kind)) + " added");
}

void CompareFileOf(Findings& findings, const Descriptor* before, const Descriptor* after) {
  if (before->file()->name() == after->file()->name()) return;
  findings.Add(Change::kMessageMoved, before->full_name(),
               "moved " + FromTo(before->file()->name(), after->file()->name()));
}

void CompareExtensions(Findings& findings) {
  const auto text = [](const FieldDescriptor* extension) {
    return extension->containing_type()->full_name() + " " + std::to_string(extension->number()) +
           " " + extension->DebugString().substr(0, extension->DebugString().find('\n')) + " " +
           FullType(extension);
  };
  for (const FileDescriptor* file : findings.older().files()) {
    for (int i = 0; i < file->extension_count(); ++i) {
      const FieldDescriptor* was = file->extension(i);
      const FieldDescriptor* is = findings.newer().pool().FindExtensionByName(was->full_name());
      if (is == nullptr) {
        findings.Add(Change::kExtensionRemoved, was->full_name(), "extension removed");
      } else if (text(was) != text(is)) {
        findings.Add(Change::kExtensionChanged, was->full_name(),
                     "extension changed " + FromTo(text(was), text(is)));
      }
    }
  }
  for (const FileDescriptor* file : findings.newer().files()) {
    for (int i = 0; i < file->extension_count(); ++i) {
      if (findings.older().pool().FindExtensionByName(file->extension(i)->full_name()) == nullptr) {
        findings.Add(Change::kExtensionAdded, file->extension(i)->full_name(), "extension added");
      }
    }
  }
}

}  // namespace

std::vector<Difference> Compare(const Contracts& older, const Contracts& newer) {
  Findings findings(older, newer);
  PayloadComparison payloads(findings);
  const bool older_states_facts = StatesFacts(older);
  CompareFiles(findings);
  for (const Descriptor* before : older.messages()) {
    const Descriptor* after = newer.pool().FindMessageTypeByName(before->full_name());
    if (after != nullptr) {
      CompareFileOf(findings, before, after);
      CompareTables(findings, before, after);
      payloads.Compare(before, after);
      CompareOtherOptions(findings, before->full_name(), before->options(), after->options());
      CompareFields(findings, before, after);
      CompareFacts(findings, older_states_facts, before, after);
    } else if (before->containing_type() == nullptr ||
               newer.pool().FindMessageTypeByName(before->containing_type()->full_name())) {
      RemoveMessage(findings, before);
    }
  }
  for (const Descriptor* after : newer.messages()) {
    if (older.pool().FindMessageTypeByName(after->full_name()) != nullptr) continue;
    if (KindOf(after) == Kind::kPayload) payloads.CheckGun(after);
    if (after->containing_type() != nullptr &&
        !older.pool().FindMessageTypeByName(after->containing_type()->full_name())) {
      continue;
    }
    AddMessage(findings, after);
  }
  CompareEnums(findings);
  CompareExtensions(findings);
  payloads.CheckVersions();
  return findings.Take();
}

}  // namespace ovix::tool
