#include "diff/payloads.h"

#include <compare>
#include <cstdint>
#include <optional>
#include <sstream>

namespace ovix::tool {
namespace {

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

void Reach(const Descriptor* message, std::set<const void*>& reached) {
  if (!reached.insert(message).second) return;
  for (int i = 0; i < message->field_count(); ++i) {
    const FieldDescriptor* field = message->field(i);
    if (field->enum_type() != nullptr) reached.insert(field->enum_type());
    if (field->message_type() != nullptr) Reach(field->message_type(), reached);
  }
}

}  // namespace

void PayloadComparison::Compare(const Descriptor* before, const Descriptor* after) {
  const PayloadOptions was = PayloadOptionsOf(before), is = PayloadOptionsOf(after);
  const std::string& name = before->full_name();
  if (was.gun.empty() && is.gun.empty()) return;
  if (was.gun.empty()) {
    findings_.Add(Change::kPayloadAdded, name, "is a payload now, gun " + is.gun);
  } else if (is.gun.empty()) {
    return findings_.Add(Change::kPayloadRemoved, name,
                         "is no payload any more; its gun was " + was.gun);
  } else if (was.gun != is.gun) {
    findings_.Add(Change::kGunChanged, name, "gun changed " + FromTo(was.gun, is.gun));
  }
  CheckGun(after);
  if (was.version == is.version || was.gun.empty()) return;
  const auto old_version = ReadVersion(was.version), new_version = ReadVersion(is.version);
  const bool raised = old_version && new_version && *new_version > *old_version;
  findings_.Add(raised ? Change::kVersionRaised : Change::kVersionLowered, name,
                std::string(raised ? "version raised " : "version not raised, but changed ") +
                    FromTo(was.version, is.version));
}

void PayloadComparison::CheckGun(const Descriptor* payload) {
  const PayloadOptions options = PayloadOptionsOf(payload);
  const auto version = ReadVersion(options.version);
  const std::string end = ".version." + (version ? std::to_string(version->major) : "?");
  if (!options.gun.ends_with(end)) {
    findings_.Add(Change::kVersionNotOfGun, payload->full_name(),
                  "gun " + options.gun + " and version " + options.version + " do not fit", kSafe,
                  "end the gun in .version. and the major number of the version");
  }
  if (guns_.empty()) {
    for (const Descriptor* other : findings_.newer().payloads()) {
      guns_[PayloadOptionsOf(other).gun].push_back(other);
    }
  }
  for (const Descriptor* other : guns_[options.gun]) {
    if (other == payload) break;
    findings_.Add(Change::kGunTaken, payload->full_name(),
                  "gun " + options.gun + " is that of " + other->full_name() + " too", kSafe,
                  "give it a category of its own");
    break;
  }
}

void PayloadComparison::CheckVersions() {
  for (const Descriptor* after : findings_.newer().payloads()) {
    const Descriptor* before = findings_.older().pool().FindMessageTypeByName(after->full_name());
    if (before == nullptr || PayloadOptionsOf(before).gun.empty()) continue;
    Raise needed = Raise::kNone;
    for (const auto& [holder, raise] : findings_.raises()) {
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
      mend = needed == Raise::kMinor
                 ? "set version " + std::to_string(old_version->major) + "." +
                       std::to_string(old_version->minor + 1) + ".0"
                 : "set version " + std::to_string(old_version->major + 1) +
                       ".0.0 and end the gun in .version." + std::to_string(old_version->major + 1);
    }
    findings_.Add(Change::kVersionNotRaised, after->full_name(),
                  std::string("its content has changed by ") +
                      (needed == Raise::kMinor ? "additions" : "more than additions") +
                      ", its version " +
                      (was.version == is.version ? "is still " + is.version
                                                 : "went only " + FromTo(was.version, is.version)),
                  kSafe, mend);
  }
}

bool PayloadComparison::Holds(const Descriptor* payload, const void* content) {
  std::set<const void*>& reached = contents_[payload];
  if (reached.empty()) Reach(payload, reached);
  return reached.contains(content);
}

}  // namespace ovix::tool
