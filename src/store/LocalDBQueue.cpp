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

constexpr std::size_t kPage = 64;  // rows read at a time: a commit waits for no more

}  // namespace

std::int64_t LocalDB::rowId(const std::string& key) {
  return std::strtoll(key.c_str(), nullptr, 10);
}

void LocalDB::enqueue(std::span<const Payload> payloads) {
  transaction([&] {
    assertInTransaction();
    requireReadable();
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

void LocalDB::changeRows(Change& change) {
  auto& writes = change.writes.front();
  auto id = lastId_;
  for (auto& payload : pending_.accepted) {
    writes.push_back({Store::Table::queue, std::to_string(++id), *payload});
    change.added.push_back({id, std::move(payload), true});
  }
  if (pending_.delivered.empty()) return;
  const std::unordered_set<Payload> delivered(pending_.delivered.begin(), pending_.delivered.end());
  const MutexLock lock(listing_);
  for (auto row = rows_.begin(); row != rows_.end(); ++row) {
    if (!delivered.contains(row->payload)) continue;
    change.removed.push_back(row);
    if (row->stored) writes.push_back({Store::Table::queue, std::to_string(row->id), std::nullopt});
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
  if (!isReadable()) return false;
  LeftOver leftOver;
  if (!readRows(lastLeftId_, leftOver)) return false;
  const bool damaged = leftOver.damaged;
  join(std::move(leftOver));
  queueLoaded_ = true;
  if (damaged) {
    transaction([this] {
      assertInTransaction();
      rewriteEverything();
    });
  }
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
  Rows rows;
  Writes writes;
  std::vector<std::function<void()>> news;
  const bool stored = !leftOver.damaged;
  for (auto& row : leftOver.rows) {
    const auto value = json::parse(row.text, json::kMaxPayloadDepth);
    if (value && value->is_object() && !value->get_object().empty()) {
      rows.push_back({rowId(row.key), std::make_shared<const std::string>(std::move(row.text)), stored});
      continue;
    }
    writes.push_back({Store::Table::queue, row.key, std::nullopt});
    writes.push_back(asideRow("queue", std::move(row.text)));
    news.emplace_back([this] { log_.error("A queued payload could not be read and was set aside.", ZUL_HERE); });
  }
  const auto& document = leftOver.document;
  const auto members = document ? json::parseObject(*document) : std::nullopt;
  auto text = members ? json::string(*members, keys::queue::kQueueJsonList).value_or("") : document.value_or("");
  auto parsed = parseQueue(text);
  if (document) writes.push_back({Store::Table::documents, std::string(keys::queue::kDocument), std::nullopt});
  if (parsed) {
    auto id = rows.empty() ? lastLeftId_ + 1 : rows.front().id;
    for (auto payload = parsed->payloads.rbegin(); payload != parsed->payloads.rend(); ++payload) {
      writes.push_back({Store::Table::queue, std::to_string(--id), **payload});
      rows.push_front({id, std::move(*payload), true});
    }
  }
  transaction([&] {
    assertInTransaction();
    pending_.leftOver = std::move(rows);
    pending_.rows = std::move(writes);
    pending_.afterwards = std::move(news);
    if (parsed) {
      noteRemoved(std::move(parsed->removed));
    } else {
      noteUnreadableQueue(std::move(text));
    }
  });
}

}  // namespace zul
