#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "DevCollector.h"
#include "Mutex.h"
#include "RecordedRequest.h"

namespace zul::collector {

/// The requests seen: the latest of them in memory, all of them counted, and all of them in the record
/// file where there is one. Any thread.
class RequestLog {
 public:
  /// Throws std::runtime_error when the record file cannot be written.
  explicit RequestLog(const CollectorOptions& options);

  /// The number of a request that has just arrived.
  std::uint64_t arrived();

  /// Records it. Requests that are worked on at the same time may come in any order; memory keeps them
  /// in that of their numbers, the file in that of their coming.
  void add(RecordedRequest request);

  void reset();
  Counts counts() const;

  /// How far a reader has got that follows the requests as they are recorded.
  struct Position {
    std::uint64_t era = 0;       ///< changes with each reset, and from process to process
    std::uint64_t recorded = 0;  ///< of the last request it has
  };
  /// What came after a position.
  struct News {
    Position position;         ///< to go on from
    bool begun = false;        ///< the reader's era is over, and what it has is forgotten
    std::uint64_t missed = 0;  ///< that have gone from memory before the reader came for them
    std::vector<RequestPtr> requests;
    Counts counts;
  };
  /// The first `most` requests after `position`, in the order of their recording.
  News after(const Position& position, std::size_t most) const;

  using Filter = std::function<bool(const RecordedRequest&)>;
  /// The one of that number; null when it is not in memory.
  RequestPtr request(std::uint64_t sequence) const;
  /// The first `most` that are wanted, in order.
  std::vector<RequestPtr> requests(const Filter& wanted, std::size_t most = static_cast<std::size_t>(-1)) const;
  bool waitFor(std::uint64_t count, std::chrono::milliseconds timeout) const;
  bool waitFor(Endpoint endpoint, std::uint64_t count, std::chrono::milliseconds timeout) const;
  RequestPtr waitFor(const Filter& wanted, std::chrono::milliseconds timeout) const;

 private:
  void write(const RecordedRequest& request);
  void dropOldest(std::vector<RequestPtr>& dropped) ZUL_REQUIRES(mutex_);
  RequestPtr find(const Filter& wanted) const ZUL_REQUIRES(mutex_);

  const bool keepBodies_;
  const std::size_t maxRequests_;
  const std::size_t maxBytes_;

  const std::function<void(const RecordedRequest&)> onRecorded_;

  mutable Mutex mutex_;
  mutable Condition added_;
  std::atomic<std::uint64_t> lastSequence_ = 0;
  std::uint64_t lastRecorded_ ZUL_GUARDED_BY(mutex_) = 0;
  std::uint64_t era_ ZUL_GUARDED_BY(mutex_);
  std::deque<RequestPtr> requests_ ZUL_GUARDED_BY(mutex_);
  std::deque<RequestPtr> byRecording_ ZUL_GUARDED_BY(mutex_);  // the same ones
  std::size_t bytes_ ZUL_GUARDED_BY(mutex_) = 0;
  Counts counts_ ZUL_GUARDED_BY(mutex_);
  std::array<std::uint64_t, kEndpointNames.size() + 1> endpointCounts_ ZUL_GUARDED_BY(mutex_){};

  const std::string fileName_;
  Mutex fileMutex_;
  std::ofstream file_ ZUL_GUARDED_BY(fileMutex_);
};

}  // namespace zul::collector
