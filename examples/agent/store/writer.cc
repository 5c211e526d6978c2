#include "store/writer.h"

#include <algorithm>
#include <optional>

#include "ovix/telemetry/contract/storage/state_change_utils.pb.h"
#include "store/json.h"
#include "store/time.h"

namespace ovix::agent {

namespace storage = telemetry::contract::storage;
using google::protobuf::Message;

namespace {

void SetString(Message& message, const char* field, const std::string& text) {
  message.GetReflection()->SetString(&message, message.GetDescriptor()->FindFieldByName(field),
                                     text);
}

// What of a row that no longer reads still does; null where its key does not.
std::unique_ptr<Message> ReadInPart(const Table& table, const Statement& row) {
  std::unique_ptr<Message> part = NewRow(table);
  int place = 0;
  for (const Column& column : table.columns) {
    try {
      Read(column, row, place++, *part);
    } catch (const StoreError&) {
      if (column.key) return nullptr;
      part->GetReflection()->ClearField(part.get(), column.field);
    }
  }
  return part;
}

// The key of a row, as text that is equal where the keys are.
std::string KeyOf(const Table& table, const Message& row) {
  std::unique_ptr<Message> key(row.New());
  key->CopyFrom(row);
  for (const Column& column : table.columns) {
    if (!column.key) key->GetReflection()->ClearField(key.get(), column.field);
  }
  return CanonicalBytes(*key);
}

}  // namespace

Changes& Changes::operator+=(const Changes& other) {
  inserted += other.inserted;
  updated += other.updated;
  deleted += other.deleted;
  unchanged += other.unchanged;
  appended += other.appended;
  unreadable += other.unreadable;
  trimmed += other.trimmed;
  for (const auto& [what, rows] : other.dropped) dropped[what] += rows;
  clock_ahead_days = std::max(clock_ahead_days, other.clock_ahead_days);
  return *this;
}

void Changes::Drop(const Table& table, Limit limit, int64_t rows) {
  if (rows == 0) return;
  trimmed += rows;
  dropped[{&table, limit}] += rows;
}

Writer::Writer(Database& database, const Catalogue& catalogue,
               std::chrono::system_clock::time_point now, Changes& changes,
               std::vector<std::string>& problems)
    : database_(database),
      catalogue_(catalogue),
      now_(now),
      changes_(changes),
      problems_(problems) {}

Place& Writer::Prepare(const Table& table) {
  if (const Table* log = catalogue_.ChangeLog(table)) database_.Prepare(*log);
  return database_.Prepare(table);
}

void Writer::Put(const Message& row) {
  Place& place = Prepare(catalogue_.Get(row.GetDescriptor()));
  if (place.table.state) {
    PutState(place, row);
  } else {
    Append(place, row);
    ++changes_.appended;
  }
}

Writer::Kept Writer::ReadKept(const Place& place, const Statement& row,
                              const char* what_becomes_of_it) {
  Kept kept{row.Integer(place.row_id()), nullptr, true};
  try {
    kept.row = database_.ReadRow(place, row);
  } catch (const StoreError& error) {
    std::string line = error.what();
    line.erase(line.rfind(';'));
    problems_.push_back(line + "; " + what_becomes_of_it);
    kept.row = ReadInPart(place.table, row);
    kept.reads = false;
    ++changes_.unreadable;
  }
  return kept;
}

void Writer::PutState(Place& place, const Message& row) {
  std::optional<Kept> before;
  {
    const Use select = database_.connection().Prepared(place.select_by_key, place.schema);
    Bind(place.table.key, row, *select, 1);
    if (select->Step()) before = ReadKept(place, *select, "replaced by the row that came");
  }
  if (!before.has_value()) {
    Append(place, row);
    RecordChange(place.table, storage::STATE_EVENT_INSERT, nullptr, &row);
    ++changes_.inserted;
    return;
  }
  bool changed = true;
  if (before->reads) {
    // Seen again at another time is not a change.
    std::unique_ptr<Message> same_time(row.New());
    same_time->CopyFrom(row);
    if (place.table.time != nullptr) {
      SetString(*same_time, "time", TimeOf(place.table, *before->row));
    }
    changed = CanonicalBytes(*same_time) != CanonicalBytes(*before->row);
  }
  {
    const Use update = database_.connection().Prepared(place.update, place.schema);
    Bind(place.table.columns, row, *update, 1);
    Bind(place.table.key, row, *update, static_cast<int>(place.table.columns.size()) + 1);
    update->Run();
  }
  if (changed) RecordChange(place.table, storage::STATE_EVENT_UPDATE, before->row.get(), &row);
  ++(changed ? changes_.updated : changes_.unchanged);
  database_.Touch(place);
}

void Writer::Append(Place& place, const Message& row) {
  const Use insert = database_.connection().Prepared(place.insert, place.schema);
  Bind(place.table.columns, row, *insert, 1);
  if (!place.table.state) {
    insert->Bind(static_cast<int>(place.table.columns.size()) + 1, database_.NextArrival(place));
  }
  insert->Run();
  database_.Touch(place);
}

void Writer::Delete(Place& place, const Kept& kept) {
  {
    const Use erase = database_.connection().Prepared(
        "DELETE FROM " + place.name + " WHERE _rowid_ = ?", place.schema);
    erase->Bind(1, kept.row_id);
    erase->Run();
  }
  RecordChange(place.table, storage::STATE_EVENT_DELETE, kept.row.get(), nullptr);
  database_.Touch(place);
}

int64_t Writer::Delete(Place& place, const std::string& where,
                       const std::function<void(Statement&)>& bind) {
  std::vector<Kept> gone;
  {
    const Use select =
        database_.connection().Prepared(place.select + " WHERE " + where, place.schema);
    bind(*select);
    while (select->Step()) gone.push_back(ReadKept(place, *select, "deleted"));
  }
  for (const Kept& kept : gone) Delete(place, kept);
  return static_cast<int64_t>(gone.size());
}

void Writer::RecordChange(const Table& state, int event, const Message* before,
                          const Message* after) {
  const Table* log = catalogue_.ChangeLog(state);
  if (log == nullptr) return;
  const std::unique_ptr<Message> change = NewRow(*log);
  SetString(*change, "time", TimeText(now_));
  SetString(*change, "type", state.record->name());
  change->GetReflection()->SetEnumValue(change.get(), log->record->FindFieldByName("event"), event);
  if (before != nullptr) SetString(*change, "previous_state", MessageToJson(*before));
  if (after != nullptr) SetString(*change, "current_state", MessageToJson(*after));
  Append(database_.Prepare(*log), *change);
}

void Writer::Replace(const Table& table, const std::vector<const Message*>& rows) {
  Place& place = Prepare(table);
  std::map<std::string, const Message*> wanted;
  for (const Message* row : rows) wanted[KeyOf(table, *row)] = row;
  std::vector<Kept> gone;
  {
    const Use select = database_.connection().Prepared(place.select, place.schema);
    while (select->Step()) {
      // Of a row that no longer reads the key may still do.
      std::unique_ptr<Message> key = NewRow(table);
      bool has_key = true;
      for (size_t i = 0; has_key && i < table.columns.size(); ++i) {
        if (!table.columns[i].key) continue;
        try {
          Read(table.columns[i], *select, static_cast<int>(i), *key);
        } catch (const StoreError&) {
          has_key = false;
        }
      }
      if (has_key && wanted.contains(KeyOf(table, *key))) continue;
      gone.push_back(ReadKept(place, *select, "deleted, as it is not among the rows that came"));
    }
  }
  for (const Kept& kept : gone) Delete(place, kept);
  changes_.deleted += static_cast<int64_t>(gone.size());
  for (const auto& [key, row] : wanted) PutState(place, *row);
}

bool Writer::Erase(const Message& row) {
  Place& place = Prepare(catalogue_.Get(row.GetDescriptor()));
  std::optional<Kept> kept;
  {
    const Use select = database_.connection().Prepared(place.select_by_key, place.schema);
    Bind(place.table.key, row, *select, 1);
    if (select->Step()) kept = ReadKept(place, *select, "deleted");
  }
  if (kept.has_value()) Delete(place, *kept);
  return kept.has_value();
}

}  // namespace ovix::agent
