#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

#include "Answers.h"
#include "RequestLog.h"

namespace zul::collector {

/// The server-sent events of one client: what has been recorded, in short, and what is recorded from now on. It keeps
/// a place in the log and nothing else, so that a client that is slow finds larger pieces rather than a longer queue,
/// and is told of what has gone from memory in the meantime.
///
/// Each event has as its id the place to go on from, and as its data an object:
///
///   "begun"     true when all that the client has is over: the first event, and after a reset
///   "missed"    how many requests have gone from memory before the client took them
///   "counts"    the collector's counts
///   "answers"   a number that changes with what is still to be answered
///   "requests"  "seq", "t" (ms since 1970), "endpoint", "verdict", "size", "accepted"; where there is such a thing
///               "problem", "odd" ([payload, key, reason] each), "path" (of an unknown endpoint), "payloads" (the
///               number of them) and "of", the first thousand payloads: [uuid, vtTz, ltvt, whether isVisitNew is "Y",
///               the request that brought an equal one or 0, model, application], null for the value before it
class EventFeed {
 public:
  /// `lastId` is that of the last event that the client has; empty: none. Both have to outlive the feed.
  EventFeed(const RequestLog& log, const Answers& answers, std::string_view lastId);

  /// What is new, as text to send, about 256 KB at most; empty when nothing is.
  std::string next();

 private:
  using Clock = std::chrono::steady_clock;

  const RequestLog& log_;
  const Answers& answers_;
  RequestLog::Position position_;
  std::uint64_t answersVersion_ = 0;
  bool first_ = true;
  Clock::time_point spoke_ = Clock::now();
};

}  // namespace zul::collector
