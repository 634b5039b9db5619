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

// A failure of SQLite. Its code is SQLite's extended result code (sqlite.org/rescode.html).
class DatabaseError final : public Error {
 public:
  // `systemError` is the errno of the call that failed, 0 where none did.
  DatabaseError(int extendedCode, const std::string& what, int systemError = 0)
      : Error(what), code_(extendedCode), systemError_(systemError) {}
  std::string_view domain() const override { return "SQLiteErrorDomain"; }
  std::int64_t code() const override { return code_; }

  // Without what the extension adds, such as SQLITE_FULL or SQLITE_CORRUPT.
  int primaryCode() const { return code_ & 0xFF; }

  // Whether there is no room to write. SQLite says SQLITE_FULL of the file and its log only; where the log's
  // index can't grow, or a quota is used up, it is an I/O error.
  bool isOutOfSpace() const;

 private:
  int code_;
  int systemError_;
};

// A compiled statement.
class Statement {
 public:
  Statement(sqlite3* database, std::string_view sql);
  ~Statement();
  Statement(Statement&& other) noexcept;
  Statement& operator=(Statement&&) = delete;

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

  // Whether there is a row, or another one. Throws DatabaseError.
  bool step();
  // Makes it ready to run again, without values.
  void reset() noexcept;

  // Of the present row, columns counted from 0.
  bool isNull(int column) const;
  std::int64_t integer(int column) const;
  double real(int column) const;
  std::string text(int column) const;

 private:
  void check(int result) const;
  sqlite3_stmt* statement_ = nullptr;
};

// The answer to a query that runs. The statement is free for the next one when this object is gone.
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

// One connection to an SQLite file. Used by one thread at a time. Everything throws DatabaseError.
//
// What the file says is not believed: triggers and views in it don't run, and nothing in it may call a
// function.
class Database {
 public:
  enum class OpenMode { existing, existingOrNew };

  // `busyTimeout` is how long a statement waits for another connection's lock. The file is left exactly as it
  // is until a statement changes it, also where its log is waiting to be taken over.
  Database(const FileURL& file, OpenMode mode, std::chrono::milliseconds busyTimeout);
  ~Database();
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;

  // Runs statements that have neither values nor rows, one after the other.
  void run(const std::string& statements);

  // Runs a statement with `values` for its parameters. A statement is compiled once for a connection.
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

  std::int64_t lastInsertedRow() const;

  // Makes `target` a copy of this database as it is now. Doesn't wait for other connections to this one.
  void copyTo(Database& target);

  // From now on the connection that closes last takes the log over into the file.
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

// What is read or changed together. Without commit() nothing was changed.
class Transaction {
 public:
  enum class Kind { reading, writing };
  Transaction(Database& database, Kind kind);
  ~Transaction();
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;

  // When it throws, the changes are not seen by anybody; whether they come back after a crash is known only
  // once another transaction has been committed after it, which then is in their place.
  void commit();

 private:
  Database* database_;
};

}  // namespace tolvander::platform::linux_
