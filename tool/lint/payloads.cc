// Payloads: their names, options and first field.
#include <algorithm>
#include <map>
#include <optional>
#include <regex>

#include "diff/version.h"
#include "lint/checks.h"
#include "lint/options.h"

namespace ovix::tool::lint {
namespace {

constexpr char kGunBegin[] = "com.ovix.cdm.domain.telemetry.type.eventDetail.category.";

// The major number that a gun ends in; nothing where it is not one.
std::optional<std::string> MajorOfGun(const std::string& gun) {
  static const std::regex form(R"([a-z][A-Za-z0-9]*\.version\.([0-9]+))");
  if (!gun.starts_with(kGunBegin)) return {};
  const std::string category = gun.substr(sizeof kGunBegin - 1);
  std::smatch parts;
  if (!std::regex_match(category, parts, form)) return {};
  return parts[1];
}

// The major number of a payload's version; nothing where it is not one.
std::optional<std::string> MajorOfVersion(const std::string& text) {
  const auto version = ReadVersion(text);
  if (!version || text.find('+') != std::string::npos) return {};
  const std::vector<std::string>& stage = version->pre_release;
  const bool is_stage = stage.size() == 2 && (stage[0] == "alpha" || stage[0] == "beta") &&
                        stage[1].find_first_not_of("0123456789") == std::string::npos;
  if (!stage.empty() && !is_stage) return {};
  return version->major.digits;
}

void CheckOptions(const Contracts& contracts, const Descriptor* payload, Findings& findings) {
  const auto [gun, version] = PayloadOptionsOf(payload);
  if (gun.empty() || version.empty()) {
    findings.Add(Rule::kPayloadOptions, payload,
                 "a message named ...AsCDM is a payload and has gun and version",
                 std::string("set ") + (gun.empty() ? "(cdm).gun" : "") +
                     (gun.empty() && version.empty() ? " and " : "") +
                     (version.empty() ? "(cdm).version" : ""));
  }
  const auto major_of_gun = MajorOfGun(gun), major = MajorOfVersion(version);
  const int line = contracts.LineOfOption(payload, {kCdm, kGun});
  if (!gun.empty() && !major_of_gun) {
    findings.AddAt(line, Rule::kPayloadGun, payload, "'" + gun + "' is not the name of a payload",
                   std::string("write ") + kGunBegin +
                       "CATEGORY.version.MAJOR, the category in lowerCamelCase");
  } else if (!version.empty() && !major) {
    findings.AddAt(contracts.LineOfOption(payload, {kCdm, kVersion}), Rule::kPayloadVersion,
                   payload, "'" + version + "' is not the version of a payload",
                   "write three numbers, or these and -alpha.N or -beta.N");
  } else if (!gun.empty() && !version.empty() && *major_of_gun != *major) {
    findings.AddAt(line, Rule::kPayloadGun, payload,
                   "gun " + gun + " and version " + version + " do not fit",
                   "end the gun in .version." + *major);
  }
}

void CheckEnvelope(const Descriptor* payload, Findings& findings) {
  const FieldDescriptor* first = payload->FindFieldByNumber(1);
  if (first != nullptr && first->name() == "version" && IsPlainText(first)) return;
  const char* what = "every payload begins with string version = 1, without optional";
  if (first != nullptr) {
    findings.Add(Rule::kPayloadEnvelope, first, what, "declare it so");
  } else {
    findings.Add(Rule::kPayloadEnvelope, payload, what, "declare it so");
  }
}

}  // namespace

void CheckPayloads(const Checked& checked, Findings& findings) {
  const Contracts& contracts = checked.contracts;
  for (const Descriptor* message : MessagesOf(contracts)) {
    const bool is_payload =
        message->name().ends_with("AsCDM") && message->containing_type() == nullptr;
    if (!is_payload) {
      if (message->options().HasExtension(cdm) && message->file()->extension_count() == 0) {
        findings.AddAt(contracts.LineOfOption(message, {kCdm}), Rule::kPayloadName, message,
                       "has a gun or version, but is not a message of its file whose name ends in "
                       "AsCDM",
                       "rename it before its first release, or remove (cdm)");
      }
      continue;
    }
    if (!IsUpload(message->file())) {
      findings.Add(Rule::kPayloadPlace, message, "is a payload outside of upload/",
                   "move it there");
    }
    CheckOptions(contracts, message, findings);
    if (IsTable(message)) {
      findings.AddAt(contracts.LineOfOption(message, {kPersistance}), Rule::kPayloadTable, message,
                     "a payload is not a table", "remove (persistance)");
    }
    CheckEnvelope(message, findings);
  }
}

void CheckGuns(const Checked& checked, Findings& findings) {
  std::map<std::string, std::vector<const Descriptor*>> payloads;
  for (const Descriptor* message : MessagesOf(checked.contracts)) {
    const std::string gun = PayloadOptionsOf(message).gun;
    if (!gun.empty()) payloads[gun].push_back(message);
  }
  for (auto& entry : payloads) {
    const std::string& gun = entry.first;
    std::vector<const Descriptor*>& messages = entry.second;
    // The one that was released with it keeps it.
    std::stable_partition(messages.begin(), messages.end(), [&](const Descriptor* message) {
      const auto* released = checked.released.pool().FindMessageTypeByName(message->full_name());
      return released != nullptr && PayloadOptionsOf(released).gun == gun;
    });
    for (size_t i = 1; i < messages.size(); ++i) {
      findings.AddAt(checked.contracts.LineOfOption(messages[i], {kCdm, kGun}), Rule::kPayloadGun,
                     messages[i],
                     "gun " + gun + " is that of " + messages.front()->full_name() + " too",
                     "give one of them a category of its own");
    }
  }
}

}  // namespace ovix::tool::lint
