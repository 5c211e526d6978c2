// Contracts: what one release of the contracts says. Every listing, page and comparison reads them
// here; nothing is known of any contract but what its descriptor, options and comments say.
#ifndef OVIX_TOOL_CONTRACTS_CONTRACTS_H_
#define OVIX_TOOL_CONTRACTS_CONTRACTS_H_

#include <google/protobuf/descriptor.h>
#include <google/protobuf/descriptor_database.h>
#include <google/protobuf/dynamic_message.h>
#include <google/protobuf/message.h>

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "contracts/comment.h"

namespace ovix::tool {

using google::protobuf::Descriptor;
using google::protobuf::EnumDescriptor;
using google::protobuf::EnumValueDescriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::FileDescriptor;

enum class Kind {
  kTable,    // a record: its option persistance names a type
  kPayload,  // its option cdm names a gun
  kMarker,   // carries the size limit of the database that has its name; never a row
  kOption,   // of a file that defines options
  kPart,     // inside other messages
};

// For programs: "table", "payload", "database", "option", "part".
const char* KindText(Kind kind);
// For readers: the same, but "sub-message" for a part.
const char* KindTerm(Kind kind);
Kind KindOf(const Descriptor* message);

// The options, empty where the schema sets none. They hold for descriptors of any pool.
struct TableOptions {
  std::string type;  // "State" or "Historical"
  std::string database;
  std::string table;                        // the option's, else the message's name
  uint32_t max_rows = 0;                    // 0: no limit
  uint32_t max_time_days = 0;               // 0: no limit
  std::vector<const FieldDescriptor*> key;  // in field-number order
};
TableOptions TableOptionsOf(const Descriptor* record);

struct PayloadOptions {
  std::string gun;
  std::string version;
};
PayloadOptions PayloadOptionsOf(const Descriptor* payload);

bool IsKey(const FieldDescriptor* field);

// The type as a schema writes it: "uint32", "string", "map<string, int32>", and of a message or an
// enumeration the name without its package. "repeated" is presence, not type.
std::string TypeText(const FieldDescriptor* field);
// "repeated", "map", "explicit" (absent differs from zero) or "implicit" (zero is not written).
const char* PresenceText(const FieldDescriptor* field);
// A message's or an enumeration's name without the package: "Outer.Inner".
template <typename AnyDescriptor>
std::string ShortName(const AnyDescriptor* descriptor) {
  const std::string& package = descriptor->file()->package();
  return descriptor->full_name().substr(package.empty() ? 0 : package.size() + 1);
}

// "BatteryHealthLog.serial_number": a field's name after that of its message, without the package.
std::string QualifiedName(const FieldDescriptor* field);

// Where a field of a payload comes from.
struct Origin {
  const FieldDescriptor* field = nullptr;  // of the record; null where no record has it
  std::string name;     // as the comment writes it; "none"; else the field's name
  std::string words;    // what changes on the way; empty for a plain copy
  bool stated = false;  // by the comment; else found by name and type
};

// A payload that a record feeds, or that has the same data.
struct Feed {
  const Descriptor* record;  // the table
  const Descriptor* payload;
  // The message whose comment says so: the payload or a part of it.
  const Descriptor* message;
  // Whether no comment says that the record feeds the payload, only that it has the same data.
  bool same_data;
};

// Descriptors belong to the object (those of Installed() to the library) and live as long. Not for
// use by two threads at once.
class Contracts {
 public:
  // Those of the library that the tool is linked with: its registered descriptors, and comments
  // from the descriptor set built in. Both are read when they are asked for.
  static const Contracts& Installed();
  // Those of a descriptor set. `name` is what errors call it. Throws Error.
  Contracts(std::string bytes, const std::string& name);
  // Those of a descriptor set in a file or, for "-", in the standard input, as it is or compressed
  // by gzip; or for "git:REVISION" those of a revision of the repository that the working folder is
  // in. Throws Error.
  static std::unique_ptr<Contracts> Read(const std::string& source);

  Contracts(const Contracts&) = delete;
  Contracts& operator=(const Contracts&) = delete;

  // The version of the library's contracts; the file's name of others, for a set has no version.
  const std::string& release() const { return release_; }
  // What errors call the set: the name that its user gave.
  const std::string& source() const { return source_; }
  // An empty message: of a generated class for the library's contracts, else a dynamic one, which
  // must not outlive this object.
  std::unique_ptr<google::protobuf::Message> NewMessage(const Descriptor* message) const;

  const google::protobuf::DescriptorPool& pool() const { return *pool_; }
  // All but protobuf's own, in the order of the set.
  const std::vector<const FileDescriptor*>& files() const { return files_; }
  // A file as the set has it, comments included: the bytes of a FileDescriptorProto. Empty where
  // the set has none of this name.
  std::string_view EncodedFile(const std::string& name) const;
  // Every message, each followed by those nested in it; map entries are left out.
  const std::vector<const Descriptor*>& messages() const;
  const std::vector<const EnumDescriptor*>& enums() const;
  std::vector<const Descriptor*> tables() const;    // by database, then by name
  std::vector<const Descriptor*> payloads() const;  // by name
  // In megabytes (2^20 bytes); 0 where no marker gives one.
  uint32_t MaxSizeMb(const std::string& database) const;

