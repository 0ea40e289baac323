#include <gtest/gtest.h>

#include "Runtime.h"
#include "SimulatedPhone.h"
#include "Tracker.h"

namespace zul {
namespace {

class StartTest : public testing::Test {
 protected:
  std::size_t logged(std::string_view text) { return phone.sim.log->count(text); }
  test::SimulatedPhone phone;
};

TEST_F(StartTest, AConfiguredTokenGoesBeforeTheStoredOne) {
  phone.store("AppInfo", R"({"accessToken":"stored"})");
  phone.configure(R"({"useMode":1,"accessToken":"configured"})");
  phone.startUp();
  EXPECT_EQ(phone.document("AppInfo").at("accessToken"), "configured");
  EXPECT_TRUE(phone.sim.http->requests("acsTokenRps").empty());
}

// A record that was made before the settings were stored shows them once they are.
TEST_F(StartTest, ALateTokenBringsTheSettingsIntoTheRecord) {
  phone.sim.http->forget("acsTokenRps");
  phone.sim.http->answer("acsTokenRps", {R"({"token":"late"})", 200, 7});
  phone.boot();
  phone.initialize();
  phone.sim.dispatcher->advance(6);
  EXPECT_TRUE(phone.tracker().getSessionData().empty());
  phone.sim.dispatcher->advance(1);
  const auto session = phone.tracker().getSessionData();
  EXPECT_EQ(session.integer("useMode"), 1);
  EXPECT_EQ(session.integer("_qzno"), 1001);
  EXPECT_EQ(session.string("_accessToken"), "late");
}

TEST_F(StartTest, WhatIsWrongWithTheConfigurationIsToldOnce) {
  for (const auto& [settings, told] : std::vector<std::pair<std::string, std::string>>{
           {"{}", "Nothing will be reported: there is no dictionary \"zulAuthorizationKey\" in the Info.plist"},
           {R"({"useMode":"1"})", R"({"useMode":"1"})"},
           {R"({"useMode":9})", R"({"useMode":9})"},
           {R"({"serviceNumber":1})", R"({"serviceNumber":1})"},
           {R"({"useMode":1,"serviceNummber":1})",
            R"("serviceNummber" that means nothing here: did you mean "serviceNumber"?)"},
           {R"({"useMode":1,"isdebug":true})", R"(did you mean "isDebug"?)"},
           {R"({"useMode":1,"colour":true})",
            R"("colour" that means nothing here: there are "serviceNumber", "useMode",)"},
           {R"({"useMode":1,"serviceNumber":"1001"})",
            R"("serviceNumber" of "zulAuthorizationKey" must be an integer, and counts as absent: "1001")"},
           {R"({"useMode":1,"isDebug":"YES"})", R"(must be a boolean, and counts as absent: "YES")"},
           {R"({"useMode":1,"accessToken":7})", R"(must be a string, and counts as absent: 7)"},
           {R"({"useMode":2.0,"serviceNumber":1,"expireDate":30,"accessToken":"t","isDebug":1,"ATTPopup":false,
                "domain":"d","isFingerPrint":true,"isInstallRetention":true})",
            ""},
           {R"({"useMode":3})", ""}}) {
    phone.configure(settings);
    phone.sim.log->lines.clear();
    phone.startUp();
    phone.startUp();
    EXPECT_EQ(logged("QuorLog / E"), told.empty() ? 0U : 2U) << settings;
    EXPECT_EQ(logged(told), told.empty() ? phone.sim.log->lines.size() : 2U) << settings;
  }
}

TEST_F(StartTest, ATokenWithALineBreakIsToldAndSendsNothingButTheRest) {
  phone.configure(R"({"useMode":1,"accessToken":"tk\n X-Forged: 1"})");
  phone.startUp();
  EXPECT_EQ(logged(R"(requests go without it. "tk\n X-Forged: 1")"), 1U);
  const auto uploads = phone.sim.http->requests("dataRcv");
  ASSERT_EQ(uploads.size(), 1U);
  for (const auto& [name, value] : uploads[0].headers) EXPECT_NE(name, "authToken");
}

