#include <gtest/gtest.h>

#include "Json.h"
#include "SessionPayload.h"

namespace zul {
namespace {

std::string keys(const boost::json::object& payload) {
  std::string list;
  for (const auto& member : payload) (list += list.empty() ? "" : " ") += member.key();
  return list;
}

boost::json::object payloadOf(const SessionJson& record, const PayloadExtras& extras) {
  return json::parseObject(sessionPayload(record, extras)).value();
}

SessionJson record(std::int64_t useMode) {
  SessionJson r;
  r.sdk_version = "1.1.5";
  r.useMode = useMode;
  return r;
}

TEST(Payload, AnEmptyRecordCarriesWhatIsAlwaysThere) {
  const auto payload = payloadOf(record(2), {});
  EXPECT_EQ(keys(payload),
            "sdk_version useMode installTime isWifi inch advtFlag udVt ltvt ltVi udRvnc ltRvnc csRvnVs ltrvni ltRvnVt "
            "ltrvn pageKey pushCkTime pushPeriod pushExpiredTime _qzno _qzUdays _qzDebug _qzUseRetention "
            "_qzUseFingerPrint vtTz sarInfo AAATktime");
  EXPECT_EQ(payload.at("sdk_version"), (boost::json::object{{"SESSION", "1.1.5"}}));
  EXPECT_TRUE(payload.at("isWifi").is_double());
  EXPECT_TRUE(payload.at("inch").is_double());
  EXPECT_TRUE(payload.at("vtTz").is_int64());
  EXPECT_TRUE(payload.at("_qzDebug").is_bool());
}

TEST(Payload, ValuesAreLeftOutByTheirRules) {
  auto r = record(1);
  r.lastOrderNo = "";
  r.firstOrd = "N";
  r.uptAfv = "Y";
  r.qzp = 0;
  r.itclkTime = 7;
  r.mbid = "";
  r.inrc[0] = {std::nullopt, 5, 5};
  r.inrc[9] = {"ten", 0, 3};
  r.gps = "Y";
  r.appId = "text";
  PayloadExtras extras;
  extras.sarInfo = boost::json::object();
  extras.clientUserAgent = "";
  auto payload = payloadOf(r, extras);
  for (const auto* absent :
       {"lastOrdNo", "qzp", "inrc1", "inrcTime1", "inrcDt1", "gps", "AAATk", "clientUserAgent", "uptAfv"}) {
    EXPECT_FALSE(payload.contains(absent)) << absent;
  }
  EXPECT_EQ(payload.at("firstOrd"), "N");
  EXPECT_EQ(payload.at("uptAfV"), "Y");
  EXPECT_EQ(payload.at("itclkTime"), 7);
  EXPECT_EQ(payload.at("mbid"), "");
  EXPECT_EQ(payload.at("inrc10"), "ten");
  EXPECT_EQ(payload.at("inrcTime10"), 0);
  EXPECT_EQ(payload.at("appId"), "text");
  EXPECT_EQ(payload.at("sarInfo"), boost::json::object());
  r.lastOrderNo = "A1";
  extras.clientUserAgent = "Agent";
  payload = payloadOf(r, extras);
  EXPECT_EQ(payload.at("lastOrdNo"), "A1");
  EXPECT_EQ(keys(payload).substr(keys(payload).rfind(' ') + 1), "clientUserAgent");
}

TEST(Payload, EveryFieldHasItsPlace) {
  auto r = record(1);
  r.mbr = r.sx = r.ag = r.mbl = r.mbid = r.isLogin = r.loginTp = r.signupTp = r.cntr = r.lng = r.tz = r.os = r.osvr =
      r.sr = r.phone = r.apVr = r.cari = r.plat = r.dSource = r.buildMode = r.aidChange = r.pkg = r.advtId = r.uuid =
          r.vendorId = r.uptAfv = r.keychainUUID = r.sid = r.isVisitNew = r.isDf = r.isWf = r.isMf = r.isWfUs =
              r.lastOrderNo = r.firstOrd = r.isSFail = r.qzs = r.qzm = r.qzc = r.qzw = r.qzaffid = r.qzbffid = r.qzref =
                  r.isDrUpdate = r.openDl = r.latestGcmpid = r.its = r.itm = r.itc = r.itw = r.itaffid = r.itbffid =
                      r.installReferrer = r.isIrUpdate = r.pushtk = r.pushNo = r.pushTitle = r.saveToken = r._qzhst =
                          r._accessToken = r.alreadySeenCampaignId = r.inamId = "x";
  for (auto& ut : r.ut) ut = "x";
  for (auto& slot : r.inrc) slot.inrc = "x";
  r.qzp = r.qzclkTime = r.itp = r.itclkTime = r.inamClkTime = r.inamExpireTime = r.latestSkAdCurValue = 1;
  r.appId = 1;
  PayloadExtras extras{boost::json::object(), "x", 0, "x"};
  std::string slots;
  for (int n = 1; n <= 10; ++n) {
    const auto number = std::to_string(n);
    slots += "inrc" + number + " inrcTime" + number + " inrcDt" + number + " ";
  }
  EXPECT_EQ(keys(payloadOf(r, extras)),
            "sdk_version useMode installTime mbr sx ag mbl mbid ut1 ut2 ut3 ut4 ut5 isLogin loginTp signupTp cntr lng "
            "tz os osvr sr phone apVr cari isWifi plat dSource inch buildMode aidChange pkg appId advtId uuid vendorId "
            "advtFlag uptAfV keychainUUID sid isVisitNew isDf isWf isMf isWfUs udVt ltvt ltVi udRvnc ltRvnc csRvnVs "
            "ltrvni lastOrdNo firstOrd ltRvnVt ltrvn isSFail pageKey qzs qzm qzc qzw qzp qzaffid qzbffid qzclkTime "
            "qzref isDrUpdate openDl latestGcmpid its itm itc itw itp itaffid itbffid itclkTime installReferrer "
            "isIrUpdate pushtk pushNo pushCkTime pushPeriod pushTitle saveToken pushExpiredTime _qzhst _qzno _qzUdays "
            "_qzDebug _qzUseRetention _qzUseFingerPrint _accessToken vtTz sarInfo AAATk AAATktime " +
                slots + "alreadySeenCampaignId inamId inamClkTime inamExpireTime latestSkAdCurValue clientUserAgent");
  r.useMode = 3;
  r.gps = "x";
  EXPECT_EQ(
      keys(payloadOf(r, extras)),
      "sdk_version isVisitNew useMode _accessToken _qzhst _qzno _qzDebug lng cntr tz os osvr sr phone gps cari "
      "isWifi plat buildMode aidChange advtFlag dSource apVr appId advtId vendorId uuid sid qzs qzm qzc qzw qzref "
      "installTime pushNo");
}

TEST(Payload, WithoutAModeThereIsNone) {
  for (const int mode : {0, 4, -1}) EXPECT_EQ(sessionPayload(record(mode), {}), "{}") << mode;
}

}  // namespace
}  // namespace zul
