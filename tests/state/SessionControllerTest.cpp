#include <gtest/gtest.h>

#include "Runtime.h"
#include "SessionController.h"
#include "SimulatedPhone.h"
#include "Tracker.h"

namespace zul {
namespace {

class SessionControllerTest : public testing::Test {
 protected:
  SessionControllerTest() { phone.boot(); }

  Tracker& tracker() { return phone.tracker(); }
  void setClock(const std::string& day) {
    phone.sim.clock->set(ZULUtil(phone.sim.clock, phone.process().networkClock()).convertStringToMills(day));
  }
  // A visit, and the flags it leaves: daily, weekly, monthly, second weekly.
  std::string visit(const std::string& day) {
    setClock(day);
    tracker().occurNewSessionWithType(2);
    const auto behavior = phone.document("Behavior");
    std::string flags;
    for (const auto* key : {"dailyUnique", "weeklyUnique", "monthlyUnique", "weeklyUnique2"}) {
      flags += behavior.at(key).as_string();
    }
    return flags;
  }

  test::SimulatedPhone phone;
};

TEST_F(SessionControllerTest, UniqueFlagsOverWeeksAndAMonthsEnd) {
  phone.store("AppInfo", R"({"expireDate":2})");
  EXPECT_EQ(visit("2024-01-27 09:00:00"), "YYYY");  // Saturday
  EXPECT_EQ(visit("2024-01-27 20:00:00"), "NNNN");
  EXPECT_EQ(visit("2024-01-28 09:00:00"), "YYNN");  // Sunday: the one week begins, the other ends
  EXPECT_EQ(visit("2024-01-29 09:00:00"), "YNNY");  // Monday
  // The end of the day is taken from the visit before: a day's second visit still counts, its third does not.
  EXPECT_EQ(visit("2024-01-29 22:00:00"), "YNNN");
  EXPECT_EQ(visit("2024-01-29 23:00:00"), "NNNN");
  EXPECT_EQ(visit("2024-01-31 12:00:00"), "YNNN");
  EXPECT_EQ(visit("2024-02-01 00:00:01"), "YNYN");
  const auto behavior = phone.document("Behavior");
  EXPECT_EQ(behavior.at("lifeCriteriaVisit"), 8);
  // gaps in days, rounded: 0, 1, 1, 1, 0, 2, 1
  EXPECT_EQ(behavior.at("lifeVisitInterval"), 6);
  // the two days between the sixth and the seventh visit began the period anew
  EXPECT_EQ(behavior.at("userCriteriaVisit"), 2);
}

TEST_F(SessionControllerTest, ANewSessionIsOneCommit) {
  visit("2024-01-31 12:00:00");
  const auto commits = phone.sim.store->commits();
  visit("2024-01-31 13:00:00");
  EXPECT_EQ(phone.sim.store->commits(), commits + 1);
}

TEST_F(SessionControllerTest, TheVisitPeriodKeepsItsCountOnlyWithinItsDays) {
  for (const auto& [days, expected] : std::vector<std::pair<std::string, int>>{{"0", 1}, {"2", 1}, {"3", 2}}) {
    phone.store("AppInfo", R"({"expireDate":)" + days + "}");
    phone.store("Behavior", "{}");
    phone.boot();
    visit("2024-01-10 12:00:00");
    visit("2024-01-12 12:00:00");
    EXPECT_EQ(phone.document("Behavior").at("userCriteriaVisit"), expected) << days;
  }
}

TEST_F(SessionControllerTest, PurchasesCountWithinThePeriod) {
  const double now = test::SimulatedPhone::kStart;
  for (const auto& [lastPurchase, expected] : std::vector<std::pair<std::string, int>>{
           {"", 4},
           {",\"lastPurchaseTimeSec\":" + std::to_string(now - 86400), 4},
           {",\"lastPurchaseTimeSec\":" + std::to_string(now + 9 * 86400), 4},  // a clock set back
           {",\"lastPurchaseTimeSec\":" + std::to_string(now - 2 * 86400), 0}}) {
    phone.store("AppInfo", R"({"expireDate":2})");
    phone.store("Behavior", R"({"userCriteriaPurchase":4)" + lastPurchase + "}");
    phone.boot();
    phone.process().record().sharedInstance();
    tracker().sessionController().checkToResetUdRvnc();
    EXPECT_EQ(phone.document("Behavior").at("userCriteriaPurchase"), expected) << lastPurchase;
    EXPECT_EQ(phone.process().record().sharedInstance()->udRvnc, expected);
  }
}

TEST_F(SessionControllerTest, ThePageTrailGrows) {
  auto& controller = tracker().sessionController();
  for (const auto* page : {"home", "list", "item"}) controller.updatePiTraceWithPi(page);
  EXPECT_EQ(phone.document("Behavior").at("piTrace"), "home|list|item");
  phone.boot();
  phone.tracker();
  EXPECT_EQ(phone.document("Behavior").at("piTrace"), "");
}

TEST_F(SessionControllerTest, TheEnvironmentIsLookedAtAnew) {
  phone.store("ATTAuthStatusInfo", R"({"ATTAuthStatus":3})");
  auto& record = phone.process().record();
  tracker().sessionController().updateSesssionAboutEnvironment();
  EXPECT_EQ(phone.sim.log->count("SessionJson is nil yet"), 1U);
  EXPECT_EQ(record.sharedInstance()->lng, "KO");
  phone.sim.device->values.preferredLanguages = {"en"};
  phone.sim.device->values.carrier = platform::Carrier{"us", "Carrier"};
  phone.sim.reachability->value = platform::Reachability::kReachable | platform::Reachability::kIsWwan;
  tracker().sessionController().updateSesssionAboutEnvironment();
  const auto now = record.sharedInstance();
  EXPECT_EQ(now->lng, "EN");
  EXPECT_EQ(now->cntr, "US");
  EXPECT_EQ(now->cari, "Carrier");
  EXPECT_EQ(now->isWifi, 1);
}

}  // namespace
}  // namespace zul
