#include <gtest/gtest.h>

#include "Phone.h"

namespace zul {
namespace {

class StartTest : public testing::Test {
 protected:
  std::size_t logged(std::string_view text) { return phone.sim.log->count(text); }
  test::Phone phone;
};

TEST_F(StartTest, TheFirstLaunchTakesATokenAndBeginsASession) {
  phone.boot();
  phone.initialize();
  EXPECT_TRUE(phone.tracker().firstExcute());
  EXPECT_FALSE(phone.tracker().getZULInitFlag());
  phone.sim.dispatcher->advance(4.9);
  EXPECT_TRUE(phone.tracker().accessTokenRequestDone());
  EXPECT_FALSE(phone.tracker().getZULInitFlag());
  EXPECT_TRUE(phone.uploads().empty());
  phone.sim.dispatcher->advance(0.2);
  EXPECT_TRUE(phone.tracker().getZULInitFlag());

  const auto tokens = phone.sim.http->requests("acsTokenRps");
  ASSERT_EQ(tokens.size(), 1U);
  EXPECT_EQ(tokens[0].url, "https://collector.test/token/v1/acsTokenRps.do?_qzno=1001&_wPkg=com.example.app");
  EXPECT_EQ(phone.document("AppInfo"),
            boost::json::parse(R"({"accessToken":"tk-1","serviceNumber":1001,"expireDate":30,"useMode":1,
                                   "isDebug":false,"isInstallRetention":false,"isFingerPrint":false})")
                .as_object());
  // The network clock never synchronized: the install time is the device's at the completion.
  EXPECT_EQ(phone.document("Install").at("installTime").as_double(), (test::Phone::kStart + 5) * 1000);
  ASSERT_EQ(phone.uploads().size(), 1U);
  EXPECT_EQ(test::session(phone.uploads()[0][0]).at("isVisitNew"), "Y");
  EXPECT_EQ(phone.document("Behavior").at("visitNew"), "N");

