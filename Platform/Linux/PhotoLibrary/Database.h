#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "TolvanderCore/Foundation/Error.h"
#include "TolvanderCore/Foundation/FileURL.h"

struct sqlite3;
struct sqlite3_stmt;

namespace tolvander::platform::linux_ {

// An error of SQLite. Its code is SQLite's extended result code (sqlite.org/rescode.html).
class DatabaseError final : public Error {
 public:
  // `systemError` is the errno value of the system call that failed, or 0.
  DatabaseError(int extendedCode, const std::string& what, int systemError = 0)
      : Error(what), code_(extendedCode), systemError_(systemError) {}
  std::string_view domain() const override { return "SQLiteErrorDomain"; }
  std::int64_t code() const override { return code_; }

  // The result code without the extension, such as SQLITE_FULL or SQLITE_CORRUPT.
  int primaryCode() const { return code_ & 0xFF; }

  // Whether the disk or the user's quota is full. SQLite reports SQLITE_FULL only for the database and its
  // log; if the index of the log can't grow, or with a quota, it reports an I/O error.
  bool isOutOfSpace() const;

 private:
  int code_;
  int systemError_;
};

// A prepared statement. For the thread that uses its database; must end before the database does. Everything
// but reset throws DatabaseError.
class Statement {
 public:
  // Compiles `sql`, one statement, of which SQLite keeps a copy.
  Statement(sqlite3* database, std::string_view sql);
  ~Statement();
  Statement(Statement&& other) noexcept;
  Statement& operator=(Statement&&) = delete;

  // Sets a parameter ("?"). Parameters count from 1. Text, which must be UTF-8, is copied.
  void bind(int parameter, std::int64_t value);
  void bind(int parameter, double value);
  void bind(int parameter, std::string_view value);
  template <typename Value>
  void bind(int parameter, const std::optional<Value>& value) {
    if (value) {
      bind(parameter, *value);
    } else {
      bindNull(parameter);
    }
  }
  void bindNull(int parameter);

  // Runs the statement to its first or next row. Returns false after the last row.
  bool step();
  // Makes the statement ready to run again and sets all parameters to NULL.
  void reset() noexcept;

  // The values of the current row; columns count from 0. SQLite converts a value of another type: NULL
  // becomes 0 and "".
  bool isNull(int column) const;
  std::int64_t integer(int column) const;
  double real(int column) const;
  std::string text(int column) const;

 private:
  void check(int result) const;
  sqlite3_stmt* statement_ = nullptr;
};

// The rows of a query, read by calling next() before each row. At its end the statement is reset and can be
// used again; so only one of them may exist for one SQL text.
class Rows {
 public:
  explicit Rows(Statement& statement) : statement_(&statement) {}
  ~Rows() { statement_->reset(); }
  Rows(const Rows&) = delete;
  Rows& operator=(const Rows&) = delete;

  bool next() { return statement_->step(); }
  bool isNull(int column) const { return statement_->isNull(column); }
  std::int64_t integer(int column) const { return statement_->integer(column); }
  double real(int column) const { return statement_->real(column); }
  std::string text(int column) const { return statement_->text(column); }

 private:
  Statement* statement_;
};

// One connection to an SQLite file. For one thread at a time. All operations throw DatabaseError.
//
// The file is not trusted: triggers and views in it don't run, and its schema can call only functions that
// SQLite considers harmless (SQLITE_DBCONFIG_TRUSTED_SCHEMA).
class Database {
 public:
  enum class OpenMode { existing, existingOrNew };

  // Opens the file, or creates an empty one. `busyTimeout` is how long a statement waits for another
  // connection's lock. The file isn't changed until a statement changes it; closing doesn't checkpoint its
  // write-ahead log unless checkpointOnClose was called.
  Database(const FileURL& file, OpenMode mode, std::chrono::milliseconds busyTimeout);
  ~Database();
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;

  // Runs one or more statements, separated by ";", that have no parameters; rows are ignored. For pragmas
  // and the schema: nothing is kept for another run.
  void run(const std::string& statements);

  // Runs one statement, with `values` for its parameters in their order. execute ignores its rows, query
  // returns them. The statement is compiled at the first use of its text and kept until the connection is
  // closed; `sql` needs to live only during the call.
  template <typename... Values>
  void execute(std::string_view sql, const Values&... values) {
    Rows rows(bound(sql, values...));
    while (rows.next()) {
    }
  }
  template <typename... Values>
  Rows query(std::string_view sql, const Values&... values) {
    return Rows(bound(sql, values...));
  }

  // The rowid of the last row that this connection inserted.
  std::int64_t lastInsertedRow() const;

  // Replaces the content of `target` by this database as it is now (SQLite's backup API). Other connections
  // may write to this database in the meantime, and aren't waited for.
  void copyTo(Database& target);

  // Makes this connection checkpoint the write-ahead log into the file if it is the last one to close.
  void checkpointOnClose();

 private:
  friend class Transaction;
  struct TextHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>()(text); }
  };
  struct Deleter {
    void operator()(sqlite3* database) const;
  };

  void configure(std::chrono::milliseconds busyTimeout);
  Statement& prepared(std::string_view sql);

  template <typename... Values>
  Statement& bound(std::string_view sql, const Values&... values) {
    Statement& statement = prepared(sql);
    statement.reset();
    int parameter = 0;
    (statement.bind(++parameter, values), ...);
    return statement;
  }

  std::unique_ptr<sqlite3, Deleter> database_;
  std::unordered_map<std::string, Statement, TextHash, std::equal_to<>> statements_;
};

// A transaction. Reading: all queries see the same state of the database. Writing: waits for the write lock
// when it begins. Without commit() the changes are rolled back at its end.
class Transaction {
 public:
  enum class Kind { reading, writing };
  Transaction(Database& database, Kind kind);
  ~Transaction();
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;

  // If it throws, no connection sees the changes. But they can reappear after a crash, from the write-ahead
  // log, until another transaction was committed and has overwritten them.
  void commit();

 private:
  Database* database_;
};

}  // namespace tolvander::platform::linux_
