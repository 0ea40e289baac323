#pragma once

#include <deque>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "IdSet.h"
#include "LocalDB.h"
#include "Mutex.h"

namespace zul {

/// The way to a queue that may end before those who read it.
class QueueReader {
 public:
  explicit QueueReader(LocalDB& db) : db_(&db) {}
  /// From now on nothing can be read. Waits for who is reading.
  void end();
  LocalDB::Page payloads(std::int64_t after, std::int64_t through, std::size_t most);

 private:
  Mutex mutex_;
  LocalDB* db_ ZUL_GUARDED_BY(mutex_);
};

/// The queued payloads of one request as the document that is uploaded, an indented JSON array; read a few at a time,
/// while the document is being sent. One thread at a time.
class QueuedList {
 public:
  QueuedList(std::shared_ptr<QueueReader> queue, IdSet ids);

  /// Whether there is none of the payloads. Where the store cannot be read, those in memory are all there is for now.
  bool empty();
  /// Whether there is but one, for now.
  bool isSingle();

  /// The document's next piece: empty behind the last, none when a payload cannot be read.
  std::optional<std::string_view> next();

  /// Whether the whole document was handed out.
  bool ended() const { return ended_; }
  /// The ids of the payloads that were, and the texts of the first and the last of them.
  const IdSet& sent() const { return sent_; }
  const std::string& oldest() const { return *oldest_; }
  const std::string& newest() const { return *newest_; }

 private:
  void read();
  /// The interval in which to read on; null behind the last.
  const IdSet::Interval* unread() const;

  const std::shared_ptr<QueueReader> queue_;
  const IdSet ids_;
  std::deque<LocalDB::Queued> page_;
  std::int64_t after_ = std::numeric_limits<std::int64_t>::min();  // where to read on; no id is as low
  bool begun_ = false;
  bool fromMemory_ = false;  // the store cannot be read, and memory is what there is
  bool unreadable_ = false;
  std::string piece_;
  IdSet sent_;
  LocalDB::Payload oldest_;
  LocalDB::Payload newest_;
  bool ended_ = false;
};

}  // namespace zul
