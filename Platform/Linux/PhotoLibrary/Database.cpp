#include "Platform/Linux/PhotoLibrary/Database.h"

#include <sqlite3.h>

#include <cerrno>
#include <utility>

namespace tolvander::platform::linux_ {

namespace {

[[noreturn]] void fail(sqlite3* database, int result) {
  if (database == nullptr) {
    throw DatabaseError(result, sqlite3_errstr(result));
  }
  throw DatabaseError(sqlite3_extended_errcode(database), sqlite3_errmsg(database),
                      sqlite3_system_errno(database));
}

}  // namespace

bool DatabaseError::isOutOfSpace() const {
  const bool isOfSystem = primaryCode() == SQLITE_IOERR || primaryCode() == SQLITE_CANTOPEN;
  return primaryCode() == SQLITE_FULL || (isOfSystem && (systemError_ == ENOSPC || systemError_ == EDQUOT));
}

Statement::Statement(sqlite3* database, std::string_view sql) {
  const int result = sqlite3_prepare_v3(database, sql.data(), static_cast<int>(sql.size()),
                                        SQLITE_PREPARE_PERSISTENT, &statement_, nullptr);
  if (result != SQLITE_OK) {
    fail(database, result);
  }
}

Statement::~Statement() { sqlite3_finalize(statement_); }

Statement::Statement(Statement&& other) noexcept : statement_(std::exchange(other.statement_, nullptr)) {}

void Statement::check(int result) const {
  if (result != SQLITE_OK) {
    fail(sqlite3_db_handle(statement_), result);
  }
}

void Statement::bind(int parameter, std::int64_t value) {
  check(sqlite3_bind_int64(statement_, parameter, value));
}

void Statement::bind(int parameter, double value) {
  check(sqlite3_bind_double(statement_, parameter, value));
}

void Statement::bind(int parameter, std::string_view value) {
  const char* text = value.data() != nullptr ? value.data() : "";  // SQLite binds NULL for a null pointer
  check(sqlite3_bind_text64(statement_, parameter, text, value.size(), SQLITE_TRANSIENT, SQLITE_UTF8));
}

void Statement::bindNull(int parameter) { check(sqlite3_bind_null(statement_, parameter)); }

bool Statement::step() {
  const int result = sqlite3_step(statement_);
  if (result != SQLITE_ROW && result != SQLITE_DONE) {
    fail(sqlite3_db_handle(statement_), result);
  }
  return result == SQLITE_ROW;
}

void Statement::reset() noexcept {
  sqlite3_reset(statement_);  // returns the error of the last step again
  sqlite3_clear_bindings(statement_);
}

bool Statement::isNull(int column) const { return sqlite3_column_type(statement_, column) == SQLITE_NULL; }

std::int64_t Statement::integer(int column) const { return sqlite3_column_int64(statement_, column); }

double Statement::real(int column) const { return sqlite3_column_double(statement_, column); }

std::string Statement::text(int column) const {
  const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement_, column));
  if (text == nullptr) {
    return {};
  }
  return {text, static_cast<std::size_t>(sqlite3_column_bytes(statement_, column))};
}

void Database::Deleter::operator()(sqlite3* database) const { sqlite3_close_v2(database); }

Database::Database(const FileURL& file, OpenMode mode, std::chrono::milliseconds busyTimeout) {
  int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_NOFOLLOW | SQLITE_OPEN_EXRESCODE;
  if (mode == OpenMode::existingOrNew) {
    flags |= SQLITE_OPEN_CREATE;
  }
  sqlite3* database = nullptr;
  const int result = sqlite3_open_v2(file.path().c_str(), &database, flags, nullptr);
  database_.reset(database);  // set by sqlite3_open_v2 also when it fails
  if (result != SQLITE_OK) {
    fail(database, result);
  }
  configure(busyTimeout);
}

Database::~Database() = default;

void Database::configure(std::chrono::milliseconds busyTimeout) {
  sqlite3* database = database_.get();
  sqlite3_db_config(database, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
  sqlite3_db_config(database, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
  sqlite3_db_config(database, SQLITE_DBCONFIG_ENABLE_TRIGGER, 0, nullptr);
  sqlite3_db_config(database, SQLITE_DBCONFIG_ENABLE_VIEW, 0, nullptr);
  sqlite3_db_config(database, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
  sqlite3_busy_timeout(database, static_cast<int>(busyTimeout.count()));
  run("PRAGMA synchronous=FULL; PRAGMA foreign_keys=ON; PRAGMA cell_size_check=ON; PRAGMA "
      "temp_store=MEMORY;");
}

void Database::copyTo(Database& target) {
  sqlite3_backup* backup = sqlite3_backup_init(target.database_.get(), "main", database_.get(), "main");
  if (backup == nullptr) {
    fail(target.database_.get(), SQLITE_ERROR);
  }
  constexpr int allPages = -1;
  const int result = sqlite3_backup_step(backup, allPages);
  sqlite3_backup_finish(backup);
  if (result != SQLITE_DONE) {
    throw DatabaseError(result, sqlite3_errstr(result));
  }
}

void Database::checkpointOnClose() {
  sqlite3_db_config(database_.get(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 0, nullptr);
}

void Database::run(const std::string& statements) {
  const int result = sqlite3_exec(database_.get(), statements.c_str(), nullptr, nullptr, nullptr);
  if (result != SQLITE_OK) {
    fail(database_.get(), result);
  }
}

Statement& Database::prepared(std::string_view sql) {
  const auto known = statements_.find(sql);
  if (known != statements_.end()) {
    return known->second;
  }
  return statements_.emplace(sql, Statement(database_.get(), sql)).first->second;
}

std::int64_t Database::lastInsertedRow() const { return sqlite3_last_insert_rowid(database_.get()); }

Transaction::Transaction(Database& database, Kind kind) : database_(&database) {
  database.execute(kind == Kind::reading ? "BEGIN" : "BEGIN IMMEDIATE");
}

Transaction::~Transaction() {
  // SQLite may have rolled back already after an error. Errors of ROLLBACK can be ignored: closing the
  // connection discards what is not committed.
  if (database_ != nullptr && sqlite3_get_autocommit(database_->database_.get()) == 0) {
    sqlite3_exec(database_->database_.get(), "ROLLBACK", nullptr, nullptr, nullptr);
  }
}

void Transaction::commit() {
  database_->execute("COMMIT");
  database_ = nullptr;
}

}  // namespace tolvander::platform::linux_
