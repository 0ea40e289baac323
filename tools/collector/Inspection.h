#pragma once

#include <cstdint>
#include <optional>
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

/// What "seq=17&payload=0" names.
struct Place {
  std::uint64_t sequence = 0;
  std::optional<std::size_t> payload{};
};

/// Throws std::invalid_argument as well.
Place readPlace(std::string_view query);

/// One request: without a payload's number as a listing shows it, with one as "request" without its body, "members" and
/// "beside", [key, JSON text of the value] for what stands in that payload's session and beside it, and "suspicions",
/// all that is suspicious about this payload; "request" alone where no body could be decoded or is kept. Throws
/// std::invalid_argument when there is no such payload in the body.
std::string inspectionOf(const RecordedRequest& request, std::optional<std::size_t> payload);

/// The page: the counts, and the requests in `log` that are selected and that `wanted` accepts; as "next" the number to
/// go on from where there are more than the limit allows.
std::string inspectionPage(const RequestLog& log, const Selection& selection, const RequestLog::Filter& wanted);

}  // namespace zul::collector
