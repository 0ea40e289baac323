#pragma once

#include <boost/json/object.hpp>
#include <boost/json/value.hpp>
#include <cstdint>
#include <optional>
#include <string>

#include "SessionJson.h"

namespace zul {

/// What a payload carries beside the record.
struct PayloadExtras {
  boost::json::value sarInfo;  ///< search-ads attribution result
  std::optional<std::string> AAATk;
  std::int64_t AAATktime = 0;
  std::optional<std::string> clientUserAgent;
};

/// The session payload: full for a `useMode` of 1 or 2, reduced for 3, empty for any other. Keys whose value
/// is none are left out.
boost::json::object sessionPayload(const SessionJson& record, const PayloadExtras& extras);

}  // namespace zul
