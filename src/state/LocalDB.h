#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <thread>
#include <unordered_map>
#include <vector>

#include "Document.h"
#include "Log.h"
#include "zul/platform/DocumentStore.h"

namespace zul {

namespace platform {
class Dispatcher;
}

/// The database "ZULLocalDB": named documents, and beside them the journal of payloads on their way to the
/// collector.
///
/// Any thread may call it. Reads come from immutable snapshots in memory, touch the disk once a document,
/// and never wait for a write. Writes are atomic read-modify-writes, one after the other; `transaction`
/// makes several of them one commit. Inside a transaction the thread sees its own writes, and nothing may
/// wait, log or call another owner: `afterCommit` is for that.
///
/// When the store fails, the documents live on in memory; the log says so once, and everything that could not be
/// written is tried again in the background every second.
class LocalDB {
 public:
  using Edit = std::function<void(MutableDocument&)>;
  using JournalText = std::shared_ptr<const std::string>;

  LocalDB(std::shared_ptr<platform::DocumentStore> store, std::shared_ptr<platform::Dispatcher> dispatcher, Log log);

  Document documentWithID(std::string_view id);

  /// The same for a caller who must tell a document that does not exist from one that cannot be read just now: none
  /// for the latter.
  std::optional<Document> readDocument(std::string_view id);

  /// Edits the document, creating it when none is stored.
  void update(std::string_view id, const Edit& edit);
  /// Edits the document; does nothing when none is stored.
  void updateExisting(std::string_view id, const Edit& edit);
  /// Puts a new document in the place of the stored one, with what `fill` sets and nothing else.
  void replace(std::string_view id, const Edit& fill);

  /// Puts `members`, whose JSON text is `text`, in the place of the stored document. For a large document of a
  /// single writer, which makes both before it enters the transaction.
  void put(std::string_view id, std::shared_ptr<const boost::json::object> members, std::string text);

  /// Runs `work`, whose writes become one commit; when it throws, none of them happens. A transaction
  /// within a transaction is part of the outer one.
  void transaction(const std::function<void()>& work);

  /// Runs `task` on this thread once the current transaction is over and its lock is released; at once when
  /// there is none.
  void afterCommit(std::function<void()> task);

  /// Keeps `text` until `forget`; returns its id. Ids grow.
  std::int64_t journal(JournalText text);
  void forget(std::span<const std::int64_t> ids);
  /// What an earlier process left in the journal, by id; handed out once. None when the journal cannot be read just
  /// now.
  std::optional<std::map<std::int64_t, JournalText>> takeLeftOver();

  /// Keeps a text that could not be understood, so that its place can be used again without erasing it.
  void setAside(std::string_view name, std::string text);

 private:
  using Store = platform::DocumentStore;
  using Members = std::shared_ptr<const boost::json::object>;

  struct Hash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const noexcept { return std::hash<std::string_view>()(text); }
  };
  using RowKey = std::pair<Store::Table, std::string>;

  // The writes of the transaction that is open.
  struct Pending {
    std::map<std::string, boost::json::object, std::less<>> documents;
    std::vector<std::pair<std::string, Members>> whole;  // documents whose text is among the rows
    std::vector<Store::Write> rows;
    std::vector<std::pair<std::int64_t, JournalText>> journal;  // none: forgotten
    std::vector<std::function<void()>> afterwards;
  };

  bool inTransaction() const { return owner_.load(std::memory_order_relaxed) == std::this_thread::get_id(); }
  Members cached(std::string_view id, bool& known) const;
  Members members(std::string_view id, bool& readable);
  boost::json::object* pendingDocument(std::string_view id, bool create);
  void loadJournal();
  void commit();
  void write(std::vector<Store::Write> writes);
  void keepUnsaved(std::vector<Store::Write> writes);
  void retryLater();
  void retry();
  void joinDetached(std::vector<Store::Write>& writes);
  void rewriteEverything();
  void reportFailure();

  std::shared_ptr<platform::DocumentStore> store_;
  std::shared_ptr<platform::Dispatcher> dispatcher_;
  Log log_;

  std::mutex writing_;                    // held over a commit
  std::atomic<std::thread::id> owner_{};  // the thread whose transaction is open
  // Guarded by writing_:
  Pending pending_;
  std::map<RowKey, std::optional<std::string>> unsaved_;  // failed writes, tried again later
  std::set<std::string, std::less<>> detached_;           // in memory only: their stored form could not be read
  std::map<std::int64_t, JournalText> journal_;
  std::map<std::int64_t, JournalText> leftOver_;
  bool journalLoaded_ = false;
  std::int64_t lastJournalId_ = 0;
  bool failureReported_ = false;
  bool retrying_ = false;  // the store fails, and another attempt is due
  std::atomic<bool> maintaining_{false};

  mutable std::mutex reading_;                                                 // guards documents_, held for a look-up
  std::unordered_map<std::string, Members, Hash, std::equal_to<>> documents_;  // null: known not to exist
};

}  // namespace zul
