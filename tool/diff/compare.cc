#include "diff/compare.h"

#include <string>

#include "diff/comments.h"
#include "diff/members.h"
#include "diff/options.h"
#include "diff/payloads.h"
#include "diff/tables.h"

namespace ovix::tool {
namespace {

using google::protobuf::ServiceDescriptor;

class Comparison {
 public:
  Comparison(const Contracts& older, const Contracts& newer)
      : older_(older),
        newer_(newer),
        stored_(older),
        members_(stored_, differences_),
        comments_(older, newer, differences_) {}

  std::vector<Difference> Run() {
    CompareFiles();
    for (const Descriptor* before : older_.messages()) {
      const Descriptor* after = newer_.pool().FindMessageTypeByName(before->full_name());
      if (after != nullptr) {
        CompareMessages(before, after);
      } else if (before->containing_type() == nullptr ||
                 newer_.pool().FindMessageTypeByName(before->containing_type()->full_name())) {
        RemoveMessage(before);
      }
    }
    for (const Descriptor* after : newer_.messages()) {
      if (older_.pool().FindMessageTypeByName(after->full_name()) == nullptr &&
          (after->containing_type() == nullptr ||
           older_.pool().FindMessageTypeByName(after->containing_type()->full_name()))) {
        AddMessage(after);
      }
    }
    CompareEnums();
    CompareExtensions();
    CompareServices();
    CheckTables(newer_, differences_);
    CheckPayloads(newer_, differences_);
    CompareVersions(older_, newer_, differences_);
    return differences_.Take();
  }

 private:
  void Add(Change change, const std::string& subject, const std::string& what,
           unsigned besides = kSafe) {
    differences_.Add(change, subject, what, besides);
  }

  void CompareFiles() {
    for (const FileDescriptor* before : older_.files()) {
      const FileDescriptor* after = newer_.pool().FindFileByName(before->name());
      if (after == nullptr) {
        Add(Change::kFileRemoved, before->name(), "removed");
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
        Add(Change::kImportsChanged, before->name(),
            "imports changed " + FromTo(imports(before), imports(after)));
      }
      if (before->syntax() != after->syntax()) {
        Add(Change::kSyntaxChanged, before->name(),
            "syntax changed " + FromTo(FileDescriptor::SyntaxName(before->syntax()),
                                       FileDescriptor::SyntaxName(after->syntax())));
      }
      CompareOrder(before, after);
      CompareOptions(before->name(), before->options(), after->options(), differences_);
    }
    for (const FileDescriptor* after : newer_.files()) {
      if (older_.pool().FindFileByName(after->name()) == nullptr) {
        Add(Change::kFileAdded, after->name(), "added");
      }
    }
  }

  void CompareOrder(const FileDescriptor* before, const FileDescriptor* after) {
    int last = -1;
    for (int i = 0; i < before->message_type_count(); ++i) {
      const Descriptor* same = after->FindMessageTypeByName(before->message_type(i)->name());
      if (same == nullptr) continue;
      if (same->index() < last) {
        Add(Change::kMessageOrderChanged, before->name(),
            "its messages are in another order from " + same->name() + " on");
        return;
      }
      last = same->index();
    }
  }

  void RemoveMessage(const Descriptor* message) {
    const Kind kind = KindOf(message);
    Add(Change::kMessageRemoved, message->full_name(), std::string(KindTerm(kind)) + " removed",
        kind == Kind::kTable ? kStore : kSafe);
  }

  void AddMessage(const Descriptor* message) {
    const Kind kind = KindOf(message);
    Add(kind == Kind::kTable     ? Change::kTableAdded
        : kind == Kind::kPayload ? Change::kPayloadAdded
                                 : Change::kMessageAdded,
        message->full_name(), std::string(KindTerm(kind)) + " added");
  }

  void CompareMessages(const Descriptor* before, const Descriptor* after) {
    if (before->file()->name() != after->file()->name()) {
      Add(Change::kMessageMoved, before->full_name(),
          "moved " + FromTo(before->file()->name(), after->file()->name()));
    }
    CompareTables(before, after, differences_);
    ComparePayloads(before, after, differences_);
    CompareOptions(before->full_name(), before->options(), after->options(), differences_);
    members_.Compare(before, after);
    comments_.Compare(before, after);
  }

