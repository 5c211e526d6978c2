#include "store/sqlite.h"

#include <algorithm>
#include <array>

#include "ovix/telemetry/contract/tables.h"
#include "store/files/files.h"

namespace ovix::agent {

namespace tables = telemetry::contract::tables;
using tables::Quoted;

namespace {

// A read that needs the database's header and nothing else.
std::string ReadOf(const std::string& schema) {
  return "SELECT count(*) FROM " + Quoted(schema) + ".sqlite_schema";
}

// SQLite takes names of files in UTF-8, whatever the system's own encoding.
std::string NameOf(const std::filesystem::path& file) {
  const auto name = file.u8string();
  return std::string(name.begin(), name.end());
}

// The file by its folder's own name: SQLite, which is to follow no link, means those in the name of
// the folder too, which is the user's choice.
std::filesystem::path InItsOwnFolder(const std::filesystem::path& file) {
  std::error_code error;
  const auto folder =
      std::filesystem::canonical(file.has_parent_path() ? file.parent_path() : ".", error);
  return error ? file : folder / file.filename();
}

// What is not a file may be anything once it is followed or opened.
void CheckIsOneFile(const std::filesystem::path& file) {
  std::error_code error;
  const auto type = std::filesystem::status(file, error).type();
  const char* what = nullptr;
  if (IsLink(file)) {
    what = "is a symbolic link, which is not followed";
  } else if (type == std::filesystem::file_type::directory) {
    what = "is a folder, not a database";
  } else if (std::filesystem::exists(std::filesystem::file_status(type)) &&
             type != std::filesystem::file_type::regular &&
             type != std::filesystem::file_type::unknown) {
    what = "is not a file";
  }
  if (what == nullptr) return;
  throw StoreError(Printable(file) + ": " + what + "; move it away or name another folder",
                   StoreError::Kind::kInput, file);
}

// A database, and the journals that SQLite opens with it.
void CheckIsFile(const std::filesystem::path& file) {
  for (const char* suffix : {"", "-journal", "-wal", "-shm"}) {
    std::filesystem::path part = file;
    CheckIsOneFile(part += suffix);
  }
}

}  // namespace

Statement::Statement(Connection& connection, const std::string& sql, std::string schema)
    : connection_(connection), schema_(std::move(schema)) {
  sqlite3_stmt* statement = nullptr;
  Check(sqlite3_prepare_v3(connection.handle(), sql.data(), static_cast<int>(sql.size()),
                           SQLITE_PREPARE_PERSISTENT, &statement, nullptr));
  statement_.reset(statement);
}

void Statement::Check(int code) const {
  if (code != SQLITE_OK) connection_.Fail(code, schema_);
}

void Statement::Reset() {
  sqlite3_reset(statement_.get());
  sqlite3_clear_bindings(statement_.get());
}

void Statement::Bind(int parameter, int64_t value) {
  Check(sqlite3_bind_int64(statement_.get(), parameter, value));
}

void Statement::Bind(int parameter, double value) {
  Check(sqlite3_bind_double(statement_.get(), parameter, value));
}

void Statement::Bind(int parameter, std::string_view text) {
  // An empty view may hold a null pointer, which SQLite would take for NULL.
  Check(sqlite3_bind_text64(statement_.get(), parameter, text.empty() ? "" : text.data(),
                            text.size(), SQLITE_TRANSIENT, SQLITE_UTF8));
}

void Statement::BindBlob(int parameter, std::string_view bytes) {
  Check(sqlite3_bind_blob64(statement_.get(), parameter, bytes.empty() ? "" : bytes.data(),
                            bytes.size(), SQLITE_TRANSIENT));
}

void Statement::BindView(int parameter, std::string_view bytes, bool is_text) {
  const char* data = bytes.empty() ? "" : bytes.data();
  Check(is_text
            ? sqlite3_bind_text64(statement_.get(), parameter, data, bytes.size(), SQLITE_STATIC,
                                  SQLITE_UTF8)
            : sqlite3_bind_blob64(statement_.get(), parameter, data, bytes.size(), SQLITE_STATIC));
}

void Statement::BindNull(int parameter) { Check(sqlite3_bind_null(statement_.get(), parameter)); }

bool Statement::Step() {
  const int code = sqlite3_step(statement_.get());
  if (code == SQLITE_ROW) return true;
  if (code == SQLITE_DONE) return false;
  connection_.Fail(code, schema_);
}

void Statement::Run() {
  while (Step()) {
  }
}

int Statement::Type(int column) const { return sqlite3_column_type(statement_.get(), column); }

int64_t Statement::Integer(int column) const {
  return sqlite3_column_int64(statement_.get(), column);
}

double Statement::Real(int column) const { return sqlite3_column_double(statement_.get(), column); }

std::string_view Statement::Bytes(int column) const {
  const void* bytes = sqlite3_column_blob(statement_.get(), column);
  const int size = sqlite3_column_bytes(statement_.get(), column);
  return {static_cast<const char*>(bytes), static_cast<size_t>(size)};
}

Connection::Connection(const std::filesystem::path& file, std::chrono::milliseconds patience,
                       Mode mode)
    : mode_(mode) {
  Open(file,
       [&](sqlite3* handle) { sqlite3_busy_timeout(handle, static_cast<int>(patience.count())); });
}

Connection::Connection(const std::filesystem::path& file, Patience& patience, Mode mode)
    : mode_(mode) {
  Open(file, [&](sqlite3* handle) {
    sqlite3_busy_handler(
        handle, [](void* waiting, int) { return static_cast<Patience*>(waiting)->Wait() ? 1 : 0; },
        &patience);
  });
}

void Connection::Open(const std::filesystem::path& file,
                      const std::function<void(sqlite3*)>& set_patience) {
  schemas_.emplace_back("main", file);
  CheckIsFile(file);
  if (mode_ == Mode::kCreate && !CreatePrivateFile(file)) MakePrivate(file);
  sqlite3* handle = nullptr;
  // A link that is put there from now on is not followed either.
  const int code =
      sqlite3_open_v2(NameOf(InItsOwnFolder(file)).c_str(), &handle,
                      SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_NOFOLLOW, nullptr);
  handle_.reset(handle);
  if (code != SQLITE_OK) Fail(code, "main");
  sqlite3_extended_result_codes(handle, 1);
  set_patience(handle);
  // A file that somebody else has written to can neither call functions through its schema nor be
  // damaged by what is run here.
  sqlite3_db_config(handle, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
  sqlite3_db_config(handle, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
  Prepare("main");
}

void Connection::Attach(const std::filesystem::path& file, const std::string& schema) {
  CheckIsFile(file);
  if (mode_ == Mode::kCreate && !CreatePrivateFile(file)) MakePrivate(file);
  const std::unique_ptr<char, decltype(&sqlite3_free)> sql(
      sqlite3_mprintf("ATTACH %Q AS \"%w\"", NameOf(InItsOwnFolder(file)).c_str(), schema.c_str()),
      sqlite3_free);
  schemas_.emplace_back(schema, file);
  Execute(sql.get(), schema);
  Prepare(schema);
}

void Connection::Prepare(const std::string& schema) {
  UseRollbackJournal(schema);
  // SQLite opens lazily: only a read finds a damaged header.
  Execute(ReadOf(schema), schema);
  if (mode_ == Mode::kRead) {
    Execute("PRAGMA query_only = ON", schema);
    return;
  }
  // EXTRA also waits until the disk has the removal of the journal, which is what commits.
  Execute("PRAGMA " + Quoted(schema) + ".synchronous = EXTRA", schema);
  // Only a new file takes this; one that has content would be written to for nothing.
  if (Number("PRAGMA " + Quoted(schema) + ".page_count", schema) == 0) {
    Execute(tables::NewDatabaseSql(schema), schema);
  }
}

// Asks the file itself, before SQLite does: to read a database in WAL mode creates files next to
// it.
void Connection::UseRollbackJournal(const std::string& schema) {
  sqlite3_file* file = nullptr;
  sqlite3_file_control(handle_.get(), schema.c_str(), SQLITE_FCNTL_FILE_POINTER, &file);
  std::array<unsigned char, 20> header{};
  if (file == nullptr || file->pMethods == nullptr ||
      file->pMethods->xRead(file, header.data(), header.size(), 0) != SQLITE_OK ||
      (header[18] != 2 && header[19] != 2)) {
    return;
  }
  if (mode_ != Mode::kRead) {
    Statement set(*this, "PRAGMA " + Quoted(schema) + ".journal_mode = DELETE", schema);
    if (set.Step() && set.Bytes(0) == "delete") return;
  }
  for (const auto& [name, path] : schemas_) {
    if (name != schema) continue;
    throw StoreError(Printable(path) +
                         ": another program has switched the database to a write-ahead log; close "
                         "that program and run `ovix-agent collect`, which switches it back",
                     StoreError::Kind::kLocked, path);
  }
}

void Connection::Execute(const std::string& sql, const std::string& schema) {
  const int code = sqlite3_exec(handle_.get(), sql.c_str(), nullptr, nullptr, nullptr);
  if (code != SQLITE_OK) Fail(code, schema);
}

void Connection::BeginRead() {
  Execute("BEGIN");
  Execute(ReadOf("main"), "main");
}

void Connection::EndRead() const {
  sqlite3_exec(handle_.get(), "COMMIT", nullptr, nullptr, nullptr);
}

void Connection::RollBack() const {
  sqlite3_exec(handle_.get(), "ROLLBACK", nullptr, nullptr, nullptr);
  // After a failed write SQLite leaves the journal to the next reader; that is done here, so
  // that the files too are as they were.
  for (const auto& [schema, file] : schemas_) {
    sqlite3_exec(handle_.get(), ReadOf(schema).c_str(), nullptr, nullptr, nullptr);
  }
}

Use Connection::Prepared(const std::string& sql, const std::string& schema) {
  auto found = statements_.find(sql);
  if (found == statements_.end()) found = statements_.try_emplace(sql, *this, sql, schema).first;
  return Use(found->second);
}

int64_t Connection::Number(const std::string& sql, const std::string& schema) {
  Statement statement(*this, sql, schema);
  return statement.Step() ? statement.Integer(0) : 0;
}

bool Connection::HasMoved() const {
  for (const auto& [schema, file] : schemas_) {
    int moved = 0;
    if (sqlite3_file_control(handle_.get(), schema.c_str(), SQLITE_FCNTL_HAS_MOVED, &moved) ==
            SQLITE_OK &&
        moved != 0) {
      return true;
    }
  }
  return false;
}

void Connection::Fail(int code, const std::string& schema) const {
  const int system_error = sqlite3_system_errno(handle_.get());
  const std::string message = sqlite3_errmsg(handle_.get());
  const std::pair<std::string, std::filesystem::path>* failed = &schemas_.front();
  for (const auto& candidate : schemas_) {
    if (candidate.first == schema) failed = &candidate;
  }
  // What is damaged or locked may be another file than the one that the statement is about.
  const int kind = code & 0xff;
  const bool is_sure = !schema.empty() && kind != SQLITE_CORRUPT && kind != SQLITE_NOTADB;
  if (schemas_.size() > 1 && !is_sure) {
    for (const auto& candidate : schemas_) {
      if (!IsAtFault(code, candidate.first, candidate.second)) continue;
      failed = &candidate;
      break;
    }
  }
  throw SqliteError(failed->second, code, system_error, message);
}

bool Connection::IsAtFault(int code, const std::string& schema,
                           const std::filesystem::path& file) const {
  const int kind = code & 0xff;
  if (kind != SQLITE_CORRUPT && kind != SQLITE_NOTADB && kind != SQLITE_BUSY) {
    int last_error = 0;
    sqlite3_file_control(handle_.get(), schema.c_str(), SQLITE_FCNTL_LAST_ERRNO, &last_error);
    return last_error != 0 && last_error == sqlite3_system_errno(handle_.get());
  }
  if (kind != SQLITE_BUSY) return IsDamaged(file);
  sqlite3* opened = nullptr;
  sqlite3_open_v2(NameOf(file).c_str(), &opened, SQLITE_OPEN_READWRITE, nullptr);
  const std::unique_ptr<sqlite3, Close> probe(opened);
  const int code_of_file = sqlite3_exec(opened, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr);
  return (code_of_file & 0xff) == SQLITE_BUSY;
}

std::optional<FileHeader> ReadHeader(const std::filesystem::path& file) {
  CheckIsFile(file);
  constexpr std::string_view kMagic("SQLite format 3\0", 16);
  constexpr size_t kUserVersion = 60;
  constexpr size_t kApplicationId = 68;
  std::array<unsigned char, kApplicationId + 4> header{};
  // Through SQLite, which opens the file and reads nothing yet: to close one that was opened by
  // other means gives up the locks that other connections of this process have on it.
  sqlite3* opened = nullptr;
  const int code =
      sqlite3_open_v2(NameOf(InItsOwnFolder(file)).c_str(), &opened,
                      SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_NOFOLLOW, nullptr);
  const std::unique_ptr<sqlite3, decltype(&sqlite3_close_v2)> handle(opened, sqlite3_close_v2);
  sqlite3_file* content = nullptr;
  sqlite3_file_control(opened, "main", SQLITE_FCNTL_FILE_POINTER, &content);
  if (code != SQLITE_OK || content == nullptr || content->pMethods == nullptr ||
      content->pMethods->xRead(content, header.data(), header.size(), 0) != SQLITE_OK ||
      !std::equal(kMagic.begin(), kMagic.end(), header.begin())) {
    return std::nullopt;
  }
  const auto number = [&](size_t offset) {
    uint32_t value = 0;
    for (size_t i = 0; i < 4; ++i) value = value << 8 | header[offset + i];
    return int64_t{static_cast<int32_t>(value)};
  };
  constexpr unsigned char kWriteAheadLog = 2;
  return FileHeader{number(kApplicationId), number(kUserVersion), header[18] == kWriteAheadLog};
}

void CheckHeader(const std::filesystem::path& file, const FileHeader& header,
                 int64_t application_id, int64_t newest_layout) {
  const auto refuse = [&](const std::string& why) {
    throw StoreError(Printable(file) + ": the database " + why, StoreError::Kind::kForeign, file);
  };
  if (header.application_id != application_id) {
    refuse("is another program's (application_id " + std::to_string(header.application_id) +
           "); move it away or name another folder");
  }
  if (header.user_version > newest_layout) {
    refuse("was made by a newer release; use that, or name another folder");
  }
}

bool IsDamaged(const std::filesystem::path& file) {
  try {
    Connection connection(file, std::chrono::milliseconds(0), Connection::Mode::kRead);
    Statement check(connection, "PRAGMA integrity_check(1)");
    return check.Step() && check.Bytes(0) != "ok";
  } catch (const StoreError& error) {
    return error.kind() == StoreError::Kind::kDamaged;
  }
}

Transaction::Transaction(Connection& connection) : connection_(connection) {
  connection.Execute("BEGIN IMMEDIATE");
}

Transaction::~Transaction() {
  if (open_) connection_.RollBack();
}

void Transaction::Commit() {
  connection_.Execute("COMMIT");
  open_ = false;
}

}  // namespace ovix::agent
