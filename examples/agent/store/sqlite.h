// The little of SQLite that the store needs, with owners for its handles and one kind of error.
#ifndef OVIX_AGENT_STORE_SQLITE_H_
#define OVIX_AGENT_STORE_SQLITE_H_

#include <sqlite3.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace ovix::agent {

// One line for a person: which file or record, what is wrong, what mends it.
class StoreError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class Connection;

// A prepared statement. Parameters are numbered from 1 and columns from 0, as in SQLite; bound
// values are copied.
class Statement {
 public:
  Statement(Connection& connection, const std::string& sql);

  // Forgets the last run and its values.
  Statement& Start();
  void Bind(int parameter, int64_t value);
  void Bind(int parameter, double value);
  void Bind(int parameter, std::string_view text);
  void BindBlob(int parameter, std::string_view bytes);
  void BindNull(int parameter);

  // Moves to the next row; false at the end. Throws StoreError.
  bool Step();
  // Runs a statement that gives no rows.
  void Run();

  // SQLITE_INTEGER, SQLITE_FLOAT, SQLITE_TEXT, SQLITE_BLOB or SQLITE_NULL.
  int Type(int column) const;
  int64_t Integer(int column) const;
  double Real(int column) const;
  // Of a text or blob; valid until the next Step or Start.
  std::string_view Bytes(int column) const;

 private:
  struct Finalize {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
  };
  void Check(int code) const;

  Connection& connection_;
  std::unique_ptr<sqlite3_stmt, Finalize> statement_;
};

// One open database file. Not for use by two threads at once.
class Connection {
 public:
  // Opens the file, or makes it. Waits up to `patience` for another program's lock.
  Connection(const std::filesystem::path& file, std::chrono::milliseconds patience);

  // Attaches a second database file under `schema`, so that one transaction writes both.
  void Attach(const std::filesystem::path& file, const std::string& schema);

  void Execute(const std::string& sql);
  // Undoes the open transaction; harmless where SQLite has done so by itself.
  void RollBack() const;
  // A statement kept for the next time that the same text is asked for.
  Statement& Prepared(const std::string& sql);
  int64_t Number(const std::string& sql);  // the first column of the first row; 0 without one
  int Changes() const { return sqlite3_changes(handle_.get()); }

  sqlite3* handle() const { return handle_.get(); }
  [[noreturn]] void Fail(int code) const { Fail(code, file_); }

 private:
  struct Close {
    void operator()(sqlite3* handle) const { sqlite3_close_v2(handle); }
  };
  void Prepare(const std::filesystem::path& file, const std::string& schema);
  void Try(const std::string& sql, const std::filesystem::path& file) const;
  [[noreturn]] void Fail(int code, const std::filesystem::path& file) const;

  std::filesystem::path file_;
  std::vector<std::string> schemas_;
  std::unique_ptr<sqlite3, Close> handle_;
  std::unordered_map<std::string, Statement> statements_;
};

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