  void CompareEnums() {
    for (const EnumDescriptor* before : older_.enums()) {
      const EnumDescriptor* after = newer_.pool().FindEnumTypeByName(before->full_name());
      if (after == nullptr) {
        Add(Change::kEnumRemoved, before->full_name(), "enumeration removed");
      } else {
        members_.Compare(before, after);
      }
    }
    for (const EnumDescriptor* after : newer_.enums()) {
      if (older_.pool().FindEnumTypeByName(after->full_name()) == nullptr) {
        Add(Change::kEnumAdded, after->full_name(), "enumeration added");
      }
    }
  }

  void CompareExtensions() {
    const auto text = [](const FieldDescriptor* extension) {
      return extension->containing_type()->full_name() + " " + std::to_string(extension->number()) +
             " " + extension->DebugString().substr(0, extension->DebugString().find('\n')) + " " +
             FullType(extension);
    };
    for (const FileDescriptor* file : older_.files()) {
      for (int i = 0; i < file->extension_count(); ++i) {
        const FieldDescriptor* was = file->extension(i);
        const FieldDescriptor* is = newer_.pool().FindExtensionByName(was->full_name());
        if (is == nullptr) {
          Add(Change::kExtensionRemoved, was->full_name(), "extension removed");
        } else if (text(was) != text(is)) {
          Add(Change::kExtensionChanged, was->full_name(),
              "extension changed " + FromTo(text(was), text(is)));
        }
      }
    }
    for (const FileDescriptor* file : newer_.files()) {
      for (int i = 0; i < file->extension_count(); ++i) {
        if (older_.pool().FindExtensionByName(file->extension(i)->full_name()) == nullptr) {
          Add(Change::kExtensionAdded, file->extension(i)->full_name(), "extension added");
        }
      }
    }
  }

  // Contracts have none; a set of another project can.
  void CompareServices() {
    for (const FileDescriptor* file : older_.files()) {
      for (int i = 0; i < file->service_count(); ++i) {
        const ServiceDescriptor* was = file->service(i);
        const ServiceDescriptor* is = newer_.pool().FindServiceByName(was->full_name());
        if (is == nullptr) {
          Add(Change::kServiceRemoved, was->full_name(), "service removed");
        } else {
          CompareMethods(was, is);
        }
      }
    }
    for (const FileDescriptor* file : newer_.files()) {
      for (int i = 0; i < file->service_count(); ++i) {
        if (older_.pool().FindServiceByName(file->service(i)->full_name()) == nullptr) {
          Add(Change::kServiceAdded, file->service(i)->full_name(), "service added");
        }
      }
    }
  }

  void CompareMethods(const ServiceDescriptor* before, const ServiceDescriptor* after) {
    const auto text = [](const google::protobuf::MethodDescriptor* method) {
      return std::string(method->client_streaming() ? "stream " : "") +
             method->input_type()->full_name() + " to " +
             (method->server_streaming() ? "stream " : "") + method->output_type()->full_name();
    };
    for (int i = 0; i < before->method_count(); ++i) {
      const auto* was = before->method(i);
      const auto* is = after->FindMethodByName(was->name());
      if (is == nullptr) {
        Add(Change::kMethodRemoved, was->full_name(), "method removed");
      } else if (text(was) != text(is)) {
        Add(Change::kMethodChanged, was->full_name(), "changed " + FromTo(text(was), text(is)));
      }
    }
    for (int i = 0; i < after->method_count(); ++i) {
      if (before->FindMethodByName(after->method(i)->name()) == nullptr) {
        Add(Change::kMethodAdded, after->method(i)->full_name(), "method added");
      }
    }
  }

  const Contracts& older_;
  const Contracts& newer_;
  const Stored stored_;
  Differences differences_;
  MemberComparison members_;
  CommentComparison comments_;
};

}  // namespace

std::vector<Difference> Compare(const Contracts& older, const Contracts& newer) {
  return Comparison(older, newer).Run();
}

}  // namespace ovix::tool
