#include <gmock/gmock.h>

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

#include "Json.h"
#include "Runtime.h"
#include "SimulatedPhone.h"
#include "Tracker.h"
#include "zul/CustomWKWebViewConfiguration.h"

namespace zul {
namespace {

using testing::ElementsAre;

Dictionary launchedBy(const std::string& link) {
  Dictionary options;
  options.set("UIApplicationLaunchOptionsURLKey", link);
  return options;
}

// What the host's pieces throw reaches nobody, and costs no payload.
TEST(Attribution, TheHostsPiecesMayThrow) {
  struct Throwing final : platform::SKAdNetwork {
    bool isAvailable() const override { return true; }
    void registerAppForAdNetworkAttribution() override { throw std::runtime_error("a host's"); }
    void updateConversionValue(std::int64_t) override { throw std::runtime_error("a host's"); }
    void updatePostbackConversionValue(std::int64_t, platform::CoarseConversionValue, bool) override { throw 5; }
  };
  struct NoViews final : platform::WebViews {
    std::shared_ptr<platform::WebView> hiddenWebView(const std::shared_ptr<WebViewConfiguration>&) override {
      throw std::runtime_error("no display");
    }
  };
  test::SimulatedPhone phone;
  phone.sim.adServices->onToken = [] { throw std::runtime_error("no token"); };
  phone.adapt = [](Platform& platform) {
    platform.skAdNetwork = std::make_shared<Throwing>();
    platform.webViews = std::make_shared<NoViews>();
  };
  phone.sim.http->setAnswer("dataRcv", {R"({"code":"RES001","updateConversionValue":4})"});
  int called = 0;
  phone.boot();
  phone.initialize(std::nullopt, ApplicationState::active, [&called] {
    ++called;
    throw std::runtime_error("a callback's");
  });
  phone.sim.dispatcher->advance(6);
  EXPECT_EQ(called, 1);
  EXPECT_EQ(phone.queuedRows(), 0U);
  EXPECT_EQ(phone.document("skadNetworkData"), (boost::json::object{{"latestSkAdCurValue", 4}}));
  EXPECT_EQ(phone.sim.log->count("for want of a web view: no display"), 1U);
  EXPECT_EQ(phone.sim.log->count("no token"), 1U);
}

// The deferred callback may ask the library for everything, and for another callback.
TEST(Attribution, TheDeferredCallbackMayCallBack) {
  test::SimulatedPhone phone;
  phone.sim.http->setAnswer(
      "dataRcv", {R"({"code":"RES001","attributedInfo":{"install":{"bean":{"dfrdForIos":"a%3A%2F%2Fb"}}}})"});
  const auto held = std::make_shared<int>();
  std::optional<std::string> url;
  phone.boot();
  phone.initialize(std::nullopt, ApplicationState::active, [&, held] {
    auto& runtime = phone.process();
    url = runtime.deferredLinks().getDeferredUrl();
    runtime.deferredLinks().setDeferredLinkCallback([] { FAIL() << "once in a process"; });
    runtime.tracker().sendTransaction();
    EXPECT_FALSE(runtime.tracker().getAttributedInfo().empty());
  });
  phone.sim.dispatcher->advance(7);
  EXPECT_EQ(url, "a://b");
  EXPECT_EQ(held.use_count(), 1) << "a callback that was replaced is released";
  EXPECT_EQ(phone.uploads().size(), 2U);
}

// A link that comes while the stored state cannot be read is the first run's or not: that is not known yet.
TEST(Attribution, WhatIsToldBeforeTheStoreCanBeReadIsKept) {
  test::SimulatedPhone phone;
  phone.sim.store->setUnreadable(true);
  phone.boot();
  phone.initialize(launchedBy("a://?_qzs=launch&_qzc=c&_qzclkTime=1706695100000"));
  phone.tracker().parseDeepLink("a://?_qzs=told&_qzc=c&_qzclkTime=1706695150000");
  phone.tracker().parseReferrer("_qzs=fb&_qzc=c&_qzckp=6000&_qzclkTime=1706695200000");
  phone.sim.dispatcher->advance(2);
  EXPECT_TRUE(phone.documents().empty());
  phone.sim.store->setUnreadable(false);
  phone.sim.dispatcher->advance(8);
  const auto claims = phone.tracker().claims();
  EXPECT_EQ(claims.fp.its, "told");
  EXPECT_EQ(claims.ir.its, "fb");
  EXPECT_EQ(json::string(phone.document("DeeplinkReferrerInfo"), "qzs"), "told");
  EXPECT_EQ(json::string(phone.document("InstallReferrerInfo"), "its"), "fb");
  EXPECT_EQ(phone.uploads().size(), 1U) << "a first run's link reports no event";
}

// The page of an earlier start is given up for that of a later one, and its answer not heeded.
TEST(Attribution, TheLatestPageCounts) {
  test::SimulatedPhone phone;
  phone.sim.http->forget("fingerPrintRps");
  phone.sim.http->answer("fingerPrintRps", {R"({"qzs":"early","itp":600,"qzclkTime":1706695100000})", 200, 4});
  phone.sim.http->answer("fingerPrintRps", {R"({"qzs":"late","itp":600,"qzclkTime":1706695100000})", 200, 1});
  phone.boot();
  phone.initialize();
  phone.sim.dispatcher->advance(1);
  phone.tracker().requestFingerPrintByDeeplink(false);
  phone.sim.dispatcher->advance(5);
  EXPECT_EQ(phone.tracker().claims().fp.its, "late");
  EXPECT_TRUE(phone.tracker().fingerPrintRequestDone());
}

// The hidden web view is made with what the host gave before the library was first used.
TEST(Attribution, TheWebViewHasTheHostsConfiguration) {
  test::SimulatedPhone phone;
  const auto given = std::make_shared<WebViewConfiguration>();
  phone.boot().webView().setConfiguration(given);
  phone.initialize();
  phone.sim.dispatcher->advance(1);
  EXPECT_EQ(phone.sim.webViews->configuration(), given);
}

// A record that is there shows a link at once, with its minutes in the place of the install's until it is made anew.
TEST(Attribution, TheRecordShowsALinkAtOnce) {
  test::SimulatedPhone phone;
  phone.store("InstallReferrerInfo", R"({"its":"before","itp":7})");
  phone.store("Install", R"({"installTime":1.0})");
  auto& tracker = phone.startUp();
  phone.sim.http->clearRequests();
  tracker.parseDeepLink("a://?_qzs=s&_qzc=c&_qzckp=9&_qzp=2");
  phone.sim.dispatcher->advance(1);
  const auto uploads = phone.uploads();
  ASSERT_EQ(uploads.size(), 1U);
  const auto& session = test::session(uploads[0].back());
  EXPECT_EQ(json::string(session, "qzs"), "s");
  EXPECT_EQ(json::string(session, "its"), "before");
  EXPECT_EQ(json::integer(session, "itp"), 9);
}

}  // namespace
}  // namespace zul
