#pragma once

#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "zul/Dictionary.h"
#include "zul/platform/AdServices.h"
#include "zul/platform/SKAdNetwork.h"

namespace zul::platform {

/// A platform that has both ways to search-ads attribution; which is asked depends on the system's version.
class SimulatedAdServices final : public AdServices {
 public:
  std::optional<std::string> attributionToken() override {
    if (onToken) onToken();
    return token;
  }
  bool requestAttributionDetails(DetailsCompletion completion) override {
    if (!hasDetails) return false;
    completion(details, details ? "" : "no details");
    return true;
  }

  std::optional<std::string> token;
  std::function<void()> onToken;  ///< before the token is given
  bool hasDetails = false;        ///< whether the older way is there at all
  std::optional<Dictionary> details;
};

/// Keeps what it is told, as a line each: "register", "update 5", "postback 5 high lock".
class SimulatedSKAdNetwork final : public SKAdNetwork {
 public:
  bool isAvailable() const override { return available; }
  void registerAppForAdNetworkAttribution() override { calls.emplace_back("register"); }
  void updateConversionValue(std::int64_t value) override { calls.push_back("update " + std::to_string(value)); }
  void updatePostbackConversionValue(std::int64_t fineValue, CoarseConversionValue coarseValue,
                                     bool lockWindow) override {
    static constexpr const char* kCoarse[] = {" low", " medium", " high"};
    calls.push_back("postback " + std::to_string(fineValue) + kCoarse[static_cast<int>(coarseValue)] +
                    (lockWindow ? " lock" : ""));
  }

  bool available = true;
  std::vector<std::string> calls;
};

}  // namespace zul::platform
