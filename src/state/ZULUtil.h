#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>

namespace zul {

class NHNetworkClock;
namespace platform {
class Clock;
}

/// Clock readings, date texts, period ends and query parsing. Holds no state; any thread may call it.
class ZULUtil {
 public:
  ZULUtil(std::shared_ptr<platform::Clock> clock, NHNetworkClock& networkClock)
      : clock_(std::move(clock)), networkClock_(networkClock) {}

  /// Device time, seconds since 1970 with fraction.
  double currentTimeSec() const;
  /// Device time in milliseconds.
  double currentTimeSecMulti1000() const;
  /// Network time, seconds since 1970.
  double getCurrentNTPTimeSec() const;

  /// Now, as "yyyy-MM-dd HH:mm:ss" in the device's time zone.
  std::string getCurrentDateString() const;
  /// Seconds (not milliseconds, whatever the name) since 1970 of a "yyyy-MM-dd HH:mm:ss" text in the device's
  /// time zone; 0 when it is none.
  double convertStringToMills(std::string_view text) const;

  /// The end of the day ("DU"), of the Sunday-to-Saturday week ("WU") or of the month ("MU") that `seconds`
  /// lies in; any other type gives `seconds` itself, to the whole second. Not greater than 0 means now.
  double getExpireLongTime(double seconds, std::string_view type) const;
  /// The end of the Monday-to-Sunday week that `seconds` lies in, one week later on a Sunday.
  double getExpireLongTimeForWeeklyUSType(double seconds) const;

  /// Days between two moments, rounded to nearest.
  static std::int64_t days(double from, double to);

  /// The "key=value" pieces between the characters "?" and "&", percent-decoded. A piece without "=" is
  /// key and value at once, one with several keeps what stands before the first and after the last; the
  /// later of two equal keys wins; a piece that cannot be decoded, or is not UTF-8 then, is skipped.
  static std::map<std::string, std::string> parseUrlString(std::string_view url);

 private:
  std::shared_ptr<platform::Clock> clock_;
  NHNetworkClock& networkClock_;
};

}  // namespace zul
