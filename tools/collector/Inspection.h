#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "RequestLog.h"

namespace zul::collector {

/// Which of the requests an inspection page shows, as its query says: "device=UUID&endpoint=upload&since=17".
struct Selection {
  std::string device;  ///< empty: any, as for the two below
  std::string endpoint;
  std::string verdict;      ///< "good" for those that are not suspicious
  std::uint64_t since = 0;  ///< shows those with a higher number
  std::size_t limit = static_cast<std::size_t>(-1);

  bool matches(const RecordedRequest& request) const;
};

/// Throws std::invalid_argument, naming what is wrong with the query.
Selection readSelection(std::string_view query);

/// The page: the counts, and the requests in `log` that are selected and that `wanted` accepts; as "next" the number to
/// go on from where there are more than the limit allows.
std::string inspectionPage(const RequestLog& log, const Selection& selection, const RequestLog::Filter& wanted);

}  // namespace zul::collector
