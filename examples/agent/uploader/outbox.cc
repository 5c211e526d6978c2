#include "uploader/outbox.h"

#include <google/protobuf/util/json_util.h>
#include <google/protobuf/wrappers.pb.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "ovix/telemetry/contract/upload/upload_options.pb.h"
#include "store/time.h"
#include "uploader/system.h"

namespace ovix::agent {
namespace {

constexpr char kAside[] = ".part";

std::string Hexadecimal(const std::string& bytes) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (unsigned char byte : bytes) {
    text += kDigits[byte >> 4];
    text += kDigits[byte & 15];
  }
  return text;
}

// The text as a JSON string.
std::string JsonText(const std::string& text) {
  google::protobuf::StringValue value;
  value.set_value(text);
  std::string json;
  const auto status = google::protobuf::util::MessageToJsonString(value, &json);
  if (!status.ok()) throw std::runtime_error(status.ToString());
  return json;
}

// The name of a run's files: the time without what a file name should not hold.
std::string NameOf(std::chrono::system_clock::time_point now) {
  std::string name;
  for (char c : TimeText(now)) {
    if (c != '-' && c != ':' && c != '.') name += c;
  }
  return name;
}

}  // namespace

Outbox::Outbox(std::filesystem::path folder, std::chrono::system_clock::time_point now)
    : folder_(std::move(folder)), time_(NameOf(now)) {
  std::error_code error;
  std::filesystem::create_directories(folder_, error);
  const auto entries = std::filesystem::directory_iterator(folder_, error);
  if (error) {
    throw std::runtime_error(folder_.string() + ": the outbox cannot be made or read (" +
                             error.message() + "); name a folder that can be written");
  }
  for (const auto& entry : entries) {
    const auto label = std::filesystem::path(entry.path()).replace_extension(".json");
    if (entry.path().extension() == kAside ||
        (entry.path().extension() == ".binpb" && !std::filesystem::exists(label))) {
      std::filesystem::remove(entry.path(), error);
    }
  }
}

void Outbox::WriteFile(const std::filesystem::path& file, const std::string& content) const {
  std::filesystem::path aside = file;
  aside += kAside;
  const auto fail = [&](const std::string& why) {
    std::error_code ignored;
    std::filesystem::remove(aside, ignored);
    throw std::runtime_error(file.string() + ": the payload cannot be written (" + why +
                             "); free space or mend the folder's permissions and run again");
  };
  std::FILE* output = OpenToWrite(aside);
  if (output == nullptr) fail(std::strerror(errno));
  const bool written = std::fwrite(content.data(), 1, content.size(), output) == content.size() &&
                       std::fflush(output) == 0 && Sync(output);
  const int error = errno;
  if (const bool closed = std::fclose(output) == 0; !written || !closed) {
    fail(std::strerror(written ? errno : error));
  }
  std::error_code not_renamed;
  std::filesystem::rename(aside, file, not_renamed);
  if (not_renamed) fail(not_renamed.message());
}

Outbox::Entry Outbox::Write(const google::protobuf::Message& payload) {
  const auto& cdm =
      payload.GetDescriptor()->options().GetExtension(telemetry::contract::upload::cdm);
  if (cdm.gun().empty()) {
    throw std::runtime_error(payload.GetDescriptor()->full_name() +
                             ": is no payload (its schema sets no cdm option)");
  }
  std::filesystem::path file;
  do {
    const std::string number = std::to_string(10000 + ++sequence_).substr(1);
    file = folder_ / (time_ + "-" + number + "-" + payload.GetDescriptor()->name() + ".binpb");
  } while (std::filesystem::exists(file));

  const std::string bytes = payload.SerializeAsString();
  const std::string label = "{\n  \"gun\": " + JsonText(cdm.gun()) +
                            ",\n  \"version\": " + JsonText(cdm.version()) +
                            ",\n  \"message\": " + JsonText(payload.GetDescriptor()->full_name()) +
                            ",\n  \"payload\": " + JsonText(file.filename().string()) +
                            ",\n  \"bytes\": " + std::to_string(bytes.size()) +
                            ",\n  \"sha256\": " + JsonText(Hexadecimal(Sha256(bytes))) + "\n}\n";

  WriteFile(file, bytes);
  try {
    WriteFile(std::filesystem::path(file).replace_extension(".json"), label);
  } catch (...) {
    std::error_code ignored;
    std::filesystem::remove(file, ignored);
    throw;
  }
  return {cdm.gun(), cdm.version(), payload.GetDescriptor()->name(), bytes.size(), file};
}

}  // namespace ovix::agent
