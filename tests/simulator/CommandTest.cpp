// The commands, where a scenario would not tell: bad input, and what surrounds the library.

#include <gmock/gmock.h>

#include <boost/json.hpp>

#include "Json.h"
#include "Simulator.h"

namespace zul::simulator {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class CommandTest : public testing::Test {
 protected:
  /// What the lines show, one compact text a value.
  std::vector<std::string> run(const std::vector<std::string>& lines) {
    shown.clear();
    for (const auto& line : lines) simulator.run(line);
    return shown;
  }
  std::string error(const std::string& line) {
    try {
      simulator.run(line);
    } catch (const CommandError& error) {
      return error.what();
    }
    return "none";
  }

  std::vector<std::string> shown;
  int patience = -1;  // how often a command is asked for patience until it is interrupted; -1: for ever
  Simulator simulator{{.printLog = false, .interrupted = [this] { return patience >= 0 && patience-- == 0; }},
                      [this](const auto& value) { shown.push_back(json::text(value)); }};
};

TEST_F(CommandTest, WhatCannotBeDoneIsToldWithItsReason) {
  const std::pair<std::string, std::string> cases[] = {
      {"lanch", "no such command"},
      {"explain ltVt2", "there is no key ltVt2; did you mean ltvt?"},
      {"explain qwertyuiop", "help explain lists them"},
      {"explain", "no payload has been sent yet"},
      {"device", "the values is missing"},
      {"device {\"modle\":\"x\"}", "the device has no modle"},
      {"device {\"screenScale\":\"3\"}", "screenScale must be a number"},
      {"device {\"screenWidth\":1e999}", "screenWidth must be a number"},
      {"device {\"preferredLanguages\":[\"ko\",1]}", "preferredLanguages must be a string"},
      {"device {\"carrier\":{\"nam\":\"x\"}}", "carrier has no nam"},
      {"device {\"model\":\"a\"} b", "too much: b"},
      {"device {\"model\":", "the JSON value does not end: {\"model\":"},
      {"device {\"model\" \"x\"}", "syntax error: {\"model\" \"x\"}"},
      {"device {}{}", "a space is missing"},
      {"device []", "must be a JSON object"},
      {"clock 2024-13-01T00:00:00", "the time must be like"},
      {"clock 2023-02-29T00:00:00", "the time must be like"},
      {"clock 2024-01-01T00:00:00Z", "the time must be like"},
      {"clock 2024-01-01T00:00:00 Asia/Soul", "no time zone Asia/Soul"},
      {"clock 2024-01-01T00:00:00 localtime", "no time zone localtime"},
      {"clock 2024-01-01T00:00:00 ../UTC", "no time zone ../UTC"},
      {"clock += 400000d", "at most a thousand years"},
      {"clock -= 365000d", "none"},
      {"clock -= 365000d", "none"},
      {"clock -= 365000d", "out of its range"},
      {"clock 2024-01-01T09:00:00 +00:00", "none"},
      {"clock 2024-01-01T00:00:00 +9", "no time zone +9"},
      {"clock += 90", "the jump must be like"},
      {"advance -1s", "how long must be like"},
      {"advance 1w", "how long must be like"},
      {"advance nans", "how long must be like"},
      {"network 5g", "wifi, cellular or offline, not 5g"},
      {"collector uploads {}", "no endpoint uploads"},
      {"collector upload {\"status\":\"500\"}", "status must be"},
      {"collector upload {\"delay\":3}", "delay must be"},
      {"ntp", "the time servers is missing"},
      {"ntp {\"offst\":\"1s\"}", "a time server has no offst"},
      {"ntp {\"offset\":120}", "offset must be a text like"},
      {"ntp {\"delay\":\"-1s\"}", "delay must be a text like"},
      {"ntp {\"loss\":1.5}", "loss must be a number from 0 to 1"},
      {"ntp {\"stratum\":1.5}", "stratum must be a whole number"},
      {"ntp [{},1]", "a time server must be a JSON object"},
      {"ntp [{\"count\":200},{\"count\":51}]", "250 time servers at most"},
      {"keychain UUID {\"acct\":\"A\"}", "an item has the texts account, label, description and value"},
      {"state significant", "no state significant"},
      {"call setUser {\"name\":\"x\"}", "a member has no name"},
      {"call setUser {\"memberId\":7}", "memberId must be a text"},
      {"call setInternalCampaign {\"inrc11\":\"x\"}", "inrc1, inrcDt1 to inrc10, inrcDt10, not inrc11"},
      {"call setInternalCampaign {\"inrcDt1\":1.5}", "must be a whole number"},
      {"call sendTransactions", "no operation sendTransactions"},
      {"call checkDebugMode 1", "must be true or false"},
      {"call checkDebugMode", "an argument is missing"},
      {"call Tracker.occurNewSessionWithType 1.5", "must be a whole number"},
      {"call Tracker.occurNewSessionWithType 4294967297", "out of range"},
      {"show payload", "no process runs"},
      {"show", "what is missing"},
      {"expect /a 1", "nothing has been shown yet"},
      {"fleet 0 60", "from 1 to 1000000"},
      {"fleet 2 soon", "how long must be like"},
      {"fleet 2 -1", "so many seconds cannot be simulated"},
      {"document AppInfo [1]", "must be a JSON object"},
  };
  for (const auto& [line, reason] : cases) EXPECT_THAT(error(line), HasSubstr(reason)) << line;
  EXPECT_THAT(shown, IsEmpty());
}

TEST_F(CommandTest, ExpectationsTellBothSides) {
  run({"show clock"});
  EXPECT_EQ(error("expect /zone \"UTC\" /time absent"), "/time is \"2024-01-01T09:00:00+00:00\", and should be absent");
  EXPECT_EQ(error("expect /seconds 1704099600"), "/seconds is 1704099600.0, and should be 1704099600");
  EXPECT_EQ(error("expect /zone/0 1"), "/zone/0 is absent, and should be 1");
  EXPECT_EQ(error("expect /# 3"), "none");
  EXPECT_THAT(error("expect zone 1"), HasSubstr("a path is like"));
  run({"document A {\"b\":null}", "show document A /b"});
  EXPECT_EQ(error("expect \"\" absent"), "the whole is null, and should be absent");
  run({"show document A /c"});
  EXPECT_EQ(error("expect \"\" null"), "the whole is absent, and should be null");
}

TEST_F(CommandTest, TheClockFollowsItsZone) {
  // Clocks went forward at 02:00 that night.
  EXPECT_THAT(
      run({"clock 2024-03-31T01:59:59 Europe/Berlin", "advance 1s", "show clock /time",
           "clock 2024-03-31T00:00:00 -03:30", "show clock /time", "clock += 24h", "clock -= 1s", "show clock /time"}),
      ElementsAre("\"2024-03-31T03:00:00+02:00\"", "\"2024-03-31T00:00:00-03:30\"", "\"2024-03-31T23:59:59-03:30\""));
}

TEST_F(CommandTest, TheDeviceIsWhatThePayloadSays) {
  const auto payload = run({
      R"(device {"model":"iPad13,1","systemVersion":"16.7","preferredLanguages":["de-DE"],"countryCode":null})",
      R"(device {"carrier":{"name":"Telekom","isoCountryCode":"de"},"screenWidth":820,"screenHeight":1180,"screenScale":2})",
      R"(device {"advertisingIdentifier":"A-1","advertisingTrackingEnabled":true,"vendorIdentifier":"V-1"})",
      R"(info {"CFBundleShortVersionString":"4.5","CFBundleIdentifier":"com.example.other"} # the application)",
      "network cellular",
      "clock 2024-01-01T00:00:00 Asia/Tokyo",
      R"(document ATTAuthStatusInfo {"ATTAuthStatus":3} # consent)",
      "launch",
      "advance 6s",
      "show payload",
  });
  const auto session = *json::parseObject(payload.at(0));
  for (const auto& [key, value] : std::vector<std::pair<std::string, std::string>>{{"phone", "iPad13,1"},
                                                                                   {"osvr", "16.7"},
                                                                                   {"lng", "DE"},
                                                                                   {"cntr", "DE"},
                                                                                   {"cari", "Telekom"},
                                                                                   {"sr", "820*1180/2.0"},
                                                                                   {"vendorId", "V-1"},
                                                                                   {"apVr", "4.5"},
                                                                                   {"pkg", "com.example.other"},
                                                                                   {"tz", "9"}}) {
    EXPECT_EQ(json::string(session, key), value) << key;
  }
  EXPECT_EQ(json::number(session, "isWifi"), 1);
}

TEST_F(CommandTest, AnAnswerIsGivenOnceUnlessItIsTheLast) {
  run({"config {\"serviceNumber\":1,\"useMode\":1,\"accessToken\":\"tk\"}", "launch", "advance 6s",
       "collector upload {\"status\":204,\"raw\":\"\"}", "collector upload {\"code\":\"ERR\",\"delay\":\"10s\"}",
       "show requests"});
  EXPECT_THAT(run({"call sendTransaction", "advance 1s", "call sendTransaction", "advance 1s", "show requests /#",
                   "advance 9s", "show requests /3/body/errlog", "collector upload {}", "call sendTransaction",
                   "advance 1s", "show requests /4/body/#", "show document Json /QueueJsonList"}),
              ElementsAre("3", "\"\"", "3", "\"\""));
}

TEST_F(CommandTest, TasksThatSleepAreSeenAndHoldUpTheirQueue) {
  run({"launch", "advance 6s", "call getAttributedInfo", "advance 5500ms"});
  EXPECT_THAT(run({"show timers /0", "show timers /1"}),
              ElementsAre(R"({"in":0.0,"queue":"main","every":1.0})", R"({"in":0.5,"queue":"main","sleeping":true})"));
}

TEST_F(CommandTest, ARequestFailsAfterAMinuteOfSilenceOrWhenTheNetworkGoes) {
  run({"launch", "advance 6s", "show requests", "collector upload {\"delay\":\"10m\"}"});
  EXPECT_THAT(
      run({"call sendTransaction", "advance 59s", "show requests /#", "advance 1s", "show requests /1/body/errlog"}),
      ElementsAre("1", "\"network error\""));
  EXPECT_THAT(run({"collector upload {\"delay\":\"10s\"}", "call sendTransaction", "advance 9s", "network offline",
                   "show requests /#", "advance 1s", "show requests /3/body/errlog"}),
              ElementsAre("3", "\"network error\""));
}

TEST_F(CommandTest, ACallbackIsToldByTheNextCommandThatShowsNothingOrAtTheEnd) {
  // The payload waits for a look-up; meanwhile the start-up, with a look-up of its own, completes.
  const std::vector<std::string> slow = {"collector appstore {\"delay\":\"30s\"}", "collector appstore {}",
                                         "launch callback", "show payload /ltvt"};
  EXPECT_THAT(run(slow), ElementsAre("1"));
  simulator.run("# and then");
  EXPECT_THAT(shown.at(1), HasSubstr("\"deferred\""));
  run({"reinstall"});
  EXPECT_THAT(run(slow), ElementsAre("1"));
  simulator.finish();
  EXPECT_THAT(shown.at(1), HasSubstr("\"deferred\""));
}

TEST_F(CommandTest, WordsAreCompleted) {
  EXPECT_THAT(Simulator::completions("re"), ElementsAre("resource", "restart", "reinstall"));
  EXPECT_THAT(Simulator::completions("  show doc"), ElementsAre("documents", "document"));
  EXPECT_THAT(Simulator::completions("call SessionController.updateIsW"),
              ElementsAre("SessionController.updateIsWf", "SessionController.updateIsWfUs"));
  EXPECT_THAT(Simulator::completions("collector "), testing::Contains("appstore"));
  EXPECT_THAT(Simulator::completions("show document App"), IsEmpty());
  EXPECT_THAT(Simulator::completions("nothing "), IsEmpty());
}

TEST_F(CommandTest, AnInterruptEndsTheCommandAndNotTheDevice) {
  run({"launch", "advance 6s"});
  patience = 100;
  EXPECT_EQ(error("advance 3650d"), "interrupted");
  EXPECT_THAT(run({"show clock /time"}), ElementsAre("\"2024-01-01T09:01:46+00:00\""));
  patience = 100;
  EXPECT_EQ(error("fleet 100 86400"), "interrupted");
  EXPECT_THAT(run({"call sendTransaction", "advance 1s", "show requests /#"}), ElementsAre("5"));
}

TEST_F(CommandTest, QuitAndExitEndTheDevice) {
  EXPECT_THAT(error("quit now"), HasSubstr("too much"));
  EXPECT_FALSE(simulator.ended());
  run({"exit"});
  EXPECT_TRUE(simulator.ended());
}

TEST_F(CommandTest, AFleetIsTheSameEachTime) {
  const auto fleet = *json::parseObject(run({"fleet 20 86400"}).at(0));
  EXPECT_GT(json::integer(fleet, "sessions"), 20);
  EXPECT_GT(json::integer(fleet, "requests"), 100);
  EXPECT_GT(json::integer(fleet, "bytes"), 10'000);
  EXPECT_EQ(json::integer(fleet, "problems"), 0);
  const auto again = *json::parseObject(run({"fleet 20 86400"}).at(0));
  for (const auto* key : {"launches", "sessions", "events", "requests"}) EXPECT_EQ(fleet.at(key), again.at(key)) << key;

  // A collector that takes nothing is told of each attempt, and gets all payloads again with the next.
  const auto failing = *json::parseObject(run({"collector upload {\"status\":503}", "fleet 20 86400"}).at(0));
  EXPECT_EQ(json::integer(failing, "events"), json::integer(fleet, "events"));
  EXPECT_GT(json::integer(failing, "requests"), json::integer(fleet, "requests") * 3 / 2);
}

TEST_F(CommandTest, ExplainTellsAPayloadsValuesAndWhereTheyComeFrom) {
  run({"launch", "call Tracker.setTempPairingData {\"member\":\"page\"}", "advance 6s",
       "call Tracker.sendTransactionByPage", "advance 1s"});
  using boost::json::parse;
  const auto mark = parse(run({"explain isVisitNew"}).at(0));
  EXPECT_EQ(mark.at("value"), "N");
  EXPECT_EQ(mark.at("stored"), "N");
  EXPECT_EQ(mark.at("documentKey"), "visitNew");
  // By the name of the record's field and of the document's key, too; the host's own key is not the document's.
  EXPECT_EQ(parse(run({"explain lifeCriteriaVisit"}).at(0)).at("key"), "ltvt");
  EXPECT_EQ(parse(run({"explain lastOrderNo"}).at(0)).at("key"), "lastOrdNo");
  EXPECT_EQ(parse(run({"explain piTrace"}).at(0)).at("sent"), "never");
  EXPECT_THAT(run({"explain member"}).at(0), HasSubstr("\"value\":\"page\",\"meaning\":\"the host's own"));

  const auto all = parse(run({"explain"}).at(0));
  const auto sent = parse(run({"show requests /#", "show requests"}).back());
  const auto& payload = sent.as_array().back().at("body").as_array().back().at("SESSION").as_object();
  EXPECT_EQ(all.as_object().size(), payload.size());
  for (const auto& [key, value] : payload) EXPECT_EQ(all.at(key).at("value"), value) << key;
}

}  // namespace
}  // namespace zul::simulator
