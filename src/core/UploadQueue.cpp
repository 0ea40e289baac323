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
    const MutexLock lock(mutex_);
    for (const auto& payload : own) underWay_.erase(payload);
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
  const auto list = db_.takeUnreadableQueue() ? Payloads() : listWith(own);
  if (list.empty()) {
    log_.info("No finalJsonList data for send: []", ZUL_HERE);
    endRequest(own);
    return;
  }
  const auto text = indented(list);
  log_.info("REQ [SDK -> COLLECTOR] " + text, ZUL_HERE);
  network_.sendDocument(text, owner_.sender(), [this, list, own](bool success, const auto& response) {
    log_.guard([&] { complete(list, success, response); }, ZUL_HERE);
    log_.debug("[Data Sending Status] : Completed. ", ZUL_HERE);
    endRequest(own);
    owner_.completed();
  });
}

// The rows in their order, save those whose first request is another one.
UploadQueue::Payloads UploadQueue::listWith(const Payloads& own) {
  auto list = db_.queue();
  std::unordered_set<Payload> others;
  {
    const MutexLock lock(mutex_);
    others = underWay_;
  }
  for (const auto& payload : own) others.erase(payload);
  std::erase_if(list, [&](const auto& payload) { return others.contains(payload); });
  return list;
}

void UploadQueue::endRequest(const Payloads& own) {
  {
    const MutexLock lock(mutex_);
    for (const auto& payload : own) underWay_.erase(payload);
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
