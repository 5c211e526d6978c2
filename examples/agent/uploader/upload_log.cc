#include "uploader/upload_log.h"

#include <algorithm>

#include "store/json.h"
#include "store/time.h"
#include "system/hash.h"

namespace ovix::agent {
namespace {

constexpr std::chrono::milliseconds kLongestGap = std::chrono::days(1);

constexpr char kTables[] = R"(
  CREATE TABLE IF NOT EXISTS state (name TEXT PRIMARY KEY, value INTEGER NOT NULL);
  CREATE TABLE IF NOT EXISTS cursors (
    name TEXT PRIMARY KEY, database INTEGER NOT NULL, row INTEGER NOT NULL);
  CREATE TABLE IF NOT EXISTS snapshots (
    kind TEXT PRIMARY KEY, sha256 TEXT NOT NULL, day TEXT NOT NULL);
  CREATE TABLE IF NOT EXISTS waiting (
    sequence INTEGER PRIMARY KEY, label TEXT NOT NULL, payload BLOB NOT NULL,
    records INTEGER NOT NULL);
  CREATE TABLE IF NOT EXISTS runs (elapsed INTEGER NOT NULL, sequence INTEGER NOT NULL))";

int64_t Milliseconds(std::chrono::system_clock::time_point time) {
  return std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch()).count();
}

std::string CursorName(const Table& table) { return table.database + "." + table.name; }

}  // namespace

UploadLog::UploadLog(const std::filesystem::path& store_folder)
    : connection_(store_folder / kFile, std::chrono::seconds(5)) {
  Transaction transaction(connection_);
  connection_.Execute(kTables);
  transaction.Commit();
}

int64_t UploadLog::ReadState(const std::string& name) {
  Statement read(connection_, "SELECT value FROM state WHERE name = ?");
  read.Bind(1, std::string_view(name));
  return read.Step() ? read.Integer(0) : 0;
}

void UploadLog::WriteState(const std::string& name, int64_t value) {
  Statement write(connection_, "INSERT OR REPLACE INTO state VALUES (?, ?)");
  write.Bind(1, std::string_view(name));
  write.Bind(2, value);
  write.Run();
}

Cursor UploadLog::After(const Table& table) {
  Statement read(connection_, "SELECT database, row FROM cursors WHERE name = ?");
  read.Bind(1, std::string_view(CursorName(table)));
  return read.Step() ? Cursor{read.Integer(0), read.Integer(1)} : Cursor();
}

int64_t UploadLog::Plan(const Built& built, const std::string& device,
                        std::chrono::system_clock::time_point now, int64_t at_least) {
  const std::string created = TimeText(now);
  const std::string day = created.substr(0, created.find('T'));
  int64_t as_before = 0;
  Transaction transaction(connection_);
  // A database that is new goes on beyond the numbers of the one before it, by the clock.
  int64_t sequence = ReadState("sequence");
  if (sequence == 0) sequence = std::max<int64_t>(Milliseconds(now), 1);
  sequence = std::max(sequence, at_least);
  for (const Payload& payload : built.payloads) {
    const std::string bytes = CanonicalBytes(*payload.message);
    if (!payload.snapshot.empty()) {
      const std::string hash = Hexadecimal(Sha256(bytes));
      Statement same(connection_,
                     "SELECT 1 FROM snapshots WHERE kind = ? AND sha256 = ? AND day = ?");
      Statement keep(connection_, "INSERT OR REPLACE INTO snapshots VALUES (?, ?, ?)");
      for (Statement* statement : {&same, &keep}) {
        statement->Bind(1, std::string_view(payload.snapshot));
        statement->Bind(2, std::string_view(hash));
        statement->Bind(3, std::string_view(day));
      }
      if (same.Step()) {
        ++as_before;
        continue;
      }
      keep.Run();
    }
    const Label label =
        MakeLabel(payload.message->GetDescriptor(), bytes, device, created, ++sequence);
    Statement insert(connection_, "INSERT INTO waiting VALUES (?, ?, ?, ?)");
    insert.Bind(1, sequence);
    insert.Bind(2, std::string_view(label.ToJson()));
    insert.BindBlob(3, bytes);
    insert.Bind(4, payload.records);
    insert.Run();
  }
  WriteState("sequence", sequence);
  for (const auto& [table, cursor] : built.read_up_to) {
    Statement move(connection_, "INSERT OR REPLACE INTO cursors VALUES (?, ?, ?)");
    move.Bind(1, std::string_view(CursorName(*table)));
    move.Bind(2, cursor.database);
    move.Bind(3, cursor.row);
    move.Run();
  }
  transaction.Commit();
  return as_before;
}

std::vector<UploadLog::Waiting> UploadLog::ReadWaiting() {
  std::vector<Waiting> all;
  Statement read(connection_, "SELECT label, payload, records FROM waiting ORDER BY sequence");
  while (read.Step()) {
    const auto label = Label::FromJson(std::string(read.Bytes(0)));
    if (!label) throw StoreError(std::string(kFile) + ": holds a label that cannot be read");
    all.push_back({*label, std::string(read.Bytes(1)), read.Integer(2)});
  }
  return all;
}

void UploadLog::Finish(const std::vector<Label>& labels) {
  Transaction transaction(connection_);
  for (const Label& label : labels) {
    Statement remove(connection_, "DELETE FROM waiting WHERE sequence = ?");
    remove.Bind(1, label.sequence);
    remove.Run();
  }
  transaction.Commit();
}

int64_t UploadLog::NoteRun(std::chrono::system_clock::time_point now, std::chrono::days max_age) {
  Transaction transaction(connection_);
  const int64_t last = ReadState("last_run");
  const int64_t gap =
      std::clamp<int64_t>(last == 0 ? 0 : Milliseconds(now) - last, 0, kLongestGap.count());
  const int64_t elapsed = ReadState("elapsed") + gap;
  WriteState("elapsed", elapsed);
  WriteState("last_run", Milliseconds(now));
  Statement note(connection_, "INSERT INTO runs VALUES (?, ?)");
  note.Bind(1, elapsed);
  note.Bind(2, ReadState("sequence"));
  note.Run();
  const int64_t horizon = elapsed - std::chrono::milliseconds(max_age).count();
  Statement aged(connection_, "SELECT ifnull(max(sequence), 0) FROM runs WHERE elapsed <= ?");
  aged.Bind(1, horizon);
  const int64_t sequence = aged.Step() ? aged.Integer(0) : 0;
  Statement forget(connection_, "DELETE FROM runs WHERE elapsed <= ? AND sequence < ?");
  forget.Bind(1, horizon);
  forget.Bind(2, sequence);
  forget.Run();
  transaction.Commit();
  return sequence;
}

}  // namespace ovix::agent
