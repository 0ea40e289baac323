#pragma once

#include <array>
#include <boost/json/value.hpp>
#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

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
class Answers {
 public:
  /// Replaces all lists. Throws std::invalid_argument, naming the place, and changes nothing when `json`
  /// is not of the form that DevCollector documents.
  void set(std::string_view json);

  /// The endpoint's next answer; the last one of its list over and over.
  Answer next(Endpoint endpoint);

 private:
  struct Script {
    std::vector<Answer> answers;
    std::size_t at = 0;
  };

  Mutex mutex_;
  std::array<Script, kEndpointNames.size()> scripts_ ZUL_GUARDED_BY(mutex_);
};

}  // namespace zul::collector
