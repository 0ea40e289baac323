#pragma once

#include <atomic>
#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "IdSet.h"
#include "LocalDB.h"
#include "Log.h"
#include "Mutex.h"
#include "NetworkManager.h"
#include "QueuedList.h"
#include "Tasks.h"

namespace zul {

/// Sends the payloads that the collector does not have yet.
///
/// A payload is accepted by the database before `send` returns, and stays there until the collector has it: its rows
/// are the queue. Everything else happens on a queue of tasks of its own: the payload joins those that earlier sends
/// could not deliver, the whole list goes out as one JSON array, and an answer that accepts it removes its rows. The
/// array is read from the database while it is being sent. A failed send writes nothing.
///
/// Where sends overlap, an answer concerns the payloads that its own request carried and no others, and a payload
/// is in one request at a time: what a failed one carried waits for the next send. At most four requests are open;
/// while they are, further payloads gather and leave together in the next one. A request that the HTTP client never
/// ends is given up after eight days.
///
/// Any thread may call `send`. The lock covers a few numbers only.
class UploadQueue {
 public:
  /// What the owner does at each turn. All of it runs on background threads.
  struct Owner {
    /// Who sends, asked for each request.
    std::function<Sender()> sender;
    /// The collector took the list, of which these are the oldest and the newest payload. `clear` removes its rows;
    /// what the answer makes the owner store belongs into the same transaction.
    std::function<void(const boost::json::object& answer, const std::string& oldest, const std::string& newest,
                       const std::function<void()>& clear)>
        accepted;
    /// The list is kept: an error log with `reason` is due. `problem` is the transport's, if it had one.
    std::function<void(const std::optional<std::string>& reason, const std::string& problem)> kept;
    /// The request is over, whatever came of it.
    std::function<void()> completed;
    /// The time, in seconds.
    std::function<double()> now;
  };

  UploadQueue(LocalDB& db, NetworkManager& network, const Tasks& tasks, Log log, Owner owner);
  ~UploadQueue();
  UploadQueue(const UploadQueue&) = delete;
  UploadQueue& operator=(const UploadQueue&) = delete;

  /// Reads what earlier processes left. Returns at once.
  void start();

  /// Sends the queue with `payloads`, the texts of JSON objects, behind it. Payloads without keys are
  /// dropped; with nothing left nothing is sent.
  void send(std::vector<LocalDB::Payload> payloads);

 private:
  struct Request {
    IdSet ids;  // its own, and then all that it may carry
    std::shared_ptr<QueuedList> list;
    double since = 0;
  };
  using RequestPtr = std::shared_ptr<Request>;

  void accept(std::span<const LocalDB::Payload> payloads);
  void pumpSoon();
  void pump();
  void giveUpLostRequests();
  void startRequest(const RequestPtr& request);
  void claim(Request& request);
  void logList(const IdSet& ids) const;
  void complete(QueuedList& list, bool success, const platform::HttpResponse& response);
  void endRequest(const RequestPtr& request);

  LocalDB& db_;
  NetworkManager& network_;
  const SerialTasks tasks_;
  const Log log_;
  const Owner owner_;

  const std::shared_ptr<QueueReader> reader_;
  std::atomic<bool> pumpDue_{false};

  Mutex mutex_;
  // Lists, since what comes and goes here must not need memory to go.
  std::list<IdSet> accepting_ ZUL_GUARDED_BY(mutex_);  // have their ids, and are not in the queue yet
  std::list<IdSet> waiting_ ZUL_GUARDED_BY(mutex_);    // sends that have no request yet
  std::vector<RequestPtr> open_ ZUL_GUARDED_BY(mutex_);
};

}  // namespace zul
