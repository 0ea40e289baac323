// What goes to the store, and what becomes of it while the store fails.

#include <utility>
#include <vector>

#include "Json.h"
#include "Keys.h"
#include "LocalDB.h"

namespace zul {

namespace {

constexpr const char* kCannotBeWritten = "The local database cannot be written";
constexpr const char* kStateInMemory = "the state is kept in memory";

}  // namespace

// All that needs memory comes first, so that a transaction takes place whole or not at all; from the store on nothing
// can stop it half way.
void LocalDB::commit() {
  if (const auto queue = pending_.documents.find(keys::queue::kDocument); queue != pending_.documents.end()) {
    const auto written = std::move(queue->second);
    pending_.documents.erase(queue);
    replaceQueue(written);
  }
  auto change = readyChange();
  auto status = Store::Status::ok;
  if (const auto& writes = change.writes.front(); !writes.empty()) {
    status = behind_ ? Store::Status::failed : toStore(writes);
  }
  // In this process the new state holds whether or not the disk took it.
  takeOver(change, status == Store::Status::ok);
  settle(status, change.writes);
}

LocalDB::Change LocalDB::readyChange() {
  Change change;
  auto& writes = change.writes.front();
  writes = std::move(pending_.rows);
  for (auto& [id, object] : pending_.documents) {
    const auto before = cached(id);
    if (before && json::equal(*before, object)) continue;  // nothing new to keep
    writes.push_back({Store::Table::documents, id, json::text(object)});
    change.documents.emplace_back(id, std::make_shared<const boost::json::object>(std::move(object)));
    const MutexLock lock(reading_);
    documents_.try_emplace(id);  // its place
  }
  changeRows(change);
  return change;
}

void LocalDB::takeOver(Change& change, bool stored) noexcept {
  {
    const MutexLock lock(reading_);
    for (auto& [id, members] : change.documents) documents_.find(id)->second.swap(members);
  }
  takeOverRows(change, stored);
}

platform::DocumentStore::Status LocalDB::toStore(const Writes& writes) noexcept {
  try {
    return store_->commit(writes);
  } catch (...) {  // no memory, no commit: as with any other failure
    return Store::Status::failed;
  }
}

// Keeps what the store did not take.
void LocalDB::settle(Store::Status status, std::list<Writes>& writes) noexcept {
  if (status != Store::Status::ok) {
    behind_ = true;
    keepUnsaved(writes);
  }
  log_.guard(
      [&] {
        assertInTransaction();
        if (status == Store::Status::corrupt) rewriteEverything();
        if (status == Store::Status::failed) {
          retryLater();
          tellOnce(kCannotBeWritten, kStateInMemory);
        }
        maintainIfDue();
      },
      ZUL_HERE);
  if (!behind_ || retryDue_) return;
  log_.guard(  // again, where memory was too short for it
      [&] {
        assertInTransaction();
        retryLater();
      },
      ZUL_HERE);
}

// The documents and the rows are in memory anyway. What is no state of ours is kept.
void LocalDB::keepUnsaved(std::list<Writes>& writes) noexcept {
  auto& rows = writes.front();
  std::erase_if(rows, [](auto& row) { return row.text && row.table != Store::Table::setAside; });
  if (!rows.empty()) unsaved_.splice(unsaved_.end(), writes);
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

void LocalDB::tellOnce(const char* problem, const char* consequence) {
  if (toldFailure_) return;
  pending_.afterwards.emplace_back([this, problem, consequence, reason = store_->lastError()] {
    log_.error(std::string(problem) + " (" + reason + "): " + consequence + ". Another attempt is made every second.",
               ZUL_HERE);
  });
  toldFailure_ = true;
}

void LocalDB::retryLater() {
  constexpr double kRetryAfter = 1;  // seconds
  if (retryDue_) return;
  tasks_.after(
      kRetryAfter, Tasks::Queue::global, [this] { retry(); }, ZUL_HERE);
  retryDue_ = true;
}

void LocalDB::retry() {
  try {
    transaction([this] {
      assertInTransaction();
      retryDue_ = false;
      if (load()) catchUp();
    });
  } catch (...) {  // short memory must not end the attempts: where none can be arranged for, the next caller makes it
    unreadable_ = false;
    const MutexLock lock(writing_);
    retryLater();
    throw;
  }
  std::vector<std::function<void()>> ready;
  {
    const MutexLock lock(writing_);
    if (loaded_) ready.swap(waiting_);
  }
  for (const auto& task : ready) log_.guard(task, ZUL_HERE);
}

void LocalDB::catchUp() {
  if (!behind_) return;
  switch (saveEverything()) {
    case Store::Status::ok:
      break;
    case Store::Status::corrupt:
      rewriteEverything();
      break;
    case Store::Status::failed:
      retryLater();
      break;
  }
}

void LocalDB::gatherUnsaved(Change& change) {
  auto& writes = change.writes.front();
  for (const auto& kept : unsaved_) writes.insert(writes.end(), kept.begin(), kept.end());
  {
    const MutexLock lock(reading_);
    for (const auto& [id, members] : documents_) {
      if (members) writes.push_back({Store::Table::documents, id, json::text(*members)});
    }
  }
  drainInto(change);
}

platform::DocumentStore::Status LocalDB::saveEverything() {
  Change change;
  gatherUnsaved(change);
  const auto status = toStore(change.writes.front());
  if (status != Store::Status::ok) return status;
  unsaved_.clear();
  behind_ = false;
  toldFailure_ = false;
  const MutexLock lock(listing_);
  gone_ = {};
  noteDrained(change);
  forgetLongQueue();
  return status;
}

// The damaged file has been set aside and a new one is in its place: what is known goes into it.
void LocalDB::rewriteEverything() {
  behind_ = true;
  for (auto& kept : unsaved_) std::erase_if(kept, [](auto& row) { return !row.text; });
  {
    const MutexLock lock(listing_);
    for (auto& [id, row] : rows_) row.stored = false;
    complete_ = true;
    ++leavings_;  // what is being read of the old file
  }
  if (saveEverything() != Store::Status::ok) {
    retryLater();
    tellOnce(kCannotBeWritten, kStateInMemory);
  }
  pending_.afterwards.emplace_back(
      [this] { log_.error("The local database was damaged and has been set aside.", ZUL_HERE); });
}

}  // namespace zul
