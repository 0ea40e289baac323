#pragma once

#include <gmock/gmock.h>

#include <filesystem>
#include <string>
#include <vector>

#include "SqliteShell.h"
#include "SqliteStore.h"
#include "TemporaryFolder.h"

namespace zul::platform {

using Table = DocumentStore::Table;
using Status = DocumentStore::Status;
using Writes = std::vector<DocumentStore::Write>;
using test::SqliteShell;

inline bool operator==(const StoredRow& a, const StoredRow& b) {
  return a.key == b.key && a.text == b.text;
}

/// Tests of a store in a folder of their own, gone afterwards.
class SqliteStoreFolder : public testing::Test {
 protected:
  std::uintmax_t logSize() const { return std::filesystem::file_size(database + "-wal"); }

 private:
  const test::TemporaryFolder temporary_;

 protected:
  const std::filesystem::path folder = temporary_.path();
  const std::string database = temporary_.path("ZULLocalDB.sqlite");
};

}  // namespace zul::platform
