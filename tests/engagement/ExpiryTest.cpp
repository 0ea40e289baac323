#include <gtest/gtest.h>

#include <limits>

#include "Json.h"
#include "Runtime.h"
#include "SessionRecord.h"
#include "SimulatedPhone.h"
#include "Tracker.h"
#include "ZULUtil.h"
#include "zul/InternalCampaign.h"

namespace zul {
namespace {

using boost::json::array;
using boost::json::object;

constexpr std::int64_t kDay = 86400000;  // ms
constexpr auto kHighest = std::numeric_limits<std::int64_t>::max();
constexpr auto kLowest = std::numeric_limits<std::int64_t>::min();

class ExpiryTest : public testing::Test {
 protected:
  ExpiryTest() { phone.boot(); }

  Tracker& tracker() { return phone.tracker(); }
  std::int64_t now() { return static_cast<std::int64_t>(phone.sim.clock->now() * 1000); }
  void setClock(std::int64_t milliseconds) { phone.sim.clock->set(static_cast<double>(milliseconds) / 1000); }

  // The keys of the messages that a check leaves.
  std::string seen(const array& messages) {
    tracker().setReceivedInAppMessageList(messages);
    tracker().checkInAppMessageValidation();
    EXPECT_EQ(phone.process().record().sharedInstance()->alreadySeenCampaignId,
              phone.document("inappMessageData").at("alreadySeenCampaignId").as_string());
    return std::string(phone.document("inappMessageData").at("alreadySeenCampaignId").as_string());
  }
  object message(const char* mk, std::int64_t viewTime, std::int64_t days, const char* dateType = "D",
                 std::int64_t end = kHighest) {
    return {{"mk", mk}, {"viewTime", viewTime}, {"dateType", dateType}, {"frequencyLimitDay", days}, {"end", end}};
  }

  test::SimulatedPhone phone;
};

// Windows and periods are spans of time: neither a change to daylight-saving time nor the end of a month or a year nor
// the zone makes one longer.
TEST_F(ExpiryTest, PeriodsAreSpansOfTimeWhateverTheCalendarSays) {
  struct Case {
    std::string begin, zone;
  };
  for (const auto& [begin, zone] : std::vector<Case>{{"2024-03-09 12:00:00", "America/New_York"},    // 23 hours
                                                     {"2024-11-02 12:00:00", "America/New_York"},    // 25 hours
                                                     {"2024-02-28 23:59:59", "Pacific/Kiritimati"},  // +14, leap day
                                                     {"2023-02-28 12:00:00", "Pacific/Pago_Pago"},   // -11
                                                     {"2024-12-31 23:00:00", "Asia/Kathmandu"}}) {   // +05:45
    phone.reinstall();
    ASSERT_TRUE(phone.sim.clock->setZone(zone)) << zone;
    phone.sim.clock->set(ZULUtil(phone.sim.clock, phone.process().networkClock()).convertStringToMills(begin));
    const auto told = now();
    InternalCampaign campaign;
    campaign.setInternalCampaign1("one", 1);
    tracker().setInternalCampaign(campaign);
    tracker().setPushId("p");
    tracker().setPushExpiredTime(told + kDay);
    const array messages = {message("daily", told, 1), message("weekly", told, 1, "W")};
    const auto left = [&] {
      tracker().checkToResetInternalCampaign();
      tracker().checkToResetPushInfo();
      return std::string(phone.document("InternalCampaign").at("inrc1").as_string()) + " " +
             std::string(phone.document("Notification").at("pushId").as_string()) + " " + seen(messages);
    };
    setClock(told - 30 * kDay);
    EXPECT_EQ(left(), "one p daily|weekly") << "a clock that was set back ends nothing";
    setClock(told + kDay);
    EXPECT_EQ(left(), "one p daily|weekly") << zone;
    setClock(told + kDay + 1);
    EXPECT_EQ(left(), "  weekly") << zone;
  }
}

TEST_F(ExpiryTest, AMessageLastsAsLongAsItsWindowAndItsCampaign) {
  const auto now = this->now();
  struct Case {
    const char* dateType;
    std::int64_t count;
    std::int64_t milliseconds;
  };
  for (const auto& [dateType, count, milliseconds] : std::vector<Case>{
           {"D", 3, 3 * kDay}, {"W", 2, 1209600000}, {"M", 2, 60 * kDay}, {"Y", 2, 0}, {"", 2, 0}, {"D", -1, -kDay}}) {
    EXPECT_EQ(seen({message("a", now - milliseconds, count, dateType)}), "a") << dateType;
    EXPECT_EQ(seen({message("a", now - milliseconds - 1, count, dateType)}), "") << dateType;
  }
  EXPECT_EQ(seen({message("a", now, 1, "D", now), message("b", now, 1, "D", now - 1)}), "a");
  // What is missing counts as 0, and what is beyond the range as its end.
  EXPECT_EQ(seen({object{{"mk", "a"}}, object{{"mk", "b"}, {"viewTime", now}, {"end", now}}}), "b");
  EXPECT_EQ(seen({message("a", kHighest, kHighest, "M"), message("b", now, kHighest / 2, "D"),
                  message("c", kLowest, kLowest, "M"), message("d", now, kLowest, "D")}),
            "a|b");
}

TEST_F(ExpiryTest, MessagesGoByTheirKeys) {
  const auto now = this->now();
  const auto unnamed = object{{"viewTime", 0}};
  // All with an expired key go together, none without a key does.
  EXPECT_EQ(seen({message("a", now, 1), message("b", 0, 1), message("b", now, 1), message("c", now, 1), unnamed}),
            "a|c|(null)");
  EXPECT_EQ(phone.tracker().receivedInAppMessageList().size(), 3U);
  EXPECT_EQ(seen({message("", now, 1), unnamed, message("a", now, 1), message("", now, 1), unnamed}), "a||(null)");
  array many;
  for (int i = 0; i < 20000; ++i) many.push_back(message("old", i, 0));
  many.push_back(message("new", now, 1));
  EXPECT_EQ(seen(many), "new");
}

TEST_F(ExpiryTest, AClickIsClearedWhenItsTimeIsOver) {
  auto& controller = tracker().sessionController();
  const auto click = [&](std::int64_t expiry) {
    controller.updateInamId("clicked");
    controller.updateInamClkTime(now());
    controller.updateInamExpireTime(expiry);
    tracker().checkInAppMessageValidation();
    const auto stored = phone.document("inappMessageData");
    const auto record = phone.process().record().sharedInstance();
    EXPECT_EQ(stored.at("inamId").as_string(), *record->inamId);
    EXPECT_EQ(stored.at("inamClkTime"), record->inamClkTime);
    return *record->inamId;
  };
  tracker().checkInAppMessageValidation();
  EXPECT_EQ(phone.document("inappMessageData").size(), 0U) << "nothing was told of yet";
  EXPECT_EQ(click(now()), "clicked");
  EXPECT_EQ(click(now() - 1), "");
  EXPECT_EQ(click(0), "");
  phone.store("inappMessageData", R"({"inamId":"no end"})");
  phone.boot();
  tracker().checkToResetInAppMessage();
  EXPECT_EQ(phone.document("inappMessageData").at("inamId"), "no end");
}

}  // namespace
}  // namespace zul
