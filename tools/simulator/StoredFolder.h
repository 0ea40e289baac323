#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "zul/platform/DocumentStore.h"
#include "zul/platform/Keychain.h"

namespace zul::simulator {

/// What an application has left in its data folder, as far as it can be read. The folder itself is only copied from:
/// SQLite works on the copy.
struct StoredFolder {
  using Table = platform::DocumentStore::Table;

  std::int64_t layout = 0;  ///< the number that the database gives its tables
  std::map<Table, std::vector<platform::StoredRow>> rows;
  std::map<std::string, platform::Keychain::Dictionary> keychain;  ///< items by identifier
  std::map<std::string, double> defaults;
  std::vector<std::string> remarks;  ///< what is odd or missing, for people
};

/// Throws CommandError, saying what is there instead, where nothing could be read.
StoredFolder readStoredFolder(const std::string& folder);

}  // namespace zul::simulator
