#include "UploadQueue.h"

#include <algorithm>
#include <boost/json/object.hpp>
#include <utility>

#include "Json.h"

namespace zul {

namespace {

constexpr std::string_view kNoKeys = "{}";

constexpr std::size_t kMostOpen = 4;
// The HTTP client ends a request after seven days at the latest.
constexpr double kLostAfter = 8 * 86400.0;  // seconds

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
    if (waiting_.empty() || open_.size() + waiting_.size() <= kMostOpen) {
      waiting_.push_back(own);
    } else {
      auto& last = waiting_.back();
      last.insert(last.end(), own.begin(), own.end());
    }
  } catch (...) {  // what is accepted all the same waits in its row for the next send
    const MutexLock lock(mutex_);
    release(own);
    throw;
  }
  if (!removed.empty()) log_.info("REMOVE Object: [" + removed + "]", ZUL_HERE);
  tasks_.async([this] { pump(); }, ZUL_HERE);
}

void UploadQueue::pump() {
  db_.loadQueue();  // what cannot be read now joins at a later send
  giveUpLostRequests();
  while (true) {
    const auto request = std::make_shared<Request>();
    request->since = owner_.now();
    {
      const MutexLock lock(mutex_);
      if (waiting_.empty() || open_.size() >= kMostOpen) return;
      open_.push_back(request);
      request->payloads = std::move(waiting_.front());
      waiting_.pop_front();
    }
    try {
      startRequest(request);
    } catch (...) {
      endRequest(request);
      throw;
    }
  }
}

// Else a client that loses an answer would take a slot away for good, and with the fourth end all uploads.
void UploadQueue::giveUpLostRequests() {
  const double now = owner_.now();
  std::vector<RequestPtr> lost;
  {
    const MutexLock lock(mutex_);
    for (const auto& request : open_) {
      if (now - request->since > kLostAfter) lost.push_back(request);
    }
  }
  for (const auto& request : lost) {
    log_.error("An upload has not ended for eight days: it is given up, and its payloads are sent anew.", ZUL_HERE);
    endRequest(request);
  }
}

void UploadQueue::startRequest(const RequestPtr& request) {
  // Without a queue to join, the payload waits in its row for the next send.
  const bool joins = !db_.takeUnreadableQueue();
  if (joins) takeList(*request);
  if (!joins || request->payloads.empty()) {
    log_.info("No finalJsonList data for send: []", ZUL_HERE);
    endRequest(request);
    return;
  }
  const auto text = indented(request->payloads);
  log_.info("REQ [SDK -> COLLECTOR] " + text, ZUL_HERE);
  network_.sendDocument(text, owner_.sender(), [this, request](bool success, const auto& response) {
    log_.guard([&] { complete(request->payloads, success, response); }, ZUL_HERE);
    log_.debug("[Data Sending Status] : Completed. ", ZUL_HERE);
    endRequest(request);
    owner_.completed();
  });
}

// The rows in their order, save those that are another request's; these are now this one's.
void UploadQueue::takeList(Request& request) {
  const auto rows = db_.queue();
  const std::unordered_set<Payload> mine(request.payloads.begin(), request.payloads.end());
  Payloads list;
  list.reserve(rows.size());
  const MutexLock lock(mutex_);
  for (const auto& payload : rows) {
    if (mine.contains(payload) || !underWay_.contains(payload)) list.push_back(payload);
  }
  std::unordered_set<Payload> taken(list.begin(), list.end());
  underWay_.reserve(underWay_.size() + taken.size());
  for (const auto& payload : mine) underWay_.erase(payload);  // one that has no row any more
  underWay_.merge(taken);
  request.payloads.swap(list);
}

void UploadQueue::release(const Payloads& payloads) {
  for (const auto& payload : payloads) underWay_.erase(payload);
}

// A request that was given up may end a second time.
void UploadQueue::endRequest(const RequestPtr& request) {
  {
    const MutexLock lock(mutex_);
    if (std::erase(open_, request) == 0) return;
    release(request->payloads);
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
    owner_.accepted(*answer, *list.front(), *list.back(), [&] { db_.dequeue(list); });
  } else {
    owner_.kept(answer ? json::string(*answer, "msg") : std::nullopt, "");
  }
}

}  // namespace zul
