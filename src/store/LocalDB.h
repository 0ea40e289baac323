#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <thread>
#include <unordered_map>
#include <utility>
#include <vector>

#include "Document.h"
#include "Mutex.h"
#include "Tasks.h"
#include "zul/platform/DocumentStore.h"

namespace zul {

/// The database "ZULLocalDB": named documents, and the rows of the upload queue, one a payload from its acceptance
/// until the collector has it. The document "Json" is no row of its own: it is computed from the payloads' rows, and
/// what is written to it becomes such rows.
///
/// Any thread may call it. Reads come from immutable snapshots in memory, touch the disk once a document,
/// and never wait for a write. Writes are atomic read-modify-writes, one after the other; `transaction`
/// makes several of them one commit. Inside a transaction the thread sees its own writes, and nothing may
/// wait, log or call another owner: `afterCommit` is for that.
///
/// When the store fails, the state lives on in memory; the log says so once, and everything that could not be
/// written is tried again in the background every second.
class LocalDB {
 public:
  using Edit = std::function<void(MutableDocument&)>;
  /// The text of a payload's JSON object. A payload is known by its pointer.
  using Payload = std::shared_ptr<const std::string>;

  LocalDB(std::shared_ptr<platform::DocumentStore> store, Tasks tasks, Log log);

  Document documentWithID(std::string_view id);

  /// Edits the document, creating it when none is stored.
  void update(std::string_view id, const Edit& edit);
  /// Edits the document; does nothing when none is stored.
  void updateExisting(std::string_view id, const Edit& edit);
  /// Puts a new document in the place of the stored one, with what `fill` sets and nothing else.
  void replace(std::string_view id, const Edit& fill);

  /// Runs `work`, whose writes become one commit; when it throws, none of them happens. A transaction
  /// within a transaction is part of the outer one.
  void transaction(const std::function<void()>& work);

  /// Runs `task` on this thread once the current transaction is over and its lock is released; at once when
  /// there is none.
  void afterCommit(std::function<void()> task);

  // ---- the queue

  /// Accepts payloads behind all others.
  void enqueue(std::span<const Payload> payloads);
  /// The collector has them. Payloads that are not queued are passed over.
  void dequeue(std::span<const Payload> payloads);
  /// Reads the rows that earlier processes left, once; they come before this one's. Waits for the disk. False when
  /// they cannot be read just now: whoever needs them asks again.
  bool loadQueue();
  /// The payloads in their order, without those that are not read yet.
  [[nodiscard]] std::vector<Payload> queue() const;
  /// True once after a text that could not be understood stood in "QueueJsonList"; it has been set aside.
  bool takeUnreadableQueue() { return unreadableQueue_.exchange(false); }

 private:
  using Store = platform::DocumentStore;
  using Members = std::shared_ptr<const boost::json::object>;
  using Writes = std::vector<Store::Write>;

  // In the place of an id, where the store could not tell its last one yet.
  static constexpr std::int64_t kUnplaced = std::numeric_limits<std::int64_t>::min();

  struct Hash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const noexcept { return std::hash<std::string_view>()(text); }
  };

  struct Row {
    std::int64_t id = kUnplaced;  // its order
    Payload payload;
    bool stored = false;
  };

  // The writes of the transaction that is open.
  struct Pending {
    std::map<std::string, boost::json::object, std::less<>> documents;
    std::vector<Payload> accepted;
    std::vector<Payload> delivered;
    Writes rows;  // as they stand
    std::vector<std::function<void()>> afterwards;
  };

  // LocalDB.cpp: reading and transactions
  bool inTransaction() const { return owner_.load(std::memory_order_relaxed) == std::this_thread::get_id(); }
  void assertInTransaction() const ZUL_ASSERT_CAPABILITY(writing_) {}  // for clang, which does not look into `work`
  Members cached(std::string_view id, bool& known) const;
  Members members(std::string_view id, bool& readable);
  void prepareEdit(std::string_view id);
  boost::json::object* pendingDocument(std::string_view id, bool create);
  static Store::Write asideRow(std::string_view name, std::string text);

