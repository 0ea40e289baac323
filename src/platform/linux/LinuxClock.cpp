#include "LinuxClock.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdint>
#include <ctime>

namespace zul::platform {

namespace {

// Some two billion years: the last moments whose year still fits the C library's int.
constexpr double kFarthest = 6e16;

constexpr int kFarthestYear = 1'900'000'000;

// localtime_r alone would stay with the TZ that it found first. To look costs much more than to convert, so that a
// change counts within a second.
void followZone() {
  static std::atomic<std::time_t> looked{-1};
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
  if (looked.exchange(now.tv_sec, std::memory_order_relaxed) != now.tv_sec) tzset();
}

std::tm local(double seconds) {
  followZone();
  const double whole = std::isnan(seconds) ? 0 : std::clamp(std::floor(seconds), -kFarthest, kFarthest);
  const auto time = static_cast<std::time_t>(whole);
  std::tm fields{};
  localtime_r(&time, &fields);
  return fields;
}

}  // namespace

double LinuxClock::now() const {
  timespec time{};
  clock_gettime(CLOCK_REALTIME, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

CivilTime LinuxClock::civil(double seconds) const {
  const std::tm fields = local(seconds);
  CivilTime civil;
  civil.year = fields.tm_year + 1900;
  civil.month = fields.tm_mon + 1;
  civil.day = fields.tm_mday;
  civil.hour = fields.tm_hour;
  civil.minute = fields.tm_min;
  civil.second = fields.tm_sec;
  civil.weekday = fields.tm_wday + 1;
  return civil;
}

double LinuxClock::seconds(const CivilTime& civil) const {
  std::tm fields{};
  fields.tm_year = std::clamp(civil.year, -kFarthestYear, kFarthestYear) - 1900;
  fields.tm_mon = std::max(civil.month, -kFarthestYear) - 1;
  fields.tm_mday = civil.day;
  fields.tm_hour = civil.hour;
  fields.tm_min = civil.minute;
  fields.tm_sec = civil.second;

  // Not mktime: which of two moments it takes for a time that occurs twice depends on what it was asked before. Here
  // it is the first; and a time that is left out is told by the offset before.
  const auto asIfGmt = static_cast<double>(timegm(&fields));
  const auto offsetAt = [](double moment) { return static_cast<double>(local(moment).tm_gmtoff); };
  constexpr double kDay = 86400;
  const double before = offsetAt(asIfGmt - kDay);
  const double after = offsetAt(asIfGmt + kDay);
  const bool isAfter = offsetAt(asIfGmt - before) != before && offsetAt(asIfGmt - after) == after;
  return asIfGmt - (isAfter ? after : before);
}

int LinuxClock::secondsFromGmt() const {
  return static_cast<int>(local(now()).tm_gmtoff);
}

}  // namespace zul::platform
