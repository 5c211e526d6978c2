#include "uploader/label.h"

#include <google/protobuf/struct.pb.h>
#include <google/protobuf/util/json_util.h>
#include <google/protobuf/wrappers.pb.h>

#include <charconv>
#include <regex>
#include <set>
#include <stdexcept>
#include <utility>

#include "device_id.h"
#include "ovix/telemetry/contract/contracts_collection.h"
#include "ovix/telemetry/contract/upload/upload_options.pb.h"
#include "system/hash.h"

namespace ovix::agent {
namespace {

constexpr int kSequenceDigits = 13;

// Whether a payload of the contracts has this name, without its package.
bool IsPayload(const std::string& name) {
  static const std::set<std::string> names = [] {
    std::set<std::string> all;
    telemetry::contract::ContractsCollection contracts;
    while (const auto* prototype = contracts.Next()) {
      const auto* message = prototype->GetDescriptor();
      const auto& cdm = message->options().GetExtension(telemetry::contract::upload::cdm);
      if (!cdm.gun().empty()) all.insert(message->name());
    }
    return all;
  }();
  return names.contains(name);
}

// A string in JSON, bytes as one in base64.
std::string Json(const google::protobuf::Message& value) {
  std::string json;
  const auto status = google::protobuf::util::MessageToJsonString(value, &json);
  if (!status.ok()) throw std::runtime_error(status.ToString());
  return json;
}

std::string JsonText(const std::string& text) {
  google::protobuf::StringValue value;
  value.set_value(text);
  return Json(value);
}

// The keys of the metadata and their values, with this between two of them.
std::string Members(const Label& label, const std::string& separator) {
  const std::pair<const char*, std::string> members[] = {
      {"gun", JsonText(label.gun)},
      {"version", JsonText(label.version)},
      {"message", JsonText(label.message)},
      {"payload", JsonText(label.FileStem() + ".binpb")},
      {"bytes", std::to_string(label.bytes)},
      {"sha256", JsonText(label.sha256)},
      {"device", JsonText(label.device)},
      {"created", JsonText(label.created)},
      {"sequence", std::to_string(label.sequence)},
      {"id", JsonText(label.id)},
  };
  std::string all;
  for (const auto& [key, value] : members) {
    all += (all.empty() ? "\"" : separator + "\"") + key + "\": " + value;
  }
  return all;
}

}  // namespace

std::string Label::FileStem() const {
  std::string stem;
  for (const char c : created) {
    if (c != '-' && c != ':' && c != '.') stem += c;
  }
  std::string number = std::to_string(sequence);
  if (number.size() < kSequenceDigits) number.insert(0, kSequenceDigits - number.size(), '0');
  return stem + "-" + number + "-" + message.substr(message.rfind('.') + 1);
}

std::string Label::ToJson() const { return "{\n  " + Members(*this, ",\n  ") + "\n}\n"; }

std::string Label::ToBatchLine(std::string_view payload) const {
  google::protobuf::BytesValue data;
  data.set_value(std::string(payload));
  return "{" + Members(*this, ", ") + ", \"data\": " + Json(data) + "}";
}

std::optional<Label> Label::FromJson(const std::string& json) {
  google::protobuf::Struct read;
  if (!google::protobuf::util::JsonStringToMessage(json, &read).ok()) return std::nullopt;
  const auto value = [&](const char* key) -> const google::protobuf::Value& {
    const auto found = read.fields().find(key);
    return found == read.fields().end() ? google::protobuf::Value::default_instance()
                                        : found->second;
  };
  Label label;
  label.gun = value("gun").string_value();
  label.version = value("version").string_value();
  label.message = value("message").string_value();
  const double bytes = value("bytes").number_value();
  const double sequence = value("sequence").number_value();
  constexpr double kMost = kLargestSequence;  // of bytes too
  if (!(bytes >= 0 && bytes <= kMost && sequence >= 0 && sequence <= kMost)) return std::nullopt;
  label.bytes = static_cast<uint64_t>(bytes);
  label.sha256 = value("sha256").string_value();
  label.device = value("device").string_value();
  label.created = value("created").string_value();
  label.sequence = static_cast<int64_t>(sequence);
  label.id = value("id").string_value();
  if (!IsUuid(label.id)) return std::nullopt;
  return label;
}

Label MakeLabel(const google::protobuf::Descriptor* message, std::string_view bytes,
                const std::string& device, const std::string& created, int64_t sequence) {
  const auto& cdm = message->options().GetExtension(telemetry::contract::upload::cdm);
  if (cdm.gun().empty()) {
    throw std::runtime_error(message->full_name() +
                             ": is not a payload (its schema sets no cdm option)");
  }
  Label label{cdm.gun(),
              cdm.version(),
              message->full_name(),
              bytes.size(),
              Hexadecimal(Sha256(bytes)),
              device,
              created,
              sequence,
              ""};
  label.id = UuidOf(Sha256(device + " " + std::to_string(sequence) + " " + label.sha256));
  return label;
}

std::optional<OutboxName> ParseOutboxName(const std::string& name) {
  static const std::regex pattern(
      R"((\.?)(\d{8}T\d{9}Z-(\d{4,15})-([A-Za-z]\w*))(\.binpb|\.json)(\.part)?)");
  std::smatch parts;
  if (!std::regex_match(name, parts, pattern)) return std::nullopt;
  const bool aside = parts[6].matched;
  if ((parts[1].length() == 1 && !aside) || !IsPayload(parts[4])) return std::nullopt;
  return OutboxName{parts[2], std::stoll(parts[3]), parts[5], aside};
}

}  // namespace ovix::agent