  phone.initialize();
  EXPECT_EQ(logged("======already init done========"), 1U);
}

TEST_F(StartTest, TheNextLaunchUsesTheStoredTokenAndKeepsTheInstallTime) {
  phone.launch();
  const auto install = phone.document("Install").at("installTime");
  phone.sim.dispatcher->advance(60);
  phone.launch();
  EXPECT_FALSE(phone.tracker().firstExcute());
  EXPECT_TRUE(phone.tracker().getZULInitFlag());
  EXPECT_EQ(phone.sim.http->requests("acsTokenRps").size(), 1U);
  EXPECT_EQ(phone.document("Install").at("installTime"), install);
  EXPECT_EQ(phone.document("Install").at("timeOffset"), 0.0);
  EXPECT_EQ(phone.uploads().size(), 1U);  // the session goes on
}

TEST_F(StartTest, AConfiguredTokenGoesBeforeTheStoredOne) {
  phone.store("AppInfo", R"({"accessToken":"stored"})");
  phone.configure(R"({"useMode":1,"accessToken":"configured"})");
  phone.launch();
  EXPECT_EQ(phone.document("AppInfo").at("accessToken"), "configured");
  EXPECT_TRUE(phone.sim.http->requests("acsTokenRps").empty());
}

TEST_F(StartTest, WithoutATokenNothingIsInitializedUntilTheNextStart) {
  for (const platform::SimulatedHttp::Answer& answer :
       std::vector<platform::SimulatedHttp::Answer>{{"", 200, 0, "refused"},
                                                    {R"({"code":"ERR"})"},
                                                    {"<html>"},
                                                    {R"({"token":7})"},
                                                    {R"({"token":""})"},
                                                    {"[]"}}) {
    phone.sim.http->forget("acsTokenRps");
    phone.sim.http->answer("acsTokenRps", answer);
    phone.launch();
    EXPECT_FALSE(phone.tracker().getZULInitFlag()) << answer.body;
    phone.tracker().sendTransaction();
    phone.sim.dispatcher->advance(10);
  }
  const auto errors = phone.sim.http->requests("errorRcv");
  ASSERT_EQ(errors.size(), 1U);  // for the request that failed; an answer without a token is an answer
  EXPECT_NE(errors[0].body->find("AccessToken Request Error"), std::string::npos);
  // The session of the start-up is sent even so, once.
  EXPECT_EQ(phone.uploads().size(), 1U);

  phone.sim.http->forget("acsTokenRps");
  phone.sim.http->answer("acsTokenRps", {R"({"token":"tk-2"})"});
  phone.launch();
  EXPECT_TRUE(phone.tracker().getZULInitFlag());
  EXPECT_EQ(phone.document("AppInfo").at("accessToken"), "tk-2");
}

TEST_F(StartTest, OfflineTheInstallTimeIsLocalAndNoTokenIsAskedFor) {
  phone.sim.reachability->value = platform::Reachability::kReachable | platform::Reachability::kConnectionRequired;
  phone.boot();
  phone.initialize();
  EXPECT_TRUE(phone.tracker().NTPtimeGetDone());
  EXPECT_EQ(phone.document("Install").at("installTime").as_double(), test::Phone::kStart * 1000);
  phone.sim.dispatcher->advance(6);
  EXPECT_TRUE(phone.sim.http->requests("acsTokenRps").empty());
  EXPECT_FALSE(phone.tracker().getZULInitFlag());
}

TEST_F(StartTest, TheTrackingAnswerReleasesAWaitingStart) {
  phone.configure(R"({"useMode":1,"ATTPopup":true,"isDebug":true})");
  phone.sim.bundle->info.set("FacebookAppID", "fb");
  phone.boot();
  phone.initialize(Dictionary::fromJson(R"({"k":1})"));
  phone.sim.dispatcher->advance(60);
  EXPECT_TRUE(phone.sim.http->requests().empty());
  EXPECT_EQ(phone.runtime->debugMode(), 0);
  phone.tracker().setATTAlertCheked("N");
  phone.sim.dispatcher->advance(6);
  EXPECT_EQ(logged("NSKeyValueChangeNewKey observer success : N"), 1U);
  EXPECT_EQ(logged("launchOptions : {\"k\":1}"), 1U);
  EXPECT_TRUE(phone.tracker().getZULInitFlag());
  EXPECT_EQ(phone.runtime->debugMode(), 1);
}

TEST_F(StartTest, AnAnswerGivenBeforeOrNoFacebookAppIdDoesNotWait) {
  phone.configure(R"({"useMode":1,"ATTPopup":true})");
  phone.sim.bundle->info.set("FacebookAppID", "");
  phone.launch();
  EXPECT_TRUE(phone.tracker().getZULInitFlag());
  phone.sim.bundle->info.set("FacebookAppID", "fb");
  phone.store("Identify", R"({"ATTPopupDone":"Y"})");
  phone.launch();
  EXPECT_TRUE(phone.tracker().getZULInitFlag());
}

TEST_F(StartTest, TheLaunchLinkDecidesByTheFirstMatch) {
  struct Case {
    std::string options;
    std::string line;
    bool doneOnLaterRun;
  };
  for (const auto& [options, line, done] : std::vector<Case>{
           {R"({"UIApplicationLaunchOptionsURLKey":"app://x"})", "DEBUG_ZUL_deepLinkUrlStr: app://x", true},
           {R"({"UIApplicationLaunchOptionsURLKey":"","UIApplicationLaunchOptionsUserActivityDictionaryKey":
                {"UIApplicationLaunchOptionsUserActivityKey":{"webpageURL":"https://y"}}})",
            "DEBUG_ZUL_universalLinkurl: https://y", true},
           {R"({"UIApplicationLaunchOptionsURLKey":7})", "DEBUG_ZUL_deeplinkIsNot_universalNot", false}}) {
    phone.store("Install", R"({"installTime":1.0})");
    phone.boot();
    phone.initialize(Dictionary::fromJson(options));
    EXPECT_EQ(logged(line), 1U) << options;
    EXPECT_EQ(phone.tracker().fingerPrintRequestDone(), done) << options;
  }
  phone.boot();
  phone.initialize();
  EXPECT_EQ(logged("DEBUG_ZUL_launchOption_empty"), 1U);
}

