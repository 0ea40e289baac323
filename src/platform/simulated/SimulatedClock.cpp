#include "SimulatedClock.h"

#include <absl/time/time.h>

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "SimulatedDispatcher.h"

namespace zul::platform {

namespace {

// Some two billion years: the last moments whose year still fits an int.
constexpr double kFarthest = 6e16;

absl::Time time(double seconds) {
  const double whole = std::isnan(seconds) ? 0 : std::clamp(std::floor(seconds), -kFarthest, kFarthest);
  return absl::FromUnixSeconds(static_cast<std::int64_t>(whole));
}

// "+09:00" and "-03:30", to the minute.
bool readOffset(const std::string& text, absl::TimeZone& zone) {
  char sign[2] = "";
  unsigned hours = 0;
  unsigned minutes = 0;
  int length = 0;
  if (std::sscanf(text.c_str(), "%1[+-]%2u:%2u%n", sign, &hours, &minutes, &length) != 3) return false;
  if (static_cast<std::size_t>(length) != text.size() || hours > 14 || minutes > 59) return false;
  const int seconds = static_cast<int>(hours * 3600 + minutes * 60);
  zone = absl::FixedTimeZone(sign[0] == '-' ? -seconds : seconds);
  return true;
}

// Of the database: neither a file elsewhere nor what this machine has set.
bool isName(const std::string& text) {
  return text != "localtime" && text.find_first_not_of(
                                    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789"
                                    "_+-/") == text.npos;
}

}  // namespace

struct SimulatedClock::Zone {
  std::string name = "UTC";
  absl::TimeZone zone = absl::UTCTimeZone();
};

SimulatedClock::SimulatedClock(std::shared_ptr<SimulatedDispatcher> dispatcher)
    : dispatcher_(std::move(dispatcher)), zone_(std::make_unique<Zone>()) {}

SimulatedClock::~SimulatedClock() = default;

double SimulatedClock::now() const {
  return offset_ + dispatcher_->now();
}

void SimulatedClock::set(double seconds) {
  offset_ = seconds - dispatcher_->now();
}

CivilTime SimulatedClock::civil(double seconds) const {
  const auto fields = zone_->zone.At(time(seconds)).cs;
  CivilTime civil;
  civil.year = static_cast<int>(fields.year());
  civil.month = fields.month();
  civil.day = fields.day();
  civil.hour = fields.hour();
  civil.minute = fields.minute();
  civil.second = fields.second();
  civil.weekday = (static_cast<int>(absl::GetWeekday(fields)) + 1) % 7 + 1;  // Monday is 0 there
  return civil;
}

double SimulatedClock::seconds(const CivilTime& civil) const {
  const absl::CivilSecond fields(civil.year, civil.month, civil.day, civil.hour, civil.minute, civil.second);
  return static_cast<double>(absl::ToUnixSeconds(absl::FromCivil(fields, zone_->zone)));
}

int SimulatedClock::secondsFromGmt() const {
  return zone_->zone.At(time(now())).offset;
}

bool SimulatedClock::setZone(const std::string& zone) {
  absl::TimeZone found;
  if (!readOffset(zone, found) && !(isName(zone) && absl::LoadTimeZone(zone, &found))) return false;
  *zone_ = {zone, found};
  return true;
}

std::string SimulatedClock::zone() const {
  return zone_->name;
}

}  // namespace zul::platform
