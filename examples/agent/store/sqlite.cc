#include "store/sqlite.h"

#include <cerrno>

namespace ovix::agent {
namespace {

// What SQLite's result code means to the person who runs the agent. sqlite3_system_errno tells a
// full disk or a file-size limit from other failed writes.
std::string Explain(int code, int system_error, const char* message) {
  const bool no_space = system_error == ENOSPC || system_error == EFBIG
#ifdef EDQUOT
                        || system_error == EDQUOT
#endif
      ;
  switch (code & 0xff) {
    case SQLITE_NOTADB:
    case SQLITE_CORRUPT:
      return "the database is damaged (" + std::string(message) +
             "); move it away or put a sound copy in its place";
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
      return "the database is locked by another program; run again when that has finished";
    case SQLITE_FULL:
      return "no space is left on the disk; free some and run again";
    case SQLITE_IOERR:
      if (no_space) return "no space is left on the disk; free some and run again";
      return "the disk failed (" + std::string(message) + "); check it and run again";
    case SQLITE_CANTOPEN:
    case SQLITE_PERM:
    case SQLITE_READONLY:
      return "the database cannot be opened for writing; check the permissions of file and folder";
    case SQLITE_CONSTRAINT:
      return "a row with this key is kept already (" + std::string(message) + ")";
    default:
      return message;
  }
}

// A read that needs the database's header and nothing else.
std::string ReadOf(const std::string& schema) {
  return "SELECT count(*) FROM " + Quoted(schema) + ".sqlite_schema";
}

}  // namespace

std::string Quoted(std::string_view name) {
  std::string quoted = "\"";
  for (char c : name) {
    if (c == '"') quoted += '"';
    quoted += c;
  }
  return quoted + '"';
}

Statement::Statement(Connection& connection, const std::string& sql) : connection_(connection) {
  sqlite3_stmt* statement = nullptr;
  Check(sqlite3_prepare_v3(connection.handle(), sql.data(), static_cast<int>(sql.size()),
                           SQLITE_PREPARE_PERSISTENT, &statement, nullptr));
  statement_.reset(statement);
}

void Statement::Check(int code) const {
  if (code != SQLITE_OK) connection_.Fail(code);
}

Statement& Statement::Start() {
  sqlite3_reset(statement_.get());
  sqlite3_clear_bindings(statement_.get());
  return *this;
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

void Statement::BindNull(int parameter) { Check(sqlite3_bind_null(statement_.get(), parameter)); }

bool Statement::Step() {
  const int code = sqlite3_step(statement_.get());
  if (code == SQLITE_ROW) return true;
  if (code == SQLITE_DONE) return false;
  connection_.Fail(code);
}

void Statement::Run() {
  while (Step()) {
  }
  // A statement that has run but is not reset keeps its lock.
  sqlite3_reset(statement_.get());
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

namespace {

// SQLite takes names of files in UTF-8, whatever the system's own encoding.
std::string NameOf(const std::filesystem::path& file) {
  const auto name = file.u8string();
  return std::string(name.begin(), name.end());
}

}  // namespace

Connection::Connection(const std::filesystem::path& file, std::chrono::milliseconds patience)
    : file_(file) {
  sqlite3* handle = nullptr;
  const int code = sqlite3_open_v2(NameOf(file).c_str(), &handle,
                                   SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr);
  handle_.reset(handle);
  if (code != SQLITE_OK) Fail(code, file_);
  sqlite3_extended_result_codes(handle, 1);
  sqlite3_busy_timeout(handle, static_cast<int>(patience.count()));
  Prepare(file, "main");
}

void Connection::Attach(const std::filesystem::path& file, const std::string& schema) {
  const std::unique_ptr<char, decltype(&sqlite3_free)> sql(
      sqlite3_mprintf("ATTACH %Q AS \"%w\"", NameOf(file).c_str(), schema.c_str()), sqlite3_free);
  Try(sql.get(), file);
  Prepare(file, schema);
}

void Connection::Prepare(const std::filesystem::path& file, const std::string& schema) {
  schemas_.push_back(schema);
  // SQLite opens lazily: only a read finds a damaged header.
  Try(ReadOf(schema), file);
  // Freed pages can be given back, which keeping a size limit needs. Only a new file takes this;
  // one that has content would be written to for nothing.
  if (Number("PRAGMA " + Quoted(schema) + ".page_count") == 0) {
    Try("PRAGMA " + Quoted(schema) + ".auto_vacuum = INCREMENTAL", file);
  }
}

void Connection::Try(const std::string& sql, const std::filesystem::path& file) const {
  const int code = sqlite3_exec(handle_.get(), sql.c_str(), nullptr, nullptr, nullptr);
  if (code != SQLITE_OK) Fail(code, file);
}

void Connection::Execute(const std::string& sql) { Try(sql, file_); }

void Connection::RollBack() const {
  sqlite3_exec(handle_.get(), "ROLLBACK", nullptr, nullptr, nullptr);
  // After a failed write SQLite leaves the journal to whoever reads next; that is done here, so
  // that the files too are as they were.
  for (const std::string& schema : schemas_) {
    sqlite3_exec(handle_.get(), ReadOf(schema).c_str(), nullptr, nullptr, nullptr);
  }
}

Statement& Connection::Prepared(const std::string& sql) {
  auto found = statements_.find(sql);
  if (found == statements_.end()) found = statements_.try_emplace(sql, *this, sql).first;
  return found->second.Start();
}

int64_t Connection::Number(const std::string& sql) {
  Statement statement(*this, sql);
  return statement.Step() ? statement.Integer(0) : 0;
}

void Connection::Fail(int code, const std::filesystem::path& file) const {
  throw StoreError(
      file.string() + ": " +
      Explain(code, sqlite3_system_errno(handle_.get()), sqlite3_errmsg(handle_.get())));
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
