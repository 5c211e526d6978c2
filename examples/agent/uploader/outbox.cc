#include "uploader/outbox.h"

#include <fcntl.h>
#include <google/protobuf/util/json_util.h>
#include <google/protobuf/wrappers.pb.h>
#include <openssl/evp.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "ovix/telemetry/contract/upload/upload_options.pb.h"
#include "store/time.h"

namespace ovix::agent {
namespace {

constexpr char kAside[] = ".part";

std::string Sha256(const std::string& bytes) {
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int size = 0;
  if (EVP_Digest(bytes.data(), bytes.size(), digest, &size, EVP_sha256(), nullptr) != 1) {
    throw std::runtime_error("SHA-256 is not available in this OpenSSL");
  }
  std::string text;
  for (unsigned int i = 0; i < size; ++i) {
    const char* digits = "0123456789abcdef";
    text += digits[digest[i] >> 4];
    text += digits[digest[i] & 15];
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
  const std::filesystem::path aside = file.string() + kAside;
  const auto fail = [&](int error) {
    std::error_code ignored;
    std::filesystem::remove(aside, ignored);
    throw std::runtime_error(file.string() + ": the payload cannot be written (" +
                             std::strerror(error) +
                             "); free space or mend the folder's permissions and run again");
  };
  const int descriptor = open(aside.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  if (descriptor < 0) fail(errno);
  size_t written = 0;
  int error = 0;
  while (error == 0 && written < content.size()) {
    const ssize_t part = write(descriptor, content.data() + written, content.size() - written);
    if (part >= 0) {
      written += static_cast<size_t>(part);
    } else if (errno != EINTR) {
      error = errno;
    }
  }
  if (error == 0 && fsync(descriptor) != 0) error = errno;
  if (close(descriptor) != 0 && error == 0) error = errno;
  if (error == 0 && rename(aside.c_str(), file.c_str()) != 0) error = errno;
  if (error != 0) fail(error);
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
                            ",\n  \"sha256\": " + JsonText(Sha256(bytes)) + "\n}\n";

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
