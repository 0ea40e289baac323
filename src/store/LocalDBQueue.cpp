// The upload queue: a row a payload, and the document "Json" that is computed from them.

#include <algorithm>
#include <boost/json/object.hpp>
#include <cstdlib>
#include <iterator>
#include <unordered_set>
#include <utility>

#include "Json.h"
#include "Keys.h"
#include "LocalDB.h"
#include "QueueText.h"

namespace zul {

namespace {

constexpr std::size_t kPage = 64;                           // rows read at a time: a commit waits for no more
constexpr std::int64_t kHighestId = std::int64_t{1} << 62;  // a damaged id must not be counted on from

}  // namespace

std::int64_t LocalDB::rowId(const std::string& key) {
  return std::strtoll(key.c_str(), nullptr, 10);
}

void LocalDB::enqueue(std::span<const Payload> payloads) {
  transaction([&] {
    assertInTransaction();
    auto& accepted = pending_.accepted;
    accepted.insert(accepted.end(), payloads.begin(), payloads.end());
  });
}

void LocalDB::dequeue(std::span<const Payload> payloads) {
  transaction([&] {
    assertInTransaction();
    auto& delivered = pending_.delivered;
    delivered.insert(delivered.end(), payloads.begin(), payloads.end());
  });
}

std::vector<LocalDB::Payload> LocalDB::queue() const {
  const MutexLock lock(listing_);
  std::vector<Payload> payloads;
  payloads.reserve(rows_.size());
  for (const auto& row : rows_) payloads.push_back(row.payload);
  return payloads;
}

// ---- changes

// An unplaced row, whose id the store could not tell yet, waits in memory like one that could not be written.
void LocalDB::changeRows(Writes& writes) {
  auto& accepted = pending_.accepted;
  const bool placed = accepted.empty() || knowLastId();
  std::vector<Row> added;
  for (auto& payload : accepted) {
    Row row{placed ? *lastId_ + static_cast<std::int64_t>(added.size()) + 1 : kUnplaced, std::move(payload), placed};
    if (placed) writes.push_back({Store::Table::queue, std::to_string(row.id), *row.payload});
    added.push_back(std::move(row));
  }
  const std::unordered_set<Payload> delivered(pending_.delivered.begin(), pending_.delivered.end());
  {
    const MutexLock lock(listing_);
    if (!delivered.empty()) {
      for (const auto& row : rows_) {
        if (row.stored && delivered.contains(row.payload)) {
          writes.push_back({Store::Table::queue, std::to_string(row.id), std::nullopt});
        }
      }
      std::erase_if(rows_, [&](const auto& row) { return delivered.contains(row.payload); });
    }
    std::move(added.begin(), added.end(), std::back_inserter(rows_));
  }
  if (placed && !accepted.empty()) *lastId_ += static_cast<std::int64_t>(accepted.size());
  if (!placed) fallBehind("read");
}

// The ids of this process's rows follow those that are stored.
bool LocalDB::knowLastId() {
  while (!lastId_) {
    auto loaded = store_->loadLast(Store::Table::queue);
    if (loaded.status == Store::Status::failed) return false;
    if (loaded.status == Store::Status::corrupt) {
      rewriteEverything();
      break;
    }
    const auto last = loaded.rows.empty() ? 0 : rowId(loaded.rows.front().key);
    if (last > kHighestId) {
      auto& row = loaded.rows.front();
      const Writes writes = {{Store::Table::queue, row.key, std::nullopt}, asideRow("queue." + row.key, row.text)};
      if (store_->commit(writes) != Store::Status::ok) return false;
      continue;
    }
    lastId_ = lastLeftId_ = std::max<std::int64_t>(last, 0);
    placeRows();
  }
  return true;
}

void LocalDB::placeRows() {
  const MutexLock lock(listing_);
  for (auto& row : rows_) {
    if (row.id == kUnplaced) row.id = ++*lastId_;
  }
}

// ---- the document

LocalDB::Members LocalDB::queueDocument() {
  if (!inTransaction()) loadQueue();
  boost::json::object document;
  document.emplace(keys::queue::kQueueJsonList, queueText(queue()));
  return std::make_shared<const boost::json::object>(std::move(document));
}

void LocalDB::replaceQueue(const boost::json::object& document) {
  auto text = json::string(document, keys::queue::kQueueJsonList).value_or("");
  auto parsed = parseQueue(text);
  if (!parsed) noteUnreadableQueue(std::move(text));
  for (auto& payload : queue()) pending_.delivered.push_back(std::move(payload));
  if (!parsed) return;
  auto& accepted = pending_.accepted;
  accepted.insert(accepted.begin(), parsed->payloads.begin(), parsed->payloads.end());
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

bool LocalDB::loadQueue() {
  const MutexLock lock(loading_);
  if (queueLoaded_) return true;
  std::optional<std::int64_t> last;
  transaction([&] {
    assertInTransaction();
    if (knowLastId()) last = lastLeftId_;
  });
  LeftOver leftOver;
  if (!last || !readRows(*last, leftOver)) return false;
  join(std::move(leftOver));
  queueLoaded_ = true;
  return true;
}

// In pages, since a commit of the host's thread waits for the page that is being read.
bool LocalDB::readRows(std::int64_t last, LeftOver& leftOver) {
  auto document = store_->load(Store::Table::documents, keys::queue::kDocument);
  if (document.status == Store::Status::failed) return false;
  leftOver.damaged = document.status == Store::Status::corrupt;
  if (!document.rows.empty()) leftOver.document = std::move(document.rows.front().text);

  std::optional<std::string> after;
  bool more = !leftOver.damaged;
  while (more) {
    auto page = store_->loadAfter(Store::Table::queue, after, kPage);
    if (page.status == Store::Status::failed) return false;
    leftOver.damaged = page.status == Store::Status::corrupt;
    more = page.rows.size() == kPage;
    for (auto& row : page.rows) {
      if (rowId(row.key) > last) return true;  // this process's own
      after = row.key;
      leftOver.rows.push_back(std::move(row));
    }
  }
  return true;
}

// An older library kept the queue in the document, and rows beside it for what came later.
void LocalDB::join(LeftOver leftOver) {
  std::vector<Row> rows;
  std::vector<Payload> unreadable;
  for (auto& row : leftOver.rows) {
    auto payload = std::make_shared<const std::string>(std::move(row.text));
    const auto value = json::parse(*payload, json::kMaxPayloadDepth);
    if (!value || !value->is_object() || value->get_object().empty()) unreadable.push_back(payload);
    rows.push_back({rowId(row.key), std::move(payload), !leftOver.damaged});
  }
  const auto& document = leftOver.document;
  const auto members = document ? json::parseObject(*document) : std::nullopt;
  auto text = members ? json::string(*members, keys::queue::kQueueJsonList).value_or("") : document.value_or("");
  auto parsed = parseQueue(text);
  transaction([&] {
    assertInTransaction();
    auto& change = pending_;
    if (document) change.rows.push_back({Store::Table::documents, std::string(keys::queue::kDocument), std::nullopt});
    if (parsed) {
      noteRemoved(std::move(parsed->removed));
      const auto first = rows.empty() ? *lastLeftId_ + 1 : rows.front().id;
      auto id = first - static_cast<std::int64_t>(parsed->payloads.size());
      std::vector<Row> older;
      for (auto& payload : parsed->payloads) {
        change.rows.push_back({Store::Table::queue, std::to_string(id), *payload});
        older.push_back({id++, std::move(payload), true});
      }
      rows.insert(rows.begin(), std::make_move_iterator(older.begin()), std::make_move_iterator(older.end()));
    } else {
      noteUnreadableQueue(std::move(text));
    }
    for (const auto& payload : unreadable) {
      change.rows.push_back(asideRow("queue", *payload));
      change.delivered.push_back(payload);
      change.afterwards.emplace_back(
          [this] { log_.error("A queued payload could not be read and was set aside.", ZUL_HERE); });
    }
    {
      const MutexLock lock(listing_);
      rows_.insert(rows_.begin(), std::make_move_iterator(rows.begin()), std::make_move_iterator(rows.end()));
    }
    if (leftOver.damaged) rewriteEverything();
  });
}

}  // namespace zul
