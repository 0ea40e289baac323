#pragma once

#include <functional>
#include <optional>
#include <string>

#include "zul/Dictionary.h"

namespace zul::platform {

/// The platform's own attribution of installs that come from its search ads. Any thread may call it.
class AdServices {
 public:
  /// The details, or why there are none: one of the two.
  using DetailsCompletion = std::function<void(std::optional<Dictionary> details, const std::string& error)>;

  virtual ~AdServices() = default;

  /// The token that the attribution service takes; none when the platform reports an error or has none to give. What
  /// it throws is logged, and counts as none. Asked from system 14.3 on.
  virtual std::optional<std::string> attributionToken() = 0;

  /// The older systems' way, which needs no service: calls `completion` once, on any thread. False, and without a call,
  /// where the system does not have it.
  virtual bool requestAttributionDetails(DetailsCompletion completion) = 0;
};

}  // namespace zul::platform
