#include <gtest/gtest.h>

#include <cstring>
#include <stdexcept>
#include <utility>

#include "Facade.h"
#include "Runtime.h"
#include "SimulatedPhone.h"
#include "Tracker.h"
#include "zul/CustomWKWebViewConfiguration.h"
#include "zul/ZULDebugger.h"
#include "zul/ZULSession.h"
#include "zul/ZULSessionVersion.h"
#include "zul/platform/WebView.h"

namespace zul {
namespace {

class FacadeTest : public testing::Test {
 protected:
  FacadeTest() { phone.boot(); }
  std::size_t logged(std::string_view text) { return phone.sim.log->count(text); }
  test::SimulatedPhone phone;
};

TEST_F(FacadeTest, InTheBackgroundOnlyTheCallbackAndTheConfigurationAreTaken) {
  int called = 0;
  const std::function<void()> callback = [&] { ++called; };
  const auto configuration = std::make_shared<WebViewConfiguration>();
  facade::initializeWithWebView(phone.process(), {std::nullopt, Application{ApplicationState::background}, callback},
                                configuration);
  phone.sim.dispatcher->advance(10);
  EXPECT_EQ(logged("initEnd pass in Background"), 1U);
  EXPECT_EQ(phone.process().trackerIfMade(), nullptr);
  EXPECT_EQ(phone.process().webView().getConfiguration(), configuration);
  EXPECT_EQ(called, 0);

  phone.initialize(std::nullopt, ApplicationState::inactive);
  phone.sim.dispatcher->advance(10);
  EXPECT_TRUE(phone.tracker().getZULInitFlag());
  EXPECT_EQ(logged("There is a custom webview configuration object passed to the sdk."), 1U);
  EXPECT_EQ(called, 1);
  phone.tracker().sendTransaction();
  phone.sim.dispatcher->run();
  EXPECT_EQ(called, 1);
  EXPECT_EQ(logged("This event is not install on callDeferredLinkCallback function."), 1U);
}

TEST_F(FacadeTest, ACallbackThatThrowsHurtsNobody) {
  phone.initialize(std::nullopt, ApplicationState::active, [] { throw 1; });
  phone.sim.dispatcher->advance(6);
  phone.tracker().sendTransaction();
  phone.sim.dispatcher->run();
  EXPECT_EQ(phone.uploads().size(), 2U);
}

TEST_F(FacadeTest, StoredAttributionIsToldAtTheFirstLook) {
  phone.store("AttributionInfo", R"({"attributionInfo":{"installMedia":"m"}})");
  std::vector<std::string> told;
  facade::getAttributedInfo(phone.process(), [&](const Dictionary& info) { told.push_back(info.json()); });
  phone.sim.dispatcher->advance(4.9);
  EXPECT_TRUE(told.empty());
  phone.sim.dispatcher->advance(0.2);
  EXPECT_EQ(told, (std::vector<std::string>{R"({"installMedia":"m"})"}));
  EXPECT_EQ(logged("break index in dealyed getAttributedInfo 0"), 1U);
}

TEST_F(FacadeTest, WithoutAttributionAnEmptyDictionaryComesAfterTenLooks) {
  std::vector<double> told;
  facade::getAttributedInfo(phone.process(), [&](const Dictionary& info) {
    EXPECT_TRUE(info.empty());
    told.push_back(phone.sim.dispatcher->now());
  });
  phone.sim.dispatcher->advance(60);
  EXPECT_EQ(told, (std::vector<double>{15}));
  EXPECT_EQ(logged("index in dealyed getAttributedInfo: 9"), 1U);
  EXPECT_EQ(logged("index in dealyed getAttributedInfo: "), 10U);
  EXPECT_EQ(logged("break index"), 0U);
}

TEST_F(FacadeTest, TheDeferredCallbackCanComeOnTheMainQueue) {
  for (const bool onMain : {false, true}) {
    phone.adapt = [onMain](Platform& platform) { platform.deferredCallbackOnMain = onMain; };
    std::vector<bool> called;
    phone.reinstall();
    phone.initialize(std::nullopt, ApplicationState::active, [&] { called.push_back(Tasks::isOnMain()); });
    phone.sim.dispatcher->advance(6);
    EXPECT_EQ(called, (std::vector<bool>{onMain}));
  }
}

TEST_F(FacadeTest, TheHostsUserAgentIsTheCustomOneOrWhatItsScriptSays) {
  auto& carrier = phone.process().webView();
  auto& behaviour = phone.sim.webViews->behaviour();
  const auto captured = [&] {
    carrier.setClientUserAgentString(phone.sim.webViews->hostWebView());
    phone.sim.dispatcher->run();
    return carrier.clientUserAgent();
  };
  carrier.setClientUserAgentString(nullptr);
  behaviour.scriptError = "no script";
  EXPECT_EQ(captured(), std::nullopt);
  behaviour.customUserAgent = " Shop/1 \n";
  EXPECT_EQ(captured(), " Shop/1 \n");
  behaviour.customUserAgent = " \t\n";
  EXPECT_EQ(captured(), " Shop/1 \n");
  behaviour.scriptError.clear();
  behaviour.customUserAgent.reset();
  behaviour.scriptDelay = 3;  // nobody else holds the web view
  EXPECT_EQ(captured(), " Shop/1 \n");
  phone.sim.dispatcher->advance(3);
  EXPECT_EQ(carrier.clientUserAgent(), "Mozilla/5.0 (simulated)");

  phone.initialize();
  phone.sim.dispatcher->advance(6);
  EXPECT_EQ(test::session(phone.uploads()[0][0]).at("clientUserAgent"), "Mozilla/5.0 (simulated)");
}

TEST_F(FacadeTest, AWebViewThatThrowsOrAnswersTheDeadIsNoTrouble) {
  struct Thrower final : platform::WebView {
    std::optional<std::string> customUserAgent() override {
      if (throws) throw std::invalid_argument("no window");
      return std::nullopt;
    }
    void setNavigationDelegate(NavigationDelegate) override {}
    void load(platform::HttpRequest) override {}
    bool isLoading() override { return false; }
    void evaluateJavaScript(const std::string&, ScriptCompletion given) override { completion = std::move(given); }
    bool throws = true;
    ScriptCompletion completion;
  };
  const auto webView = std::make_shared<Thrower>();
  phone.process().webView().setClientUserAgentString(webView);
  phone.sim.dispatcher->run();
  EXPECT_EQ(logged("Error: std::invalid_argumentno window"), 1U);
  EXPECT_EQ(phone.process().webView().clientUserAgent(), std::nullopt);

  webView->throws = false;
  phone.process().webView().setClientUserAgentString(webView);
  phone.sim.dispatcher->run();
  phone.endProcess();
  const auto completion = std::exchange(webView->completion, nullptr);
  completion("too late", "");
}

// What a host has who cannot afford to wait.
class PatientLibraryTest : public FacadeTest {
 protected:
  PatientLibraryTest() {
    phone.adapt = [](Platform& platform) { platform.waitInBackground = true; };
    phone.boot();
  }
};

TEST_F(PatientLibraryTest, NobodyWaitsForTheAppStoreAndItsAnswerIsTakenWhenItComes) {
  phone.sim.http->setAnswer("/lookup", {R"({"resultCount":1,"results":[{"trackId":42}]})", 200, 30});
  const double begin = phone.sim.dispatcher->now();
  phone.initialize();
  phone.tracker().getSessionData();
  EXPECT_EQ(phone.sim.dispatcher->now(), begin);
  phone.sim.dispatcher->advance(29);
  ASSERT_EQ(phone.uploads().size(), 1U);
  EXPECT_FALSE(test::session(phone.uploads()[0][0]).contains("appId"));
  phone.sim.dispatcher->advance(2);
  EXPECT_EQ(phone.tracker().getSessionData().integer("appId"), 42);
  EXPECT_EQ(phone.document("Identify").at("appId"), 42);
  phone.startUp();
  EXPECT_EQ(phone.sim.http->requests("/lookup").size(), 1U);
}

TEST_F(PatientLibraryTest, AFailedLookUpIsMadeAgainForTheNextRecord) {
  phone.sim.http->setAnswer("/lookup", {"", 0, 0, "no such host"});
  phone.startUp();
  phone.process().record().clearInstance();
  phone.sim.http->setAnswer("/lookup", {R"({"resultCount":1,"results":[{"trackId":42}]})"});
  EXPECT_FALSE(phone.tracker().getSessionData().contains("appId"));
  phone.sim.dispatcher->run();
  EXPECT_EQ(phone.tracker().getSessionData().integer("appId"), 42);
}

TEST_F(PatientLibraryTest, AnAnswerThatComesWhileARecordIsMadeIsInIt) {
  auto& process = phone.process();
  int reads = 0;
  phone.sim.device->onSystemRead = [&] {
    if (++reads != 3) return;  // the identifiers have been read, the record has not
    process.db().update("Identify", [](MutableDocument& document) { document.setInteger(42, "appId"); });
    process.record().show<&SessionJson::appId>();
  };
  EXPECT_EQ(process.record().sharedInstance()->appId, 42);
  EXPECT_GT(reads, 3);
}

TEST_F(PatientLibraryTest, AttributionIsWaitedForBesideTheMainQueue) {
  std::vector<double> told;
  double other = 0;
  facade::getAttributedInfo(phone.process(), [&](const Dictionary&) {
    EXPECT_TRUE(Tasks::isOnMain());
    told.push_back(phone.sim.dispatcher->now());
  });
  phone.process().tasks().after(
      7.5, Tasks::Queue::main, [&] { other = phone.sim.dispatcher->now(); }, ZUL_HERE);
  phone.sim.dispatcher->advance(60);
  EXPECT_EQ(told, (std::vector<double>{15}));
  EXPECT_EQ(other, 7.5);
}

// The process's own library, on a simulated platform.
TEST(ZULSessionTest, TheStaticOperationsReachTheProcessesLibrary) {
  test::SimulatedPhone phone;
  phone.configure(R"({"useMode":1,"isDebug":true,"accessToken":"t"})");
  phone.store("Identify", R"({"buildMode":false})");
  EXPECT_EQ(Tracker::getSharedInstance(), nullptr);
  EXPECT_EQ(ZULDebugger::isDebug(), 0);
  ASSERT_TRUE(ZULSession::setPlatform(phone.sim.platform()));
  EXPECT_EQ(ZULSession::getSessionData().json(), "{}");  // the mode is not known yet
  EXPECT_EQ(Tracker::getSharedInstance(), &Tracker::sharedInstance());
  EXPECT_FALSE(ZULSession::setPlatform(phone.sim.platform()));
  EXPECT_EQ(phone.sim.log->count("setPlatform comes too late"), 1U);

  ZULSession::checkDebugMode(true);
  ZULSession::setBlockingLogEventCallBeforeSdkInitComplete(true);
  EXPECT_TRUE(ZULSession::getBlockingLogEventCallBeforeSdkInitComplete());
  ZULSession::setBlockingLogEventCallBeforeSdkInitComplete(false);
  EXPECT_FALSE(ZULSession::getZULSessionInitYN());
  EXPECT_TRUE(ZULSession::checkNewSession());
  ZULSession::initialization(std::nullopt, Application{});
  phone.sim.dispatcher->advance(6);
  EXPECT_TRUE(ZULSession::getZULSessionInitYN());
  EXPECT_FALSE(ZULSession::checkNewSession());
  EXPECT_EQ(ZULSession::getSessionData().string("buildMode"), "dev");
  EXPECT_EQ(ZULSession::getDeferredUrl(), std::nullopt);
  ZULSession::sendTransaction();
  phone.sim.dispatcher->run();
  EXPECT_EQ(phone.uploads().size(), 2U);

  EXPECT_EQ(ZULDebugger::isDebug(), 1);
  ZULDebugger::log("through the switch");
  ZULDebugger::debugMode(0);
  ZULDebugger::log("not printed");
  ZULDebugger::adminLog("whatever the switch");
  EXPECT_EQ(phone.sim.log->count("[D 👉 :facade_test<zul::ZULDebugger>:log]through the switch"), 1U);
  EXPECT_EQ(phone.sim.log->count("not printed"), 0U);
  EXPECT_EQ(phone.sim.log->count("]whatever the switch"), 1U);
  // The process's library stays until the end, and so must the device it runs on.
  [[maybe_unused]] static platform::SimulatedPlatform* volatile device = nullptr;
  device = new platform::SimulatedPlatform(phone.sim);
}

TEST(ZULSessionTest, TheVersionSymbols) {
  EXPECT_STREQ(ZULSessionVersionString, "@(#)PROGRAM:ZULSession  PROJECT:ZULSession-1\n");
  EXPECT_EQ(ZULSessionVersionNumber, 1.0);
#if ZUL_VERSION < ZUL_VERSION_NUMBER(ZUL_VERSION_MAJOR, ZUL_VERSION_MINOR, 0) || \
    ZUL_VERSION >= ZUL_VERSION_NUMBER(ZUL_VERSION_MAJOR, ZUL_VERSION_MINOR + 1, 0)
  ADD_FAILURE() << "versions do not compare";
#endif
  EXPECT_STREQ(ZUL_VERSION_STRING, ZUL_PROJECT_VERSION);
}

}  // namespace
}  // namespace zul