  // LocalDBQueue.cpp: the rows
  static std::int64_t rowId(const std::string& key);
  void changeRows(Writes& writes) ZUL_REQUIRES(writing_);
  bool knowLastId() ZUL_REQUIRES(writing_);
  void placeRows() ZUL_REQUIRES(writing_);
  Members queueDocument();
  void replaceQueue(const boost::json::object& document) ZUL_REQUIRES(writing_);
  void noteUnreadableQueue(std::string text) ZUL_REQUIRES(writing_);
  void noteRemoved(std::string removed) ZUL_REQUIRES(writing_);
  struct LeftOver {
    std::optional<std::string> document;  // an older library's
    std::vector<platform::StoredRow> rows;
    bool damaged = false;  // what follows the rows was lost, and they are in the store no more
  };
  bool readRows(std::int64_t last, LeftOver& leftOver);
  void join(LeftOver leftOver);

  // LocalDBStore.cpp: what goes to the store
  void commit() ZUL_REQUIRES(writing_);
  void write(Writes writes) ZUL_REQUIRES(writing_);
  void maintainIfDue();
  void keepUnsaved(Writes& writes) ZUL_REQUIRES(writing_);
  void fallBehind(const char* cannotBe) ZUL_REQUIRES(writing_);
  void retryLater() ZUL_REQUIRES(writing_);
  void retry();
  Writes everythingUnsaved() ZUL_REQUIRES(writing_);
  void noteSaved() ZUL_REQUIRES(writing_);
  void joinDetached(Writes& writes) ZUL_REQUIRES(writing_);
  void rewriteEverything() ZUL_REQUIRES(writing_);

  const std::shared_ptr<Store> store_;
  const Tasks tasks_;
  const Log log_;

  Mutex writing_;                         // held over a commit
  std::atomic<std::thread::id> owner_{};  // the thread whose transaction is open
  Pending pending_ ZUL_GUARDED_BY(writing_);
  // In memory only: their stored form could not be read.
  std::set<std::string, std::less<>> detached_ ZUL_GUARDED_BY(writing_);
  std::optional<std::int64_t> lastId_ ZUL_GUARDED_BY(writing_);      // of a row; none: the store could not tell yet
  std::optional<std::int64_t> lastLeftId_ ZUL_GUARDED_BY(writing_);  // the last row's that an earlier process left
  bool behind_ ZUL_GUARDED_BY(writing_) = false;                     // the store lacks something that memory has
  bool retryDue_ ZUL_GUARDED_BY(writing_) = false;
  std::vector<std::int64_t> unsavedRemovals_ ZUL_GUARDED_BY(writing_);
  Writes unsavedAside_ ZUL_GUARDED_BY(writing_);
  bool dropQueueDocument_ ZUL_GUARDED_BY(writing_) = false;  // the stored "Json" has become rows
  bool failureReported_ ZUL_GUARDED_BY(writing_) = false;

  mutable Mutex reading_;  // held for a look-up; taken after writing_
  // Null: known not to exist.
  std::unordered_map<std::string, Members, Hash, std::equal_to<>> documents_ ZUL_GUARDED_BY(reading_);

  mutable Mutex listing_;                          // held for a pass over the rows; taken after writing_
  std::deque<Row> rows_ ZUL_GUARDED_BY(listing_);  // in order; changed in transactions alone

  Mutex loading_;  // one at a time reads what was left; taken before writing_
  bool queueLoaded_ ZUL_GUARDED_BY(loading_) = false;
  std::atomic<bool> unreadableQueue_{false};
  // A read failed: until the background has reached the store again, nobody else waits for it.
  std::atomic<bool> unreadable_{false};
  std::atomic<bool> maintaining_{false};
};

}  // namespace zul
