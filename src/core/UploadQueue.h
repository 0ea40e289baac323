#pragma once

#include <boost/json/object.hpp>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Log.h"

namespace zul {

class LocalDB;
class NetworkManager;
namespace platform {
class Dispatcher;
class SerialQueue;
struct HttpResponse;
}  // namespace platform

/// The payloads that the collector does not have yet, and the sending of them.
///
/// A payload is journaled on the calling thread before `send` returns; everything else happens on a queue of
/// its own: the payload joins those that earlier sends could not deliver, the whole list goes out as one JSON
/// array, and the answer either clears them from the queue or keeps them in the document "Json" for the next
/// send. Each payload is serialized once, and the list stays in memory as it was parsed.
///
/// Where sends overlap, an answer concerns the payloads that its own request carried and no others: a
/// payload can go out twice but never vanish. At most four requests are open; while they are, further
/// payloads gather and leave together in the next one.
///
/// Any thread may call `send`. The lock covers list operations only.
class UploadQueue {
 public:
  /// What the owner does at each turn. All of it runs on background threads.
  struct Owner {
    /// The collector took the list whose first payload is `first`: before the queue is cleared.
    std::function<void(const boost::json::object& answer, const std::string& first)> accepted;
    /// The same, as part of the transaction that clears the queue.
    std::function<void()> keepAccepted;
    /// The list is kept: an error log with `reason` is due.
    std::function<void(const std::optional<std::string>& reason)> kept;
    /// The request is over, whatever came of it.
    std::function<void()> completed;
  };

  UploadQueue(LocalDB& db, NetworkManager& network, std::shared_ptr<platform::Dispatcher> dispatcher, Log log,
              Owner owner);

  /// Reads what earlier processes left, in the document and in the journal, and joins the two. Returns at
  /// once.
  void start();

  /// Sends the queue with `payloads`, the texts of JSON objects, behind it. Payloads without keys are
  /// dropped; with nothing left nothing is sent.
  void send(std::vector<std::string> payloads);

 private:
  struct Entry {
    std::int64_t order = 0;                      // in which the entries were accepted
    std::int64_t journalId = 0;                  // 0: not in the journal
    std::shared_ptr<const std::string> compact;  // until indented
    std::string indented;                        // as it stands in the list that is sent
    bool queued = false;                         // stands in queue_
    bool delivered = false;
  };
  using Entries = std::vector<std::shared_ptr<Entry>>;

  // The queue as it stood at one moment, ready for the document.
  struct Image {
    std::uint64_t version = 0;
    std::shared_ptr<const boost::json::object> document;
    std::string text;
    std::vector<std::int64_t> journaled;
  };

  void load();
  Entries parsed(const std::string& text);
  void pump();
  void open(const Entries& own);
  void complete(const Entries& list, bool success, const platform::HttpResponse& response);
  void accept(const Entries& list, const boost::json::object& answer);
  void keep(const Entries& list);
  Image image();
  void save(Image image);
  void close();
  void enqueue(const Entries& entries);
  static void indent(Entry& entry);

  LocalDB& db_;
  NetworkManager& network_;
  std::shared_ptr<platform::Dispatcher> dispatcher_;
  std::shared_ptr<platform::SerialQueue> serial_;
  Log log_;
  Owner owner_;

  std::mutex mutex_;  // guards the rest
  std::int64_t lastOrder_ = 0;
  Entries queue_;                // what "QueueJsonList" holds or is about to hold, in order
  std::deque<Entries> waiting_;  // sends that have no request yet
  int open_ = 0;                 // requests under way
  bool loaded_ = false;
  bool unreadable_ = false;  // the stored queue could not be parsed and stands in the way of one send
  bool saveScheduled_ = false;
  std::uint64_t images_ = 0;

  std::uint64_t saved_ = 0;  // the version in the document; belongs to the transaction that saves
};

}  // namespace zul
