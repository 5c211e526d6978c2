#include "uploader/upload_log.h"

#include <algorithm>
#include <charconv>

#include "store/json.h"
#include "store/set_aside.h"
#include "store/time.h"
#include "system/hash.h"

namespace ovix::agent {
namespace {

constexpr std::chrono::milliseconds kLongestGap = std::chrono::days(1);
constexpr std::chrono::seconds kPatience(5);
constexpr size_t kLongestSequence = 20;

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

StoreError DamagedError(const std::filesystem::path& file, const std::string& why) {
  return StoreError(Printable(file) + ": the database is damaged (" + why + "); move it away",
                    StoreError::Kind::kDamaged, file);
}

std::string CursorName(const Table& table) { return table.database + "." + table.name; }

}  // namespace

UploadLog::UploadLog(const std::filesystem::path& store_folder, Files& files)
    : file_(store_folder / kFile), sequence_file_(store_folder / kSequenceFile), files_(files) {
  // What is not a database, or not yet one, is for SQLite to report.
  if (const auto header = ReadHeader(file_)) {
    CheckHeader(file_, *header, kApplicationId, kLayoutVersion);
  }
  bool is_damaged = false;
  try {
    Open();
  } catch (const StoreError& error) {
    if (error.kind() != StoreError::Kind::kDamaged) throw;
    is_damaged = true;
    connection_.reset();
    const std::string line = error.what();
    problems_.push_back(SetAside(file_, line.substr(0, line.rfind(';')),
                                 std::chrono::system_clock::now(), kPatience) +
                        "; rows that went out may go out again, under new ids");
    Open();
  }
  kept_sequence_ = ReadKeptSequence();
  if (kept_sequence_ != 0 && !is_damaged && ReadState("sequence") == 0) {
    notes_.push_back(Printable(file_) +
                     ": is new, though payloads went out before; rows that went out may go out "
                     "again, under new ids");
  }
}

// Opens the database, makes its tables and tests it. Throws StoreError of kind kDamaged where it
// cannot be relied on.
void UploadLog::Open() {
  connection_ = std::make_unique<Connection>(file_, kPatience);
  Transaction transaction(*connection_);
  if (connection_->Number("SELECT count(*) FROM sqlite_schema") == 0) {
    connection_->Execute("PRAGMA application_id = " + std::to_string(kApplicationId) +
                         "; PRAGMA user_version = " + std::to_string(kLayoutVersion));
  }
  connection_->Execute(kTables);
  {
    Statement check(*connection_, "PRAGMA integrity_check(1)");
    if (!check.Step() || check.Bytes(0) != "ok") {
      throw DamagedError(file_, "it fails its integrity check");
    }
  }
  ReadWaiting();
  transaction.Commit();
}

int64_t UploadLog::ReadKeptSequence() {
  std::string text;
  const std::error_code error = files_.Read(sequence_file_, kLongestSequence, text);
  if (error == std::errc::no_such_file_or_directory) return 0;
  int64_t sequence = 0;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), sequence);
  const bool is_number = result.ec == std::errc() && result.ptr == text.data() + text.size() &&
                         sequence > 0 && sequence <= kLargestSequence;
  if (error && error != std::errc::file_too_large) {
    throw StoreError(Printable(sequence_file_) + ": cannot be read (" + error.message() +
                         "); fix its permissions or move it away",
                     StoreError::Kind::kDenied, sequence_file_);
  }
  if (!error && is_number) return sequence;
  problems_.push_back(SetAside(sequence_file_,
                               Printable(sequence_file_) + ": holds no sequence number",
                               std::chrono::system_clock::now(), kPatience));
  return 0;
}

void UploadLog::KeepSequence(int64_t sequence) {
  if (sequence == kept_sequence_) return;
  if (const auto error = WriteWholeFile(files_, sequence_file_, std::to_string(sequence))) {
    throw StoreError(Printable(sequence_file_) + ": cannot be written (" + error.message() +
                         "); free space or fix the folder's permissions and run again",
                     StoreError::Kind::kDisk, sequence_file_);
  }
  kept_sequence_ = sequence;
}

int64_t UploadLog::ReadState(const std::string& name) {
  Statement read(*connection_, "SELECT value FROM state WHERE name = ?");
  read.Bind(1, std::string_view(name));
  return read.Step() ? read.Integer(0) : 0;
}

void UploadLog::WriteState(const std::string& name, int64_t value) {
  Statement write(*connection_, "INSERT OR REPLACE INTO state VALUES (?, ?)");
  write.Bind(1, std::string_view(name));
  write.Bind(2, value);
  write.Run();
}

