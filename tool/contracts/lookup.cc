// Finds contracts by what their users have in hand.
#include <algorithm>
#include <filesystem>
#include <iostream>

#include "contracts/label.h"
#include "contracts/names.h"
#include "terminal/error.h"
#include "terminal/path.h"

namespace ovix::tool {
namespace {

bool IsEndOf(const std::string& name, const std::string& full_name) {
  return full_name == name || full_name.ends_with("." + name);
}

const Descriptor* MessageOf(const Named& named) {
  return named.field != nullptr ? named.field->containing_type() : named.message;
}

const std::string& FullName(const Named& named) {
  return named.field != nullptr     ? named.field->full_name()
         : named.message != nullptr ? named.message->full_name()
                                    : named.enumeration->full_name();
}

// The messages and enumerations that a full name, the end of one or a gun can mean.
std::vector<Named> Candidates(const Contracts& contracts, const std::string& name) {
  std::vector<Named> found;
  for (const Descriptor* message : contracts.messages()) {
    if (message->full_name() == name) return {{.message = message}};
    if (IsEndOf(name, message->full_name()) ||
        (!name.empty() && PayloadOptionsOf(message).gun == name)) {
      found.push_back({.message = message});
    }
  }
  for (const EnumDescriptor* enumeration : contracts.enums()) {
    if (enumeration->full_name() == name) return {{.enumeration = enumeration}};
    if (IsEndOf(name, enumeration->full_name())) found.push_back({.enumeration = enumeration});
  }
  return found;
}

// The message whose fields a path continues with after this field; null after a number or string.
const Descriptor* PartOf(const FieldDescriptor* field) {
  return field->is_map() ? field->message_type()->map_value()->message_type()
                         : field->message_type();
}

// Where a path from a message ends.
struct Walk {
  const FieldDescriptor* field = nullptr;  // null where the path leads nowhere
  std::string problem;                     // why, in words
};

Walk Follow(const Descriptor* message, const std::string& path) {
  Walk walk;
  const Descriptor* holder = message;
  for (size_t begin = 0; begin <= path.size();) {
    const size_t end = std::min(path.find('.', begin), path.size());
    const std::string name = path.substr(begin, end - begin);
    if (holder == nullptr) {
      return {nullptr, walk.field->full_name() + " is of type " + TypeText(walk.field) +
                           " and has no fields"};
    }
    walk.field = holder->FindFieldByName(name);
    if (walk.field == nullptr) {
      std::vector<std::string> known;
      for (int i = 0; i < holder->field_count(); ++i) known.push_back(holder->field(i)->name());
      for (int i = 0; i < holder->nested_type_count(); ++i) {
        known.push_back(holder->nested_type(i)->name());
      }
      const std::string suggestion = Suggestion(name, known);
      return {nullptr, holder->full_name() + " has no field " + name +
                           (suggestion.empty()
                                ? "; `ovix-contracts show " + ShortName(holder) + "` shows them all"
                                : suggestion)};
    }
    holder = PartOf(walk.field);
    begin = end + 1;
  }
  return walk;
}

// The fields that a message's name and a path can mean. `problem` is why there are none, where
// the name begins with that of a message.
std::vector<Named> FieldCandidates(const Contracts& contracts, const std::string& name,
                                   std::string& problem) {
  for (size_t dot = name.rfind('.'); dot != std::string::npos && dot != 0;
       dot = name.rfind('.', dot - 1)) {
    std::vector<Named> found;
    bool is_message = false;
    for (const Named& holder : Candidates(contracts, name.substr(0, dot))) {
      if (holder.message == nullptr) continue;
      is_message = true;
      const Walk walk = Follow(holder.message, name.substr(dot + 1));
      if (walk.field != nullptr) found.push_back({.field = walk.field});
      if (problem.empty()) problem = walk.problem;
    }
    if (is_message) return found;
  }
  return {};
}

// One of several, or the first of one.
Named Choose(const std::vector<Named>& found, const std::string& name) {
  if (found.size() == 1) return found.front();
  std::vector<Named> preferred;
  std::vector<std::string> names, others;
  for (const Named& named : found) {
    const Descriptor* message = MessageOf(named);
    const Kind kind = message == nullptr ? Kind::kPart : KindOf(message);
    const bool is_preferred = kind == Kind::kTable || kind == Kind::kPayload;
    if (is_preferred) preferred.push_back(named);
    if (!is_preferred) others.push_back(FullName(named));
    names.push_back(FullName(named));
  }
  if (preferred.size() != 1) throw Error(name + ": is ambiguous; write " + Listed(names, "or"));
  const Named& taken = preferred.front();
  const char* kind = taken.field != nullptr ? "field" : KindText(KindOf(taken.message));
  std::cerr << "ovix-contracts: " << name << ": taken as the " << kind << " " << FullName(taken)
            << "; also of this name: " << Listed(others, "and") << "\n";
  return taken;
}

[[noreturn]] void FailUnknown(const Contracts& contracts, const std::string& name) {
  std::vector<std::string> known;
  const auto add = [&](const auto* descriptor) {
    // A message inside another is known by either name.
    known.push_back(descriptor->name());
    known.push_back(ShortName(descriptor));
    if (name.find('.') != std::string::npos) known.push_back(descriptor->full_name());
  };
  for (const Descriptor* message : contracts.messages()) add(message);
  for (const EnumDescriptor* enumeration : contracts.enums()) add(enumeration);
  for (const Descriptor* payload : contracts.payloads()) {
    known.push_back(PayloadOptionsOf(payload).gun);
  }
  const std::string suggestion = Suggestion(name, known);
  throw Error(name + ": no contract has this name" +
              (suggestion.empty() ? "; `ovix-contracts list` shows them all" : suggestion));
}

}  // namespace

Named FindNamed(const Contracts& contracts, const std::string& name) {
  std::vector<Named> found = Candidates(contracts, name);
  std::string problem;
  if (found.empty()) found = FieldCandidates(contracts, name, problem);
  if (!found.empty()) return Choose(found, name);
  const std::filesystem::path file = PathOf(name);
  std::error_code ignored;
  if (file.extension() == ".json" || file.has_parent_path() ||
      std::filesystem::exists(file, ignored)) {
    const std::string gun = ReadLabel(name).gun;
    try {
      return {.message = FindByGun(contracts, gun)};
    } catch (const Error& error) {
      throw Error(name + ": " + error.what());
    }
  }
  if (!problem.empty()) throw Error(name + ": " + problem);
  FailUnknown(contracts, name);
}

const Descriptor* FindMessage(const Contracts& contracts, const std::string& name) {
  const Named named = FindNamed(contracts, name);
  if (named.message == nullptr) {
    throw Error(name + ": is " + (named.field != nullptr ? "a field" : "an enumeration") +
                "; name a message");
  }
  return named.message;
}

const Descriptor* FindByGun(const Contracts& contracts, const std::string& gun) {
  std::vector<Named> found;
  std::vector<std::string> known;
  for (const Descriptor* payload : contracts.payloads()) {
    known.push_back(PayloadOptionsOf(payload).gun);
    if (known.back() == gun) found.push_back({.message = payload});
  }
  if (found.empty()) {
    const std::string suggestion = Suggestion(gun, known);
    throw Error(gun + ": no payload has this gun" +
                (suggestion.empty() ? "; `ovix-contracts list --payloads` shows them all, and "
                                      "--contracts takes those of another release"
                                    : suggestion));
  }
  return Choose(found, gun).message;
}

}  // namespace ovix::tool
