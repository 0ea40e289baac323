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

TEST(Payload, WithoutAModeThereIsNone) {
  for (const int mode : {0, 4, -1}) EXPECT_EQ(sessionPayload(record(mode), {}), "{}") << mode;
}

}  // namespace
}  // namespace zul
