#pragma once

#include <stdexcept>
#include <string>

#include "Mutex.h"
#include "zul/platform/Keychain.h"

namespace zul::platform {

class SqliteConnection;
class SqliteError;

/// The keychain of one application in a file of its own, readable with the sqlite3 shell: one row an item. Any thread
/// of any process may call anything at any time.
///
/// Each call opens the file and closes it again: nothing is opened before the first call, a child that was forked
/// shares nothing with its parent, and a file that somebody removes or replaces is seen at once. One writer at a time
/// changes the file, in a transaction that is on the disk when the call returns; so a power cut leaves the items as
/// they were before a call or after it. Who has to wait for another longer than 100 ms gets `failed`.
///
/// A file that SQLite finds damaged, twice, is renamed to "<file>.corrupt-<UTC time>"; that call fails, and the next
/// begins a new file. Nothing is ever deleted or written over.
class SqliteKeychain final : public Keychain {
 public:
  explicit SqliteKeychain(std::string file) : path_(std::move(file)) {}

  Found SecItemCopyMatching(const Dictionary& query) override;
  Status SecItemAdd(const Dictionary& attributes) override;
  Status SecItemUpdate(const Dictionary& query, const Dictionary& attributes) override;
  Status SecItemDelete(const Dictionary& query) override;

  /// The operation, the file and the reason.
  std::string lastError() const override;

 private:
  template <typename Work>
  Status run(const char* operation, Work work);
  template <typename Work>
  Status write(const char* operation, Work work);
  void failed(const char* operation, const std::exception& error);
  std::string judge();

  const std::string path_;
  Mutex calls_;  // one at a time in this process; held over a commit
  mutable Mutex mutex_;
  std::string lastError_ ZUL_GUARDED_BY(mutex_);
};

}  // namespace zul::platform
