#include <gtest/gtest.h>

#include "Json.h"
#include "Runtime.h"
#include "SessionRecord.h"
#include "SimulatedPhone.h"

namespace zul {
namespace {

class SessionRecordTest : public testing::Test {
 protected:
  SessionJson made() {
    phone.boot();
    return *phone.process().record().sharedInstance();
  }
  test::SimulatedPhone phone;
};

TEST_F(SessionRecordTest, StoredValuesComeBackWithTheirOddities) {
  phone.store("Behavior", R"({"lifeCriteriaVisit":9,"userCriteriaVisit":0,"spendingTimeToPurchase":77,
      "spendingVisitToPurchase":0,"vtTz":1706695200123,"visitNew":7})");
  phone.store("InternalCampaign",
              R"({"inrc1":"one","inrcTime1":11,"inrcDt1":1,"inrc2":"two","inrcTime2":22,"inrcDt2":2,"inrc3":"three"})");
  phone.store("Identify", R"({"uuid":"U","verdorId":"odd","vendorId":"even","buildMode":true,"appId":["hostile"]})");
  phone.store("Notification", R"({"pushExpiredTime":5,"pushExpireTime":6})");
  phone.store("Install", R"({"installTime":1706695200000.9})");
  const auto record = made();
  EXPECT_EQ(record.ltvt, 9);
  EXPECT_EQ(record.udVt, 1);
  EXPECT_EQ(record.ltRvnVt, 1);
  EXPECT_EQ(record.csRvnVs, 0);
  EXPECT_EQ(record.vtTz, 1706695200123);
  EXPECT_EQ(record.isVisitNew, std::nullopt);
  EXPECT_EQ(record.inrc[0].inrc, "one");
  EXPECT_EQ(record.inrc[1].inrc, "one");  // slot 2 shows slot 1 until it is set again
  EXPECT_EQ(record.inrc[1].inrcTime, 11);
  EXPECT_EQ(record.inrc[2].inrc, "three");
  EXPECT_EQ(record.uuid, "U");
  EXPECT_EQ(record.vendorId, "odd");
  EXPECT_EQ(record.buildMode, "dev");
  EXPECT_EQ(record.appId, 42);
  EXPECT_EQ(record.pushExpiredTime, 6);
  EXPECT_EQ(record.installTime, 1706695200000);
}

TEST_F(SessionRecordTest, TheLookUpIsRepeatedUntilItAnswers) {
  struct Case {
    std::string body;
    bool logged;
  };
  for (const auto& [body, logged] : std::vector<Case>{{"<html>", true},
                                                      {R"({"resultCount":0,"results":[]})", false},
                                                      {R"({"resultCount":1})", true},
                                                      {R"({"resultCount":1,"results":[{"trackId":"7"}]})", true},
                                                      {R"({"resultCount":"1","results":[{"trackId":7}]})", false}}) {
    phone.sim.log->lines.clear();
    phone.sim.http->forget("/lookup");
    phone.sim.http->answer("/lookup", {body});
    EXPECT_TRUE(made().appId.is_null()) << body;
    EXPECT_EQ(phone.sim.log->count("QuorLog / E") == 1, logged) << body;
  }
  phone.sim.http->setOnline(false);
  EXPECT_TRUE(made().appId.is_null());
  EXPECT_FALSE(phone.document("Identify").contains("appId"));
  phone.sim.http->setOnline(true);
  phone.sim.http->forget("/lookup");
  phone.sim.http->answer("/lookup", {R"({"resultCount":1,"results":[{"trackId":7}]})"});
  EXPECT_EQ(made().appId, 7);
  const auto asked = phone.sim.http->requests("/lookup").size();
  EXPECT_EQ(made().appId, 7);
  EXPECT_EQ(phone.sim.http->requests("/lookup").size(), asked);
  EXPECT_EQ(phone.sim.http->requests("/lookup").back().url, "http://lookup.test/lookup?bundleId=com.example.app");
}

TEST_F(SessionRecordTest, ClearedMeansMadeAnewFromTheStore) {
  phone.boot();
  auto& record = phone.process().record();
  EXPECT_EQ(record.getSharedInstance(), nullptr);
  record.editExisting([](SessionJson&) { FAIL() << "there is no record"; });
  const auto first = record.sharedInstance();
  record.edit([](SessionJson& r) { r.mbid = "member"; });
  EXPECT_EQ(first->mbid, std::nullopt);
  EXPECT_EQ(record.sharedInstance()->mbid, "member");
  record.clearInstance();
  EXPECT_EQ(record.getSharedInstance(), nullptr);
  EXPECT_EQ(record.sharedInstance()->mbid, std::nullopt);
  EXPECT_EQ(record.sharedInstance()->uuid, first->uuid);
}

// What a slot is set to goes under its own keys, also that of the slot which a new record fills from another's.
TEST_F(SessionRecordTest, TheSecondSlotIsStoredUnderItsOwnKeys) {
  phone.store("InternalCampaign", R"({"inrc1":"one"})");
  phone.boot();
  auto& record = phone.process().record();
  record.sharedInstance();
  record.set<&SessionJson::inrc, 1, &SessionJson::CampaignSlot::inrc>("two");
  EXPECT_EQ(record.sharedInstance()->inrc[1].inrc, "two");
  EXPECT_EQ(json::text(phone.document("InternalCampaign")), R"({"inrc1":"one","inrc2":"two"})");
}

// While one thread makes a record, sessions begin: it must not show the one before.
TEST_F(SessionRecordTest, ARecordBegunBeforeAClearIsNotKept) {
  phone.boot();
  auto& record = phone.process().record();
  int visit = 0;
  phone.sim.device->onSystemRead = [&] {
    if (visit == 8) return;
    ++visit;
    phone.process().db().update("Behavior",
                                [&](MutableDocument& document) { document.setInteger(visit, "lifeCriteriaVisit"); });
    record.clearInstance();
  };
  EXPECT_EQ(record.sharedInstance()->ltvt, 8);
  phone.sim.device->onSystemRead = nullptr;
}

}  // namespace
}  // namespace zul
