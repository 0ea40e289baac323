#include <gtest/gtest.h>

#include <cmath>
#include <ctime>
#include <limits>
#include <tuple>

#include "LinuxClock.h"
#include "Patience.h"

namespace zul::platform {
namespace {

void setZone(const char* zone) {
  setenv("TZ", zone, 1);
  tzset();
}

auto fields(const CivilTime& time) {
  return std::tuple(time.year, time.month, time.day, time.hour, time.minute, time.second, time.weekday);
}

// Daylight saving began on 2024-03-10 at 07:00:00Z, when clocks went from 02:00 to 03:00.
constexpr double kSpringForward = 1710054000;
constexpr const char* kNewYork = "EST5EDT,M3.2.0,M11.1.0";

TEST(LinuxClock, FollowsDaylightSaving) {
  setZone(kNewYork);
  const LinuxClock clock;
  EXPECT_EQ(fields(clock.civil(kSpringForward - 0.5)), std::tuple(2024, 3, 10, 1, 59, 59, 1));
  EXPECT_EQ(fields(clock.civil(kSpringForward)), std::tuple(2024, 3, 10, 3, 0, 0, 1));

  // The day of the change has 23 hours.
  const double midnight = clock.seconds({2024, 3, 10, 0, 0, 0});
  EXPECT_EQ(midnight, kSpringForward - 2 * 3600);
  EXPECT_EQ(clock.seconds({2024, 3, 11, 0, 0, 0}) - midnight, 23 * 3600);

  setenv("TZ", "KST-9", 1);
  EXPECT_TRUE(test::eventually([&] { return clock.secondsFromGmt() == 9 * 3600; }));
}

TEST(LinuxClock, TakesTheFirstOfTwoMomentsWhateverItWasAskedBefore) {
  // Clocks go back at midnight on 2024-11-03, from 00:00 to 23:00, and forward on 2024-03-10, from 00:00 to 01:00.
  setZone("AAA5BBB,M3.2.0/0,M11.1.0/0");
  const LinuxClock clock;
  const double midnight = 1730606400;  // 2024-11-03T04:00:00Z
  for (const CivilTime& earlier : {CivilTime{2024, 1, 15}, CivilTime{2024, 7, 15}}) {
    EXPECT_EQ(fields(clock.civil(clock.seconds(earlier))), std::tuple(2024, earlier.month, 15, 0, 0, 0, 2));
    EXPECT_EQ(clock.seconds({2024, 11, 2, 23, 59, 59}), midnight - 1);
    EXPECT_EQ(clock.seconds({2024, 11, 3, 0, 0, 0}), midnight + 3600);
    EXPECT_EQ(fields(clock.civil(clock.seconds({2024, 3, 10, 0, 30, 0}))), std::tuple(2024, 3, 10, 1, 30, 0, 1));
  }
}

TEST(LinuxClock, NormalisesFieldsThatRunOver) {
  setZone("UTC0");
  const LinuxClock clock;
  const auto normalised = [&](const CivilTime& time) { return fields(clock.civil(clock.seconds(time))); };
  EXPECT_EQ(normalised({2024, 1, 35, 0, 0, 0}), std::tuple(2024, 2, 4, 0, 0, 0, 1));
  EXPECT_EQ(normalised({2024, 13, 1, 0, 0, 0}), std::tuple(2025, 1, 1, 0, 0, 0, 4));
  EXPECT_EQ(normalised({2024, 3, 0, 0, 0, 0}), std::tuple(2024, 2, 29, 0, 0, 0, 5));
  EXPECT_EQ(normalised({1969, 12, 31, 23, 59, 59}), std::tuple(1969, 12, 31, 23, 59, 59, 4));
}

TEST(LinuxClock, HoldsTheUnreachable) {
  setZone(kNewYork);
  const LinuxClock clock;
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  for (const double seconds : {kInfinity, -kInfinity, 1e300, -1e300, 9.3e18}) {
    EXPECT_EQ(clock.civil(seconds).year > 0, seconds > 0) << seconds;
  }
  EXPECT_EQ(clock.civil(std::nan("")).day, clock.civil(0).day);
  constexpr int kMost = std::numeric_limits<int>::max();
  constexpr int kLeast = std::numeric_limits<int>::min();
  EXPECT_GT(clock.seconds({kMost, kMost, kMost, kMost, kMost, kMost}), 1e15);
  EXPECT_LT(clock.seconds({kLeast, kLeast, kLeast, kLeast, kLeast, kLeast}), -1e15);
}

}  // namespace
}  // namespace zul::platform
