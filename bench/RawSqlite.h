#pragma once

#include <string>
#include <utility>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

namespace zul::bench {

/// The store's file as a program with nothing but SQLite would use it: a write-ahead log, synchronous
/// NORMAL, prepared statements. Throws std::runtime_error when SQLite fails.
class RawSqlite {
 public:
  using Rows = std::vector<std::pair<std::string, std::string>>;

  /// Opens the file, which becomes a new database with the store's tables when it does not exist.
  explicit RawSqlite(const std::string& path);
  ~RawSqlite();
  RawSqlite(const RawSqlite&) = delete;
  RawSqlite& operator=(const RawSqlite&) = delete;

  /// Puts documents in one commit.
  void commit(const Rows& documents);

  /// Puts payloads behind those that are queued, in one commit.
  void queue(const std::vector<std::string>& payloads);

  /// The bytes in the bodies of the documents.
  std::size_t read(const std::vector<std::string>& documents);

 private:
  void execute(const char* sql);
  sqlite3_stmt* prepare(const char* sql);
  void run(sqlite3_stmt* statement);

  sqlite3* db_ = nullptr;
  sqlite3_stmt* begin_ = nullptr;
  sqlite3_stmt* put_ = nullptr;
  sqlite3_stmt* end_ = nullptr;
  sqlite3_stmt* get_ = nullptr;
};

}  // namespace zul::bench