Cursor UploadLog::After(const Table& table) {
  Statement read(*connection_, "SELECT database, row FROM cursors WHERE name = ?");
  read.Bind(1, std::string_view(CursorName(table)));
  return read.Step() ? Cursor{read.Integer(0), read.Integer(1)} : Cursor();
}

int64_t UploadLog::Plan(const Built& built, const std::string& device,
                        std::chrono::system_clock::time_point now, int64_t at_least) {
  const std::string created = TimeText(now);
  const std::string day = created.substr(0, created.find('T'));
  int64_t as_before = 0;
  Transaction transaction(*connection_);
  // A database that is new goes on beyond the numbers of the one before it: as kept, or else by the
  // outbox and the clock.
  int64_t sequence = std::max(ReadState("sequence"), kept_sequence_);
  if (sequence == 0) sequence = std::max<int64_t>(Milliseconds(now), 1);
  sequence = std::max(sequence, at_least);
  for (const Payload& payload : built.payloads) {
    const std::string bytes = CanonicalBytes(*payload.message);
    if (!payload.snapshot.empty()) {
      const std::string hash = Hexadecimal(Sha256(bytes));
      Statement same(*connection_,
                     "SELECT 1 FROM snapshots WHERE kind = ? AND sha256 = ? AND day = ?");
      Statement keep(*connection_, "INSERT OR REPLACE INTO snapshots VALUES (?, ?, ?)");
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
    if (sequence >= kLargestSequence) {
      throw StoreError(Printable(file_) + ": no sequence number is left after " +
                           std::to_string(sequence) + "; move it, " + kSequenceFile +
                           " and the payloads of such numbers in the outbox away",
                       StoreError::Kind::kOther, file_);
    }
    const Label label =
        MakeLabel(payload.message->GetDescriptor(), bytes, device, created, ++sequence);
    Statement insert(*connection_, "INSERT INTO waiting VALUES (?, ?, ?, ?)");
    insert.Bind(1, sequence);
    insert.Bind(2, std::string_view(label.ToJson()));
    insert.BindBlob(3, bytes);
    insert.Bind(4, payload.records);
    insert.Run();
  }
  // First: a number that is given is never given again, whatever becomes of the database.
  KeepSequence(sequence);
  WriteState("sequence", sequence);
  for (const auto& [table, cursor] : built.read_up_to) {
    Statement move(*connection_, "INSERT OR REPLACE INTO cursors VALUES (?, ?, ?)");
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
  Statement read(*connection_, "SELECT label, payload, records FROM waiting ORDER BY sequence");
  while (read.Step()) {
    const auto label = Label::FromJson(std::string(read.Bytes(0)));
    std::string payload(read.Bytes(1));
    if (!label || Hexadecimal(Sha256(payload)) != label->sha256) {
      throw DamagedError(file_, "a payload that waits is not what its metadata states");
    }
    all.push_back({*label, std::move(payload), read.Integer(2)});
  }
  return all;
}

void UploadLog::Finish(const std::vector<Label>& labels) {
  Transaction transaction(*connection_);
  for (const Label& label : labels) {
    Statement remove(*connection_, "DELETE FROM waiting WHERE sequence = ?");
    remove.Bind(1, label.sequence);
    remove.Run();
  }
  transaction.Commit();
}

int64_t UploadLog::NoteRun(std::chrono::system_clock::time_point now, std::chrono::days max_age) {
  Transaction transaction(*connection_);
  const int64_t last = ReadState("last_run");
  const int64_t gap =
      std::clamp<int64_t>(last == 0 ? 0 : Milliseconds(now) - last, 0, kLongestGap.count());
  const int64_t elapsed = ReadState("elapsed") + gap;
  WriteState("elapsed", elapsed);
  WriteState("last_run", Milliseconds(now));
  Statement note(*connection_, "INSERT INTO runs VALUES (?, ?)");
  note.Bind(1, elapsed);
  note.Bind(2, ReadState("sequence"));
  note.Run();
  const int64_t horizon = elapsed - std::chrono::milliseconds(max_age).count();
  Statement aged(*connection_, "SELECT ifnull(max(sequence), 0) FROM runs WHERE elapsed <= ?");
  aged.Bind(1, horizon);
  const int64_t sequence = aged.Step() ? aged.Integer(0) : 0;
  Statement forget(*connection_, "DELETE FROM runs WHERE elapsed <= ? AND sequence < ?");
  forget.Bind(1, horizon);
  forget.Bind(2, sequence);
  forget.Run();
  transaction.Commit();
  return sequence;
}

}  // namespace ovix::agent
