#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "RecordedRequest.h"

namespace zul::collector {

struct CollectorOptions {
  std::string host = "127.0.0.1";
  int port = 0;            ///< 0 takes any free one, and keeps it over a restart
  std::string certFile{};  ///< PEM chain; with a key the collector speaks HTTPS alone
  std::string keyFile{};
  std::string recordFile{};  ///< one JSON object a line is appended for each request

  /// What stays in memory. The counts go on when the oldest requests are dropped.
  bool keepBodies = true;
  std::size_t maxRequests = 10'000;
  std::size_t maxBytes = std::size_t{64} << 20;  ///< of all of them together; the latest is kept in any case

  /// Called with each request once it is recorded, by any thread and several at a time. Must not throw.
  std::function<void(const RecordedRequest&)> onRecorded{};
};

struct Counts {
  std::uint64_t total = 0;
  std::uint64_t good = 0;
  std::uint64_t suspicious = 0;  ///< among the good ones
  std::uint64_t bad = 0;
};

/// The form of the answers, for the program's help and the documents.
std::string_view answersHelp() noexcept;

/// The development collector: every service that the library talks to over HTTP, in one process. It
/// checks each request against the wire contract, records it, and answers as it was told to.
///
/// A good request gets the next answer of its endpoint's list, and the last one for ever; without a list
/// it gets an answer that a client is content with. A bad request gets status 400 (404 at an unknown
/// path, 413 when it is too large) with {"code":"ERR400","msg":reason} and uses up no answer. The answers
/// are a JSON object of lists by endpoint name ("token", "upload", "errorlog", "pushclick",
/// "fingerprint", "appstore"). Each answer is an object, all of its members optional:
///
///   "body"    any JSON value, or {"raw": "text"} for text that goes out as it stands; when absent, what
///             the endpoint answers without a list
///   "status"  200 to 599, 200 when absent
///   "delay"   milliseconds to wait before answering
///   "close"   true closes the connection without any answer. A client that reused a connection may take
///             that for an idle one's end, and send the request again by itself.
///
/// A good upload is suspicious when something in it should not be so, each thing with its reason and key: an empty
/// session, a key that is unknown, missing or of the wrong kind, a service number of 0, a payload equal to one that was
/// accepted before, a vendorId under several uuids, a vtTz that goes back, values that consent should have hidden or
/// filled. It gets the same answers as any good one.
///
/// Over HTTP: GET /inspect/all, /inspect/good, /inspect/suspicious and /inspect/bad give the counts and the requests;
/// a query selects among them ("device", "endpoint", "verdict", "since": the number that the requests come after) and
/// cuts them into pages ("limit"; the page's "next" is the next one's "since"). GET /inspect/request?seq=N is one of
/// them, with "payload" one of its payloads, and GET /inspect/body?seq=N its body as sent. POST /inspect/reset forgets
/// requests and counts. POST /inspect/answers takes new answers, GET tells what is still to come; POST
/// /inspect/answers/each replaces the lists of some endpoints, and /inspect/answers/once queues answers before the one
/// that repeats. GET /inspect/keys is what a payload's keys mean. GET / is a page that shows all this as it happens, by
/// the server-sent events of GET /events. None of these is recorded.
///
/// All bodies that come in at one time may have 128 MB together; what goes beyond is refused with status 503.
/// A body may have 16 MB, an upload 64 MB once unpacked and 1 MB a payload. Uploads are judged piece by piece, and a
/// faulty one is given up at its first fault, so that nobody is made to keep what a small body unpacks to.
///
/// A request is recorded once it is read and checked, before it is answered. start() and stop() are for
/// one thread; everything else may be called from any thread at any time, and goes on working while the
/// collector is stopped.
class DevCollector {
 public:
  explicit DevCollector(CollectorOptions options = {});
  ~DevCollector();
  DevCollector(const DevCollector&) = delete;
  DevCollector& operator=(const DevCollector&) = delete;

  /// Returns once connections are accepted. Throws std::runtime_error, saying why, when it cannot.
  /// Nothing happens when it already runs.
  void start();

  /// Closes every connection, answered or not; delays are cut short. start() takes the same port again.
  void stop() noexcept;

  int port() const noexcept;    ///< 0 before the first start()
  std::string baseUrl() const;  ///< scheme, host and port, no trailing slash

  /// Replaces all answers by the JSON text's. Throws std::invalid_argument, naming the place, and changes
  /// nothing when the text is not of the form above.
  void setAnswers(std::string_view json);

  /// Forgets the requests and the counts. Sequence numbers go on.
  void reset();

  Counts counts() const;

  /// The requests in memory, in the order of arrival.
  std::vector<RequestPtr> requests() const;
  std::vector<RequestPtr> requests(Endpoint endpoint) const;
  std::vector<RequestPtr> good() const;
  std::vector<RequestPtr> bad() const;

  /// Waits until that many requests, good or bad, have been counted since the last reset(), in all or at
  /// one endpoint. False when the time is over before.
  bool waitFor(std::uint64_t count, std::chrono::milliseconds timeout) const;
  bool waitFor(Endpoint endpoint, std::uint64_t count, std::chrono::milliseconds timeout) const;

  /// Waits for a request that `wanted` accepts, and gives the first such one in memory; null when the time
  /// is over before. `wanted` runs under a lock: it must not call the collector.
  RequestPtr waitFor(const std::function<bool(const RecordedRequest&)>& wanted,
                     std::chrono::milliseconds timeout) const;

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace zul::collector
