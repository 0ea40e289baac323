#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <thread>

#include "DeadPort.h"
#include "Json.h"
#include "Patience.h"
#include "RealPhone.h"
#include "RunningCollector.h"
#include "Runtime.h"
#include "TestCertificate.h"
#include "Tracker.h"
#include "zul/platform/Dispatcher.h"
#include "zul/platform/HttpClient.h"

namespace zul::test {
namespace {

using collector::CollectorOptions;
using collector::Endpoint;
using namespace std::chrono_literals;

constexpr double kExpired = SessionController::kSessionSeconds + 60;

// Over HTTP, and over HTTPS with a certificate of a private authority.
class EndToEndTest : public testing::TestWithParam<bool> {
 protected:
  CollectorOptions options() const {
    CollectorOptions options;
    if (GetParam()) options.certFile = certificate.certFile, options.keyFile = certificate.keyFile;
    return options;
  }
  std::string url() const { return GetParam() ? collector.secureUrl() : collector.baseUrl(); }

  TestCertificate certificate;
  RunningCollector collector{options()};
};
INSTANTIATE_TEST_SUITE_P(, EndToEndTest, testing::Values(false, true),
                         [](const auto& secure) { return secure.param ? "Https" : "Http"; });

TEST_P(EndToEndTest, FromTheFirstStartToTheSecondSession) {
  const RunningCollector appStore;
  RealPhone phone(url());
  phone.caFile = certificate.certFile;
  phone.lookup = appStore.host();
  phone.haveToken("");
  phone.startUp(0.2);

  ASSERT_TRUE(collector.waitFor(Endpoint::upload, 1, 10s));
  const auto token = collector.requests(Endpoint::token).at(0);
  EXPECT_EQ(token->query, "_qzno=1001&_wPkg=com.example.host");
  EXPECT_EQ(appStore.requests(Endpoint::appstore).at(0)->query, "bundleId=com.example.host");
  const auto first = collector.requests(Endpoint::upload).at(0);
  EXPECT_EQ(first->header("authToken"), "development-token");
  EXPECT_EQ(first->header("Transfer-Encoding"), "chunked");
  const auto session = first->body().at(0).at("SESSION").as_object();
  EXPECT_EQ(json::string(session, "_accessToken"), "development-token");
  EXPECT_EQ(json::string(session, "isVisitNew"), "Y");
  EXPECT_EQ(json::integer(session, "ltvt"), 1);
  EXPECT_GT(json::number(session, "appId").value_or(0), 0);

  phone.event("a");
  EXPECT_TRUE(upload(collector, "a"));
  EXPECT_TRUE(phone.keeps(""));
  EXPECT_EQ(phone.document("AppInfo").at("accessToken"), "development-token");
  EXPECT_EQ(phone.document("Identify").at("uuid"), session.at("uuid"));
  EXPECT_EQ(phone.document("Identify").at("sid"), session.at("sid"));
  EXPECT_TRUE(eventually([&] { return phone.document("Behavior").at("visitNew") == "N"; })) << "told already";
  EXPECT_GT(json::number(phone.document("Install"), "installTime").value_or(0), 1.7e12);

  phone.exit();
  collector.reset();
  phone.later = kExpired;
  phone.startUp();
  ASSERT_TRUE(collector.waitFor(Endpoint::upload, 1, 10s));
  const auto second = collector.requests(Endpoint::upload).at(0)->body().at(0).at("SESSION").as_object();
  EXPECT_EQ(json::integer(second, "ltvt"), 2);
  EXPECT_EQ(second.at("uuid"), session.at("uuid"));
  EXPECT_NE(second.at("sid"), session.at("sid"));
  EXPECT_EQ(second.at("appId"), session.at("appId"));
  EXPECT_EQ(appStore.requests(Endpoint::appstore).size(), 1U) << "found already";
  EXPECT_TRUE(collector.requests(Endpoint::token).empty()) << "has one already";
  EXPECT_EQ(collector.counts().bad, 0U) << collector.bad().at(0)->problem;
}

TEST_P(EndToEndTest, WhatACollectorThatWasAwayMissedArrivesInOrder) {
  RealPhone phone(url());
  phone.caFile = certificate.certFile;
  phone.startUp();
  EXPECT_TRUE(upload(collector, "")) << "the session";
  collector.stop();
  phone.event("a");
  EXPECT_TRUE(phone.keeps("a"));
  phone.event("b");
  EXPECT_TRUE(phone.keeps("ab"));
  phone.startUp();
  phone.event("c");
  EXPECT_TRUE(phone.keeps("abc"));
  collector.start();
  phone.event("d");
  EXPECT_TRUE(upload(collector, "abcd"));
  EXPECT_TRUE(phone.keeps(""));
}

TEST(PrivateAuthorityTest, IsTrustedOnlyWhereItIsNamed) {
  const TestCertificate certificate;
  const RunningCollector collector(certificate);
  RealPhone phone(collector.secureUrl());
  phone.lookup = "127.0.0.1:1";
  phone.startUp();
  phone.event("a");
  EXPECT_TRUE(phone.keeps("a"));
  EXPECT_EQ(collector.counts().total, 0U);
  phone.caFile = certificate.certFile;
  phone.startUp();
  phone.event("b");
  EXPECT_TRUE(upload(collector, "ab"));
}

// The first record waits for the application's number. Who does not need the record does not wait.
TEST(LookUpTest, NobodyElseWaitsForAServerThatNeverAnswers) {
  const RunningCollector collector;
  const DeadPort silent(true);
  RealPhone phone(collector.baseUrl());
  phone.lookup = silent.host();
  auto& tracker = phone.startUp();
  std::atomic<bool> released = false;
  std::thread waiting([&] {
    tracker.getSessionData();
    released = true;
  });
  // Until somebody waits, the record does not exist and the log does not say that it is being made.
  EXPECT_TRUE(eventually([&] { return phone.log->count("initUniqueInstance") > 0; }));

  const auto begun = std::chrono::steady_clock::now();
  EXPECT_FALSE(tracker.getAttributedInfo().contains("x"));
  tracker.checkDebugMode(true);
  tracker.sessionController().resetPageKey();
  tracker.checkNewSession();
  tracker.exceptionSendToServer();
  std::promise<void> ran;
  phone.process().platform().dispatcher->async(platform::Dispatcher::Queue::global, [&] { ran.set_value(); });
  ran.get_future().wait();
  EXPECT_EQ(phone.document("Behavior").at("pageKey"), 0);
  EXPECT_LT(std::chrono::steady_clock::now() - begun, kSanitized ? 5s : 1s);
  EXPECT_FALSE(released);

  phone.process().platform().http->stop();
  const auto stopped = std::chrono::steady_clock::now();
  waiting.join();
  EXPECT_LT(std::chrono::steady_clock::now() - stopped, 2s);
}

}  // namespace
}  // namespace zul::test
