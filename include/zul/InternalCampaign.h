#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

namespace zul {

/// Up to ten campaigns that the application runs itself, for ZULSession::setInternalCampaign.
struct InternalCampaign {
  struct Slot {
    std::optional<std::string> inrc;  ///< campaign code; absent or empty leaves the slot as it is
    std::int64_t inrcDt = 0;          ///< validity period in days
  };
  std::array<Slot, 10> slots;  ///< slots 1 to 10
};

}  // namespace zul
