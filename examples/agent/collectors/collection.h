// What one run of the collectors found, before the store has it.
#ifndef OVIX_AGENT_COLLECTORS_COLLECTION_H_
#define OVIX_AGENT_COLLECTORS_COLLECTION_H_

#include <google/protobuf/message.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace ovix::agent {

class Collection {
 public:
  // Every row of one "State" table as it is now; no row, where the machine has no such thing.
  struct Snapshot {
    const google::protobuf::Descriptor* record;
    std::vector<std::unique_ptr<google::protobuf::Message>> rows;
  };

  // `time` is the time of all rows of the run.
  explicit Collection(std::string time) : time_(std::move(time)) {}
  const std::string& time() const { return time_; }

  // Says that the whole of a "State" table was looked at, so that rows not added are gone from the
  // machine.
  template <typename Record>
  void Begin() {
    SnapshotOf(Record::descriptor());
  }

  // Adds a row to the snapshot of its "State" table; the caller fills it.
  template <typename Record>
  Record& Add() {
    auto row = std::make_unique<Record>();
    row->set_time(time_);
    Record& added = *row;
    SnapshotOf(Record::descriptor()).rows.push_back(std::move(row));
    return added;
  }

  // Adds a row of a "Historical" table.
  template <typename Record>
  Record& Append() {
    auto row = std::make_unique<Record>();
    row->set_time(time_);
    Record& added = *row;
    appended_.push_back(std::move(row));
    return added;
  }

  // Says in one line, for a person, what was not collected and why: the machine lacks what the
  // collector reads, or does not let it be read.
  void Skip(std::string why) { skipped_.push_back(std::move(why)); }

  // Says in one line why the collector could not go on; nothing else of it is kept.
  void Fail(std::string why) { failure_ = std::move(why); }

  // Makes all strings UTF-8, which a machine's own need not be: each byte that belongs to no
  // character becomes U+FFFD.
  void MakeUtf8();

  // Of the rows of one snapshot with the same key only the last stays, as the table has room for
  // one; says how many went.
  void KeepOneOfEachKey();

  const std::vector<Snapshot>& snapshots() const { return snapshots_; }
  const std::vector<std::unique_ptr<google::protobuf::Message>>& appended() const {
    return appended_;
  }
  const std::vector<std::string>& skipped() const { return skipped_; }
  const std::string& failure() const { return failure_; }  // empty: it ran to its end

 private:
  Snapshot& SnapshotOf(const google::protobuf::Descriptor* record) {
    for (Snapshot& snapshot : snapshots_) {
      if (snapshot.record == record) return snapshot;
    }
    return snapshots_.emplace_back(Snapshot{record, {}});
  }

  std::string time_;
  std::vector<Snapshot> snapshots_;
  std::vector<std::unique_ptr<google::protobuf::Message>> appended_;
  std::vector<std::string> skipped_;
  std::string failure_;
};

}  // namespace ovix::agent

#endif  // OVIX_AGENT_COLLECTORS_COLLECTION_H_
