#include <gtest/gtest.h>

#include "NHNetworkClock.h"
#include "SimulatedPlatform.h"
#include "ZULUtil.h"

namespace zul {
namespace {

class ZULUtilTest : public testing::Test {
 protected:
  ZULUtilTest() { sim.clock->setZone("+09:00"); }

  double at(const std::string& date) { return util.convertStringToMills(date); }
  std::string date(double seconds) {
    sim.clock->set(seconds);
    return util.getCurrentDateString();
  }

  platform::SimulatedPlatform sim;
  Log log{sim.clock, sim.log};
  std::shared_ptr<NHNetworkClock> networkClock =
      std::make_shared<NHNetworkClock>(sim.platform(), Tasks(sim.dispatcher, log), log);
  ZULUtil util{sim.clock, *networkClock};
};

TEST_F(ZULUtilTest, PeriodsEndWhereTheCalendarSays) {
  struct Case {
    std::string now, day, week, month, weekUs;
  };
  const std::vector<Case> cases = {
      // a Sunday begins the one week and ends the other, which then ends a Sunday later
      {"2024-01-28 00:00:00", "2024-01-28", "2024-02-03", "2024-01-31", "2024-02-04"},
      {"2024-01-31 10:00:00", "2024-01-31", "2024-02-03", "2024-01-31", "2024-02-04"},
      {"2024-02-03 23:59:59", "2024-02-03", "2024-02-03", "2024-02-29", "2024-02-04"},
      {"2023-02-28 12:00:00", "2023-02-28", "2023-03-04", "2023-02-28", "2023-03-05"},
      {"2024-12-31 12:00:00", "2024-12-31", "2025-01-04", "2024-12-31", "2025-01-05"},
  };
  for (const auto& c : cases) {
    const double now = at(c.now);
    EXPECT_EQ(date(util.getExpireLongTime(now, "DU")), c.day + " 23:59:59") << c.now;
    EXPECT_EQ(date(util.getExpireLongTime(now, "WU")), c.week + " 23:59:59") << c.now;
    EXPECT_EQ(date(util.getExpireLongTime(now, "MU")), c.month + " 23:59:59") << c.now;
    EXPECT_EQ(date(util.getExpireLongTimeForWeeklyUSType(now)), c.weekUs + " 23:59:59") << c.now;
    EXPECT_EQ(util.getExpireLongTime(now + 0.7, "other"), now);
  }
  sim.clock->set(at("2024-05-05 05:05:05"));
  EXPECT_EQ(util.getExpireLongTime(0, "DU"), at("2024-05-05 23:59:59"));
}

// A day's end is the local one, however long the day is.
TEST_F(ZULUtilTest, PeriodsEndByTheLocalClockInEveryZone) {
  struct Case {
    std::string zone, now;
    double dayHours;
    std::string week, month, weekUs;
  };
  const std::vector<Case> cases = {
      {"America/New_York", "2024-03-10 00:00:00", 23, "2024-03-16", "2024-03-31", "2024-03-17"},
      {"America/New_York", "2024-11-03 00:00:00", 25, "2024-11-09", "2024-11-30", "2024-11-10"},
      {"Pacific/Pago_Pago", "2024-02-29 00:00:00", 24, "2024-03-02", "2024-02-29", "2024-03-03"},
      {"Pacific/Kiritimati", "2024-12-31 00:00:00", 24, "2025-01-04", "2024-12-31", "2025-01-05"},
      {"Pacific/Apia", "2011-12-29 00:00:00", 24, "2011-12-31", "2011-12-31", "2012-01-01"},  // no 30 December
      {"Asia/Kathmandu", "2023-02-28 00:00:00", 24, "2023-03-04", "2023-02-28", "2023-03-05"},
  };
  for (const auto& c : cases) {
    ASSERT_TRUE(sim.clock->setZone(c.zone));
    const double now = at(c.now);
    EXPECT_EQ(util.getExpireLongTime(now, "DU") - now, c.dayHours * 3600 - 1) << c.zone << c.now;
    EXPECT_EQ(date(util.getExpireLongTime(now, "WU")), c.week + " 23:59:59") << c.zone << c.now;
    EXPECT_EQ(date(util.getExpireLongTime(now, "MU")), c.month + " 23:59:59") << c.zone << c.now;
    EXPECT_EQ(date(util.getExpireLongTimeForWeeklyUSType(now)), c.weekUs + " 23:59:59") << c.zone << c.now;
  }
}

TEST_F(ZULUtilTest, DateTextsAreReadInTheDevicesZone) {
  EXPECT_EQ(at("2024-01-01 00:00:00"), 1704034800);
  for (const auto* text : {"", "2024-01-01", "2024-13-01 00:00:00", "2023-02-29 00:00:00", "2024-01-01 24:00:00",
                           "2024-01-01T00:00:00", "2024-1-01 00:00:000", "2024-01-01 00:00:0x"}) {
    EXPECT_EQ(at(text), 0) << text;
  }
}

TEST_F(ZULUtilTest, DaysAreRoundedToNearest) {
  EXPECT_EQ(ZULUtil::days(0, 11 * 3600), 0);
  EXPECT_EQ(ZULUtil::days(0, 36 * 3600), 2);
  EXPECT_EQ(ZULUtil::days(0, -36 * 3600), -2);
}

TEST_F(ZULUtilTest, QueriesAreCutAtQuestionMarksAndAmpersands) {
  using Map = std::map<std::string, std::string>;
  EXPECT_EQ(ZULUtil::parseUrlString("a?x=1&y=2&x=3"), (Map{{"a", "a"}, {"x", "3"}, {"y", "2"}}));
  EXPECT_EQ(ZULUtil::parseUrlString("app://p?k%20=a%26b&z=1=2&bad=%zz&%FF=1&latin=%E9"),
            (Map{{"app://p", "app://p"}, {"k ", "a&b"}, {"z", "2"}}));
  EXPECT_EQ(ZULUtil::parseUrlString(""), (Map{{"", ""}}));
}

TEST_F(ZULUtilTest, NetworkTimeIsDeviceTimeUntilAnOffsetIsKnown) {
  sim.clock->set(1000);
  EXPECT_EQ(util.getCurrentNTPTimeSec(), 1000);
  sim.userDefaults->setNumber(NHNetworkClock::kTimeOffsetKey, 2.5);
  EXPECT_EQ(util.getCurrentNTPTimeSec(), 997.5);
}

}  // namespace
}  // namespace zul
