#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <unordered_set>
#include <vector>

#include "LocalDB.h"
#include "Log.h"
#include "Mutex.h"
#include "NetworkManager.h"
#include "Tasks.h"

namespace zul {

/// Sends the payloads that the collector does not have yet.
///
/// A payload is a row of the database before `send` returns, and stays one until the collector has it: the rows are
/// the queue. Everything else happens on a queue of tasks of its own: the payload joins those that earlier sends could
/// not deliver, the whole list goes out as one JSON array, and an answer that accepts it removes its rows. A failed
/// send writes nothing.
///
/// Where sends overlap, an answer concerns the payloads that its own request carried and no others, and a payload
/// is in one request at a time: what a failed one carried waits for the next send. At most four requests are open;
/// while they are, further payloads gather and leave together in the next one. A request that the HTTP client never
/// ends is given up after eight days.
///
/// Any thread may call `send`. The lock covers list operations only.
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

  /// Reads what earlier processes left. Returns at once.
  void start();

  /// Sends the queue with `payloads`, the texts of JSON objects, behind it. Payloads without keys are
  /// dropped; with nothing left nothing is sent.
  void send(std::vector<std::string> payloads);

 private:
  using Payload = LocalDB::Payload;
  using Payloads = std::vector<Payload>;

  struct Request {
    Payloads payloads;  // its own, and then the whole list
    double since = 0;
  };
  using RequestPtr = std::shared_ptr<Request>;

  void pump();
  void giveUpLostRequests();
  void startRequest(const RequestPtr& request);
  void takeList(Request& request);
  void complete(const Payloads& list, bool success, const platform::HttpResponse& response);
  void release(const Payloads& payloads) ZUL_REQUIRES(mutex_);
  void endRequest(const RequestPtr& request);

  LocalDB& db_;
  NetworkManager& network_;
  const SerialTasks tasks_;
  const Log log_;
  const Owner owner_;

  Mutex mutex_;
  std::deque<Payloads> waiting_ ZUL_GUARDED_BY(mutex_);          // sends that have no request yet
  std::unordered_set<Payload> underWay_ ZUL_GUARDED_BY(mutex_);  // their request is to come, or open
  std::vector<RequestPtr> open_ ZUL_GUARDED_BY(mutex_);
};

}  // namespace zul
