#pragma once

namespace zul::platform {

/// A moment broken down in the device's time zone by the Gregorian calendar.
struct CivilTime {
  int year = 1970;
  int month = 1;  ///< 1 to 12
  int day = 1;    ///< 1 to 31
  int hour = 0;
  int minute = 0;
  int second = 0;
  int weekday = 5;  ///< Sunday = 1 to Saturday = 7
};

/// The device's wall clock and time zone. Any thread may call it; nothing else in the library reads
/// the time.
class Clock {
 public:
  virtual ~Clock() = default;

  /// Seconds since 1970-01-01T00:00:00Z, with fraction.
  virtual double now() const = 0;

  /// `seconds` (since 1970) in the device's time zone; the fraction is cut off.
  virtual CivilTime civil(double seconds) const = 0;

  /// Seconds since 1970 of a civil time. Fields that run over (day 0, day 35, month 13) are
  /// normalised as a calendar does; the weekday is ignored.
  virtual double seconds(const CivilTime& civil) const = 0;

  /// Seconds east of GMT at present.
  virtual int secondsFromGmt() const = 0;
};

}  // namespace zul::platform
