#pragma once

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

/// The session payload as compact JSON text: full for a `useMode` of 1 or 2, reduced for 3, "{}" for any other.
/// Keys whose value is none are left out. Text rather than an object, since it is built at every event and hardly
/// ever read.
std::string sessionPayload(const SessionJson& record, const PayloadExtras& extras);

}  // namespace zul
