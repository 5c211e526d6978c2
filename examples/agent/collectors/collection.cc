#include "collectors/collection.h"

#include <algorithm>
#include <iterator>
#include <set>

#include "ovix/telemetry/contract/storage/storage_options.pb.h"
#include "store/json.h"
#include "system/files.h"

namespace ovix::agent {
namespace {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;

void MakeTextsUtf8(Message& message) {
  const auto* reflection = message.GetReflection();
  std::vector<const FieldDescriptor*> fields;
  reflection->ListFields(message, &fields);
  for (const auto* field : fields) {
    const bool is_list = field->is_repeated();
    for (int i = 0; i < (is_list ? reflection->FieldSize(message, field) : 1); ++i) {
      if (field->cpp_type() == FieldDescriptor::CPPTYPE_MESSAGE) {
        MakeTextsUtf8(is_list ? *reflection->MutableRepeatedMessage(&message, field, i)
                              : *reflection->MutableMessage(&message, field));
      } else if (field->type() == FieldDescriptor::TYPE_STRING) {
        const std::string text = is_list ? reflection->GetRepeatedString(message, field, i)
                                         : reflection->GetString(message, field);
        if (IsUtf8(text)) continue;
        is_list ? reflection->SetRepeatedString(&message, field, i, ToUtf8(text))
                : reflection->SetString(&message, field, ToUtf8(text));
      }
    }
  }
}

}  // namespace

void Collection::MakeUtf8() {
  for (Snapshot& snapshot : snapshots_) {
    for (const auto& row : snapshot.rows) MakeTextsUtf8(*row);
  }
  for (const auto& row : appended_) MakeTextsUtf8(*row);
}

void Collection::KeepOneOfEachKey() {
  namespace storage = telemetry::contract::storage;
  for (Snapshot& snapshot : snapshots_) {
    std::vector<const google::protobuf::FieldDescriptor*> key;
    std::string names;
    for (int i = 0; i < snapshot.record->field_count(); ++i) {
      const auto* field = snapshot.record->field(i);
      if (!field->options().GetExtension(storage::column).constraint().pk()) continue;
      key.push_back(field);
      names += (names.empty() ? "" : ", ") + field->name();
    }
    std::set<std::string> seen;
    std::vector<std::unique_ptr<google::protobuf::Message>> kept;
    for (auto row = snapshot.rows.rbegin(); row != snapshot.rows.rend(); ++row) {
      std::unique_ptr<google::protobuf::Message> only_key((*row)->New());
      only_key->CopyFrom(**row);
      const auto* reflection = only_key->GetReflection();
      std::vector<const google::protobuf::FieldDescriptor*> fields;
      reflection->ListFields(*only_key, &fields);
      for (const auto* field : fields) {
        if (std::find(key.begin(), key.end(), field) == key.end()) {
          reflection->ClearField(only_key.get(), field);
        }
      }
      if (seen.insert(only_key->SerializeAsString()).second) kept.push_back(std::move(*row));
    }
    const size_t gone = snapshot.rows.size() - kept.size();
    if (gone != 0) {
      Skip(std::to_string(gone) + " of " + std::to_string(snapshot.rows.size()) + " rows of " +
           snapshot.record->name() + ": another has the same " + names);
    }
    snapshot.rows.assign(std::make_move_iterator(kept.rbegin()),
                         std::make_move_iterator(kept.rend()));
  }
}

}  // namespace ovix::agent
