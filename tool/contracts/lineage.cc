// What the comments say of where the data come from: from a record to a field, a message, a
// payload.
#include <algorithm>
#include <tuple>
#include <utility>

#include "contracts/contracts.h"

namespace ovix::tool {
std::vector<const Descriptor*> Contracts::SourcesOf(const Descriptor* message) const {
  std::vector<const Descriptor*> records;
  for (const Source& source : CommentOf(message).sources) {
    const Descriptor* record = pool_->FindMessageTypeByName(source.name);
    if (record != nullptr) records.push_back(record);
  }
  return records;
}

std::vector<Origin> Contracts::OriginsOf(const FieldDescriptor* field) const {
  const auto records = SourcesOf(field->containing_type());
  std::vector<Origin> origins;
  for (Source& source : CommentOf(field).sources) {
    const FieldDescriptor* from =
        source.name == "none" ? nullptr : FindSourceField(records, source.name);
    origins.push_back({from, std::move(source.name), std::move(source.words), true});
  }
  if (!origins.empty()) return origins;
  const FieldDescriptor* same = FindSourceField(records, field->name());
  if (same != nullptr && HaveSameType(same, field))
    origins.push_back({same, same->name(), "", false});
  return origins;
}

const std::vector<Feed>& Contracts::feeds() const {
  if (has_feeds_) return feeds_;
  has_feeds_ = true;
  feeds_ = FindFeeds({files_.begin(), files_.end()});
  return feeds_;
}

std::vector<Feed> Contracts::FeedsOf(const Descriptor* record) const {
  std::set<const FileDescriptor*> files;
  for (const Descriptor* part : messages()) {
    const auto tables = HoldersOf(part, Kind::kTable);
    if (std::find(tables.begin(), tables.end(), record) == tables.end()) continue;
    const std::string line = "Source: " + part->full_name();
    for (const FileDescriptor* file : files_) {
      if (encoded_.at(file->name()).find(line) != std::string_view::npos) files.insert(file);
    }
  }
  std::vector<Feed> feeds = FindFeeds(files);
  std::erase_if(feeds, [&](const Feed& feed) { return feed.record != record; });
  return feeds;
}

std::vector<Feed> Contracts::FindFeeds(const std::set<const FileDescriptor*>& files) const {
  std::vector<Feed> feeds;
  std::set<std::pair<const Descriptor*, const Descriptor*>> fed;
  std::map<const Descriptor*, int> order;
  for (const Descriptor* message : messages()) {
    order.emplace(message, static_cast<int>(order.size()));
    const Kind kind = KindOf(message);
    if (!files.contains(message->file()) || (kind != Kind::kPayload && kind != Kind::kPart))
      continue;
    const auto payloads = HoldersOf(message, Kind::kPayload);
    if (payloads.empty()) continue;
    for (const Source& source : CommentOf(message).sources) {
      const Descriptor* record = pool_->FindMessageTypeByName(source.name);
      if (record == nullptr) continue;
      for (const Descriptor* table : HoldersOf(record, Kind::kTable)) {
        for (const Descriptor* payload : payloads) {
          const bool same_data = source.words.starts_with("same data");
          feeds.push_back({table, payload, message, same_data});
          if (!same_data) fed.emplace(table, payload);
        }
      }
    }
  }
  // One part of a payload can be fed by what another has the same data as.
  for (Feed& feed : feeds) feed.same_data = !fed.contains({feed.record, feed.payload});
  const auto place = [&](const Feed& feed) {
    return std::tuple(order[feed.record], order[feed.payload], order[feed.message]);
  };
  std::sort(feeds.begin(), feeds.end(),
            [&](const Feed& a, const Feed& b) { return place(a) < place(b); });
  feeds.erase(std::unique(feeds.begin(), feeds.end(),
                          [&](const Feed& a, const Feed& b) { return place(a) == place(b); }),
              feeds.end());
  return feeds;
}

bool HaveSameType(const FieldDescriptor* a, const FieldDescriptor* b) {
  return a->type() == b->type() && a->is_repeated() == b->is_repeated() &&
         a->enum_type() == b->enum_type() && a->message_type() == b->message_type();
}

const FieldDescriptor* FindSourceField(const std::vector<const Descriptor*>& records,
                                       const std::string& name) {
  for (const Descriptor* record : records) {
    std::string path = name;
    if (path.starts_with(record->name() + ".")) path = path.substr(record->name().size() + 1);
    const Descriptor* holder = record;
    for (size_t begin = 0; holder != nullptr && begin <= path.size();) {
      const size_t end = std::min(path.find('.', begin), path.size());
      const FieldDescriptor* field = holder->FindFieldByName(path.substr(begin, end - begin));
      holder = field == nullptr ? nullptr : field->message_type();
      begin = end + 1;
      if (field != nullptr && begin > path.size()) return field;
    }
  }
  return nullptr;
}

}  // namespace ovix::tool
