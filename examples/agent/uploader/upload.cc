#include "uploader/upload.h"

#include <iterator>

namespace ovix::agent {
namespace {

// Writes what waits; false where something could not be written.
bool Send(UploadLog& log, Outbox& outbox, UploadResult& result) {
  std::vector<Label> written;
  std::string first_problem;
  const std::vector<UploadLog::Waiting> all = log.ReadWaiting();
  for (const UploadLog::Waiting& waiting : all) {
    try {
      // It may be there already: an earlier run was interrupted before it could say so.
      if (!outbox.Has(waiting.label.id)) outbox.Write(waiting.label, waiting.payload);
      written.push_back(waiting.label);
      result.sent.push_back({waiting.label, waiting.records});
    } catch (const std::runtime_error& error) {
      if (first_problem.empty()) first_problem = error.what();
    }
  }
  if (const size_t left = all.size() - written.size(); left != 0) {
    result.problems.push_back(first_problem + "; " + std::to_string(left) +
                              (left == 1 ? " payload waits" : " payloads wait") +
                              " in the store for the next upload");
  }
  if (!written.empty()) log.Finish(written);
  return written.size() == all.size();
}

void NoteDropped(const Outbox::Taken& taken, const std::string& why, UploadResult& result) {
  if (taken.payloads == 0) return;
  result.notes.push_back("dropped from the outbox: " + std::to_string(taken.payloads) +
                         (taken.payloads == 1 ? " payload (" : " payloads (") +
                         std::to_string(taken.bytes) + " bytes), " + why);
}

}  // namespace

UploadResult Upload(Store& store, const Catalogue& catalogue, const std::string& device,
                    const OutboxLimits& limits, std::chrono::system_clock::time_point now,
                    UploadLog& log, Outbox& outbox) {
  UploadResult result;
  result.problems = outbox.remarks();
  if (Send(log, outbox, result)) {
    result.built = BuildPayloads(store, catalogue, log, now);
    std::move(result.built.notes.begin(), result.built.notes.end(),
              std::back_inserter(result.notes));
    std::move(result.built.problems.begin(), result.built.problems.end(),
              std::back_inserter(result.problems));
    result.as_before = log.Plan(result.built, device, now, outbox.LargestSequence());
    Send(log, outbox, result);
  }
  const int64_t aged = log.NoteRun(now, limits.max_age);
  NoteDropped(outbox.DropUpTo(aged, result.problems),
              "older than " + std::to_string(limits.max_age.count()) + " days", result);
  NoteDropped(outbox.DropBeyond(limits.max_bytes, result.problems),
              "the oldest, beyond " + std::to_string(limits.max_bytes) + " bytes", result);
  return result;
}

}  // namespace ovix::agent
