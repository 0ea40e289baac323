#include "SqliteShell.h"

#include <sqlite3.h>

namespace zul::test {

SqliteShell::SqliteShell(const std::string& database) {
  sqlite3_open(database.c_str(), &db_);  // what fails here is told by what runs
  sqlite3_busy_timeout(db_, 5000);
}

SqliteShell::~SqliteShell() {
  sqlite3_close(db_);
}

std::string SqliteShell::run(const std::string& sql) {
  std::string value;
  const auto note = [](void* out, int, char** values, char**) {
    *static_cast<std::string*>(out) = values[0] != nullptr ? values[0] : "";
    return 0;
  };
  return sqlite3_exec(db_, sql.c_str(), note, &value, nullptr) == SQLITE_OK ? value : sqlite3_errmsg(db_);
}

}  // namespace zul::test