  // The comment above a declaration; empty where there is none, or the set carries none.
  Comment CommentOf(const FileDescriptor* file) const;  // above its line `syntax`
  Comment CommentOf(const Descriptor* message) const;
  Comment CommentOf(const FieldDescriptor* field) const;  // an extension's too
  Comment CommentOf(const EnumDescriptor* enumeration) const;
  Comment CommentOf(const EnumValueDescriptor* value) const;
  // The comments after a declaration and, detached by empty lines, before it. They state no fact.
  const std::vector<std::string>& OtherCommentsOf(const Descriptor* message) const;
  const std::vector<std::string>& OtherCommentsOf(const FieldDescriptor* field) const;
  const std::vector<std::string>& OtherCommentsOf(const EnumDescriptor* enumeration) const;
  const std::vector<std::string>& OtherCommentsOf(const EnumValueDescriptor* value) const;
  // A comment above a declaration or a statement, and where it is.
  struct Place {
    std::string comment;  // raw
    int line = 0;         // where the comment begins
    int declaration = 0;
    std::vector<std::string> other_comments;  // raw
  };
  // Those of what has no comment above: an import, an option, a oneof; and of the file itself the
  // other comments only. In their order.
  std::vector<Place> OtherPlacesOf(const FileDescriptor* file) const;
  // The line of the schema, from 1, where the comment above a declaration begins; that of the
  // declaration without a comment, 0 where the set has no places.
  int LineOf(const FileDescriptor* file) const;
  int LineOf(const Descriptor* message) const;
  int LineOf(const FieldDescriptor* field) const;
  int LineOf(const EnumDescriptor* enumeration) const;
  int LineOf(const EnumValueDescriptor* value) const;
  int LineOf(const google::protobuf::ServiceDescriptor* service) const;
  int LineOf(const google::protobuf::MethodDescriptor* method) const;
  // The line of the declaration itself, below its comment; 0 where the set has no places.
  int DeclarationOf(const Descriptor* message) const;
  int DeclarationOf(const FieldDescriptor* field) const;  // an extension's too
  // The first line on which a message sets an option: its number, then those of fields in it; of a
  // field that is set in braces the line where these begin. That of the declaration where it does
  // not set it.
  int LineOfOption(const Descriptor* message, const std::vector<int>& option) const;

  // The fields whose type it is, in the order of messages().
  const std::vector<const FieldDescriptor*>& UsersOf(const Descriptor* message) const;
  const std::vector<const FieldDescriptor*>& UsersOf(const EnumDescriptor* enumeration) const;
  // The messages of a kind that hold it, itself included, however deep.
  std::vector<const Descriptor*> HoldersOf(const Descriptor* message, Kind kind) const;

  // The messages that a message's lineage names: records or parts of them.
  std::vector<const Descriptor*> SourcesOf(const Descriptor* message) const;
  // Where a field of an upload message comes from; empty for a message with a lineage of its own,
  // and where the comments say nothing.
  std::vector<Origin> OriginsOf(const FieldDescriptor* field) const;
  // Every link from a table to a payload; by table, then by payload, in the order of messages().
  const std::vector<Feed>& feeds() const;
  // Those of one table; it reads the comments of no more schemas than name it.
  std::vector<Feed> FeedsOf(const Descriptor* record) const;

 private:
  using Path = std::vector<int>;
  Contracts(std::string_view installed);
  void Index(std::string_view bytes);
  // Calls `use(path, place)` for each place of a schema in turn.
  template <typename Function>
  void ForPlacesOf(const FileDescriptor* file, Function use) const;
  const std::map<Path, Place>& PlacesOf(const FileDescriptor* file) const;
  const Place& PlaceOf(const FileDescriptor* file, const Path& path) const;
  void Collect() const;
  std::vector<Feed> FindFeeds(const std::set<const FileDescriptor*>& files) const;

  std::string release_;
  std::string source_;
  std::string bytes_;
  std::map<std::string, std::string_view> encoded_;  // the files of the set, by name
  std::vector<std::string> names_;                   // in the order of the set
  std::unique_ptr<google::protobuf::SimpleDescriptorDatabase> database_;
  std::unique_ptr<google::protobuf::DescriptorPool> own_pool_;
  std::unique_ptr<google::protobuf::DynamicMessageFactory> own_messages_;
  const google::protobuf::DescriptorPool* pool_ = nullptr;
  std::vector<const FileDescriptor*> files_;

  // Filled when first asked for.
  mutable std::vector<const Descriptor*> messages_;
  mutable std::vector<const EnumDescriptor*> enums_;
  mutable std::map<const void*, std::vector<const FieldDescriptor*>> users_;
  mutable std::map<const FileDescriptor*, std::map<Path, Place>> places_;
  mutable std::vector<Feed> feeds_;
  mutable bool has_feeds_ = false;
};

bool HaveSameType(const FieldDescriptor* a, const FieldDescriptor* b);

// The field of one of the records that a lineage's name means: "field", "Record.field" or a
// path below either; null where there is none.
const FieldDescriptor* FindSourceField(const std::vector<const Descriptor*>& records,
                                       const std::string& name);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_CONTRACTS_CONTRACTS_H_
