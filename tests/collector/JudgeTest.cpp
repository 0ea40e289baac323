// What the collector finds suspicious about good uploads, and what it does not.

#include <gmock/gmock.h>

#include <boost/json.hpp>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "CollectorClient.h"
#include "Json.h"
#include "RunningCollector.h"

namespace zul::collector {
namespace {

using testing::HasSubstr;
using Session = boost::json::object;

Session full() {
  return *json::parseObject(
      R"({"sdk_version":{"SESSION":"1.1.5"},"useMode":1,"installTime":1704099605000,"cntr":"ANP","lng":"ANP","tz":"ANP",
      "os":"iOS 17.2","osvr":"17.2","sr":"ANP","phone":"ANP","apVr":"1.0","cari":"ANP","isWifi":2.0,"plat":"IOS",
      "dSource":"SDK","inch":0.0,"buildMode":"prod","pkg":"com.example.app","appId":344663403,"uuid":"E134CF85",
      "vendorId":"11111111","advtFlag":1,"keychainUUID":"11111111","sid":"209250C3","isVisitNew":"Y","isDf":"Y",
      "isWf":"Y","isMf":"N","isWfUs":"Y","udVt":1,"ltvt":3,"ltVi":0,"udRvnc":0,"ltRvnc":0,"csRvnVs":0,"ltrvni":0,
      "firstOrd":"N","ltRvnVt":1,"ltrvn":0,"pageKey":0,"pushCkTime":0,"pushPeriod":0,"pushExpiredTime":0,
      "_qzhst":"https://c.test","_qzno":1001,"_qzUdays":30,"_qzDebug":false,"_qzUseRetention":false,
      "_qzUseFingerPrint":false,"_accessToken":"t","vtTz":1704099605000,"sarInfo":{},"AAATktime":0,"inrc10":"c",
      "inrcTime10":1,"inrcDt10":2})");
}

Session reduced() {
  return *json::parseObject(
      R"({"sdk_version":{"SESSION":"1.1.5"},"isVisitNew":"Y","useMode":3,"_qzno":1,"_qzDebug":false,"lng":"KO","tz":"9",
      "gps":"Y","isWifi":1.0,"plat":"IOS","advtFlag":0,"dSource":"SDK","vendorId":"V","uuid":"U","sid":"S",
      "installTime":1})");
}

struct JudgeTest : testing::Test {
  // "key reason" of each suspicion about an upload.
  std::vector<std::string> judged(const std::string& document) {
    auto request = goodRequest(Endpoint::upload);
    request.body = uploadBodyOf(document);
    ask(collector.port(), request);  // which may be left without an answer
    std::vector<std::string> found;
    const auto recorded = collector.requests().back();
    EXPECT_TRUE(recorded->good());
    for (const auto& odd : recorded->suspicions) found.push_back(odd.key + " " + odd.reason);
    EXPECT_EQ(recorded->verdict(), found.empty() ? "good" : "suspicious");
    return found;
  }
  std::vector<std::string> judged(const Session& session) { return judged("[" + payload(session) + "]"); }
  static std::string payload(const Session& session) { return R"({"SESSION":)" + json::text(session) + "}"; }

  test::RunningCollector collector;
};

TEST_F(JudgeTest, FindsTheKeyAndTheReason) {
  struct Case {
    std::function<void(Session&)> spoil;
    const char* complaint;  // nullptr: none
  };
  const Case cases[] = {
      {[](auto&) {}, nullptr},
      {[](auto& s) { s = reduced(); }, nullptr},
      {[](auto& s) { s["appId"] = "344663403"; }, nullptr},
      {[](auto& s) { s.clear(); }, "SESSION is empty"},
      {[](auto& s) { s.erase("ltvt"); }, "ltvt is missing"},
      {[](auto& s) { s.erase("uuid"); }, "uuid is missing"},
      {[](auto& s) { s["ltVt"] = 1; }, "ltVt no such key"},
      {[](auto& s) { s["gps"] = "Y"; }, "gps no such key"},
      {[](auto& s) { s["inrc11"] = "c"; }, "inrc11 no such key"},
      {[](auto& s) { s["inrc01"] = "c"; }, "inrc01 no such key"},
      {[](auto& s) { s.erase("inrcDt10"); }, "inrcDt10 is missing beside inrc10"},
      {[](auto& s) { s["isWifi"] = 2; }, "isWifi should be a number with a fraction"},
      {[](auto& s) { s["ltvt"] = 3.0; }, "ltvt should be a whole number"},
      {[](auto& s) { s["ltvt"] = "3"; }, "ltvt should be a whole number"},
      {[](auto& s) { s["_qzDebug"] = "N"; }, "_qzDebug should be true or false"},
      {[](auto& s) { s["isDf"] = "y"; }, "isDf should be Y or N"},
      {[](auto& s) { s["mbid"] = nullptr; }, "mbid should be a string"},
      {[](auto& s) { s["sdk_version"] = "1.1.5"; }, "sdk_version should be an object"},
      {[](auto& s) {
         s["sdk_version"] = Session{{"SESSION", 1}};
       },
       "sdk_version names no version"},
      {[](auto& s) { s["useMode"] = 4; }, "useMode should be 1, 2 or 3"},
      {[](auto& s) { s["_qzno"] = 0; }, "_qzno is 0"},
      {[](auto& s) { s["phone"] = "iPhone14,2"; }, "is \"ANP\", though phone is filled"},
      {[](auto& s) { s["advtFlag"] = 0; }, "is \"ANP\", though advtFlag 0"},
      {[](auto& s) { (s = reduced())["advtFlag"] = 1; }, "is filled, though advtFlag 1"},
      {[](auto& s) { (s = reduced())["ltvt"] = 1; }, "ltvt no such key"},
  };
  std::int64_t vtTz = 1704099605000;
  for (const auto& [spoil, complaint] : cases) {
    SCOPED_TRACE(complaint ? complaint : "nothing");
    auto session = full();
    spoil(session);
    if (session.contains("vtTz")) session["vtTz"] = ++vtTz;
    const auto found = judged(session);
    ASSERT_EQ(found.size(), complaint ? 1u : 0u) << testing::PrintToString(found);
    if (complaint) {
      EXPECT_THAT(found[0], HasSubstr(complaint));
    }
  }
  EXPECT_THAT(judged(R"([{"EVENT":1}])"), testing::ElementsAre(HasSubstr("EVENT stands beside"), "SESSION is missing"));
}

