#include "diff/compare.h"

#include <google/protobuf/descriptor.pb.h>

#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <sstream>
#include <tuple>

#include "contracts/facts.h"
#include "ovix/telemetry/contract/storage/storage_options.pb.h"
#include "ovix/telemetry/contract/upload/upload_options.pb.h"

namespace ovix::tool {
namespace {

namespace storage = telemetry::contract::storage;
namespace upload = telemetry::contract::upload;

std::string FromTo(const std::string& before, const std::string& after) {
  const auto shown = [](const std::string& text) { return text.empty() ? "nothing" : text; };
  return "from " + shown(before) + " to " + shown(after);
}

// The type with the full names of what is declared elsewhere.
std::string FullType(const FieldDescriptor* field) {
  if (field->is_map()) {
    const Descriptor* entry = field->message_type();
    return "map<" + FullType(entry->map_key()) + ", " + FullType(entry->map_value()) + ">";
  }
  if (field->message_type() != nullptr) return field->message_type()->full_name();
  return field->enum_type() != nullptr ? field->enum_type()->full_name() : field->type_name();
}

// Whether every value that was written as the old type reads as itself as the new one.
bool IsWidened(const FieldDescriptor* before, const FieldDescriptor* after) {
  using Type = FieldDescriptor::Type;
  static const std::set<std::pair<Type, Type>> widened = {
      {FieldDescriptor::TYPE_INT32, FieldDescriptor::TYPE_INT64},
      {FieldDescriptor::TYPE_UINT32, FieldDescriptor::TYPE_UINT64},
      {FieldDescriptor::TYPE_UINT32, FieldDescriptor::TYPE_INT64},
      {FieldDescriptor::TYPE_SINT32, FieldDescriptor::TYPE_SINT64},
      {FieldDescriptor::TYPE_BOOL, FieldDescriptor::TYPE_UINT32},
      {FieldDescriptor::TYPE_BOOL, FieldDescriptor::TYPE_UINT64},
      {FieldDescriptor::TYPE_BOOL, FieldDescriptor::TYPE_INT32},
      {FieldDescriptor::TYPE_BOOL, FieldDescriptor::TYPE_INT64},
      {FieldDescriptor::TYPE_ENUM, FieldDescriptor::TYPE_INT32},
      {FieldDescriptor::TYPE_ENUM, FieldDescriptor::TYPE_INT64},
      {FieldDescriptor::TYPE_STRING, FieldDescriptor::TYPE_BYTES},
  };
  return !before->is_map() && !after->is_map() && widened.contains({before->type(), after->type()});
}

std::string OneofOf(const FieldDescriptor* field) {
  const auto* oneof = field->real_containing_oneof();
  return oneof == nullptr ? "" : oneof->name();
}

std::string KeyText(const TableOptions& table) {
  std::string key;
  for (const FieldDescriptor* field : table.key) key += (key.empty() ? "" : ", ") + field->name();
  return key;
}

// "1.2.0-beta.3" in numbers that compare as versions do: a release is above its betas, those above
// its alphas.
struct Version {
  int64_t major = -1, minor = -1, patch = -1;
  int64_t stage = 2, stage_number = 0;
  auto operator<=>(const Version&) const = default;
};
std::optional<Version> ReadVersion(const std::string& text) {
  Version version;
  std::istringstream input(text);
  char dot = 0;
  if (!(input >> version.major >> dot >> version.minor >> dot >> version.patch))
    return std::nullopt;
  std::string suffix;
  if (input >> suffix) {
    const size_t number = suffix.rfind('.');
    if (number == std::string::npos) return std::nullopt;
    const std::string stage = suffix.substr(0, number);
    if (stage != "-alpha" && stage != "-beta") return std::nullopt;
    version.stage = stage == "-beta" ? 1 : 0;
    std::istringstream(suffix.substr(number + 1)) >> version.stage_number;
  }
  return version;
}

// The options without those that are compared one by one.
template <typename Options>
std::string OtherOptions(Options options) {
  if constexpr (std::is_same_v<Options, google::protobuf::MessageOptions>) {
    options.ClearExtension(storage::persistance);
    options.ClearExtension(upload::cdm);
    options.clear_map_entry();
  }
  if constexpr (std::is_same_v<Options, google::protobuf::FieldOptions>) {
    options.ClearExtension(storage::column);
  }
  return options.ShortDebugString();
}

class Comparison {
 public:
  Comparison(const Contracts& older, const Contracts& newer)
      : older_(older), newer_(newer), older_states_facts_(StatesFacts(older)) {}

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
      if (older_.pool().FindMessageTypeByName(after->full_name()) != nullptr) continue;
      if (KindOf(after) == Kind::kPayload) CheckGun(after);
      if (after->containing_type() != nullptr &&
          !older_.pool().FindMessageTypeByName(after->containing_type()->full_name())) {
        continue;
      }
      AddMessage(after);
    }
    CompareEnums();
    CompareExtensions();
    CompareVersions();
    return std::move(differences_);
  }