TEST_F(StartTest, OfflineTheInstallTimeIsLocalAndNoTokenIsAskedFor) {
  phone.sim.reachability->value = platform::Reachability::kReachable | platform::Reachability::kConnectionRequired;
  phone.boot();
  phone.initialize();
  EXPECT_TRUE(phone.tracker().NTPtimeGetDone());
  EXPECT_EQ(phone.document("Install").at("installTime").as_double(), test::SimulatedPhone::kStart * 1000);
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
  EXPECT_EQ(phone.process().debugMode(), 0);
  phone.tracker().setATTAlertCheked("N");
  phone.sim.dispatcher->advance(6);
  EXPECT_EQ(logged("NSKeyValueChangeNewKey observer success : N"), 1U);
  EXPECT_EQ(logged("launchOptions : {\"k\":1}"), 1U);
  EXPECT_TRUE(phone.tracker().getZULInitFlag());
  EXPECT_EQ(phone.process().debugMode(), 1);
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

TEST_F(StartTest, EventsRecordedBeforeInitializationAreSentInTheSessionThatBegins) {
  phone.store("DataBeforeInit", R"({"entireExceptionData":[{"SESSION":{"sid":"old","n":1}},{"n":2},7,{}]})");
  phone.startUp();
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

TEST_F(StartTest, HowTheApplicationIsIdentifiedIsTold) {
  phone.sim.bundle->hint = "the executable's name";
  phone.startUp();
  EXPECT_EQ(logged("the executable's name"), 1U);
}

TEST_F(StartTest, WhatIsNotSentIsTold) {
  phone.boot();
  phone.tracker().setBlockingLogEventCallBeforeSdkInitComplete(true);
  for (int n = 0; n < 2; ++n) {
    phone.tracker().sendTransaction();
    EXPECT_EQ(logged("this event is not sent, nor is any until it has"), 1U);
  }
  phone.initialize();
  phone.sim.dispatcher->advance(6);
  EXPECT_EQ(logged("this process sends no further event of its own"), 1U);
  phone.tracker().sendTransaction();
  phone.sim.dispatcher->run();
  EXPECT_EQ(phone.uploads().size(), 1U);  // the visit that the start-up began
  EXPECT_EQ(phone.queuedRows(), 0U);
}

TEST_F(StartTest, TheParallelVariantEndsOnTheMainQueueOnce) {
  phone.boot();
  phone.tracker().asyncMultiTask(std::nullopt);
  phone.sim.dispatcher->advance(2);
  EXPECT_EQ(logged("Group task started..."), 4U);
  EXPECT_EQ(logged("Current thread is not main thread"), 4U);
  EXPECT_EQ(logged("All group tasks are done!"), 1U);
  EXPECT_EQ(phone.sim.http->requests("acsTokenRps").size(), 1U);
  EXPECT_EQ(phone.uploads().size(), 1U);
}

TEST_F(StartTest, ATaskTellsWhetherItRunsOnTheMainQueue) {
  phone.boot();
  for (const auto queue : {Tasks::Queue::main, Tasks::Queue::global}) {
    phone.process().tasks().async(
        queue, [this] { phone.tracker().doAyncTask(0, std::nullopt, nullptr); }, ZUL_HERE);
    phone.sim.dispatcher->run();
  }
  phone.tracker().doAyncTask(0, std::nullopt, nullptr);
  EXPECT_EQ(logged("Current thread is main thread"), 1U);
  EXPECT_EQ(logged("Current thread is not main thread"), 2U);
}

TEST_F(StartTest, HostileConfigurationAndDocumentsAreSurvived) {
  phone.sim.bundle->info = *Dictionary::fromJson(
      R"({"zulAuthorizationKey":{"useMode":"1","serviceNumber":[],"ATTPopup":"YES","accessToken":{}},"FacebookAppID":1})");
  for (const auto* id : {"Behavior", "AppInfo", "Install", "Identify", "Json", "DataBeforeInit", "UserInfo"}) {
    phone.store(id, R"({"sessionExpireSec":"x","installTime":{},"uuid":1,"QueueJsonList":[1],"useMode":null,
        "recentSessionTimeSec":"now","lifeCriteriaVisit":1e300,"entireExceptionData":{"a":1},"member":[]})");
  }
  phone.startUp();
  phone.tracker().sendTransaction();
  phone.sim.dispatcher->advance(10);
  EXPECT_TRUE(phone.tracker().getZULInitFlag());
}

}  // namespace
}  // namespace zul
