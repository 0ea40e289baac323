#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <limits>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <thread>
#include <unordered_map>
#include <utility>
#include <vector>

#include "Document.h"
#include "IdSet.h"
#include "Mutex.h"
#include "Tasks.h"
#include "zul/platform/DocumentStore.h"

namespace zul {

/// The database "ZULLocalDB": named documents, and the rows of the upload queue, one a payload from its acceptance
/// until the collector has it. The document "Json" is no row of its own: it is computed from the payloads' rows, and
/// what is written to it becomes such rows.
///
/// A payload is accepted into the store's buffer, which takes microseconds and waits for no commit. If the collector
/// does not take it from there, it is drained into its row in the background; where there is no buffer, or no room in
/// it, the row is committed at once. The texts of a short queue stay in memory, those of a long one are read when
/// wanted.
///
/// The documents are read once, all together; from then on memory has them. Until that has succeeded nothing is known
/// about this installation, and so nothing can be decided or written: reads find no document, and writes throw.
/// `whenReadable` is for whoever may come that early.
///
/// Any thread may call it. Reads come from immutable snapshots in memory and never wait for a write. Writes are atomic
/// read-modify-writes, one after the other; `transaction` makes several of them one commit. Inside a transaction the
/// thread sees its own writes, and nothing may wait, log or call another owner: `afterCommit` is for that.
///
/// When the store fails, the state lives on in memory; the log says so once, and everything that could not be
/// written is tried again in the background every second.
class LocalDB {
 public:
  using Edit = std::function<void(MutableDocument&)>;
  /// The text of a payload's JSON object.
  using Payload = std::shared_ptr<const std::string>;
  /// A queued payload. The order of the ids is that of the queue.
  struct Queued {
    std::int64_t id;
    Payload payload;
  };
  /// A part of the queue.
  struct Page {
    bool failed = false;  ///< the store cannot be read just now: only what is in memory is here
    std::vector<Queued> payloads;
    std::optional<std::int64_t> last;  ///< where to read on from; none at the end of the queue
  };

  /// A longer queue is not kept in memory.
  static constexpr std::size_t kMostInMemory = 256;

  LocalDB(std::shared_ptr<platform::DocumentStore> store, Tasks tasks, Log log);

  /// True once the stored documents are known. Reads them unless an earlier attempt failed: then the background alone
  /// tries again, every second.
  bool isReadable();
  /// Runs `task` as soon as they are: at once, or later in the background, in the order of the calls.
  void whenReadable(std::function<void()> task);
  /// Throws std::runtime_error until they are.
  void requireReadable();

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

  /// Ids for `count` payloads, behind all that were given before: the first of them. Throws as `requireReadable` does.
  std::int64_t reserveIds(std::size_t count);
  /// The last id that was given.
  std::int64_t lastId() const { return lastId_; }
  /// Accepts payloads under ids that were reserved.
  void enqueue(std::int64_t firstId, std::span<const Payload> payloads);
  /// Makes rows of what was accepted into the buffer.
  void drain();
  /// The same when the buffer has not much room left: what the collector takes at once need never become a row.
  void drainWhenCrowded();
  /// The collector has them. Ids that are not queued are passed over.
  void dequeue(const IdSet& ids);
  /// Takes over what earlier processes left, and reads a short queue into memory. Waits for the disk. False when that
  /// cannot be done just now: whoever needs it asks again.
  bool loadQueue();
  /// The payloads behind `after`, up to `through`, in their order: at most `most`. What is no payload is set aside.
  [[nodiscard]] Page payloads(std::int64_t after, std::int64_t through, std::size_t most);
  /// True once after a text that could not be understood stood in "QueueJsonList"; it has been set aside.
  bool takeUnreadableQueue() { return unreadableQueue_.exchange(false); }

 private:
  using Store = platform::DocumentStore;
  using Members = std::shared_ptr<const boost::json::object>;
  using Writes = std::vector<Store::Write>;

  struct Hash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const noexcept { return std::hash<std::string_view>()(text); }
  };

  static constexpr auto kNowhere = std::numeric_limits<std::uint64_t>::max();

  struct Row {
    Payload payload;
    bool stored;                     // as a row of the table
    std::uint64_t place = kNowhere;  // in the buffer; 0: somewhere in it
  };
  using Rows = std::map<std::int64_t, Row>;  // a map, since rows must come and go without taking memory

  // The writes of the transaction that is open.
  struct Pending {
    std::map<std::string, boost::json::object, std::less<>> documents;
    Rows accepted;
    IdSet delivered;
    IdSet seen;  // in the document "Json"
    bool drains = false;
    Writes rows;  // as they stand
    std::vector<std::function<void()>> afterwards;
  };

  // The same, made ready: to take it over needs no more memory.
  struct Change {
    std::list<Writes> writes{1};  // one
    std::vector<std::pair<std::string, Members>> documents;
    IdSet delivered;
    IdSet gone;
    Rows added;
    std::vector<std::pair<std::int64_t, Row*>> drained;
  };

  // LocalDB.cpp: reading and transactions
  bool inTransaction() const { return owner_.load(std::memory_order_relaxed) == std::this_thread::get_id(); }
  void assertInTransaction() const ZUL_ASSERT_CAPABILITY(writing_) {}  // for clang, which does not look into `work`
  Members cached(std::string_view id) const;
  bool load() ZUL_REQUIRES(writing_);
  bool putOffLoading() ZUL_REQUIRES(writing_);
  std::optional<std::int64_t> readLastId(bool& damaged) ZUL_REQUIRES(writing_);
  void prepareEdit(std::string_view id);
  boost::json::object* pendingDocument(std::string_view id, bool create);
  static Store::Write asideRow(std::string_view name, std::string text);

