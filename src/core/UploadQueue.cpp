#include "UploadQueue.h"

#include <algorithm>
#include <boost/json/object.hpp>
#include <utility>

#include "Json.h"

namespace zul {

namespace {

constexpr std::string_view kNoKeys = "{}";

constexpr int kMostOpen = 4;

// The list as it is sent: an indented JSON array.
std::string indented(const std::vector<LocalDB::Payload>& list) {
  std::size_t size = 4;
  for (const auto& payload : list) size += payload->size() * 3 / 2;
  std::string text = "[";
  text.reserve(size);
  for (const auto& payload : list) {
    text += text.size() == 1 ? "\n  " : ",\n  ";
    json::appendPretty(text, *payload, 1);
  }
  text += "\n]";
  return text;
}

}  // namespace

UploadQueue::UploadQueue(LocalDB& db, NetworkManager& network, const Tasks& tasks, Log log, Owner owner)
    : db_(db), network_(network), tasks_(tasks.serial()), log_(std::move(log)), owner_(std::move(owner)) {}

void UploadQueue::start() {
  tasks_.async([this] { db_.loadQueue(); }, ZUL_HERE);
}

// ---- sending

void UploadQueue::send(std::vector<std::string> payloads) {
  std::string removed;
  Payloads own;
  {
    // Before they can be seen among the rows, so that no other send takes them along.
    const MutexLock lock(mutex_);
    for (auto& payload : payloads) {
      if (payload == kNoKeys) {
        removed += removed.empty() ? kNoKeys : ",{}";
      } else {
        own.push_back(std::make_shared<const std::string>(std::move(payload)));
        underWay_.insert(own.back());
      }
    }
  }
  try {
    if (!own.empty()) db_.enqueue(own);
    const MutexLock lock(mutex_);
    if (waiting_.empty() || open_ + static_cast<int>(waiting_.size()) <= kMostOpen) {
      waiting_.push_back(own);
    } else {
      auto& last = waiting_.back();
      last.insert(last.end(), own.begin(), own.end());
    }
  } catch (...) {  // what is accepted all the same waits in its row for the next send
    release(own);
    throw;
  }
  if (!removed.empty()) log_.info("REMOVE Object: [" + removed + "]", ZUL_HERE);
  tasks_.async([this] { pump(); }, ZUL_HERE);
}

void UploadQueue::pump() {
  db_.loadQueue();  // what cannot be read now joins at a later send
  while (true) {
    Payloads own;
    {
      const MutexLock lock(mutex_);
      if (waiting_.empty() || open_ >= kMostOpen) return;
      own = std::move(waiting_.front());
      waiting_.pop_front();
      ++open_;
    }
    try {
      startRequest(own);
    } catch (...) {
      endRequest(own);
      throw;
    }
  }
}

void UploadQueue::startRequest(const Payloads& own) {
  // Without a queue to join, the payload waits in its row for the next send.
  const auto list = db_.takeUnreadableQueue() ? Payloads() : takeList(own);
  if (list.empty()) {
    log_.info("No finalJsonList data for send: []", ZUL_HERE);
    endRequest(own);
    return;
  }
  try {
    const auto text = indented(list);
    log_.info("REQ [SDK -> COLLECTOR] " + text, ZUL_HERE);
    network_.sendDocument(text, owner_.sender(), [this, list, own](bool success, const auto& response) {
      log_.guard([&] { complete(list, success, response); }, ZUL_HERE);
      log_.debug("[Data Sending Status] : Completed. ", ZUL_HERE);
      release(list);
      endRequest(own);
      owner_.completed();
    });
  } catch (...) {
    release(list);
    throw;
  }
}

// The rows in their order, save those that are another request's; these are now this one's.
UploadQueue::Payloads UploadQueue::takeList(const Payloads& own) {
  const auto rows = db_.queue();
  const std::unordered_set<Payload> mine(own.begin(), own.end());
  Payloads list;
  list.reserve(rows.size());
  const MutexLock lock(mutex_);
  for (const auto& payload : rows) {
    if (mine.contains(payload) || !underWay_.contains(payload)) list.push_back(payload);
  }
  std::unordered_set<Payload> taken(list.begin(), list.end());
  underWay_.reserve(underWay_.size() + taken.size());
  underWay_.merge(taken);
  return list;
}

void UploadQueue::release(const Payloads& payloads) noexcept {
  const MutexLock lock(mutex_);
  for (const auto& payload : payloads) underWay_.erase(payload);
}

void UploadQueue::endRequest(const Payloads& own) {
  release(own);
  {
    const MutexLock lock(mutex_);
    --open_;
    if (waiting_.empty()) return;
  }
  tasks_.async([this] { pump(); }, ZUL_HERE);
}

// ---- the answer

void UploadQueue::complete(const Payloads& list, bool success, const platform::HttpResponse& response) {
  if (!success) {
    owner_.kept("network error", response.error);
    return;
  }
  const auto answer = NetworkManager::getResponseDictionary(response.body);
  log_.info("RES [SDK <- COLLECTOR_Tracker]: " + (answer ? json::text(*answer) : "(null)"), ZUL_HERE);
  if (answer && json::string(*answer, "code") == wire::kAccepted) {
    owner_.accepted(*answer, *list.front(), [&] { db_.dequeue(list); });
  } else {
    owner_.kept(answer ? json::string(*answer, "msg") : std::nullopt, "");
  }
}

}  // namespace zul
