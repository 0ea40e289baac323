#include "UploadQueue.h"

#include <boost/json/object.hpp>
#include <iterator>
#include <utility>

#include "Json.h"

namespace zul {

namespace {

constexpr std::string_view kNoKeys = "{}";

constexpr std::size_t kMostOpen = 4;
// The HTTP client ends a request after seven days at the latest.
constexpr double kLostAfter = 8 * 86400.0;  // seconds

}  // namespace

UploadQueue::UploadQueue(LocalDB& db, NetworkManager& network, const Tasks& tasks, Log log, Owner owner)
    : db_(db),
      network_(network),
      tasks_(tasks.serial()),
      log_(std::move(log)),
      owner_(std::move(owner)),
      reader_(std::make_shared<QueueReader>(db)) {}

UploadQueue::~UploadQueue() {
  reader_->end();
}

void UploadQueue::start() {
  tasks_.async(
      [this] {
        db_.loadQueue();
        db_.drain();
      },
      ZUL_HERE);
}

// ---- sending

void UploadQueue::send(std::vector<LocalDB::Payload> payloads) {
  const auto isEmpty = [](const LocalDB::Payload& payload) { return *payload == kNoKeys; };
  const auto removed = std::erase_if(payloads, isEmpty);
  accept(payloads);
  if (removed > 0) {
    std::string list(kNoKeys);
    for (std::size_t n = 1; n < removed; ++n) list += ",{}";
    log_.info("REMOVE Object: [" + list + "]", ZUL_HERE);
  }
  pumpSoon();
}

// Their ids are known here before they can be found in the queue, so that no other send takes them along.
void UploadQueue::accept(std::span<const LocalDB::Payload> payloads) {
  db_.requireReadable();  // which may take its time, and is not for the lock
  std::list<IdSet> own(1);
  const auto ids = own.begin();
  std::int64_t first = 0;
  {
    const MutexLock lock(mutex_);
    first = db_.reserveIds(payloads.size());
    *ids = IdSet(first, first + static_cast<std::int64_t>(payloads.size()) - 1);
    accepting_.splice(accepting_.end(), own);
  }
  try {
    if (!payloads.empty()) db_.enqueue(first, payloads);
  } catch (...) {  // what is accepted all the same waits for the next send
    const MutexLock lock(mutex_);
    accepting_.erase(ids);
    throw;
  }
  const MutexLock lock(mutex_);
  const bool joinsLast = !waiting_.empty() && open_.size() + waiting_.size() > kMostOpen;
  waiting_.splice(waiting_.end(), accepting_, ids);
  if (!joinsLast) return;
  std::prev(ids)->add(*ids);
  waiting_.erase(ids);
}

// One task for all that comes until it runs.
void UploadQueue::pumpSoon() {
  if (pumpDue_.exchange(true)) return;
  try {
    tasks_.async([this] { pump(); }, ZUL_HERE);
  } catch (...) {
    pumpDue_ = false;
    throw;
  }
}

void UploadQueue::pump() {
  pumpDue_ = false;
  db_.loadQueue();  // what cannot be read now joins at a later send
  db_.drainWhenCrowded();
  giveUpLostRequests();
  while (true) {
    const auto request = std::make_shared<Request>();
    request->since = owner_.now();
    {
      const MutexLock lock(mutex_);
      if (waiting_.empty() || open_.size() >= kMostOpen) return;
      open_.push_back(request);
      request->ids = std::move(waiting_.front());
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
  if (joins) claim(*request);
  if (!joins || request->list->empty()) {
    log_.info("No finalJsonList data for send: []", ZUL_HERE);
    endRequest(request);
    return;
  }
  logList(request->ids);
  const auto& list = request->list;
  network_.sendDocument([list] { return list->next(); }, list->isSingle(), owner_.sender(),
                        [this, request](bool success, const auto& response) {
                          log_.guard([&] { complete(*request->list, success, response); }, ZUL_HERE);
                          log_.debug("[Data Sending Status] : Completed. ", ZUL_HERE);
                          endRequest(request);
                          owner_.completed();
                        });
}

// The whole queue as it is now, save what is another request's, or will be.
void UploadQueue::claim(Request& request) {
  const MutexLock lock(mutex_);
  IdSet others;
  for (const auto& ids : accepting_) others.add(ids);
  for (const auto& ids : waiting_) others.add(ids);
  for (const auto& open : open_) {
    if (open.get() != &request) others.add(open->ids);
  }
  auto all = IdSet::upTo(db_.lastId());
  all.remove(others);
  request.list = std::make_shared<QueuedList>(reader_, all);
  request.ids = std::move(all);
}

// The whole document, for those who want to see it.
void UploadQueue::logList(const IdSet& ids) const {
  if (!log_.wants(LogLevel::info)) return;
  std::string line = "REQ [SDK -> COLLECTOR] ";
  QueuedList list(reader_, ids);
  for (auto piece = list.next(); piece && !piece->empty(); piece = list.next()) line += *piece;
  log_.info(line, ZUL_HERE);
}

// A request that was given up may end a second time.
void UploadQueue::endRequest(const RequestPtr& request) {
  {
    const MutexLock lock(mutex_);
    if (std::erase(open_, request) == 0) return;
    if (waiting_.empty()) return;
  }
  pumpSoon();
}

// ---- the answer

void UploadQueue::complete(QueuedList& list, bool success, const platform::HttpResponse& response) {
  std::optional<boost::json::object> answer;
  if (success) {
    answer = NetworkManager::getResponseDictionary(response.body);
    log_.info("RES [SDK <- COLLECTOR_Tracker]: " + (answer ? json::text(*answer) : "(null)"), ZUL_HERE);
  }
  const bool accepted = answer && json::string(*answer, "code") == wire::kAccepted;
  if (accepted && list.ended()) {
    owner_.accepted(*answer, list.oldest(), list.newest(), [&] { db_.dequeue(list.sent()); });
    return;
  }
  if (!success) {
    owner_.kept("network error", response.error);
  } else if (accepted) {
    owner_.kept("network error", "it answered before it had the list");
  } else {
    owner_.kept(answer ? json::string(*answer, "msg") : std::nullopt, "");
  }
  db_.drain();
}

}  // namespace zul
