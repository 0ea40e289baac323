#pragma once

#include <array>
#include <boost/json/value.hpp>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "Mutex.h"
#include "RecordedRequest.h"

namespace zul::collector {

struct Answer {
  std::optional<std::string> body;  ///< none: what the endpoint answers without a list
  int status = 200;
  std::chrono::milliseconds delay{0};
  bool close = false;
};

/// What a client is content with: the body of the answer to a good request without a list.
std::string usualBody(Endpoint endpoint, std::string_view query);

/// What the collector is told to answer. Any thread.
///
/// All that take a text throw std::invalid_argument, naming the place, and change nothing when it is not of the form
/// that DevCollector documents.
class Answers {
 public:
  /// Replaces all lists.
  void set(std::string_view json);

  /// Replaces the lists of the endpoints in `json` alone; an empty one goes back to the usual answer.
  void setEach(std::string_view json);

  /// Queues answers to be given once each: before the one that repeats, after those that were queued before.
  void queue(std::string_view json);

  /// The endpoint's next answer; the last one of its list over and over.
  Answer next(Endpoint endpoint);

  /// What is still to come, in the same form: the next answer first, the one that repeats last.
  std::string text() const;

  /// Another number after each change of what is to come.
  std::uint64_t version() const;

 private:
  using Script = std::deque<Answer>;
  using Lists = std::map<Endpoint, Script>;
  static Lists read(std::string_view json);

  mutable Mutex mutex_;
  std::array<Script, kEndpointNames.size()> scripts_ ZUL_GUARDED_BY(mutex_);
  std::uint64_t version_ ZUL_GUARDED_BY(mutex_) = 0;
};

}  // namespace zul::collector
