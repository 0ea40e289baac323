#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Json.h"
#include "Runtime.h"
#include "SessionRecord.h"
#include "SimulatedPhone.h"
#include "Tracker.h"
#include "zul/InternalCampaign.h"
#include "zul/User.h"

namespace zul {
namespace {

class EngagementTest : public testing::Test {
 protected:
  EngagementTest() { phone.boot(); }

  Tracker& tracker() { return phone.tracker(); }
  SessionRecord::Current record() { return phone.process().record().sharedInstance(); }
  std::string document(const std::string& name) { return json::text(phone.document(name)); }

  test::SimulatedPhone phone;
};

// A day of everything, told while the stored state cannot be read: it is kept, in order and with the time of the
// telling, and what was stored before is not lost.
TEST_F(EngagementTest, WhatIsToldEarlyWaitsForTheStore) {
  phone.store("Notification", R"({"pushtk":"old"})");
  phone.store("Behavior", R"({"lifeCriteriaPurchase":4,"lastPurchaseNo":"o-1"})");
  phone.sim.store->setUnreadable(true);
  phone.boot();
  User user;
  user.memberId = "gone";
  tracker().setUser(user);
  tracker().setUserLogout();
  user.memberId = "m-1";
  tracker().setUser(user);
  tracker().saveDeviceToken("new");
  tracker().setPushId("p-1");
  tracker().setPushTitle("title");
  tracker().receiveNotificationWithParams({{"pushNo", "p-1"}});
  InternalCampaign campaign;
  campaign.setInternalCampaign4("four", 7);
  tracker().setInternalCampaign(campaign);
  tracker().setReceivedInAppMessageList({{{"mk", "a"}, {"viewTime", 4e12}, {"end", 4e12}}});
  tracker().checkInAppMessageValidation();
  auto& controller = tracker().sessionController();
  controller.updateInamId("clicked");
  controller.updateLtRvnc();
  controller.updateFirstOrd();
  controller.updateLastOrderNoWithOrderNo("o-2");
  controller.updateLtrvnWithRevenuJsonProducts({{"revenue", 12}});
  const auto told = static_cast<std::int64_t>(phone.sim.clock->now() * 1000);
  EXPECT_EQ(phone.process().record().getSharedInstance(), nullptr);

  phone.sim.dispatcher->advance(10);
  phone.sim.store->setUnreadable(false);
  phone.sim.dispatcher->advance(2);
  EXPECT_EQ(document("UserInfo"), R"({"memberId":"m-1"})");
  EXPECT_EQ(document("Notification"), R"({"pushtk":"new","saveToken":"Y","pushId":"p-1"})");
  EXPECT_EQ(document("InternalCampaign"),
            R"({"inrc4":"four","inrcTime4":)" + std::to_string(told) + R"(,"inrcDt4":7})");
  EXPECT_EQ(phone.document("inappMessageData").at("alreadySeenCampaignId"), "a");
  EXPECT_EQ(phone.document("inappMessageData").at("inamId"), "clicked");
  const auto behavior = phone.document("Behavior");
  EXPECT_EQ(behavior.at("lifeCriteriaPurchase"), 5);
  EXPECT_EQ(behavior.at("isFirstPurchase"), "N");
  EXPECT_EQ(behavior.at("lastPurchaseNo"), "o-2");
  EXPECT_EQ(behavior.at("lifePurchaseAmount"), 12);
  EXPECT_EQ(record()->pushTitle, "title");
  EXPECT_EQ(phone.sim.http->requests("pushClick").size(), 1U);
}

// Keys of another kind read as absent, and are repaired by the next write.
TEST_F(EngagementTest, StoredKeysOfTheWrongKindReadAsAbsent) {
  phone.store("Notification", R"({"pushtk":7,"pushId":[],"pushCkTime":"x","pushPeriod":{},"pushExpiredTime":"0"})");
  phone.store("InternalCampaign",
              R"({"inrc1":{},"inrcTime1":"x","inrcDt1":"1","inrc2":"two","inrcTime2":[],"inrcDt2":1})");
  phone.store("inappMessageData",
              R"({"receivedInAppMessageList":[7,null,{"mk":3},[{"mk":"a"}]],"inamExpireTime":"0","inamClkTime":[]})");
  phone.store("UserInfo", R"({"memberId":7,"member":null,"stray":1})");
  phone.store("Behavior", R"({"userCriteriaPurchase":"7","lifePurchaseAmount":[],"lastPurchaseNo":9,"isFirstPurchase":1,
                              "lastPurchaseTimeSec":"1","spendingTimeToPurchase":{}})");
  phone.startUp();
  EXPECT_EQ(document("Notification"),
            R"({"pushtk":7,"pushId":[],"pushCkTime":"x","pushPeriod":{},"pushExpiredTime":"0"})");
  EXPECT_EQ(document("InternalCampaign"), R"({"inrc1":{},"inrcTime1":"x","inrcDt1":"1","inrc2":"","inrcTime2":0,)"
                                          R"("inrcDt2":0,"inrc3":"","inrcTime3":0,"inrcDt3":0})");
  EXPECT_EQ(
      document("inappMessageData"),
      R"({"receivedInAppMessageList":[{"mk":3}],"inamExpireTime":"0","inamClkTime":[],"alreadySeenCampaignId":""})");
  EXPECT_EQ(record()->mbid, std::nullopt);

