#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "FolderLock.h"
#include "Mutex.h"
#include "RowRing.h"
#include "zul/platform/DocumentStore.h"

struct sqlite3;

namespace zul::platform {

class SqliteConnection;
class SqliteError;

/// The document store in a folder of the device: "ZULLocalDB.sqlite" with its write-ahead log, readable
/// with the sqlite3 shell at any time: what the shell knows as `documents` is a view that shows the queue's rows
/// as the document "Json", too. Nothing is opened before the first call. Any thread may call anything; one mutex
/// guards the connection. The queue's keys are written as std::to_string does.
///
/// A commit appends to the log and never waits for the disk: what it wrote survives the death of the
/// process, and a power cut takes back the latest commits whole. For that SQLite must never restart the
/// log on a committing thread. With syncing on it would fsync there; with syncing off a power cut could
/// leave new frames behind the header of the old log, whose remaining frames would then be replayed over
/// a newer database. So the writing connection neither syncs nor checkpoints, and `maintain` empties the
/// log from a background thread:
///
/// 1. A reader pins the end of the log, so that no writer restarts it.
/// 2. A checkpoint on a connection of its own syncs the log, copies it into the database and syncs that,
///    while commits go on.
/// 3. If nothing was appended meanwhile, the log is truncated under the mutex; there is nothing left to
///    copy, hence nothing to sync. Otherwise the log has frames that are not copied yet, and as long as
///    it has, no writer restarts it.
/// 4. Where commits come so steadily that this never ends, and the log has grown to 8 MB, what little came since the
///    last copy is copied, with its syncs, under the mutex, so that nothing can be appended; then the log is
///    truncated. Only there a commit waits, on its mutex, for as long as the disk takes over some pages.
/// 5. The empty log is synced, outside the mutex.
///
/// `maintain` is asked for by the first commit of a new database, which is created in the same way; then when the log
/// has 2 MB, or when a commit has been in it for `mostAge`.
class SqliteStore final : public DocumentStore {
 public:
  using Clock = std::chrono::steady_clock;

  static constexpr const char* kFileName = "ZULLocalDB.sqlite";
  static constexpr std::int64_t kSchemaVersion = 2;  ///< in PRAGMA user_version; a later one migrates from here

  explicit SqliteStore(std::string folder, Clock::duration mostAge = std::chrono::minutes(1));
  ~SqliteStore() override;
  SqliteStore(const SqliteStore&) = delete;
  SqliteStore& operator=(const SqliteStore&) = delete;

  Loaded load(Table table, std::string_view key) override;
  Loaded loadAfter(Table table, const std::optional<std::string>& after, std::size_t most) override;
  Loaded loadLast(Table table) override;
  Status commit(std::span<const Write> writes) override;
  bool needsMaintenance() const override;
  void maintain() override;
  std::string lastError() const override;
  /// Null where the folder cannot be kept for this process alone.
  RowBuffer* buffer() noexcept override;

 private:
  template <typename Read>
  Loaded load(const char* operation, Read read);
  template <typename Work>
  Status run(const char* operation, Work work);
  void open() ZUL_REQUIRES(mutex_);
  Status failed(const char* operation, const SqliteError& error) ZUL_REQUIRES(mutex_);
  Status judge() ZUL_REQUIRES(mutex_);
  Status setAside() ZUL_REQUIRES(mutex_);
  void describe(const char* operation, const SqliteError& error) ZUL_REQUIRES(mutex_);
  bool emptyLog() ZUL_REQUIRES(maintaining_);
  bool truncateLog(SqliteConnection& checkpointer) ZUL_REQUIRES(mutex_);

  const std::string path_;

  mutable Mutex mutex_;
  FolderLock lock_ ZUL_GUARDED_BY(mutex_);
  RowRing ring_;
  std::unique_ptr<SqliteConnection> connection_ ZUL_GUARDED_BY(mutex_);
  // Another value whenever path_ may have become another file.
  std::uint64_t generation_ ZUL_GUARDED_BY(mutex_) = 0;
  std::string lastError_ ZUL_GUARDED_BY(mutex_);

  static int noteLogPages(void* self, sqlite3* db, const char* name, int pages);

  const Clock::duration mostAge_;
  std::atomic<int> logPages_{0};                 // as of the latest commit that made it longer
  std::atomic<Clock::time_point> waitingSince_;  // what is in the log, for the disk
  std::atomic<int> maintainAbove_;
  Mutex maintaining_;  // held over maintain()
};

}  // namespace zul::platform