TEST_F(StartTest, ModeThreeAccountsAndStaysOffline) {
  phone.configure(R"({"useMode":3})");
  phone.launch();
  phone.sim.dispatcher->advance(60);
  EXPECT_TRUE(phone.sim.http->requests().empty());
  EXPECT_FALSE(phone.tracker().getZULInitFlag());
  EXPECT_EQ(phone.document("AppInfo").at("accessToken"), "offlineTokenValue");
  EXPECT_EQ(phone.document("Behavior").at("lifeCriteriaVisit"), 1);
  EXPECT_EQ(phone.document("Install").at("installTime").as_double(), test::Phone::kStart * 1000);
}

TEST_F(StartTest, EventsRecordedBeforeInitializationAreSentInTheSessionThatBegins) {
  phone.store("DataBeforeInit", R"({"entireExceptionData":[{"SESSION":{"sid":"old","n":1}},{"n":2},7,{}]})");
  phone.launch();
  EXPECT_EQ(phone.uploads().size(), 1U);
  phone.sim.dispatcher->advance(1);
  ASSERT_EQ(phone.uploads().size(), 2U);
  const auto list = phone.uploads()[1];
  ASSERT_EQ(list.size(), 2U);
  const auto begun = test::session(phone.uploads()[0][0]);
  EXPECT_EQ(test::session(list[0]).at("sid"), begun.at("sid"));
  EXPECT_EQ(test::session(list[0]).at("vtTz"), begun.at("vtTz"));
  EXPECT_EQ(list[1], (boost::json::object{{"n", 2}}));
}

TEST_F(StartTest, BlockedEventsAreDropped) {
  phone.store("DataBeforeInit", R"({"entireExceptionData":[{"SESSION":{"n":1}}]})");
  phone.boot();
  phone.tracker().setBlockingLogEventCallBeforeSdkInitComplete(true);
  phone.initialize();
  phone.sim.dispatcher->advance(10);
  EXPECT_EQ(phone.uploads().size(), 1U);
  EXPECT_FALSE(phone.tracker().getBlockingLogEventCallBeforeSdkInitComplete());
  EXPECT_EQ(logged("the entireExceptionData was ignored."), 1U);
}

TEST_F(StartTest, TheParallelVariantEndsOnTheMainQueueOnce) {
  phone.boot();
  phone.tracker().asyncMultiTask(std::nullopt);
  phone.sim.dispatcher->advance(2);
  EXPECT_EQ(logged("Group task started..."), 4U);
  EXPECT_EQ(logged("All group tasks are done!"), 1U);
  EXPECT_EQ(phone.sim.http->requests("acsTokenRps").size(), 1U);
  EXPECT_EQ(phone.uploads().size(), 1U);
}

TEST_F(StartTest, HostileConfigurationAndDocumentsAreSurvived) {
  phone.sim.bundle->info = *Dictionary::fromJson(
      R"({"zulAuthorizationKey":{"useMode":"1","serviceNumber":[],"ATTPopup":"YES","accessToken":{}},"FacebookAppID":1})");
  for (const auto* id : {"Behavior", "AppInfo", "Install", "Identify", "Json", "DataBeforeInit", "UserInfo"}) {
    phone.store(id, R"({"sessionExpireSec":"x","installTime":{},"uuid":1,"QueueJsonList":[1],"useMode":null,
        "recentSessionTimeSec":"now","lifeCriteriaVisit":1e300,"entireExceptionData":{"a":1},"member":[]})");
  }
  phone.launch();
  phone.tracker().sendTransaction();
  phone.sim.dispatcher->advance(10);
  EXPECT_TRUE(phone.tracker().getZULInitFlag());
}

}  // namespace
}  // namespace zul
