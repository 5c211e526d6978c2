#include "uploader/outbox.h"

#include <algorithm>
#include <stdexcept>

#include "store/error.h"
#include "system/hash.h"

namespace ovix::agent {
namespace {

constexpr char kLockName[] = ".ovix-agent.lock";
constexpr char kPayloadEnding[] = ".binpb";
constexpr char kLabelEnding[] = ".json";
constexpr size_t kLongestLabel = 64 << 10;

bool IsGone(const std::error_code& error) {
  return !error || error == std::errc::no_such_file_or_directory;
}

}  // namespace

Outbox::Outbox(std::filesystem::path folder, UploadLock::IfMissing if_missing, Files& files)
    : folder_(std::move(folder)),
      files_(files),
      lock_(folder_, kLockName, "works on this outbox", if_missing, files) {
  Look();
}

void Outbox::Look() {
  std::vector<Files::Entry> entries;
  if (const std::error_code error = files_.List(folder_, entries)) {
    throw std::runtime_error(Printable(folder_) + ": the outbox cannot be read (" +
                             error.message() + "); fix the folder's permissions");
  }
  const auto clear = [&](const std::string& name) {
    const std::error_code error = files_.Remove(folder_ / name);
    if (!IsGone(error)) {
      remarks_.push_back(Printable(folder_ / name) + ": is left of an interrupted run and cannot " +
                         "be removed (" + error.message() + ")");
    }
  };
  for (const Files::Entry& entry : entries) {
    const auto name = ParseOutboxName(entry.name);
    if (!name) {
      holds_others_ =
          holds_others_ || (entry.name != kLockName && entry.name != "." && entry.name != "..");
      continue;
    }
    if (entry.kind != Files::Kind::kFile) {
      not_files_.insert(entry.name);
      holds_others_ = true;
      remarks_.push_back(Printable(folder_ / entry.name) +
                         ": is a link or a folder with a payload's name; it is left alone");
    } else if (name->aside) {
      clear(entry.name);
    } else {
      Standing& standing = payloads_[name->stem];
      standing.sequence = name->sequence;
      standing.bytes += entry.bytes;
      if (name->ending == kPayloadEnding) {
        standing.has_payload = true;
        standing.payload_bytes = entry.bytes;
      } else {
        standing.has_label = true;
      }
    }
  }
  for (auto at = payloads_.begin(); at != payloads_.end();) {
    auto& [stem, standing] = *at;
    if (standing.has_payload && standing.has_label) {
      ReadLabel(stem, standing);
      ++at;
      continue;
    }
    if (standing.has_label) {
      remarks_.push_back(Printable(folder_ / (stem + kLabelEnding)) +
                         ": the payload of this metadata file is not there; the file is removed");
    }
    clear(stem + (standing.has_payload ? kPayloadEnding : kLabelEnding));
    at = payloads_.erase(at);
  }
}

void Outbox::ReadLabel(const std::string& stem, Standing& standing) {
  std::string json;
  const auto unread = [&](const std::string& why) {
    unread_.push_back(Printable(folder_ / (stem + kLabelEnding)) + ": " + why);
    remarks_.push_back(unread_.back());
  };
  if (const auto error = files_.Read(folder_ / (stem + kLabelEnding), kLongestLabel, json)) {
    return unread("the metadata file cannot be read (" + error.message() +
                  "); fix its permissions");
  }
  const auto label = Label::FromJson(json);
  if (!label) {
    return unread(
        "is not a metadata file (JSON with the id of a payload); restore it, or remove it with "
        "its payload");
  }
  if (label->bytes != standing.payload_bytes) {
    remarks_.push_back(Printable(folder_ / (stem + kPayloadEnding)) + ": has " +
                       std::to_string(standing.payload_bytes) +
                       " bytes, its metadata file states " + std::to_string(label->bytes));
    return;
  }
  standing.id = label->id;
  by_id_[label->id] = stem;
}

int64_t Outbox::LargestSequence() const {
  int64_t largest = 0;
  for (const auto& [stem, standing] : payloads_) largest = std::max(largest, standing.sequence);
  return largest;
}

void Outbox::WriteFile(const std::string& name, std::string_view content) {
  const std::filesystem::path file = folder_ / name;
  const std::string aside_name = "." + name + ".part";
  const std::filesystem::path aside = folder_ / aside_name;
  const auto refuse = [&](const std::string& why) {
    throw std::runtime_error(Printable(file) + ": the payload cannot be written (" + why +
                             "); free space or fix the folder's permissions and run again");
  };
  if (not_files_.contains(name) || not_files_.contains(aside_name)) {
    refuse("a link or a folder has its name");
  }
  Files::Handle opened;
  std::error_code error = files_.Create(aside, opened);
  if (error) refuse(error.message());
  error = files_.Write(opened, content);
  if (!error) error = files_.Sync(opened);
  const std::error_code closed = files_.Close(opened);
  if (!error) error = closed;
  if (!error) error = files_.Rename(aside, file);
  if (error) {
    files_.Remove(aside);
    refuse(error.message());
  }
  error = files_.SyncFolder(folder_);
  if (error) {
    files_.Remove(file);
    refuse(error.message());
  }
}

void Outbox::Write(const Label& label, std::string_view payload) {
  const std::string stem = label.FileStem();
  const std::string json = label.ToJson();
  WriteFile(stem + kPayloadEnding, payload);
  try {
    WriteFile(stem + kLabelEnding, json);
  } catch (...) {
    files_.Remove(folder_ / (stem + kPayloadEnding));
    throw;
  }
  payloads_[stem] = {label.sequence, true, true, payload.size(), payload.size() + json.size(),
                     label.id};
  by_id_[label.id] = stem;
}

void Outbox::Read(const std::function<void(const Label&, std::string_view payload)>& take,
                  std::vector<std::string>& problems) {
  problems.insert(problems.end(), remarks_.begin(), remarks_.end());
  for (const std::string& stem : OldestFirst()) {
    const Standing& standing = payloads_.at(stem);
    if (standing.id.empty()) continue;  // a remark says why
    const std::filesystem::path file = folder_ / (stem + kPayloadEnding);
    std::string json;
    std::string payload;
    std::error_code error = files_.Read(folder_ / (stem + kLabelEnding), kLongestLabel, json);
    if (!error) error = files_.Read(file, standing.payload_bytes, payload);
    if (error) {
      problems.push_back(Printable(file) + ": cannot be read (" + error.message() +
                         "); fix its permissions");
      continue;
    }
    const auto label = Label::FromJson(json);
    if (!label || label->sha256 != Hexadecimal(Sha256(payload))) {
      problems.push_back(
          Printable(file) +
          ": is not what its metadata file states (another hash); restore it, or remove both");
      continue;
    }
    take(*label, payload);
  }
}

Outbox::Taken Outbox::Take(const std::vector<std::string>& stems,
                           std::vector<std::string>& problems) {
  const auto remove = [&](const std::string& name) {
    const std::error_code error = files_.Remove(folder_ / name);
    if (IsGone(error)) return true;
    problems.push_back(Printable(folder_ / name) + ": cannot be removed (" + error.message() +
                       "); fix the folder's permissions and run again");
    return false;
  };
  const auto sync = [&] {
    const std::error_code error = files_.SyncFolder(folder_);
    if (!error) return true;
    problems.push_back(Printable(folder_) + ": the disk did not confirm what was removed (" +
                       error.message() + "); check it and run again");
    return false;
  };
  // A metadata file is gone for good before its payload goes: none is ever without its payload.
  std::vector<std::string> unlabelled;
  for (const std::string& stem : stems) {
    if (remove(stem + kLabelEnding)) unlabelled.push_back(stem);
  }
  Taken taken;
  if (unlabelled.empty() || !sync()) return taken;
  for (const std::string& stem : unlabelled) {
    const auto at = payloads_.find(stem);
    ++taken.payloads;
    taken.bytes += at->second.bytes;
    by_id_.erase(at->second.id);
    payloads_.erase(at);
    // One that stays is nothing without its metadata file; the next run removes it.
    remove(stem + kPayloadEnding);
  }
  sync();
  return taken;
}

Outbox::Taken Outbox::Acknowledge(const std::vector<std::string>& ids,
                                  std::vector<std::string>& unknown,
                                  std::vector<std::string>& problems) {
  std::set<std::string> stems;
  for (const std::string& id : ids) {
    const auto found = by_id_.find(id);
    if (found == by_id_.end()) {
      unknown.push_back(id);
    } else {
      stems.insert(found->second);
    }
  }
  // One of those that cannot be read may be the one that is asked for.
  if (!unknown.empty()) problems = unread_;
  return Take({stems.begin(), stems.end()}, problems);
}

std::vector<std::string> Outbox::OldestFirst() const {
  std::vector<std::string> stems;
  for (const auto& [stem, standing] : payloads_) stems.push_back(stem);
  std::stable_sort(stems.begin(), stems.end(), [&](const auto& a, const auto& b) {
    return payloads_.at(a).sequence < payloads_.at(b).sequence;
  });
  return stems;
}

Outbox::Taken Outbox::DropUpTo(int64_t sequence, std::vector<std::string>& problems) {
  std::vector<std::string> stems = OldestFirst();
  std::erase_if(stems, [&](const auto& stem) { return payloads_.at(stem).sequence > sequence; });
  return Take(stems, problems);
}

Outbox::Taken Outbox::DropBeyond(uint64_t most_bytes, std::vector<std::string>& problems) {
  uint64_t all = 0;
  for (const auto& [stem, standing] : payloads_) all += standing.bytes;
  std::vector<std::string> stems;
  for (const std::string& stem : OldestFirst()) {
    if (all <= most_bytes) break;
    all -= payloads_.at(stem).bytes;
    stems.push_back(stem);
  }
  return Take(stems, problems);
}

}  // namespace ovix::agent
