#include "diff/payloads.h"

#include <map>
#include <set>
#include <string>

#include "diff/version.h"

namespace ovix::tool {
namespace {

// The messages and enumerations in a payload, however deep.
void Reach(const Descriptor* message, std::set<const void*>& reached) {
  if (!reached.insert(message).second) return;
  for (int i = 0; i < message->field_count(); ++i) {
    const FieldDescriptor* field = message->field(i);
    if (field->enum_type() != nullptr) reached.insert(field->enum_type());
    if (field->message_type() != nullptr) Reach(field->message_type(), reached);
  }
}

// Whether anything may change with any newer version: version 0 is for development, and what a
// pre-release of a new major version will have is not decided.
bool IsUndecided(const Version& version) {
  return version.major.IsZero() ||
         (version.IsPreRelease() && version.minor.IsZero() && version.patch.IsZero());
}

// Whether additions need no more than any newer version.
bool TakesAdditions(const Version& version) {
  return IsUndecided(version) || (version.IsPreRelease() && version.patch.IsZero());
}

bool IsRaisedEnough(const Version& was, const Version& is, Raise needed) {
  if (is <= was) return false;
  if (is.major > was.major) return true;
  if (needed == Raise::kMinor) return is.minor > was.minor || TakesAdditions(was);
  return IsUndecided(was);
}

std::string FixOf(const Version& was, Raise needed) {
  const std::string core = was.major.digits + "." + was.minor.digits + "." + was.patch.digits;
  const bool any = needed == Raise::kMinor ? TakesAdditions(was) : IsUndecided(was);
  if (any && was.IsPreRelease()) return "set version " + core + ", or a later pre-release of it";
  if (any || needed == Raise::kMinor) {
    return "set version " + was.major.digits + "." + was.minor.Next().digits + ".0";
  }
  const std::string next = was.major.Next().digits;
  return "set version " + next + ".0.0 and end the gun in .version." + next;
}

}  // namespace

void ComparePayloads(const Descriptor* before, const Descriptor* after, Differences& differences) {
  const PayloadOptions was = PayloadOptionsOf(before), is = PayloadOptionsOf(after);
  const std::string& name = before->full_name();
  if (was.gun.empty() && is.gun.empty()) return;
  if (was.gun.empty()) {
    return differences.Add(Change::kPayloadAdded, name, "is a payload now, gun " + is.gun);
  }
  if (is.gun.empty()) {
    return differences.Add(Change::kPayloadRemoved, name,
                           "is not a payload any more; its gun was " + was.gun);
  }
  if (was.gun != is.gun) {
    differences.Add(Change::kGunChanged, name, "gun changed " + FromTo(was.gun, is.gun));
  }
  if (was.version == is.version) return;
  const auto old_version = ReadVersion(was.version), new_version = ReadVersion(is.version);
  if (!new_version) return;  // CheckPayloads() reports it
  const bool raised = !old_version || *new_version > *old_version;
  differences.Add(raised ? Change::kVersionRaised : Change::kVersionLowered, name,
                  std::string(raised ? "version raised " : "version not raised, but changed ") +
                      FromTo(was.version, is.version));
}

void CheckPayloads(const Contracts& newer, Differences& differences) {
  std::map<std::string, const Descriptor*> guns;
  for (const Descriptor* payload : newer.payloads()) {
    const PayloadOptions options = PayloadOptionsOf(payload);
    const std::string& name = payload->full_name();
    const auto version = ReadVersion(options.version);
    if (!version) {
      differences.Add(Change::kVersionMalformed, name,
                      "version \"" + options.version + "\" is not a version", kSafe,
                      "set a version such as 1.0.0 or 1.1.0-beta.1");
    } else if (!options.gun.ends_with(".version." + version->major.digits)) {
      differences.Add(Change::kVersionNotOfGun, name,
                      "gun " + options.gun + " and version " + options.version + " do not fit",
                      kSafe, "end the gun in .version. and the major number of the version");
    }
    const auto [first, is_first] = guns.try_emplace(options.gun, payload);
    if (is_first) continue;
    differences.Add(Change::kGunTaken, name,
                    "gun " + options.gun + " is that of " + first->second->full_name() + " too",
                    kSafe, "give it a category of its own");
  }
}

void CompareVersions(const Contracts& older, const Contracts& newer, Differences& differences) {
  for (const Descriptor* after : newer.payloads()) {
    const Descriptor* before = older.pool().FindMessageTypeByName(after->full_name());
    if (before == nullptr || PayloadOptionsOf(before).gun.empty()) continue;
    std::set<const void*> content;
    Reach(after, content);
    Raise needed = Raise::kNone;
    for (const auto& [holder, raise] : differences.raises()) {
      if (raise > needed && content.contains(holder)) needed = raise;
    }
    if (needed == Raise::kNone) continue;
    const PayloadOptions was = PayloadOptionsOf(before), is = PayloadOptionsOf(after);
    const auto old_version = ReadVersion(was.version), new_version = ReadVersion(is.version);
    // What is not a version cannot be compared; CheckPayloads() reports the newer one.
    if (new_version &&
        (!old_version ? was.version != is.version
                      : IsRaisedEnough(*old_version, *new_version, needed) &&
                            (new_version->major == old_version->major || was.gun != is.gun))) {
      continue;
    }
    differences.Add(
        Change::kVersionNotRaised, after->full_name(),
        std::string("its content has changed by ") +
            (needed == Raise::kMinor ? "additions" : "more than additions") + ", its version " +
            (was.version == is.version ? "is still " + is.version
                                       : "went only " + FromTo(was.version, is.version)),
        kSafe, old_version ? FixOf(*old_version, needed) : "set a newer version");
  }
}

}  // namespace ovix::tool
