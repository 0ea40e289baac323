#pragma once

#include <cstdint>

namespace zul {

namespace platform {
class Clock;
}

/// A moment as time servers tell it: seconds since 1900 and fractions of 2^-32 s. It begins anew every 136 years, the
/// next time in February 2036; differences come out right across that.
struct NtpTime {
  std::uint32_t seconds = 0;
  std::uint32_t fraction = 0;

  bool operator==(const NtpTime&) const = default;
};

struct UnixTime {
  std::int64_t seconds = 0;  ///< since 1970
  std::int32_t microseconds = 0;
};

// The names are the library's own.
NtpTime unix2ntp(const UnixTime& time);

/// From 1970 to 2106.
UnixTime ntp2unix(const NtpTime& time);

/// The device's time now. 0, or -1 and no change when the clock gives no time.
int ntp_time_now(const platform::Clock& clock, NtpTime& now);

/// Seconds from `start` to `end`, at most 68 years either way.
double ntpDiffSeconds(const NtpTime& start, const NtpTime& end);

}  // namespace zul
