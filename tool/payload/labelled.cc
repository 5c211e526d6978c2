#include "payload/labelled.h"

#include <algorithm>
#include <filesystem>
#include <regex>
#include <utility>

#include "contracts/names.h"
#include "payload/hash.h"
#include "terminal/error.h"
#include "terminal/files_read.h"
#include "terminal/format.h"
#include "terminal/input.h"
#include "terminal/path.h"
#include "terminal/platform.h"
#include "terminal/report.h"

namespace ovix::tool {
namespace {

namespace fs = std::filesystem;

void CheckNames(const Contracts& contracts, LabelledPayload& payload) {
  const Label& label = payload.label;
  const auto add = [&](const char* rule, const std::string& what, bool is_fatal = true) {
    payload.problems.push_back({rule, what, "", is_fatal});
  };
  try {
    payload.type = FindByGun(contracts, label.gun);
  } catch (const Error& error) {
    return add("gun", error.what());
  }
  if (label.message != payload.type->full_name()) {
    add("message", "the metadata file states " + JsonText(label.message) +
                       ", but its gun is that of " + payload.type->full_name());
  }
  // A gun has one major version, within which all can be read.
  const std::string version = PayloadOptionsOf(payload.type).version;
  if (label.version != version) {
    add("version",
        "the metadata file states " + JsonText(label.version) + ", these contracts have " + version,
        false);
  }
}

void ReadPayload(const std::string& label_file, LabelledPayload& payload) {
  const Label& label = payload.label;
  const auto add = [&](const char* rule, const std::string& what, const std::string& values = "") {
    payload.problems.push_back({rule, what, values});
  };
  // A label that somebody sent must not lead to any other file.
  const std::string& name = label.payload;
  if (name.empty() || name == "." || name == ".." ||
      name.find_first_of(std::string_view("/\\:\0", 4)) != std::string::npos) {
    return add("payload",
               JsonText(label.payload) + " does not name a file next to the metadata file");
  }
  const fs::path file = PathOf(label_file).parent_path() / PathOf(name);
  payload.file = NameOf(file);
  std::error_code ignored;
  if (!fs::is_regular_file(file, ignored)) {
    return add("payload", payload.file + " is missing or not a file");
  }
  const auto size = fs::file_size(file, ignored);
  if (!label.bytes) return add("bytes", "the metadata file does not state the size of the payload");
  if (size != *label.bytes) {
    NoteRead(IdOf(file), payload.file);
    return add("bytes", "the payload does not have the size that its metadata file states",
               ": it has " + std::to_string(size) + " bytes, the metadata file states " +
                   std::to_string(*label.bytes));
  }
  try {
    Input input(payload.file);
    payload.bytes = input.PeekAll();
  } catch (const Error& error) {
    return add("payload", error.what());
  }
  std::string expected = label.sha256;
  std::transform(expected.begin(), expected.end(), expected.begin(),
                 [](char c) { return c >= 'A' && c <= 'F' ? static_cast<char>(c + 32) : c; });
  const std::string actual = Sha256(payload.bytes);
  if (actual != expected) {
    add("sha256", "the payload does not have the SHA-256 that its metadata file states",
        ": it has " + actual + ", the metadata file states " + JsonText(label.sha256));
  }
}

// By their sequence numbers.
std::vector<LabelFile> LabelsIn(const std::string& outbox) {
  static const std::regex form(R"(\d{8}T\d{9}Z-(\d{4,15})-\w+\.json)");
  std::vector<std::pair<int64_t, std::string>> found;
  std::error_code error;
  for (fs::directory_iterator entry(PathOf(outbox), error), end; !error && entry != end;
       entry.increment(error)) {
    const std::string name = NameOf(entry->path().filename());
    std::smatch parts;
    std::error_code ignored;
    if (!std::regex_match(name, parts, form) || !entry->is_regular_file(ignored)) continue;
    found.emplace_back(std::stoll(parts[1]), NameOf(entry->path()));
  }
  if (error) throw Error(outbox + ": cannot be read (" + MessageOf(error) + ")");
  std::sort(found.begin(), found.end());
  std::vector<LabelFile> labels;
  for (auto& [sequence, label] : found) labels.push_back({std::move(label), true});
  return labels;
}

LabelledPayload Read(const Contracts& contracts, const std::string& name) {
  const fs::path file = PathOf(name);
  std::error_code ignored;
  // What is not a file may never end.
  if (fs::exists(file, ignored) && !fs::is_regular_file(file, ignored)) {
    throw Error(name + ": is not a file; name a metadata file or an outbox");
  }
  LabelledPayload payload;
  payload.label = ReadLabel(name);
  ReadPayload(name, payload);
  CheckNames(contracts, payload);
  return payload;
}

}  // namespace

const LabelProblem* LabelledPayload::Fatal() const {
  for (const LabelProblem& problem : problems) {
    if (problem.is_fatal) return &problem;
  }
  return nullptr;
}

std::optional<LabelledPayload> ReadLabelled(const Contracts& contracts, const LabelFile& file) {
  // A sender removes the label before the payload.
  const auto is_taken = [&] {
    std::error_code ignored;
    return file.is_listed && !fs::exists(fs::symlink_status(PathOf(file.name), ignored));
  };
  try {
    LabelledPayload payload = Read(contracts, file.name);
    if (payload.Fatal() != nullptr && is_taken()) return std::nullopt;
    return payload;
  } catch (const Error&) {
    if (is_taken()) return std::nullopt;
    throw;
  }
}

std::vector<LabelFile> LabelsOf(const std::vector<std::string>& named) {
  std::vector<LabelFile> labels;
  for (const std::string& name : named) {
    std::error_code ignored;
    if (!fs::is_directory(PathOf(name), ignored)) {
      labels.push_back({name, false});
      continue;
    }
    CheckFolderName(name);
    const auto found = LabelsIn(name);
    if (found.empty()) Report(name + ": holds no metadata files of payloads");
    labels.insert(labels.end(), found.begin(), found.end());
  }
  return labels;
}

}  // namespace ovix::tool
