// The upload queue: what is in the buffer, in memory and in rows, and the document "Json" that is computed from them.

#include <algorithm>
#include <boost/json/object.hpp>
#include <cstdlib>
#include <iterator>
#include <utility>

#include "Json.h"
#include "Keys.h"
#include "LocalDB.h"
#include "QueueText.h"

namespace zul {

namespace {

constexpr std::size_t kPage = 64;  // rows read at a time

}  // namespace

std::int64_t LocalDB::rowId(const std::string& key) {
  return std::strtoll(key.c_str(), nullptr, 10);
}

platform::DocumentStore::Write LocalDB::rowWrite(std::int64_t id, const Payload& payload) {
  return {Store::Table::queue, std::to_string(id), *payload};
}

std::int64_t LocalDB::reserveIds(std::size_t count) {
  requireReadable();
  return lastId_.fetch_add(static_cast<std::int64_t>(count)) + 1;
}

void LocalDB::enqueue(std::int64_t firstId, std::span<const Payload> payloads) {
  requireReadable();
  if (append(firstId, payloads)) return;
  transaction([&] {
    assertInTransaction();
    for (auto id = firstId; const auto& payload : payloads) pending_.accepted.emplace(id++, Row{payload, false});
  });
}

// All that needs memory comes first. In the buffer and in memory at once, so that whoever drains misses nothing.
bool LocalDB::append(std::int64_t firstId, std::span<const Payload> payloads) {
  if (inTransaction()) return false;
  Rows added;
  for (auto id = firstId; const auto& payload : payloads) added.emplace(id++, Row{payload, false});
  const MutexLock lock(listing_);
  for (auto& [id, row] : added) {
    if (buffer_ == nullptr) return false;
    const auto place = buffer_->append(id, *row.payload);
    if (!place) return false;
    row.place = *place;
  }
  rows_.merge(added);
  return true;
}

void LocalDB::drain() {
  {
    const MutexLock lock(listing_);
    if (std::all_of(rows_.begin(), rows_.end(), [](const auto& row) { return row.second.stored; })) return;
  }
  transaction([this] {
    assertInTransaction();
    pending_.drains = true;
  });
}

void LocalDB::drainWhenCrowded() {
  {
    const MutexLock lock(listing_);
    if (buffer_ == nullptr || !buffer_->crowded()) return;
  }
  drain();
}

void LocalDB::dequeue(const IdSet& ids) {
  transaction([&] {
    assertInTransaction();
    pending_.delivered.add(ids);
  });
}

// ---- reading

LocalDB::Page LocalDB::payloads(std::int64_t after, std::int64_t through, std::size_t most) {
  Page page;
  auto& payloads = page.payloads;
  IdSet gone;
  {
    // First, since what is drained meanwhile is then found twice rather than not at all.
    const MutexLock lock(listing_);
    for (auto row = rows_.upper_bound(after); row != rows_.end() && row->first <= through; ++row) {
      if (payloads.size() == most) break;
      payloads.push_back({row->first, row->second.payload});
    }
    if (complete_) {
      if (payloads.size() == most) page.last = payloads.back().id;
      return page;
    }
    gone = gone_;
  }
  auto stored = store_->loadAfter(Store::Table::queue, std::to_string(after), most);
  page.failed = stored.status == Store::Status::failed;
  if (stored.status == Store::Status::corrupt) {
    transaction([this] {
      assertInTransaction();
      rewriteEverything();
    });
  }
  if (stored.rows.size() == most) page.last = rowId(stored.rows.back().key);
  std::erase_if(stored.rows,
                [&](const auto& row) { return rowId(row.key) > through || gone.contains(rowId(row.key)); });

  const auto comesBefore = [](const Queued& a, const Queued& b) { return a.id < b.id; };
  const auto found = sound(std::move(stored.rows));
  std::vector<Queued> both;
  std::set_union(payloads.begin(), payloads.end(), found.begin(), found.end(), std::back_inserter(both), comesBefore);
  payloads.swap(both);
  if (page.last) std::erase_if(payloads, [&](const Queued& queued) { return queued.id > *page.last; });
  if (payloads.size() >= most) {
    payloads.resize(most);
    page.last = payloads.back().id;
  }
  return page;
}

// The rows that are payloads. The others are set aside.
std::vector<LocalDB::Queued> LocalDB::sound(std::vector<platform::StoredRow> rows) {
  std::vector<Queued> payloads;
  for (auto& row : rows) {
    const auto value = json::parse(row.text, json::kMaxPayloadDepth);
    if (value && value->is_object() && !value->get_object().empty()) {
      payloads.push_back({rowId(row.key), std::make_shared<const std::string>(std::move(row.text))});
      continue;
    }
    transaction([&] {
      assertInTransaction();
      pending_.rows.push_back({Store::Table::queue, row.key, std::nullopt});
      pending_.rows.push_back(asideRow("queue", std::move(row.text)));
      afterCommit([this] { log_.error("A queued payload could not be read and was set aside.", ZUL_HERE); });
    });
  }
  return payloads;
}

std::vector<LocalDB::Payload> LocalDB::queue(IdSet& seen) {
  std::vector<Payload> all;
  for (std::optional<std::int64_t> after = std::numeric_limits<std::int64_t>::min(); after;) {
    auto page = payloads(*after, std::numeric_limits<std::int64_t>::max(), kPage);
    for (auto& queued : page.payloads) {
      seen.add({queued.id, queued.id});
      all.push_back(std::move(queued.payload));
    }
    after = page.last;
  }
  return all;
}

// ---- changes

void LocalDB::changeRows(Change& change) {
  auto& writes = change.writes.front();
  if (!behind_ && (pending_.drains || !pending_.accepted.empty())) drainInto(change);
  for (const auto& [id, row] : pending_.accepted) writes.push_back(rowWrite(id, row.payload));
  change.added.swap(pending_.accepted);
  change.delivered = std::move(pending_.delivered);
  if (change.delivered.empty()) return;
  {
    const MutexLock lock(listing_);
    change.gone = gone_;
  }
  change.gone.add(change.delivered);
  for (const auto& ids : change.delivered.intervals()) {
    if (change.drained.empty() && !mayBeStored(ids)) continue;
    writes.push_back({Store::Table::queue, std::to_string(ids.first), std::nullopt, std::to_string(ids.last)});
  }
}

bool LocalDB::mayBeStored(const IdSet::Interval& ids) const {
  const MutexLock lock(listing_);
  return !complete_ || std::any_of(rows_.lower_bound(ids.first), rows_.upper_bound(ids.last),
                                   [](const auto& row) { return row.second.stored; });
}

// Texts are copied without the lock: rows go in transactions alone, and this is one.
void LocalDB::drainInto(Change& change) {
  {
    const MutexLock lock(listing_);
    for (auto& [id, row] : rows_) {
      if (!row.stored) change.drained.emplace_back(id, &row);
    }
  }
  for (const auto& [id, row] : change.drained) change.writes.front().push_back(rowWrite(id, row->payload));
}

void LocalDB::takeOverRows(Change& change, bool stored) noexcept {
  const MutexLock lock(listing_);
  if (stored) noteDrained(change);
  if (!change.delivered.empty()) dropDelivered(change.delivered);
  for (const auto& [first, last] : change.delivered.intervals()) {
    rows_.erase(rows_.lower_bound(first), rows_.upper_bound(last));
    ++leavings_;
    mayBeShort_ = true;
  }
  if (!stored && !change.delivered.empty()) std::swap(gone_, change.gone);
  for (auto& [id, row] : change.added) row.stored = stored;
  rows_.merge(change.added);
  releaseBuffer();
  forgetLongQueue();
}

void LocalDB::noteDrained(const Change& change) noexcept {
  for (const auto& [id, row] : change.drained) row->stored = true;
  releaseBuffer();
}

// Delivered out of the buffer: no later process may find them there. Those before the first row that is still needed go
// with `releaseBuffer`.
void LocalDB::dropDelivered(const IdSet& delivered) noexcept {
  if (buffer_ == nullptr) return;
  auto needed = kNowhere;
  for (const auto& [id, row] : rows_) {
    if (!row.stored && !delivered.contains(id)) needed = std::min(needed, row.place);
  }
  for (const auto& [id, row] : rows_) {
    const bool isThere = !row.stored && row.place != kNowhere && row.place > needed;
    if (isThere && delivered.contains(id)) buffer_->drop(row.place);
  }
}

// Up to the first row that is nowhere else.
void LocalDB::releaseBuffer() noexcept {
  if (buffer_ == nullptr) return;
  auto needed = buffer_->end();
  for (const auto& [id, row] : rows_) {
    if (!row.stored) needed = std::min(needed, row.place);
  }
  buffer_->release(needed);
}

void LocalDB::forgetLongQueue() noexcept {
  if (rows_.size() <= kMostInMemory) return;
  if (std::erase_if(rows_, [](const auto& row) { return row.second.stored; }) == 0) return;
  complete_ = false;
  ++leavings_;
}

// ---- the document

LocalDB::Members LocalDB::queueDocument() {
  if (!inTransaction()) loadQueue();
  boost::json::object document;
  IdSet seen;
  document.emplace(keys::queue::kQueueJsonList, queueText(queue(seen)));
  if (inTransaction()) {
    assertInTransaction();
    pending_.seen = std::move(seen);
  }
  return std::make_shared<const boost::json::object>(std::move(document));
}

// Takes the place of what the document showed: payloads that were accepted meanwhile stay behind.
void LocalDB::replaceQueue(const boost::json::object& document) {
  auto text = json::string(document, keys::queue::kQueueJsonList).value_or("");
  auto parsed = parseQueue(text);
  if (!parsed) noteUnreadableQueue(std::move(text));
  pending_.delivered.add(pending_.seen);
  if (!parsed) return;
  auto id = reserveIds(parsed->payloads.size());
  for (auto& payload : parsed->payloads) pending_.accepted.emplace(id++, Row{std::move(payload), false});
  noteRemoved(std::move(parsed->removed));
}

void LocalDB::noteUnreadableQueue(std::string text) {
  pending_.rows.push_back(asideRow("Json.QueueJsonList", std::move(text)));
  pending_.afterwards.emplace_back([this] {
    unreadableQueue_ = true;
    log_.error("The stored queue could not be read and was set aside.", ZUL_HERE);
  });
}

void LocalDB::noteRemoved(std::string removed) {
  if (removed.empty()) return;
  pending_.afterwards.emplace_back(
      [this, removed = std::move(removed)] { log_.info("REMOVE Object: [" + removed + "]", ZUL_HERE); });
}

// ---- what earlier processes left

// From the store's buffer: accepted, and not drained.
bool LocalDB::takeLeftOver(std::int64_t lastId, Writes& aside) {
  auto* const buffer = store_->buffer();
  auto leftOver = buffer ? buffer->leftOver() : platform::RowBuffer::LeftOver();
  if (leftOver.failed) return false;
  for (auto& piece : leftOver.damaged) {
    aside.push_back(asideRow("ring", std::move(piece)));
    pending_.afterwards.emplace_back([this] {
      log_.error("A part of the events that were accepted last could not be read and was set aside.", ZUL_HERE);
    });
  }
  const MutexLock lock(listing_);
  for (auto& row : leftOver.rows) {
    const auto id = rowId(row.key);
    lastId = std::max(lastId, id);
    rows_.insert_or_assign(id, Row{std::make_shared<const std::string>(std::move(row.text)), false, 0});
  }
  lastId_ = lastId;
  buffer_ = buffer;
  return true;
}

bool LocalDB::loadQueue() {
  const MutexLock lock(loading_);
  if (!isReadable()) return false;
  return joinDocument() && loadShortQueue();
}

// An older library kept the queue in the document, and rows beside it for what came later.
bool LocalDB::joinDocument() {
  if (documentJoined_) return true;
  const auto document = store_->load(Store::Table::documents, keys::queue::kDocument);
  const auto first = store_->loadAfter(Store::Table::queue, std::nullopt, 1);
  if (document.status == Store::Status::failed || first.status == Store::Status::failed) return false;
  const bool damaged = document.status == Store::Status::corrupt || first.status == Store::Status::corrupt;
  if (damaged || !document.rows.empty()) {
    transaction([&] {
      assertInTransaction();
      if (damaged) rewriteEverything();
      if (document.rows.empty()) return;
      const auto& stored = document.rows.front().text;
      const auto members = json::parseObject(stored);
      auto text = members ? json::string(*members, keys::queue::kQueueJsonList).value_or("") : stored;
      auto parsed = parseQueue(text);
      pending_.rows.push_back({Store::Table::documents, std::string(keys::queue::kDocument), std::nullopt});
      if (!parsed) return noteUnreadableQueue(std::move(text));
      auto id = first.rows.empty() ? lastLeftId_ + 1 : rowId(first.rows.front().key);
      id -= static_cast<std::int64_t>(parsed->payloads.size());
      for (auto& payload : parsed->payloads) pending_.accepted.emplace(id++, Row{std::move(payload), false});
      noteRemoved(std::move(parsed->removed));
    });
  }
  platform::RowBuffer* buffer = nullptr;  // whose rows are known
  {
    const MutexLock lock(listing_);
    buffer = buffer_;
  }
  if (buffer != nullptr) buffer->prepare();
  documentJoined_ = true;
  return true;
}

// The first id and the last tell that it is short; one with wide gaps counts as long.
bool LocalDB::loadShortQueue() {
  if (!mayBeShort_.exchange(false)) return true;
  std::uint64_t leavings = 0;
  {
    const MutexLock lock(listing_);
    if (complete_) return true;
    leavings = leavings_;
  }
  const auto first = store_->loadAfter(Store::Table::queue, std::nullopt, 1);
  const auto last = store_->loadLast(Store::Table::queue);
  if (!first.rows.empty() && !last.rows.empty()) {
    const auto begin = static_cast<std::uint64_t>(rowId(first.rows.front().key));
    if (static_cast<std::uint64_t>(rowId(last.rows.front().key)) - begin >= kMostInMemory) return true;
  }
  auto stored = store_->loadAfter(Store::Table::queue, std::nullopt, kMostInMemory);
  for (const auto status : {first.status, last.status, stored.status}) {
    if (status == Store::Status::ok) continue;
    mayBeShort_ = true;
    if (status == Store::Status::failed) return false;
    transaction([&] {
      assertInTransaction();
      rewriteEverything();
    });
    return true;
  }
  Rows found;
  for (auto& queued : sound(std::move(stored.rows))) found.emplace(queued.id, Row{std::move(queued.payload), true});
  transaction([&] {
    const MutexLock lock(listing_);
    if (leavings == leavings_) {
      for (auto row = found.begin(); row != found.end();) {
        row = gone_.contains(row->first) ? found.erase(row) : std::next(row);
      }
      // A process that was killed may have drained what it still had in the buffer.
      for (auto& [id, row] : rows_) row.stored = row.stored || found.contains(id);
      rows_.merge(found);
      complete_ = true;
    } else {
      mayBeShort_ = true;  // what has left meanwhile must not come back
    }
  });
  return true;
}

}  // namespace zul
