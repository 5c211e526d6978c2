// The little of SQLite that the store needs, with owners for its handles and one kind of error.
#ifndef OVIX_AGENT_STORE_SQLITE_H_
#define OVIX_AGENT_STORE_SQLITE_H_

#include <sqlite3.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "store/error.h"
#include "store/patience.h"

namespace ovix::agent {

class Connection;

// A prepared statement. Parameters are numbered from 1 and columns from 0, as in SQLite; bound
// values are copied.
class Statement {
 public:
  // `schema` is the attached database that the statement works on, which its errors name; empty
  // where it is not one.
  Statement(Connection& connection, const std::string& sql, std::string schema = "");

  // Ends the run, which gives up its lock, and forgets the bound values.
  void Reset();
  void Bind(int parameter, int64_t value);
  void Bind(int parameter, double value);
  void Bind(int parameter, std::string_view text);
  void BindBlob(int parameter, std::string_view bytes);
  // The same without a copy: the bytes must stay as they are until the statement is reset.
  void BindView(int parameter, std::string_view bytes, bool is_text);
  void BindNull(int parameter);

  // Moves to the next row; false at the end. Throws StoreError.
  bool Step();
  // Runs a statement that gives no rows.
  void Run();

  // SQLITE_INTEGER, SQLITE_FLOAT, SQLITE_TEXT, SQLITE_BLOB or SQLITE_NULL.
  int Type(int column) const;
  int64_t Integer(int column) const;
  double Real(int column) const;
  // Of a string or blob; valid until the next Step or Reset.
  std::string_view Bytes(int column) const;

 private:
  struct Finalize {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
  };
  void Check(int code) const;

  Connection& connection_;
  std::string schema_;
  std::unique_ptr<sqlite3_stmt, Finalize> statement_;
};

// A kept statement in use: it is reset when this goes, whatever ends the use.
class Use {
 public:
  explicit Use(Statement& statement) : statement_(statement) {}
  ~Use() { statement_.Reset(); }
  Use(const Use&) = delete;
  Use& operator=(const Use&) = delete;
  Statement* operator->() const { return &statement_; }
  Statement& operator*() const { return statement_; }

 private:
  Statement& statement_;
};

// One open database file. Not for use by two threads at once.
class Connection {
 public:
  enum class Mode {
    kRead,    // nothing is written or created, but for what a crash left to be rolled back
    kWrite,   // the file must be there
    kCreate,  // the file is created where it is missing, for its owner alone
  };

  // Waits up to `patience` for each lock of another program, or as a patience that lives longer
  // than this says. A database that was switched to a write-ahead log is switched back, or refused
  // when it is to be read.
  Connection(const std::filesystem::path& file, std::chrono::milliseconds patience,
             Mode mode = Mode::kCreate);
  Connection(const std::filesystem::path& file, Patience& patience, Mode mode);

  // Attaches a second database file under `schema`, so that one transaction writes both.
  void Attach(const std::filesystem::path& file, const std::string& schema);

  void Execute(const std::string& sql, const std::string& schema = "");
  bool IsInTransaction() const { return sqlite3_get_autocommit(handle_.get()) == 0; }
  // Begins a transaction that only reads, and holds the lock for it.
  void BeginRead();
  void EndRead() const;
  // Undoes the open transaction; harmless where SQLite has done so.
  void RollBack() const;
  // A statement kept for the next time that the same text is asked for.
  Use Prepared(const std::string& sql, const std::string& schema = "");
  // The first column of the first row; 0 without one.
  int64_t Number(const std::string& sql, const std::string& schema = "");
  int Changes() const { return sqlite3_changes(handle_.get()); }

  // Whether one of the files is no longer the one that its path names.
  bool HasMoved() const;
  // The attached databases by schema, the first of them "main", with their files.
  const std::vector<std::pair<std::string, std::filesystem::path>>& schemas() const {
    return schemas_;
  }

  sqlite3* handle() const { return handle_.get(); }
  // Throws the error that `code` means, naming the file that failed: that of `schema`, or the one
  // that is found to be at fault.
  [[noreturn]] void Fail(int code, const std::string& schema) const;

 private:
  struct Close {
    void operator()(sqlite3* handle) const { sqlite3_close_v2(handle); }
  };
  void Open(const std::filesystem::path& file, const std::function<void(sqlite3*)>& set_patience);
  void Prepare(const std::string& schema);
  void UseRollbackJournal(const std::string& schema);
  bool IsAtFault(int code, const std::string& schema, const std::filesystem::path& file) const;

  const Mode mode_;
  std::vector<std::pair<std::string, std::filesystem::path>> schemas_;
  std::unique_ptr<sqlite3, Close> handle_;
  std::unordered_map<std::string, Statement> statements_;
};

// What a database says of itself at its beginning.
struct FileHeader {
  int64_t application_id;
  int64_t user_version;
  bool has_write_ahead_log;
};

// Nothing where the file is not there, is not a database, or is none yet. The file is asked and
// not the database: before SQLite reports it, it undoes what a journal holds and creates files for
// a write-ahead log, and the database may be another program's.
std::optional<FileHeader> ReadHeader(const std::filesystem::path& file);

// Throws StoreError of kind kForeign where the header is another program's, or that of a release
// with a newer layout than this one's.
void CheckHeader(const std::filesystem::path& file, const FileHeader& header,
                 int64_t application_id, int64_t newest_layout);

// Whether SQLite finds the file damaged, or not a database; false also where it cannot know.
bool IsDamaged(const std::filesystem::path& file);

// Writes everything or nothing: rolls back unless committed. It takes the write lock at once.
class Transaction {
 public:
  explicit Transaction(Connection& connection);
  ~Transaction();
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;
  void Commit();

 private:
  Connection& connection_;
  bool open_ = true;
};

}  // namespace ovix::agent

#endif  // OVIX_AGENT_STORE_SQLITE_H_
