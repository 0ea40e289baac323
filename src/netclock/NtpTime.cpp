#include "NtpTime.h"

#include <algorithm>
#include <cmath>

#include "zul/platform/Clock.h"

namespace zul {

namespace {

constexpr std::uint32_t kSecondsTo1970 = 0x83AA7E80;  // from 1900
constexpr double kFractions = 4294967296.0;           // in a second
constexpr double kMicroseconds = 1e6;                 // in a second
constexpr double kFarthest = 1e15;                    // seconds: what becomes an integer safely

}  // namespace

NtpTime unix2ntp(const UnixTime& time) {
  return {static_cast<std::uint32_t>(time.seconds) + kSecondsTo1970,
          static_cast<std::uint32_t>((time.microseconds + 0.5) * kFractions / kMicroseconds)};
}

UnixTime ntp2unix(const NtpTime& time) {
  return {time.seconds - kSecondsTo1970, static_cast<std::int32_t>(time.fraction / kFractions * kMicroseconds)};
}

int ntp_time_now(const platform::Clock& clock, NtpTime& now) {
  const double seconds = clock.now();
  if (!(std::abs(seconds) < kFarthest)) return -1;
  const double whole = std::floor(seconds);
  const auto microseconds = static_cast<std::int32_t>((seconds - whole) * kMicroseconds);
  now = unix2ntp({static_cast<std::int64_t>(whole), std::min(microseconds, 999999)});
  return 0;
}

double ntpDiffSeconds(const NtpTime& start, const NtpTime& end) {
  const std::uint32_t borrow = end.fraction < start.fraction ? 1 : 0;
  const auto whole = static_cast<std::int32_t>(end.seconds - start.seconds - borrow);
  return whole + (end.fraction - start.fraction) / kFractions;
}

}  // namespace zul