TEST_F(JudgeTest, ComparesWithWhatWasAcceptedBefore) {
  auto session = full();
  collector.setAnswers(R"({"upload":[{"status":500},{"close":true},{"body":{"code":"ERR9"}},{}]})");
  for (int i = 0; i < 4; ++i) {
    EXPECT_THAT(judged(session), testing::IsEmpty()) << "what was not accepted comes again, and rightly";
  }
  EXPECT_THAT(judged(session), testing::ElementsAre("SESSION the payload is equal to one of request 4"));
  session["vtTz"] = 1704099604999;
  EXPECT_THAT(judged(session), testing::ElementsAre("vtTz goes back, from 1704099605000 to 1704099604999"));
  session["uuid"] = "F";
  EXPECT_THAT(judged(session), testing::ElementsAre("vendorId is the one of another uuid, E134CF85, as well"));
  EXPECT_THAT(judged("[" + payload(reduced()) + "," + payload(reduced()) + "]"),
              testing::ElementsAre(HasSubstr("equal")));
  EXPECT_EQ(collector.requests().back()->suspicions[0].payload, 1u);
  EXPECT_EQ(collector.counts().suspicious, 4u);

  collector.reset();
  EXPECT_THAT(judged(session), testing::IsEmpty());
  const auto recorded = collector.requests().back();
  EXPECT_EQ(recorded->device, "F");
  EXPECT_EQ(recorded->visit, 3);
}

TEST_F(JudgeTest, PayloadsAreToldApartWhateverTheirTextsHold) {
  judged(R"( [ {"a":"\\"} , {"b":"\"},{ ]\\\"","c":[{"d":[]}]}, {"e":"} ,"} ] )");
  const auto recorded = collector.requests().back();
  EXPECT_EQ(recorded->payloads.size(), 3u);
  EXPECT_EQ(recorded->bodyText, R"([{"a":"\\"},{"b":"\"},{ ]\\\"","c":[{"d":[]}]},{"e":"} ,"}])");
}

TEST_F(JudgeTest, ManyComplaintsStayFew) {
  Session session;
  for (int i = 0; i < 1000; ++i) session[std::to_string(i) + std::string(900, 'x')] = i;
  std::size_t size = 0;
  for (const auto& complaint : judged(session)) size += complaint.size();
  EXPECT_LT(size, 10'000u);
}

// The bodies and texts here come from python3 (zlib.compress, urllib.parse.quote) and openssl (enc -aes-128-cbc).
TEST_F(JudgeTest, ReadsWhatOtherProgramsMade) {
  constexpr std::string_view kHex =
      "789c4d8ebd0a80300c849fe6f6185b6b466b155c74e81b28a22eeafb4ff6474438c277477204da821a3045991fbf62df793f"
      "4c63a0e8cbe6dd63bef7eb5c639cb3005d0bd1a85502071bc0a1ee61735515e672a5a2365fccc7f61508912944582ba348a4"
      "8471bfc7126bf700719f2465";
  auto request = goodRequest(Endpoint::upload);
  request.body.clear();
  for (std::size_t at = 0; at < kHex.size(); at += 2) {
    request.body += static_cast<char>(std::stoi(std::string(kHex.substr(at, 2)), nullptr, 16));
  }
  EXPECT_EQ(ask(collector.port(), request)->status, 200);
  EXPECT_EQ(collector.requests().back()->bodyText, R"([{"SESSION":{"phone":"아이폰 & co","big":9007199254740993}}])");
}

}  // namespace
}  // namespace zul::collector
