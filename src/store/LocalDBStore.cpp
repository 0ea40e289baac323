// What goes to the store, and what becomes of it while the store fails.

#include <algorithm>
#include <new>
#include <utility>

#include "Json.h"
#include "Keys.h"
#include "LocalDB.h"

namespace zul {

namespace {

using Writes = std::vector<platform::DocumentStore::Write>;

void dropDocuments(Writes& writes, const std::set<std::string, std::less<>>& ids) {
  std::erase_if(writes, [&](const auto& row) {
    return row.table == platform::DocumentStore::Table::documents && ids.contains(row.key);
  });
}

}  // namespace

void LocalDB::commit() {
  if (const auto queue = pending_.documents.find(keys::queue::kDocument); queue != pending_.documents.end()) {
    const auto written = std::move(queue->second);
    pending_.documents.erase(queue);
    replaceQueue(written);
  }
  Writes writes = std::move(pending_.rows);
  std::vector<std::pair<std::string, Members>> changed;
  for (auto& [id, object] : pending_.documents) {
    bool known = false;
    const auto before = cached(id, known);
    if (before && json::equal(*before, object)) continue;  // nothing new to keep
    writes.push_back({Store::Table::documents, id, json::text(object)});
    changed.emplace_back(id, std::make_shared<const boost::json::object>(std::move(object)));
  }
  // Readers see the new state whether or not the disk takes it: in this process it is what holds.
  changeRows(writes);
  {
    const MutexLock lock(reading_);
    for (auto& [id, members] : changed) documents_[id] = std::move(members);
  }
  if (behind_) {
    keepUnsaved(writes);
    if (!retryDue_) retryLater();
  } else if (!writes.empty()) {
    write(std::move(writes));
  }
}

void LocalDB::write(Writes writes) {
  if (!detached_.empty()) joinDetached(writes);
  auto status = Store::Status::failed;
  try {
    status = store_->commit(writes);
  } catch (const std::bad_alloc&) {  // no memory, no commit: as with any other failure
  }
  if (status == Store::Status::corrupt) {
    rewriteEverything();
  } else if (status == Store::Status::failed) {
    keepUnsaved(writes);
    fallBehind("written");
  }
  maintainIfDue();
}

void LocalDB::maintainIfDue() {
  if (!store_->needsMaintenance() || maintaining_.exchange(true)) return;
  struct End {
    std::atomic<bool>& running;
    ~End() { running = false; }
  };
  try {
    tasks_.async(
        Tasks::Queue::global,
        [this] {
          const End end{maintaining_};
          store_->maintain();
        },
        ZUL_HERE);
  } catch (...) {
    maintaining_ = false;
    throw;
  }
}

// ---- a store that fails

// The documents are in memory anyway. Rows are marked, and what is no state of ours is kept.
void LocalDB::keepUnsaved(Writes& writes) {
  const MutexLock lock(listing_);
  for (auto& row : writes) {
    if (row.table == Store::Table::setAside) {
      unsavedAside_.push_back(std::move(row));
    } else if (row.table == Store::Table::queue) {
      const auto id = rowId(row.key);
      if (!row.text) {
        unsavedRemovals_.push_back(id);
      } else if (const auto found = std::find_if(rows_.rbegin(), rows_.rend(), [id](auto& r) { return r.id == id; });
                 found != rows_.rend()) {
        found->stored = false;
      }
    } else if (!row.text) {
      dropQueueDocument_ = true;
    }
  }
}

void LocalDB::fallBehind(const char* cannotBe) {
  behind_ = true;
  if (!failureReported_) {
    failureReported_ = true;
    pending_.afterwards.emplace_back([this, cannotBe, reason = store_->lastError()] {
      log_.error(std::string("The local database cannot be ") + cannotBe + " (" + reason +
                     "); the state is kept in memory, and another attempt made every second.",
                 ZUL_HERE);
    });
  }
  if (!retryDue_) retryLater();
}

void LocalDB::retryLater() {
  constexpr double kRetryAfter = 1;  // seconds
  tasks_.after(
      kRetryAfter, Tasks::Queue::global, [this] { retry(); }, ZUL_HERE);
  retryDue_ = true;
}

void LocalDB::retry() {
  transaction([this] {
    assertInTransaction();
    retryDue_ = false;
    if (!behind_) return;
    if (!knowLastId()) {
      retryLater();
      return;
    }
    auto writes = everythingUnsaved();
    if (!detached_.empty()) joinDetached(writes);
    switch (store_->commit(writes)) {
      case Store::Status::ok:
        noteSaved();
        break;
      case Store::Status::corrupt:
        rewriteEverything();
        break;
      case Store::Status::failed:
        retryLater();
        break;
    }
  });
}

LocalDB::Writes LocalDB::everythingUnsaved() {
  Writes writes = unsavedAside_;
  if (dropQueueDocument_) {
    writes.push_back({Store::Table::documents, std::string(keys::queue::kDocument), std::nullopt});
  }
  for (const auto id : unsavedRemovals_) writes.push_back({Store::Table::queue, std::to_string(id), std::nullopt});
  {
    const MutexLock lock(reading_);
    for (const auto& [id, members] : documents_) {
      if (members) writes.push_back({Store::Table::documents, id, json::text(*members)});
    }
  }
  const MutexLock lock(listing_);
  for (const auto& row : rows_) {
    if (!row.stored) writes.push_back({Store::Table::queue, std::to_string(row.id), *row.payload});
  }
  return writes;
}

void LocalDB::noteSaved() {
  unsavedAside_.clear();
  unsavedRemovals_.clear();
  dropQueueDocument_ = false;
  behind_ = false;
  unreadable_ = false;
  failureReported_ = false;
  const MutexLock lock(listing_);
  for (auto& row : rows_) row.stored = true;
}

// A document whose stored form could not be read was begun afresh in memory. Writing that over the stored
// one would erase it, so the two are joined as soon as the stored one can be read, and until then nothing
// is written.
void LocalDB::joinDetached(Writes& writes) {
  dropDocuments(writes, detached_);
  for (auto id = detached_.begin(); id != detached_.end();) {
    auto loaded = store_->load(Store::Table::documents, *id);
    if (loaded.status == Store::Status::failed) {
      ++id;
      continue;
    }
    if (loaded.status == Store::Status::corrupt) {
      rewriteEverything();
      return;
    }
    bool known = false;
    auto joined = loaded.rows.empty() ? std::nullopt : json::parseObject(loaded.rows.front().text);
    if (!joined) {
      joined.emplace();
      if (!loaded.rows.empty()) writes.push_back(asideRow(*id, std::move(loaded.rows.front().text)));
    }
    if (const auto mine = cached(*id, known)) {
      // Who this installation is, and since when, was decided before.
      const bool storedWins = *id == keys::identify::kDocument || *id == keys::install::kDocument;
      for (const auto& member : *mine) {
        if (!storedWins || !joined->contains(member.key())) (*joined)[member.key()] = member.value();
      }
      writes.push_back({Store::Table::documents, *id, json::text(*joined)});
      const MutexLock lock(reading_);
      documents_[*id] = std::make_shared<const boost::json::object>(std::move(*joined));
    }
    id = detached_.erase(id);
  }
}

// The damaged file has been set aside and a new one is in its place: what is known goes into it.
void LocalDB::rewriteEverything() {
  pending_.afterwards.emplace_back(
      [this] { log_.error("The local database was damaged and has been set aside.", ZUL_HERE); });
  detached_.clear();
  unsavedRemovals_.clear();
  dropQueueDocument_ = false;
  if (!lastId_) lastId_ = lastLeftId_ = 0;
  placeRows();
  {
    const MutexLock lock(listing_);
    for (auto& row : rows_) row.stored = false;
  }
  if (store_->commit(everythingUnsaved()) == Store::Status::ok) {
    noteSaved();
  } else {
    fallBehind("written");
  }
}

}  // namespace zul
