#pragma once

#include <gmock/gmock.h>
#include <sqlite3.h>
#include <stdlib.h>

#include <filesystem>
#include <string>
#include <vector>

#include "SqliteStore.h"

namespace zul::platform {

using Table = DocumentStore::Table;
using Status = DocumentStore::Status;
using Writes = std::vector<DocumentStore::Write>;

inline bool operator==(const StoredRow& a, const StoredRow& b) {
  return a.key == b.key && a.text == b.text;
}

/// Tests of a store in a folder of their own, gone afterwards.
class SqliteStoreFolder : public testing::Test {
 protected:
  SqliteStoreFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "sqlite_store_XXXXXX").string();
    folder = ::mkdtemp(name.data());
    database = folder / "ZULLocalDB.sqlite";
  }
  ~SqliteStoreFolder() override { std::filesystem::remove_all(folder); }

  std::uintmax_t logSize() const { return std::filesystem::file_size(database + "-wal"); }

  std::filesystem::path folder;
  std::string database;
};

/// A connection beside the store's own, as the sqlite3 shell has one.
class Shell {
 public:
  explicit Shell(const std::string& path) {
    sqlite3_open(path.c_str(), &db_);
    sqlite3_busy_timeout(db_, 5000);
  }
  ~Shell() { sqlite3_close(db_); }
  Shell(const Shell&) = delete;
  Shell& operator=(const Shell&) = delete;

  /// The first value of the last row, or the error.
  std::string run(const char* sql) {
    std::string value;
    const auto note = [](void* out, int, char** values, char**) {
      *static_cast<std::string*>(out) = values[0] != nullptr ? values[0] : "";
      return 0;
    };
    return sqlite3_exec(db_, sql, note, &value, nullptr) == SQLITE_OK ? value : sqlite3_errmsg(db_);
  }

 private:
  sqlite3* db_ = nullptr;
};

}  // namespace zul::platform
