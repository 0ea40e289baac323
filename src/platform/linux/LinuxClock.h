#pragma once

#include "zul/platform/Clock.h"

namespace zul::platform {

/// The system's wall clock, in the time zone that TZ or the system names. Any thread may call it.
///
/// Moments and civil times beyond what the C library can convert are held at its limits.
class LinuxClock final : public Clock {
 public:
  double now() const override;
  CivilTime civil(double seconds) const override;
  double seconds(const CivilTime& civil) const override;
  int secondsFromGmt() const override;
};

}  // namespace zul::platform
