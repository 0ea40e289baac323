#pragma once

#include <cstdint>

namespace zul::platform {

enum class CoarseConversionValue { low, medium, high };

/// The platform's attribution of installs that knows no device: the application reports a conversion value, the
/// platform forwards it to the ad network. Nothing tells how a call ended. Any thread may call it.
class SKAdNetwork {
 public:
  virtual ~SKAdNetwork() = default;

  /// False: the platform has none, and the operations do nothing.
  virtual bool isAvailable() const = 0;

  /// Up to system 16.0.
  virtual void registerAppForAdNetworkAttribution() = 0;
  virtual void updateConversionValue(std::int64_t value) = 0;

  /// From system 16.1 on, in the place of both.
  virtual void updatePostbackConversionValue(std::int64_t fineValue, CoarseConversionValue coarseValue,
                                             bool lockWindow) = 0;
};

}  // namespace zul::platform