 private:
  void Add(Change change, const std::string& subject, const std::string& what,
           unsigned besides = kSafe, const std::string& mend = "") {
    differences_.push_back({change, RuleOf(change).breaks | besides, subject, what, mend});
  }
  // A change of a message's or an enumeration's content.
  void AddContent(const void* holder, Change change, const std::string& subject,
                  const std::string& what, unsigned besides = kSafe) {
    Add(change, subject, what, besides);
    Raise& raise = raises_[holder];
    raise = std::max(raise, RaiseFor(change));
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
      CompareOrder(before, after);
      CompareOther(before->name(), before->options(), after->options());
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
            "its messages stand in another order from " + same->name() + " on");
        return;
      }
      last = same->index();
    }
  }

  template <typename Options>
  void CompareOther(const std::string& subject, const Options& before, const Options& after) {
    const std::string was = OtherOptions(before), is = OtherOptions(after);
    if (was != is) {
      Add(Change::kOtherOptionChanged, subject, "other options changed " + FromTo(was, is));
    }
  }

  void RemoveMessage(const Descriptor* message) {
    const Kind kind = KindOf(message);
    Add(Change::kMessageRemoved, message->full_name(), std::string(KindText(kind)) + " removed",
        kind == Kind::kTable ? kStore : kSafe);
  }

  void AddMessage(const Descriptor* message) {
    const Kind kind = KindOf(message);
    Add(kind == Kind::kTable     ? Change::kTableAdded
        : kind == Kind::kPayload ? Change::kPayloadAdded
                                 : Change::kMessageAdded,
        message->full_name(), std::string(KindText(kind)) + " added");
  }

  void CompareMessages(const Descriptor* before, const Descriptor* after) {
    if (before->file()->name() != after->file()->name()) {
      Add(Change::kMessageMoved, before->full_name(),
          "moved " + FromTo(before->file()->name(), after->file()->name()));
    }
    CompareTables(before, after);
    ComparePayloads(before, after);
    CompareOther(before->full_name(), before->options(), after->options());
    CompareFields(before, after);
    CompareFacts(before, after);
  }

  // What the comments state of the fields; nothing if one of the releases has no comments.
  void CompareFacts(const Descriptor* before, const Descriptor* after) {
    if (older_.LineOf(before) == 0 || newer_.LineOf(after) == 0) return;
    std::string added;
    for (int i = 0; i < before->field_count(); ++i) {
      const FieldDescriptor* was = before->field(i);
      const FieldDescriptor* is = after->FindFieldByNumber(was->number());
      if (is != nullptr && CompareFacts(was, is, after)) {
        added += (added.empty() ? "" : ", ") + is->name();
      }
    }
    if (!added.empty()) {
      Add(Change::kFactsAdded, before->full_name(), "the comments state more of " + added);
    }
  }

  // Whether a release's comments are written with facts; lineage alone is older than they are.
  static bool StatesFacts(const Contracts& contracts) {
    for (const Descriptor* message : contracts.messages()) {
      for (int i = 0; i < message->field_count(); ++i) {
        for (const Fact& fact : contracts.CommentOf(message->field(i)).facts) {
          FieldFacts facts;
          const bool is_known = fact.key == "Unit" || fact.key == "Values" ||
                                fact.key == "Format" || fact.key == "Privacy";
          if (is_known && ReadFact(fact, facts)) return true;
        }
      }
    }
    return false;
  }

  // Whether a fact is stated that was not, or more strictly.
  bool CompareFacts(const FieldDescriptor* was, const FieldDescriptor* is,
                    const Descriptor* holder) {
    FieldFacts before = FactsOf(older_, was);
    const FieldFacts after = FactsOf(newer_, is);
    // A name promises its unit only where a line would say otherwise.
    if (!older_states_facts_ && before.unit != after.unit) before.unit.clear();
    const auto changed = [&](Change change, const char* what, const std::string& from,
                             const std::string& to) {
      AddContent(holder, change, was->full_name(), what + FromTo(from, to));
    };
    // Nothing was said before where a fact was missing or unspecified.
    const auto is_said = [](const std::string& fact) {
      return !fact.empty() && fact != "unspecified";
    };
    bool adds = false;
    if (before.unit != after.unit) {
      if (is_said(before.unit)) {
        changed(Change::kUnitChanged, "unit changed ", before.unit, after.unit);
      } else {
        adds = true;
      }
    }
    if (before.format != after.format) {
      if (is_said(before.format)) {
        changed(Change::kFormatChanged, "format changed ", before.format, after.format);
      } else {
        adds = true;
      }
    }
    const bool means_another =
        std::any_of(before.meanings.begin(), before.meanings.end(), [&](const auto& meaning) {
          const auto now = after.meanings.find(meaning.first);
          return now != after.meanings.end() && now->second != meaning.second;
        });
    if (means_another) {
      changed(Change::kValuesChanged, "meaning of a value changed ", before.values, after.values);
    } else if (before.is_closed && (!after.is_closed || Sorted(before) != Sorted(after))) {
      changed(Change::kValuesChanged, "closed list of values changed ", before.values,
              after.values);
    } else if (before.values != after.values) {
      adds = true;
    }
    if (after.privacy < before.privacy) {
      changed(Change::kPrivacyLowered, "privacy class lowered ", PrivacyText(before.privacy),
              PrivacyText(after.privacy));
    } else if (after.privacy > before.privacy) {
      adds = true;
    }
    return adds;
  }
  static std::vector<std::string> Sorted(const FieldFacts& facts) {
    std::vector<std::string> values = facts.listed_values;
    std::sort(values.begin(), values.end());
    return values;
  }

  void CompareTables(const Descriptor* before, const Descriptor* after) {
    const std::string& name = before->full_name();
    const auto& was = before->options().GetExtension(storage::persistance);
    const auto& is = after->options().GetExtension(storage::persistance);
    if (was.database().max_size_mb() != is.database().max_size_mb()) {
      Add(Change::kDatabaseSizeChanged, name,
          "size limit of database " + before->name() + " changed " +
              FromTo(std::to_string(was.database().max_size_mb()),
                     std::to_string(is.database().max_size_mb()) + " MB"));
    }
    if (was.type().empty() && is.type().empty()) {
      if (was.database().name() != is.database().name()) {
        Add(Change::kTableDatabaseChanged, name,
            "database changed " + FromTo(was.database().name(), is.database().name()));
      }
      return;
    }
    if (was.type().empty()) {
      return Add(Change::kTableAdded, name,
                 "is a table of database " + is.database().name() + " now");
    }
    if (is.type().empty()) {
      return Add(Change::kTableRemoved, name, "is no table any more");
    }
    const TableOptions old_table = TableOptionsOf(before), new_table = TableOptionsOf(after);
    const std::tuple<Change, const char*, std::string, std::string> values[] = {
        {Change::kTableTypeChanged, "type", old_table.type, new_table.type},
        {Change::kTableDatabaseChanged, "database", old_table.database, new_table.database},
        {Change::kTableNameChanged, "table name", old_table.table, new_table.table},
        {Change::kTableLimitChanged, "limit of rows", std::to_string(old_table.max_rows),
         std::to_string(new_table.max_rows)},
        {Change::kTableLimitChanged, "limit of days", std::to_string(old_table.max_time_days),
         std::to_string(new_table.max_time_days)},
        {Change::kTableKeyChanged, "key", KeyText(old_table), KeyText(new_table)},
    };
    for (const auto& [change, label, old_value, new_value] : values) {
      if (old_value == new_value) continue;
      Add(change, name, std::string(label) + " changed " + FromTo(old_value, new_value));
    }
  }

  void ComparePayloads(const Descriptor* before, const Descriptor* after) {
    const PayloadOptions was = PayloadOptionsOf(before), is = PayloadOptionsOf(after);
    const std::string& name = before->full_name();
    if (was.gun.empty() && is.gun.empty()) return;
    if (was.gun.empty()) {
      Add(Change::kPayloadAdded, name, "is a payload now, gun " + is.gun);
    } else if (is.gun.empty()) {
      return Add(Change::kPayloadRemoved, name, "is no payload any more; its gun was " + was.gun);
    } else if (was.gun != is.gun) {
      Add(Change::kGunChanged, name, "gun changed " + FromTo(was.gun, is.gun));
    }
    CheckGun(after);
    if (was.version == is.version || was.gun.empty()) return;
    const auto old_version = ReadVersion(was.version), new_version = ReadVersion(is.version);
    const bool raised = old_version && new_version && *new_version > *old_version;
    Add(raised ? Change::kVersionRaised : Change::kVersionLowered, name,
        std::string(raised ? "version raised " : "version not raised, but changed ") +
            FromTo(was.version, is.version));
  }

  // What a gun of the newer release must be, whatever it was before.
  void CheckGun(const Descriptor* payload) {
    const PayloadOptions options = PayloadOptionsOf(payload);
    const auto version = ReadVersion(options.version);
    const std::string end = ".version." + (version ? std::to_string(version->major) : "?");
    if (!options.gun.ends_with(end)) {
      Add(Change::kVersionNotOfGun, payload->full_name(),
          "gun " + options.gun + " and version " + options.version + " do not fit", kSafe,
          "end the gun in .version. and the major number of the version");
    }
    if (guns_.empty()) {
      for (const Descriptor* other : newer_.payloads()) {
        guns_[PayloadOptionsOf(other).gun].push_back(other);
      }
    }
    for (const Descriptor* other : guns_[options.gun]) {
      if (other == payload) break;
      Add(Change::kGunTaken, payload->full_name(),
          "gun " + options.gun + " is that of " + other->full_name() + " too", kSafe,
          "give it a category of its own");
      break;
    }
  }

  void CompareFields(const Descriptor* before, const Descriptor* after) {
    int last = -1;
    bool order_said = false;
    for (int i = 0; i < before->field_count(); ++i) {
      const FieldDescriptor* was = before->field(i);
      const FieldDescriptor* is = after->FindFieldByName(was->name());
      const FieldDescriptor* same_number = after->FindFieldByNumber(was->number());
      if (is == nullptr && same_number != nullptr &&
          before->FindFieldByName(same_number->name()) == nullptr) {
        is = same_number;
        AddContent(after, Change::kFieldRenamed, was->full_name(), "renamed to " + is->name(),
                   KindOf(before) == Kind::kTable ? kStore : kSafe);
      }
      if (is == nullptr) {
        const bool reserved = after->IsReservedNumber(was->number());
        AddContent(after, reserved ? Change::kFieldRemovedReserved : Change::kFieldRemoved,
                   was->full_name(),
                   "removed, number " + std::to_string(was->number()) +
                       (reserved ? " is reserved" : " is not reserved"));
        continue;
      }
      CompareField(was, is, after);
      if (is->index() < last && !order_said) {
        order_said = true;
        Add(Change::kFieldOrderChanged, before->full_name(),
            "its fields stand in another order from " + is->name() + " on");
      }
      last = std::max(last, is->index());
    }
    for (int i = 0; i < after->field_count(); ++i) {
      const FieldDescriptor* is = after->field(i);
      const FieldDescriptor* same_number = before->FindFieldByNumber(is->number());
      if (before->FindFieldByName(is->name()) != nullptr) continue;
      if (same_number != nullptr && after->FindFieldByName(same_number->name()) == nullptr)
        continue;
      AddContent(after, Change::kFieldAdded, is->full_name(),
                 "added, number " + std::to_string(is->number()) + ", " + FullType(is));
    }
  }

  void CompareField(const FieldDescriptor* was, const FieldDescriptor* is,
                    const Descriptor* holder) {
    const std::string& name = was->full_name();
    const auto add = [&](Change change, const std::string& what, unsigned besides = kSafe) {
      AddContent(holder, change, name, what, besides);
    };
    if (was->number() != is->number()) {
      add(Change::kFieldRenumbered,
          "number changed " + FromTo(std::to_string(was->number()), std::to_string(is->number())));
    }
    if (was->name() == is->name() && was->json_name() != is->json_name()) {
      add(Change::kJsonNameChanged,
          "JSON name changed " + FromTo(was->json_name(), is->json_name()));
    }
    const bool is_column = KindOf(was->containing_type()) == Kind::kTable;
    if (FullType(was) != FullType(is)) {
      const bool widened = IsWidened(was, is);
      const bool same_column = widened && was->type() != FieldDescriptor::TYPE_STRING;
      add(widened ? Change::kFieldTypeWidened : Change::kFieldTypeChanged,
          "type changed " + FromTo(FullType(was), FullType(is)),
          is_column && !same_column ? kStore : kSafe);
    }
    if (was->is_repeated() != is->is_repeated()) {
      add(Change::kFieldLabelChanged, was->is_repeated() ? "no longer repeated" : "repeated now",
          is_column ? kStore : kSafe);
    } else if (was->has_presence() != is->has_presence()) {
      add(Change::kFieldPresenceChanged,
          "presence changed " + FromTo(PresenceText(was), PresenceText(is)));
    }
    if (OneofOf(was) != OneofOf(is)) {
      add(Change::kFieldOneofChanged, "oneof changed " + FromTo(OneofOf(was), OneofOf(is)));
    }
    CompareOther(name, was->options(), is->options());
  }

  void CompareEnums() {
    for (const EnumDescriptor* before : older_.enums()) {
      const EnumDescriptor* after = newer_.pool().FindEnumTypeByName(before->full_name());
      if (after == nullptr) {
        Add(Change::kEnumRemoved, before->full_name(), "enumeration removed");
        continue;
      }
      for (int i = 0; i < before->value_count(); ++i) {
        const EnumValueDescriptor* was = before->value(i);
        const EnumValueDescriptor* is = after->FindValueByNumber(was->number());
        const std::string number = std::to_string(was->number());
        if (is == nullptr) {
          AddContent(after, Change::kEnumValueRemoved, before->full_name(),
                     "value " + was->name() + " = " + number + " removed");
        } else if (is->name() != was->name() &&
                   (after->FindValueByName(was->name()) == nullptr ||
                    after->FindValueByName(was->name())->number() != was->number())) {
          AddContent(after, Change::kEnumValueRenamed, before->full_name(),
                     "value " + number + " renamed " + FromTo(was->name(), is->name()));
        }
      }
      for (int i = 0; i < after->value_count(); ++i) {
        const EnumValueDescriptor* is = after->value(i);
        if (before->FindValueByNumber(is->number()) == nullptr) {
          AddContent(after, Change::kEnumValueAdded, before->full_name(),
                     "value " + is->name() + " = " + std::to_string(is->number()) + " added");
        }
      }
      CompareOther(before->full_name(), before->options(), after->options());
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

  // A payload's content is its own fields and those of everything in it.
  void CompareVersions() {
    for (const Descriptor* after : newer_.payloads()) {
      const Descriptor* before = older_.pool().FindMessageTypeByName(after->full_name());
      if (before == nullptr || PayloadOptionsOf(before).gun.empty()) continue;
      Raise needed = Raise::kNone;
      for (const auto& [holder, raise] : raises_) {
        if (raise > needed && Holds(after, holder)) needed = raise;
      }
      if (needed == Raise::kNone) continue;
      const PayloadOptions was = PayloadOptionsOf(before), is = PayloadOptionsOf(after);
      const auto old_version = ReadVersion(was.version), new_version = ReadVersion(is.version);
      const bool major = old_version && new_version && new_version->major > old_version->major;
      const bool minor = old_version && new_version && new_version->major == old_version->major &&
                         new_version->minor > old_version->minor;
      if (major ? was.gun != is.gun : (minor && needed == Raise::kMinor)) continue;
      std::string mend = "set a newer version";
      if (old_version) {
        mend = needed == Raise::kMinor ? "set version " + std::to_string(old_version->major) + "." +
                                             std::to_string(old_version->minor + 1) + ".0"
                                       : "set version " + std::to_string(old_version->major + 1) +
                                             ".0.0 and end the gun in .version." +
                                             std::to_string(old_version->major + 1);
      }
      Add(Change::kVersionNotRaised, after->full_name(),
          std::string("its content has changed by ") +
              (needed == Raise::kMinor ? "additions" : "more than additions") + ", its version " +
              (was.version == is.version ? "is still " + is.version
                                         : "went only " + FromTo(was.version, is.version)),
          kSafe, mend);
    }
  }

  // Whether a message or an enumeration is in a payload, however deep.
  bool Holds(const Descriptor* payload, const void* content) {
    std::set<const void*>& reached = contents_[payload];
    if (reached.empty()) Reach(payload, reached);
    return reached.contains(content);
  }
  static void Reach(const Descriptor* message, std::set<const void*>& reached) {
    if (!reached.insert(message).second) return;
    for (int i = 0; i < message->field_count(); ++i) {
      const FieldDescriptor* field = message->field(i);
      if (field->enum_type() != nullptr) reached.insert(field->enum_type());
      if (field->message_type() != nullptr) Reach(field->message_type(), reached);
    }
  }

  const Contracts& older_;
  const Contracts& newer_;
  const bool older_states_facts_;
  std::vector<Difference> differences_;
  std::map<const void*, Raise> raises_;  // by the newer release's message or enumeration
  std::map<const Descriptor*, std::set<const void*>> contents_;
  std::map<std::string, std::vector<const Descriptor*>> guns_;
};

}  // namespace

std::vector<Difference> Compare(const Contracts& older, const Contracts& newer) {
  return Comparison(older, newer).Run();
}

}  // namespace ovix::tool
