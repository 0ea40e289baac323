#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>

namespace zul {

/// Up to ten campaigns that the application runs itself, for ZULSession::setInternalCampaign. A slot that has none is
/// left as it is.
struct InternalCampaign {
  struct Slot {
    std::optional<std::string> inrc;  ///< campaign code; absent or empty leaves the slot as it is
    std::int64_t inrcDt = 0;          ///< validity period in days
  };
  std::array<Slot, 10> slots;  ///< slots 1 to 10

  void setInternalCampaign1(std::optional<std::string> inrc, std::int64_t inrcPeriod) { set(1, inrc, inrcPeriod); }
  void setInternalCampaign2(std::optional<std::string> inrc, std::int64_t inrcPeriod) { set(2, inrc, inrcPeriod); }
  void setInternalCampaign3(std::optional<std::string> inrc, std::int64_t inrcPeriod) { set(3, inrc, inrcPeriod); }
  void setInternalCampaign4(std::optional<std::string> inrc, std::int64_t inrcPeriod) { set(4, inrc, inrcPeriod); }
  void setInternalCampaign5(std::optional<std::string> inrc, std::int64_t inrcPeriod) { set(5, inrc, inrcPeriod); }
  void setInternalCampaign6(std::optional<std::string> inrc, std::int64_t inrcPeriod) { set(6, inrc, inrcPeriod); }
  void setInternalCampaign7(std::optional<std::string> inrc, std::int64_t inrcPeriod) { set(7, inrc, inrcPeriod); }
  void setInternalCampaign8(std::optional<std::string> inrc, std::int64_t inrcPeriod) { set(8, inrc, inrcPeriod); }
  void setInternalCampaign9(std::optional<std::string> inrc, std::int64_t inrcPeriod) { set(9, inrc, inrcPeriod); }
  void setInternalCampaign10(std::optional<std::string> inrc, std::int64_t inrcPeriod) { set(10, inrc, inrcPeriod); }

 private:
  void set(std::size_t slot, std::optional<std::string>& inrc, std::int64_t inrcPeriod) {
    slots[slot - 1] = {std::move(inrc), inrcPeriod};
  }
};

}  // namespace zul