  // LocalDBQueue.cpp: the rows
  static std::int64_t rowId(const std::string& key);
  static Store::Write rowWrite(std::int64_t id, const Payload& payload);
  bool append(std::int64_t firstId, std::span<const Payload> payloads);
  void changeRows(Change& change) ZUL_REQUIRES(writing_);
  void drainInto(Change& change) ZUL_REQUIRES(writing_);
  void takeOverRows(Change& change, bool stored) noexcept ZUL_REQUIRES(writing_);
  void noteDrained(const Change& change) noexcept ZUL_REQUIRES(listing_);
  void releaseBuffer() noexcept ZUL_REQUIRES(listing_);
  void dropDelivered(const IdSet& delivered) noexcept ZUL_REQUIRES(listing_);
  void forgetLongQueue() noexcept ZUL_REQUIRES(listing_);
  std::vector<Payload> queue(IdSet& seen);
  Members queueDocument();
  void replaceQueue(const boost::json::object& document) ZUL_REQUIRES(writing_);
  void noteUnreadableQueue(std::string text) ZUL_REQUIRES(writing_);
  void noteRemoved(std::string removed) ZUL_REQUIRES(writing_);
  bool takeLeftOver(std::int64_t lastId, Writes& aside) ZUL_REQUIRES(writing_);
  bool mayBeStored(const IdSet::Interval& ids) const;
  bool joinDocument() ZUL_REQUIRES(loading_);
  bool loadShortQueue() ZUL_REQUIRES(loading_);
  std::vector<Queued> sound(std::vector<platform::StoredRow> rows);

  // LocalDBStore.cpp: what goes to the store
  void commit() ZUL_REQUIRES(writing_);
  Change readyChange() ZUL_REQUIRES(writing_);
  void takeOver(Change& change, bool stored) noexcept ZUL_REQUIRES(writing_);
  Store::Status toStore(const Writes& writes) noexcept;
  void settle(Store::Status status, std::list<Writes>& writes) noexcept ZUL_REQUIRES(writing_);
  void keepUnsaved(std::list<Writes>& writes) noexcept ZUL_REQUIRES(writing_);
  void maintainIfDue();
  void tellOnce(const char* problem, const char* consequence) ZUL_REQUIRES(writing_);
  void retryLater() ZUL_REQUIRES(writing_);
  void retry();
  void catchUp() ZUL_REQUIRES(writing_);
  void gatherUnsaved(Change& change) ZUL_REQUIRES(writing_);
  Store::Status saveEverything() ZUL_REQUIRES(writing_);
  void rewriteEverything() ZUL_REQUIRES(writing_);

  const std::shared_ptr<Store> store_;
  const Tasks tasks_;
  const Log log_;

  Mutex writing_;                         // held over a commit
  std::atomic<std::thread::id> owner_{};  // the thread whose transaction is open
  Pending pending_ ZUL_GUARDED_BY(writing_);
  std::vector<std::function<void()>> waiting_ ZUL_GUARDED_BY(writing_);  // for the documents to be known
  std::atomic<std::int64_t> lastId_{0};                                  // of a payload
  std::int64_t lastLeftId_ ZUL_GUARDED_BY(writing_) = 0;                 // the last row's that an earlier process left
  bool behind_ ZUL_GUARDED_BY(writing_) = false;                         // the store lacks something that memory has
  bool retryDue_ ZUL_GUARDED_BY(writing_) = false;
  std::list<Writes> unsaved_ ZUL_GUARDED_BY(writing_);  // no state of ours: texts set aside, rows to be removed
  bool toldFailure_ ZUL_GUARDED_BY(writing_) = false;

  mutable Mutex reading_;  // held for a look-up; taken after writing_
  std::unordered_map<std::string, Members, Hash, std::equal_to<>> documents_ ZUL_GUARDED_BY(reading_);

  // Held for a few rows; taken after writing_. The rows of memory: all that are not stored, and of a short queue the
  // others as well.
  mutable Mutex listing_;
  Rows rows_ ZUL_GUARDED_BY(listing_);                   // go in transactions alone
  IdSet gone_ ZUL_GUARDED_BY(listing_);                  // delivered, and their rows could not be removed yet
  bool complete_ ZUL_GUARDED_BY(listing_) = false;       // the whole queue is in memory
  std::uint64_t leavings_ ZUL_GUARDED_BY(listing_) = 0;  // counts how often rows have left memory
  platform::RowBuffer* buffer_ ZUL_GUARDED_BY(listing_) = nullptr;

  Mutex loading_;  // one at a time reads what was left; taken before writing_
  bool documentJoined_ ZUL_GUARDED_BY(loading_) = false;
  std::atomic<bool> mayBeShort_{true};  // the queue that is not all in memory
  std::atomic<bool> unreadableQueue_{false};
  std::atomic<bool> loaded_{false};      // the documents are known, and the last row
  std::atomic<bool> unreadable_{false};  // an attempt to read them failed: the next one is the background's
  std::atomic<bool> maintaining_{false};
};

}  // namespace zul