  tracker().saveDeviceToken("tk");
  tracker().resetPushInfo();
  InternalCampaign campaign;
  campaign.setInternalCampaign1("one", 1);
  tracker().setInternalCampaign(campaign);
  tracker().sessionController().updateInamClkTime(5);
  tracker().saveUserLoginInfo();
  auto& controller = tracker().sessionController();
  controller.updateUdRvnc();
  controller.updateFirstOrd();
  controller.updateLtrvni();
  controller.updateLtrvnWithRevenuJsonProducts({{"amt", 3}});
  EXPECT_EQ(
      document("Notification"),
      R"({"pushtk":"tk","pushId":"","pushCkTime":0,"pushPeriod":0,"pushExpiredTime":0,"saveToken":"Y","pushTitle":""})");
  EXPECT_EQ(phone.document("InternalCampaign").at("inrcDt1"), 1);
  EXPECT_EQ(phone.document("inappMessageData").at("inamClkTime"), 5);
  EXPECT_EQ(document("UserInfo"), "{}");
  const auto shown = record();
  EXPECT_EQ(shown->udRvnc, 1);
  EXPECT_EQ(shown->firstOrd, "Y");
  EXPECT_EQ(shown->ltrvni, 0);
  EXPECT_EQ(shown->ltrvn, 3);
}

// The contract's oddities, each as it is: whoever "corrects" one breaks what the collector counts on.
TEST_F(EngagementTest, EverySlotHasItsPlace) {
  for (int slot = 1; slot <= 10; ++slot) {
    phone.reinstall();
    phone.startUp();
    InternalCampaign campaign;
    campaign.slots[static_cast<std::size_t>(slot - 1)] = {"code", 1};
    tracker().setInternalCampaign(campaign);
    const auto shown = record()->inrc[static_cast<std::size_t>(slot - 1)];
    EXPECT_EQ(shown.inrc, "code");
    EXPECT_EQ(shown.inrcDt, 1);
    const auto n = std::to_string(slot == 3 ? 2 : slot);
    const auto full = R"({"inrc)" + n + R"(":"code","inrcTime)" + n + "\":" + std::to_string(shown.inrcTime) +
                      R"(,"inrcDt)" + n + "\":1";
    EXPECT_EQ(document("InternalCampaign"), full + "}") << slot;

    phone.process().record().clearInstance();
    std::string inRecord;
    for (std::size_t i = 0; i < 10; ++i) {
      if (record()->inrc[i].inrc) inRecord += std::to_string(i + 1) + " ";
    }
    EXPECT_EQ(inRecord, slot == 1 ? "1 2 " : slot == 2 || slot == 3 ? "" : std::to_string(slot) + " ");

    phone.sim.dispatcher->advance(86400);
    tracker().checkToResetInternalCampaign();
    EXPECT_EQ(document("InternalCampaign"), full + "}") << "at its last millisecond";
    phone.sim.dispatcher->advance(0.001);
    tracker().checkToResetInternalCampaign();
    const auto cleared = [](const std::string& k) {
      return R"("inrc)" + k + R"(":"","inrcTime)" + k + R"(":0,"inrcDt)" + k + "\":0";
    };
    EXPECT_EQ(document("InternalCampaign"), slot == 2 || slot == 3 ? "{" + cleared("2") + "," + cleared("3") + "}"
                                            : slot == 8            ? full + "," + cleared("2") + "}"
                                                                   : "{" + cleared(n) + "}");
  }
}

