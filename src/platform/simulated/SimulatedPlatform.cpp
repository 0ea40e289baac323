#include "SimulatedPlatform.h"

#include <algorithm>
#include <chrono>
#include <cmath>

namespace zul::platform {

CivilTime SimulatedClock::civil(double seconds) const {
  using namespace std::chrono;
  const sys_seconds local(std::chrono::seconds(static_cast<std::int64_t>(std::floor(seconds)) + zone_));
  const auto day = floor<days>(local);
  const year_month_day date(day);
  const hh_mm_ss time(local - day);
  CivilTime civil;
  civil.year = static_cast<int>(date.year());
  civil.month = static_cast<int>(static_cast<unsigned>(date.month()));
  civil.day = static_cast<int>(static_cast<unsigned>(date.day()));
  civil.hour = static_cast<int>(time.hours().count());
  civil.minute = static_cast<int>(time.minutes().count());
  civil.second = static_cast<int>(time.seconds().count());
  civil.weekday = static_cast<int>(weekday(day).c_encoding()) + 1;
  return civil;
}

double SimulatedClock::seconds(const CivilTime& civil) const {
  using namespace std::chrono;
  const int month = civil.month - 1;
  const int years = civil.year + (month >= 0 ? month / 12 : -((11 - month) / 12));
  const auto first = year(years) / (((month % 12) + 12) % 12 + 1) / 1;
  const auto day = sys_days(first) + days(civil.day - 1);
  const auto time = hours(civil.hour) + minutes(civil.minute) + std::chrono::seconds(civil.second - zone_);
  return static_cast<double>((day.time_since_epoch() + time) / std::chrono::seconds(1));
}

std::optional<std::string> SimulatedBundle::resource(const std::string& name) {
  const auto found = resources.find(name);
  if (found == resources.end()) return std::nullopt;
  return found->second;
}

std::optional<double> SimulatedUserDefaults::number(const std::string& key) {
  const auto found = numbers_.find(key);
  if (found == numbers_.end()) return std::nullopt;
  return found->second;
}

std::size_t MemoryLog::count(std::string_view text) const {
  return static_cast<std::size_t>(std::count_if(
      lines.begin(), lines.end(), [&](const std::string& line) { return line.find(text) != std::string::npos; }));
}

SimulatedPlatform::SimulatedPlatform()
    : dispatcher(std::make_shared<SimulatedDispatcher>()),
      clock(std::make_shared<SimulatedClock>(dispatcher)),
      store(std::make_shared<SimulatedStore>()),
      http(std::make_shared<SimulatedHttp>(dispatcher)),
      bundle(std::make_shared<SimulatedBundle>()),
      device(std::make_shared<SimulatedDevice>()),
      reachability(std::make_shared<SimulatedReachability>()),
      userDefaults(std::make_shared<SimulatedUserDefaults>()),
      log(std::make_shared<MemoryLog>()) {}

Platform SimulatedPlatform::platform() const {
  Platform platform;
  platform.clock = clock;
  platform.dispatcher = dispatcher;
  platform.store = store;
  platform.http = http;
  platform.bundle = bundle;
  platform.device = device;
  platform.reachability = reachability;
  platform.userDefaults = userDefaults;
  platform.log = log;
  platform.deployment.collectorBaseUrl = "https://collector.test";
  platform.deployment.appStoreLookupHost = "lookup.test";
  return platform;
}

}  // namespace zul::platform
