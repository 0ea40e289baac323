#include "ZULUtil.h"

#include <fmt/core.h>

#include <array>
#include <charconv>
#include <cmath>

#include "Json.h"
#include "NHNetworkClock.h"
#include "PercentCoding.h"
#include "Utf8.h"
#include "zul/platform/Clock.h"

namespace zul {

namespace {

platform::CivilTime endOfDay(platform::CivilTime civil, int day) {
  civil.day = day;
  civil.hour = 23;
  civil.minute = 59;
  civil.second = 59;
  return civil;
}

}  // namespace

double ZULUtil::currentTimeSec() const {
  return clock_->now();
}
double ZULUtil::currentTimeSecMulti1000() const {
  return clock_->now() * 1000;
}
double ZULUtil::getCurrentNTPTimeSec() const {
  return networkClock_.networkTime();
}

std::string ZULUtil::getCurrentDateString() const {
  const auto t = clock_->civil(clock_->now());
  return fmt::format("{:04}-{:02}-{:02} {:02}:{:02}:{:02}", t.year, t.month, t.day, t.hour, t.minute, t.second);
}

double ZULUtil::convertStringToMills(std::string_view text) const {
  constexpr std::string_view kShape = "0000-00-00 00:00:00";
  if (text.size() != kShape.size()) return 0;
  std::array<int, 6> fields{};
  std::size_t field = 0;
  for (std::size_t i = 0; i < kShape.size(); ++i) {
    if (kShape[i] != '0') {
      if (text[i] != kShape[i]) return 0;
      ++field;
    } else {
      if (text[i] < '0' || text[i] > '9') return 0;
      fields[field] = fields[field] * 10 + (text[i] - '0');
    }
  }
  const auto [year, month, day, hour, minute, second] = fields;
  const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
  constexpr std::array kDays = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  if (month < 1 || month > 12 || day < 1 || day > kDays[month - 1] + (month == 2 && leap ? 1 : 0)) return 0;
  if (hour > 23 || minute > 59 || second > 59) return 0;
  return clock_->seconds({year, month, day, hour, minute, second, 0});
}

double ZULUtil::getExpireLongTime(double seconds, std::string_view type) const {
  const auto base = clock_->civil(seconds > 0 ? seconds : clock_->now());
  if (type == "DU") return clock_->seconds(endOfDay(base, base.day));
  if (type == "WU") return clock_->seconds(endOfDay(base, base.day - base.weekday + 7));
  if (type == "MU") {
    auto civil = endOfDay(base, 0);
    ++civil.month;
    return clock_->seconds(civil);
  }
  return clock_->seconds(base);
}

double ZULUtil::getExpireLongTimeForWeeklyUSType(double seconds) const {
  const auto base = clock_->civil(seconds > 0 ? seconds : clock_->now());
  return clock_->seconds(endOfDay(base, base.day - base.weekday + 8));
}

std::int64_t ZULUtil::days(double from, double to) {
  return json::truncate(std::round((to - from) / 60 / 60 / 24));
}

std::map<std::string, std::string> ZULUtil::parseUrlString(std::string_view url) {
  std::map<std::string, std::string> result;
  while (true) {
    const auto end = url.find_first_of("?&");
    const auto piece = url.substr(0, end);
    const auto key = percentDecode(piece.substr(0, piece.find('=')));
    const auto value = percentDecode(piece.substr(piece.rfind('=') + 1));  // without "=" the whole piece
    if (key && value && isUtf8(*key) && isUtf8(*value)) result[*key] = *value;
    if (end == std::string_view::npos) return result;
    url.remove_prefix(end + 1);
  }
}

}  // namespace zul
