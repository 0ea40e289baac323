#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

namespace zul::platform {

/// What SQLite, or the system under it, answered instead of doing what it was asked.
class SqliteError : public std::runtime_error {
 public:
  SqliteError(int code, const std::string& message) : std::runtime_error(message), code_(code) {}

  /// The primary result code: SQLITE_FULL, SQLITE_CORRUPT, ...
  int code() const { return code_; }

  /// SQLite says damaged, or not a database. It also says so of a file that the system failed to read.
  bool tellsOfDamage() const;

 private:
  int code_;
};

/// One connection to an existing database file; one thread at a time. Every operation throws SqliteError
/// when it fails. Closing never touches the database: the log stays as it is for the next connection.
class SqliteConnection {
 public:
  explicit SqliteConnection(const std::string& path);
  ~SqliteConnection();
  SqliteConnection(const SqliteConnection&) = delete;
  SqliteConnection& operator=(const SqliteConnection&) = delete;

  /// Runs statements whose results nobody wants.
  void execute(const char* sql);

  /// Runs a checkpoint, one of SQLITE_CHECKPOINT_*. False when other connections kept it from copying
  /// the whole log, or from restarting it where the mode asks for that.
  bool checkpoint(int mode);

  /// The compiled statement of `sql`, a string literal: it is known by its address and kept.
  sqlite3_stmt* statement(const char* sql);

  /// The error that the last call left behind.
  SqliteError error() const;

  sqlite3* handle() const { return db_; }

  /// The system's own error number where reading the database or its log last failed, or 0.
  int readError() const;

 private:
  sqlite3* db_ = nullptr;
  std::vector<std::pair<const char*, sqlite3_stmt*>> statements_;
};

/// One run of a kept statement, reset at the end of the scope whatever happens, so that no read
/// transaction stays open behind it.
class SqliteQuery {
 public:
  SqliteQuery(SqliteConnection& connection, const char* sql);
  ~SqliteQuery();
  SqliteQuery(const SqliteQuery&) = delete;
  SqliteQuery& operator=(const SqliteQuery&) = delete;

  /// Parameters count from 1. A text is not copied and must outlive the query.
  void bind(int parameter, std::string_view text);
  void bind(int parameter, std::int64_t number);

  /// True while there is a row.
  bool step();

  /// Columns of the row count from 0.
  bool isNull(int column);
  std::string text(int column);
  std::int64_t number(int column);

 private:
  void check(int code) const;

  SqliteConnection& connection_;
  sqlite3_stmt* statement_;
};

/// A write transaction, rolled back by its destructor unless it was committed.
class SqliteTransaction {
 public:
  explicit SqliteTransaction(SqliteConnection& connection);
  ~SqliteTransaction();
  SqliteTransaction(const SqliteTransaction&) = delete;
  SqliteTransaction& operator=(const SqliteTransaction&) = delete;

  void commit();

 private:
  SqliteConnection& connection_;
};

/// The number that a database has for its layout: PRAGMA user_version, 0 in a new one. Throws SqliteError.
std::int64_t schemaVersion(SqliteConnection& connection);

/// Looks at the whole database anew: true when it is damaged or none. Throws SqliteError when it could not be looked
/// at, which says nothing about what is in it.
bool isDamaged(const std::string& path);

}  // namespace zul::platform
