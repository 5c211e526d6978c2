#include "convert/redact.h"

#include <filesystem>
#include <fstream>

#include "contracts/personal.h"
#include "payload/hash.h"
#include "terminal/error.h"
#include "terminal/files_read.h"
#include "terminal/path.h"
#include "terminal/report.h"

namespace ovix::tool {
namespace {

using google::protobuf::Message;

// A shorter key can be guessed, and with it what was hashed.
constexpr size_t kLeastKey = 16;
// More is another file named by mistake, or one that never ends.
constexpr size_t kMostKey = 65536;

std::string ReadKey(const std::string& file) {
  if (file.empty()) throw Error("--key: names no file; name a file with the key");
  const std::filesystem::path path = PathOf(file);
  std::error_code ignored;
  if (std::filesystem::is_directory(path, ignored)) {
    throw Error(file + ": is a folder; name a file with the key");
  }
  NoteRead(IdOf(path), file);
  std::ifstream input(path, std::ios::binary);
  std::string key(kMostKey + 1, '\0');
  input.read(key.data(), static_cast<std::streamsize>(key.size()));
  key.resize(static_cast<size_t>(input.gcount()));
  if (!input.is_open() || input.bad()) {
    throw Error(file + ": cannot be read; name a file with the key");
  }
  if (key.size() > kMostKey) {
    throw Error(file + ": is longer than a key can be (" + std::to_string(kMostKey) +
                " bytes); name a file with the key");
  }
  if (key.size() < kLeastKey) {
    throw Error(file + ": a key has at least " + std::to_string(kLeastKey) +
                " bytes, this one has " + std::to_string(key.size()) +
                "; make one with: openssl rand -out FILE 32");
  }
  return key;
}

}  // namespace

Redactor::Redactor(const Contracts& contracts, const std::vector<std::string>& classes,
                   const std::optional<std::string>& key_file)
    : contracts_(contracts) {
  for (const std::string& word : classes) {
    if (word == "all") {
      classes_.insert(PrivacyClasses().begin(), PrivacyClasses().end());
    } else if (const auto privacy = ReadPrivacy(word)) {
      classes_.insert(*privacy);
    } else {
      throw Error("--redact: '" + word +
                  "' is not a privacy class; use identifier, location, content, interaction or "
                  "all");
    }
  }
  if (!classes.empty()) RequirePrivacy(contracts);
  if (classes.empty() && key_file) {
    throw Error("--key: there is nothing to hash; name the classes with --redact");
  }
  if (key_file) key_ = ReadKey(*key_file);
}

void Redactor::Say(const std::string& input) const {
  Report(input + ": values replaced by a hash: " + std::to_string(replaced_) +
         ", dropped: " + std::to_string(dropped_));
}

bool Redactor::IsMeant(const FieldDescriptor* field) {
  const auto known = meant_.find(field);
  if (known != meant_.end()) return known->second;
  return meant_[field] = classes_.contains(FactsOf(contracts_, field).privacy);
}

void Redactor::Replace(Message& message, const FieldDescriptor* field) {
  const auto* reflection = message.GetReflection();
  const bool is_text = field->type() == FieldDescriptor::TYPE_STRING;
  const auto size =
      field->is_repeated() ? static_cast<size_t>(reflection->FieldSize(message, field)) : size_t{1};
  if (!is_text || key_.empty()) {
    reflection->ClearField(&message, field);
    dropped_ += size;
    return;
  }
  std::string scratch;
  if (!field->is_repeated()) {
    const std::string& value = reflection->GetStringReference(message, field, &scratch);
    reflection->SetString(&message, field, KeyedHash(key_, value));
  }
  for (int i = 0; field->is_repeated() && i < static_cast<int>(size); ++i) {
    const std::string& value = reflection->GetRepeatedStringReference(message, field, i, &scratch);
    reflection->SetRepeatedString(&message, field, i, KeyedHash(key_, value));
  }
  replaced_ += size;
}

void Redactor::Require(const Descriptor* type) {
  if (known_.contains(type)) return;
  RequirePrivacy(contracts_, type);
  known_.insert(type);
}

void Redactor::Redact(Message& message) {
  Require(message.GetDescriptor());
  RedactFields(message);
}

void Redactor::RedactFields(Message& message) {
  const auto* reflection = message.GetReflection();
  auto* unknown = reflection->MutableUnknownFields(&message);
  dropped_ += static_cast<size_t>(unknown->field_count());
  unknown->Clear();
  std::vector<const FieldDescriptor*> fields;
  reflection->ListFields(message, &fields);
  for (const FieldDescriptor* field : fields) {
    if (IsMeant(field)) {
      Replace(message, field);
    } else if (field->message_type() != nullptr && field->is_repeated()) {
      for (int i = 0; i < reflection->FieldSize(message, field); ++i) {
        RedactFields(*reflection->MutableRepeatedMessage(&message, field, i));
      }
    } else if (field->message_type() != nullptr) {
      RedactFields(*reflection->MutableMessage(&message, field));
    }
  }
}

}  // namespace ovix::tool
