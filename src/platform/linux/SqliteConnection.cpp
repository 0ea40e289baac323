#include "SqliteConnection.h"

#include <sqlite3.h>

#include <new>
#include <system_error>

namespace zul::platform {

bool SqliteError::tellsOfDamage() const {
  return code_ == SQLITE_CORRUPT || code_ == SQLITE_NOTADB;
}

SqliteConnection::SqliteConnection(const std::string& path) {
  if (sqlite3_open_v2(path.c_str(), &db_, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr) != SQLITE_OK) {
    if (db_ == nullptr) {
      throw std::bad_alloc();
    }
    const SqliteError failure = error();
    sqlite3_close(db_);
    throw failure;
  }
  // The checkpoint of a closing connection would use that connection's own syncing, which may be none.
  sqlite3_db_config(db_, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
}

SqliteConnection::~SqliteConnection() {
  for (const auto& [sql, statement] : statements_) {
    sqlite3_finalize(statement);
  }
  sqlite3_close(db_);
}

void SqliteConnection::execute(const char* sql) {
  if (sqlite3_exec(db_, sql, nullptr, nullptr, nullptr) != SQLITE_OK) {
    throw error();
  }
}

bool SqliteConnection::checkpoint(int mode) {
  int logPages = 0;
  int copiedPages = 0;
  const int code = sqlite3_wal_checkpoint_v2(db_, "main", mode, &logPages, &copiedPages);
  if (code == SQLITE_BUSY) {
    return false;
  }
  if (code != SQLITE_OK) {
    throw error();
  }
  return copiedPages == logPages;
}

sqlite3_stmt* SqliteConnection::statement(const char* sql) {
  for (const auto& [known, statement] : statements_) {
    if (known == sql) {
      return statement;
    }
  }
  auto& [key, statement] = statements_.emplace_back(sql, nullptr);
  if (sqlite3_prepare_v3(db_, sql, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr) != SQLITE_OK) {
    statements_.pop_back();
    throw error();
  }
  return statement;
}

SqliteError SqliteConnection::error() const {
  const int code = sqlite3_errcode(db_) & 0xff;
  std::string message = sqlite3_errmsg(db_);
  const int cause = sqlite3_system_errno(db_);
  if (cause != 0 && (code == SQLITE_CANTOPEN || code == SQLITE_IOERR)) {
    message += " (" + std::generic_category().message(cause) + ")";
  }
  return {code, message};
}

int SqliteConnection::readError() const {
  for (const int which : {SQLITE_FCNTL_FILE_POINTER, SQLITE_FCNTL_JOURNAL_POINTER}) {
    sqlite3_file* file = nullptr;
    int cause = 0;
    sqlite3_file_control(db_, "main", which, &file);
    if (file == nullptr || file->pMethods == nullptr) continue;
    file->pMethods->xFileControl(file, SQLITE_FCNTL_LAST_ERRNO, &cause);
    if (cause != 0) return cause;
  }
  return 0;
}

SqliteQuery::SqliteQuery(SqliteConnection& connection, const char* sql)
    : connection_(connection), statement_(connection.statement(sql)) {}

SqliteQuery::~SqliteQuery() {
  sqlite3_reset(statement_);
  sqlite3_clear_bindings(statement_);
}

void SqliteQuery::bind(int parameter, std::string_view text) {
  // A null pointer would bind NULL instead of an empty text.
  const char* data = text.data() != nullptr ? text.data() : "";
  check(sqlite3_bind_text64(statement_, parameter, data, text.size(), SQLITE_STATIC, SQLITE_UTF8));
}

void SqliteQuery::bind(int parameter, std::int64_t number) {
  check(sqlite3_bind_int64(statement_, parameter, number));
}

bool SqliteQuery::step() {
  const int code = sqlite3_step(statement_);
  if (code != SQLITE_ROW && code != SQLITE_DONE) {
    throw connection_.error();
  }
  return code == SQLITE_ROW;
}

bool SqliteQuery::isNull(int column) {
  return sqlite3_column_type(statement_, column) == SQLITE_NULL;
}

std::string SqliteQuery::text(int column) {
  const void* data = sqlite3_column_blob(statement_, column);
  const auto size = static_cast<std::size_t>(sqlite3_column_bytes(statement_, column));
  if (data == nullptr && sqlite3_errcode(connection_.handle()) == SQLITE_NOMEM) {
    throw std::bad_alloc();
  }
  return data != nullptr ? std::string(static_cast<const char*>(data), size) : std::string();
}

std::int64_t SqliteQuery::number(int column) {
  return sqlite3_column_int64(statement_, column);
}

void SqliteQuery::check(int code) const {
  if (code != SQLITE_OK) {
    throw connection_.error();
  }
}

SqliteTransaction::SqliteTransaction(SqliteConnection& connection) : connection_(connection) {
  SqliteQuery(connection_, "BEGIN IMMEDIATE").step();
}

SqliteTransaction::~SqliteTransaction() {
  // Some failures roll back by themselves.
  if (sqlite3_get_autocommit(connection_.handle()) == 0) {
    sqlite3_exec(connection_.handle(), "ROLLBACK", nullptr, nullptr, nullptr);
  }
}

void SqliteTransaction::commit() {
  SqliteQuery(connection_, "COMMIT").step();
}

std::int64_t schemaVersion(SqliteConnection& connection) {
  SqliteQuery query(connection, "PRAGMA user_version");
  return query.step() ? query.number(0) : 0;
}

bool isDamaged(const std::string& path) {
  SqliteConnection connection(path);
  bool damaged = false;
  try {
    // The quick check would pass over an index that has lost its table's rows.
    SqliteQuery check(connection, "PRAGMA integrity_check(1)");
    damaged = !check.step() || check.text(0) != "ok";
  } catch (const SqliteError& error) {
    if (!error.tellsOfDamage()) throw;
    damaged = true;
  }
  if (const int cause = connection.readError(); damaged && cause != 0) {
    throw SqliteError(SQLITE_IOERR, "unable to read the file (" + std::generic_category().message(cause) + ")");
  }
  return damaged;
}

}  // namespace zul::platform
