#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "Json.h"
#include "Runtime.h"
#include "SimulatedPhone.h"
#include "Tracker.h"

namespace zul {
namespace {

using boost::json::array;
using boost::json::object;
using boost::json::value;

class PurchaseTest : public testing::Test {
 protected:
  PurchaseTest() { phone.startUp(); }

  SessionController& controller() { return phone.tracker().sessionController(); }
  SessionRecord::Current record() { return phone.process().record().sharedInstance(); }
  std::int64_t paid(const value& products) {
    phone.process().db().update("Behavior",
                                [](MutableDocument& document) { document.setInteger(0, "lifePurchaseAmount"); });
    controller().updateLtrvnWithRevenuJsonProducts(products);
    EXPECT_EQ(phone.document("Behavior").at("lifePurchaseAmount"), record()->ltrvn);
    return record()->ltrvn;
  }

  test::SimulatedPhone phone;
};

TEST_F(PurchaseTest, RevenueDataMayHaveAnyShape) {
  constexpr auto kHighest = std::numeric_limits<std::int64_t>::max();
  constexpr auto kLowest = std::numeric_limits<std::int64_t>::min();
  const object revenue = {{"revenue", 12.9}};
  const object amt = {{"amt", 5}};
  const object none = {{"other", 7}};
  EXPECT_EQ(paid(revenue), 12);
  EXPECT_EQ(paid(amt), 5);
  EXPECT_EQ(paid(none), 0);
  EXPECT_EQ(paid(array{revenue, amt, none}), 17);
  EXPECT_EQ(paid(object({{"revenue", 0}, {"amt", 5}})), 0);
  EXPECT_EQ(paid(object({{"revenue", -12.9}})), -12);

  for (const auto* const text : {"12.9", "0012", " +12", "12.90 KRW", "12,000"}) {
    EXPECT_EQ(paid(object({{"revenue", text}})), 12) << text;
  }
  EXPECT_EQ(paid(object({{"revenue", "9007199254740993"}})), 9007199254740993);
  for (const value& bad : array{"apples", "", nullptr, true, array{3}, object{{"revenue", 3}}}) {
    EXPECT_EQ(paid(object({{"revenue", bad}, {"amt", 5}})), 5) << json::text(bad);
    EXPECT_EQ(paid(bad.is_object() ? value() : bad), 0) << json::text(bad);
  }
  EXPECT_EQ(paid(array{nullptr, array{revenue}, "12", 3, amt}), 5);

  EXPECT_EQ(paid(object({{"revenue", std::nan("")}})), 0);
  EXPECT_EQ(paid(object({{"revenue", std::numeric_limits<std::uint64_t>::max()}})), kHighest);
  EXPECT_EQ(paid(object({{"revenue", -1e300}})), kLowest);
  EXPECT_EQ(paid(array{object{{"revenue", 1e300}}, amt}), kHighest);
  controller().updateLtrvnWithRevenuJsonProducts(object{{"revenue", kHighest}});
  EXPECT_EQ(record()->ltrvn, kHighest);
  EXPECT_EQ(paid(array(1000000, amt)), 5000000);
}

TEST_F(PurchaseTest, TheFirstOrderIsTheOneWithNoneBefore) {
  for (const auto* expected : {"Y", "N", "N"}) {
    controller().updateFirstOrd();
    controller().updateLastOrderNoWithOrderNo("order");
    EXPECT_EQ(record()->firstOrd, expected);
    EXPECT_EQ(phone.document("Behavior").at("isFirstPurchase"), expected);
  }
  controller().updateLastOrderNoWithOrderNo("");
  controller().updateFirstOrd();
  EXPECT_EQ(record()->firstOrd, "Y");
  controller().resetFirstOrd();
  EXPECT_EQ(phone.document("Behavior").at("isFirstPurchase"), "N");
  EXPECT_EQ(record()->firstOrd, "N");
}

TEST_F(PurchaseTest, TheTimeAndTheVisitsBeforeAPurchase) {
  const double begin = phone.sim.clock->now();
  phone.store("Behavior", R"({"recentSessionTimeSec":)" + std::to_string(begin) + R"(,"spendingVisitToPurchase":4})");
  phone.boot();
  phone.tracker();
  controller().updateCsRvnVsWithRevenueJsonVtTz((begin + 5) * 1000);
  EXPECT_EQ(record()->csRvnVs, 5) << "told before there was a record";
  EXPECT_EQ(record()->ltRvnVt, 4);
  for (const auto& [later, seconds] : std::vector<std::pair<double, int>>{{90.9, 90}, {0, 0}, {-90.9, -90}}) {
    controller().updateCsRvnVsWithRevenueJsonVtTz((begin + later) * 1000);
    EXPECT_EQ(record()->csRvnVs, seconds);
    EXPECT_EQ(phone.document("Behavior").at("spendingTimeToPurchase"), seconds);
  }
  controller().updateCsRvnVsWithRevenueJsonVtTz(std::nan(""));
  EXPECT_EQ(record()->csRvnVs, 0);
  controller().resetLtRvnVt();
  EXPECT_EQ(phone.document("Behavior").at("spendingVisitToPurchase"), 0);
  EXPECT_EQ(record()->ltRvnVt, 0);
  phone.process().record().clearInstance();
  EXPECT_EQ(record()->ltRvnVt, 1) << "a stored 0 reads as the first visit";
}

// No operation stores when the last purchase was; a stored value is honoured all the same.
TEST_F(PurchaseTest, TheDaysSinceTheLastPurchase) {
  const double now = phone.sim.clock->now();
  struct Case {
    std::string last;
    int interval;
  };
  for (const auto& [last, interval] :
       std::vector<Case>{{"", 0},
                         {",\"lastPurchaseTimeSec\":0", 0},
                         {",\"lastPurchaseTimeSec\":" + std::to_string(now - 36 * 3600), 7},
                         {",\"lastPurchaseTimeSec\":" + std::to_string(now + 86400), 4}}) {
    phone.store("Behavior", R"({"lifePurchaseInterval":5)" + last + "}");
    phone.boot();
    phone.tracker();
    controller().updateLtrvni();
    EXPECT_EQ(record()->ltrvni, interval) << last;
    EXPECT_EQ(phone.document("Behavior").contains("lastPurchaseTimeSec"), !last.empty());
  }
}

TEST_F(PurchaseTest, APurchaseIsOneCommit) {
  const auto commits = phone.sim.store->commits();
  phone.process().db().transaction([this] {
    controller().updateUdRvnc();
    controller().updateLtRvnc();
    controller().updateFirstOrd();
    controller().updateLastOrderNoWithOrderNo("order");
  });
  EXPECT_EQ(phone.sim.store->commits(), commits + 1);
  EXPECT_EQ(record()->ltRvnc, 1);
  EXPECT_EQ(record()->firstOrd, "Y");
}

}  // namespace
}  // namespace zul
