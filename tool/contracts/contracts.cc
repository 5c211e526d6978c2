#include "contracts/contracts.h"

#include <google/protobuf/descriptor.pb.h>
#include <google/protobuf/io/coded_stream.h>

#include <algorithm>
#include <set>
#include <tuple>

#include "contracts/embedded.h"
#include "ovix/telemetry/contract/storage/storage_options.pb.h"
#include "ovix/telemetry/contract/upload/upload_options.pb.h"
#include "ovix/telemetry/contract/version.h"
#include "terminal/error.h"
#include "terminal/path.h"

namespace ovix::tool {
namespace {

namespace storage = telemetry::contract::storage;
namespace upload = telemetry::contract::upload;
using google::protobuf::DescriptorPool;
using google::protobuf::FileDescriptorProto;

// Hears what is wrong with a schema; the first word is enough.
class FirstError : public DescriptorPool::ErrorCollector {
 public:
  void AddError(const std::string& file, const std::string& element,
                const google::protobuf::Message*, ErrorLocation,
                const std::string& message) override {
    if (text.empty()) text = file + ": " + element + ": " + message;
  }
  std::string text;
};

// The value of a field of a message's encoding, by number; empty where it is not its first.
std::string_view FirstField(std::string_view encoded) {
  google::protobuf::io::CodedInputStream input(reinterpret_cast<const uint8_t*>(encoded.data()),
                                               static_cast<int>(encoded.size()));
  uint32_t size = 0;
  if (input.ReadTag() != 10 || !input.ReadVarint32(&size)) return "";
  const auto begin = static_cast<size_t>(input.CurrentPosition());
  return size > encoded.size() - begin ? "" : encoded.substr(begin, size);
}

}  // namespace

const char* KindText(Kind kind) {
  switch (kind) {
    case Kind::kTable:
      return "table";
    case Kind::kPayload:
      return "payload";
    case Kind::kMarker:
      return "database";
    case Kind::kOption:
      return "option";
    default:
      return "part";
  }
}

const char* KindTerm(Kind kind) { return kind == Kind::kPart ? "sub-message" : KindText(kind); }

Kind KindOf(const Descriptor* message) {
  const auto& persistance = message->options().GetExtension(storage::persistance);
  if (!persistance.type().empty()) return Kind::kTable;
  if (!message->options().GetExtension(upload::cdm).gun().empty()) return Kind::kPayload;
  if (persistance.database().max_size_mb() != 0) return Kind::kMarker;
  return message->file()->extension_count() != 0 ? Kind::kOption : Kind::kPart;
}

bool IsKey(const FieldDescriptor* field) {
  return field->options().GetExtension(storage::column).constraint().pk();
}

TableOptions TableOptionsOf(const Descriptor* record) {
  const auto& persistance = record->options().GetExtension(storage::persistance);
  TableOptions options;
  options.type = persistance.type();
  options.database = persistance.database().name();
  options.table = persistance.table().name().empty() ? record->name() : persistance.table().name();
  options.max_rows = persistance.table().max_rows();
  options.max_time_days = persistance.table().max_time_days();
  for (int i = 0; i < record->field_count(); ++i) {
    if (IsKey(record->field(i))) options.key.push_back(record->field(i));
  }
  std::sort(options.key.begin(), options.key.end(),
            [](const auto* a, const auto* b) { return a->number() < b->number(); });
  return options;
}

PayloadOptions PayloadOptionsOf(const Descriptor* payload) {
  const auto& cdm = payload->options().GetExtension(upload::cdm);
  return {cdm.gun(), cdm.version()};
}

std::string TypeText(const FieldDescriptor* field) {
  if (field->is_map()) {
    const Descriptor* entry = field->message_type();
    return "map<" + TypeText(entry->map_key()) + ", " + TypeText(entry->map_value()) + ">";
  }
  if (field->message_type() != nullptr) return ShortName(field->message_type());
  if (field->enum_type() != nullptr) return ShortName(field->enum_type());
  return field->type_name();
}

const char* PresenceText(const FieldDescriptor* field) {
  if (field->is_map()) return "map";
  if (field->is_repeated()) return "repeated";
  return field->has_presence() ? "explicit" : "implicit";
}

const Contracts& Contracts::Installed() {
  // Never destroyed: the library's descriptors are not either.
  static const Contracts& installed = *new Contracts(EmbeddedDescriptorSet());
  return installed;
}

Contracts::Contracts(std::string_view installed)
    : release_(OVIX_TELEMETRY_DATA_CONTRACTS_VERSION), source_("ovix-contracts") {
  Index(installed);
  pool_ = DescriptorPool::generated_pool();
  for (const std::string& name : names_) {
    const FileDescriptor* file = pool_->FindFileByName(name);
    if (file != nullptr) files_.push_back(file);
  }
}

Contracts::Contracts(std::string bytes, const std::string& name)
    : release_(NameOf(PathOf(name).filename())), source_(name), bytes_(std::move(bytes)) {
  google::protobuf::FileDescriptorSet set;
  if (!set.ParseFromString(bytes_) || set.file_size() == 0 || set.file(0).name().empty()) {
    throw Error(name +
                ": is not a descriptor set; make one with protoc --include_imports "
                "--include_source_info --descriptor_set_out");
  }
  Index(bytes_);
  database_ = std::make_unique<google::protobuf::SimpleDescriptorDatabase>();
  for (auto& file : *set.mutable_file()) {
    for (const std::string& import : file.dependency()) {
      if (!encoded_.contains(import)) {
        throw Error(name + ": " + file.name() + " imports " + import +
                    ", which is not in the set; make it with protoc --include_imports");
      }
    }
    file.clear_source_code_info();  // read from the bytes when it is asked for
    const std::string file_name = file.name();
    if (!database_->Add(file)) throw Error(name + ": has " + file_name + " twice");
  }
  FirstError error;
  own_pool_ = std::make_unique<DescriptorPool>(database_.get(), &error);
  own_messages_ = std::make_unique<google::protobuf::DynamicMessageFactory>(own_pool_.get());
  pool_ = own_pool_.get();
  for (const std::string& file_name : names_) {
    const FileDescriptor* file = pool_->FindFileByName(file_name);
    if (file == nullptr) {
      throw Error(name + ": its schemas contradict themselves: " +
                  (error.text.empty() ? file_name : error.text));
    }
    files_.push_back(file);
  }
}

// Finds the files of the set without decoding them.
void Contracts::Index(std::string_view bytes) {
  google::protobuf::io::CodedInputStream input(reinterpret_cast<const uint8_t*>(bytes.data()),
                                               static_cast<int>(bytes.size()));
  uint32_t size = 0;
  while (input.ReadTag() == 10 && input.ReadVarint32(&size)) {
    const std::string_view file = bytes.substr(static_cast<size_t>(input.CurrentPosition()), size);
    if (!input.Skip(static_cast<int>(size))) break;
    std::string name(FirstField(file));
    if (!encoded_.emplace(name, file).second || name.starts_with("google/protobuf/")) continue;
    names_.push_back(std::move(name));
  }
}

std::string_view Contracts::EncodedFile(const std::string& name) const {
  const auto found = encoded_.find(name);
  return found == encoded_.end() ? std::string_view() : found->second;
}

std::unique_ptr<google::protobuf::Message> Contracts::NewMessage(const Descriptor* message) const {
  google::protobuf::MessageFactory* factory = own_messages_.get();
  if (factory == nullptr) factory = google::protobuf::MessageFactory::generated_factory();
  return std::unique_ptr<google::protobuf::Message>(factory->GetPrototype(message)->New());
}

const std::vector<const Descriptor*>& Contracts::messages() const {
  Collect();
  return messages_;
}

const std::vector<const EnumDescriptor*>& Contracts::enums() const {
  Collect();
  return enums_;
}

void Contracts::Collect() const {
  if (!messages_.empty()) return;
  const auto collect = [&](const Descriptor* message, const auto& self) -> void {
    if (!message->options().map_entry()) messages_.push_back(message);
    for (int i = 0; i < message->field_count(); ++i) {
      const FieldDescriptor* field = message->field(i);
      if (field->message_type() != nullptr && !field->is_map()) {
        users_[field->message_type()].push_back(field);
      }
      if (field->enum_type() != nullptr) users_[field->enum_type()].push_back(field);
    }
    for (int i = 0; i < message->nested_type_count(); ++i) self(message->nested_type(i), self);
    for (int i = 0; i < message->enum_type_count(); ++i) enums_.push_back(message->enum_type(i));
  };
  for (const FileDescriptor* file : files_) {
    for (int i = 0; i < file->message_type_count(); ++i) collect(file->message_type(i), collect);
    for (int i = 0; i < file->enum_type_count(); ++i) enums_.push_back(file->enum_type(i));
  }
}

std::vector<const Descriptor*> Contracts::tables() const {
  std::vector<std::tuple<std::string, std::string, const Descriptor*>> found;
  for (const Descriptor* message : messages()) {
    if (KindOf(message) != Kind::kTable) continue;
    found.emplace_back(TableOptionsOf(message).database, message->name(), message);
  }
  std::sort(found.begin(), found.end());
  std::vector<const Descriptor*> tables;
  for (const auto& [database, name, message] : found) tables.push_back(message);
  return tables;
}

std::vector<const Descriptor*> Contracts::payloads() const {
  std::vector<const Descriptor*> payloads;
  for (const Descriptor* message : messages()) {
    if (KindOf(message) == Kind::kPayload) payloads.push_back(message);
  }
  std::sort(payloads.begin(), payloads.end(), [](const auto* a, const auto* b) {
    return std::tie(a->name(), a->full_name()) < std::tie(b->name(), b->full_name());
  });
  return payloads;
}

uint32_t Contracts::MaxSizeMb(const std::string& database) const {
  for (const Descriptor* message : messages()) {
    if (message->name() == database && KindOf(message) == Kind::kMarker) {
      return message->options().GetExtension(storage::persistance).database().max_size_mb();
    }
  }
  return 0;
}

const std::vector<const FieldDescriptor*>& Contracts::UsersOf(const Descriptor* message) const {
  Collect();
  return users_[message];
}

const std::vector<const FieldDescriptor*>& Contracts::UsersOf(
    const EnumDescriptor* enumeration) const {
  Collect();
  return users_[enumeration];
}

std::vector<const Descriptor*> Contracts::HoldersOf(const Descriptor* message, Kind kind) const {
  std::vector<const Descriptor*> reached = {message};
  std::set<const Descriptor*> seen = {message};
  for (size_t i = 0; i < reached.size(); ++i) {
    for (const FieldDescriptor* user : UsersOf(reached[i])) {
      const Descriptor* holder = user->containing_type();
      // A map's entry is nested in the message that has the map.
      if (holder->options().map_entry()) holder = holder->containing_type();
      if (seen.insert(holder).second) reached.push_back(holder);
    }
  }
  std::erase_if(reached, [&](const Descriptor* holder) { return KindOf(holder) != kind; });
  return reached;
}

std::string QualifiedName(const FieldDescriptor* field) {
  return ShortName(field->containing_type()) + "." + field->name();
}

}  // namespace ovix::tool