TEST_F(EngagementTest, SlotsWithoutACodeStayAsTheyAre) {
  InternalCampaign campaign;
  tracker().setInternalCampaign(campaign);
  EXPECT_EQ(document("InternalCampaign"), "{}");
  EXPECT_EQ(phone.process().record().getSharedInstance(), nullptr) << "nothing to show";
  campaign.setInternalCampaign2("two", 2);
  campaign.setInternalCampaign3("three", 3);
  campaign.setInternalCampaign10("", 10);
  tracker().setInternalCampaign(campaign);
  const auto stored = phone.document("InternalCampaign");
  EXPECT_EQ(stored.at("inrc2"), "three");
  EXPECT_EQ(stored.at("inrcDt2"), 3);
  EXPECT_EQ(stored.size(), 3U);
  EXPECT_EQ(record()->inrc[1].inrc, "two");
  tracker().resetInternalCampaign(0);
  tracker().resetInternalCampaign(11);
  EXPECT_EQ(phone.document("InternalCampaign"), stored);
}

TEST_F(EngagementTest, AProfileReplacesTheOneBeforeAsAWhole) {
  User user;
  user.memberId = "m-1";
  user.memberGrade = "gold";
  user.attribute5 = "five";
  tracker().setUser(user);
  user = {};
  user.memberId = "\xFF";  // not UTF-8
  tracker().setUser(user);
  EXPECT_EQ(document("UserInfo"), "{\"memberId\":\"\xEF\xBF\xBD\"}");
  EXPECT_EQ(tracker().getSessionData().keys().size(), 0U) << "no settings yet";
  EXPECT_EQ(record()->mbl, std::nullopt);
  phone.process().record().edit([](SessionJson& r) { r.mbid = "edited"; });
  tracker().saveUserLoginInfo();
  EXPECT_EQ(document("UserInfo"), R"({"memberId":"edited"})");
  tracker().setUserLogout();
  EXPECT_EQ(phone.document("UserInfo").size(), 13U);
  for (const auto& value : phone.document("UserInfo")) EXPECT_EQ(value.value(), "") << value.key();
  EXPECT_EQ(record()->ut[4], "");
}

TEST_F(EngagementTest, OnlyAnotherTokenIsNew) {
  phone.startUp();
  tracker().saveDeviceToken("a");
  EXPECT_EQ(record()->saveToken, "Y");
  phone.event("told");
  phone.sim.dispatcher->advance(1);
  EXPECT_EQ(record()->saveToken, "N");
  tracker().saveDeviceToken("a");
  EXPECT_EQ(record()->saveToken, "N");
  EXPECT_EQ(phone.sim.log->count("The stored push token data has been updated with the parameters passed to the "
                                 "ZUL.setPushToken function. ( parameter : a, savedData :  ) "),
            1U);
  EXPECT_EQ(phone.sim.log->count("Data identical to the stored push token data is passed to the ZUL.setPushToken "
                                 "function, skipping its processing. ( parameter : a, savedData : a ) "),
            1U);
  tracker().saveDeviceToken(std::nullopt);
  EXPECT_EQ(record()->pushtk, "");
  EXPECT_EQ(record()->saveToken, "Y");
}

// A push click is reported with this device's identifier and the token of the application; a failure is told.
TEST_F(EngagementTest, APushClickIsReported) {
  phone.sim.http->answer("pushClick", {"{}"});
  phone.startUp();
  tracker().receiveNotificationWithParams(
      {{"profileNo", 7}, {"pushNo", "p 1"}, {"pushToken", "a+b"}, {"arrivalTime", 1}});
  tracker().receiveNotificationWithParams(
      {{"profileNo", 7}, {"pushNo", "p1"}, {"pushToken", "a+b"}, {"arrivalTime", 1}});
  phone.sim.dispatcher->advance(1);
  ASSERT_EQ(phone.sim.http->requests("pushClick").size(), 1U);
  EXPECT_THAT(phone.sim.http->requests("pushClick")[0].url,
              testing::EndsWith("?profileNo=7&pushNo=p1&platform=IOS&pushToken=a%2Bb&adid=(null)&pushSk=(null)"));
  EXPECT_EQ(phone.sim.log->count("The report of a click on a push did not reach the collector"), 1U);
}

}  // namespace
}  // namespace zul
