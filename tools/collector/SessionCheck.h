#pragma once

#include <boost/json/object.hpp>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "RecordedRequest.h"

namespace zul::collector {

/// What is suspicious about the payloads of one request: the first payload with each complaint, and not too many.
class Suspicions {
 public:
  void add(std::size_t payload, std::string_view key, std::string reason);
  std::vector<Suspicion> take() && { return std::move(found_); }

 private:
  std::vector<Suspicion> found_;
};

/// Looks at one payload by itself: its keys, their kinds, and values that contradict each other.
PayloadFacts checkPayload(const boost::json::object& payload, std::string_view text, std::size_t number,
                          Suspicions& suspicions);

}  // namespace zul::collector
