#pragma once

#include <string>

struct sqlite3;

namespace zul::test {

/// A connection beside the store's own, as the sqlite3 shell has one.
class SqliteShell {
 public:
  explicit SqliteShell(const std::string& database);
  ~SqliteShell();
  SqliteShell(const SqliteShell&) = delete;
  SqliteShell& operator=(const SqliteShell&) = delete;

  /// The first value of the last row, or the error.
  std::string run(const std::string& sql);

 private:
  sqlite3* db_ = nullptr;
};

}  // namespace zul::test
