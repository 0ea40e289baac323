#pragma once

#include "zul/platform/AdServices.h"
#include "zul/platform/SKAdNetwork.h"

namespace zul::platform {

class NoAdServices final : public AdServices {
 public:
  std::optional<std::string> attributionToken() override { return std::nullopt; }
  bool requestAttributionDetails(DetailsCompletion) override { return false; }
};

class NoSKAdNetwork final : public SKAdNetwork {
 public:
  bool isAvailable() const override { return false; }
  void registerAppForAdNetworkAttribution() override {}
  void updateConversionValue(std::int64_t) override {}
  void updatePostbackConversionValue(std::int64_t, CoarseConversionValue, bool) override {}
};

}  // namespace zul::platform
