#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <functional>
#include <future>
#include <iostream>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <random>
#include <set>
#include <sstream>
#include <thread>
#include <utility>
#include <vector>

#include "Events.h"
#include "HostPlatform.h"
#include "Json.h"
#include "KeptLog.h"
#include "Patience.h"
#include "RunningCollector.h"
#include "Runtime.h"
#include "TemporaryFolder.h"
#include "Tracker.h"
#include "zul/Application.h"
#include "zul/CustomWKWebViewConfiguration.h"
#include "zul/InternalCampaign.h"
#include "zul/Referrer.h"
#include "zul/User.h"
#include "zul/ZULDebugger.h"
#include "zul/ZULSession.h"

namespace zul::test {
namespace {

using collector::Endpoint;
using namespace std::chrono_literals;

constexpr int kThreads = 6;
constexpr int kCalls = kSanitized ? 300 : 600;  // a thread

/// Ends the whole program when what it watches over does not end.
class Watchdog {
 public:
  explicit Watchdog(std::chrono::seconds patience)
      : thread_([this, patience] {
          if (done_.get_future().wait_for(patience) == std::future_status::ready) return;
          std::cerr << "deadlock\n";
          std::abort();
        }) {}
  ~Watchdog() {
    done_.set_value();
    thread_.join();
  }

 private:
  std::promise<void> done_;
  std::thread thread_;
};

User member(const std::string& value) {
  User user;
  user.memberId = user.memberGrade = user.attribute1 = user.signupTp = value;
  return user;
}

class ConcurrencyTest : public testing::Test {
 protected:
  ConcurrencyTest() {
    std::mt19937 random(20240131);
    std::ostringstream text;
    text << R"({"token":[{"delay":20}],"errorlog":[{"delay":5},{"close":true},{}],"upload":[)";
    for (int n = 0; n < 500; ++n) {
      static constexpr const char* kKinds[] = {R"("close":true)", R"("body":{"code":"ERR9","msg":"busy"})", "", ""};
      const std::string kind = kKinds[random() % 4];
      text << (n == 0 ? "{" : ",{") << kind << (kind.empty() ? "" : ",") << R"("delay":)" << random() % 60 << "}";
    }
    text << "]}";
    collector.setAnswers(text.str());
    writeInfoPlist(folder.path(), "");

    HostPlatform host({.data = folder.path("store"),
                       .bundle = folder.path(),
                       .collector = collector.baseUrl(),
                       .pace = 0.02,
                       .log = log});
    clock = host.clock;
    EXPECT_TRUE(ZULSession::setPlatform(std::move(host.platform)));
  }

  // An event's pairs are the library's, so one at a time.
  void numberedEvent() {
    const std::lock_guard lock(numbering);
    const bool accepted = ZULSession::getZULSessionInitYN();
    reportEvent(Tracker::sharedInstance(), ++lastNumber);
    if (accepted) reported.insert(lastNumber);
  }
  void initialize() {
    ZULSession::initializationForDeferredCallback(std::nullopt, Application{}, [this] { ++deferred; });
  }
  std::vector<std::function<void()>> operations() {
    const Dictionary link = *Dictionary::fromJson(R"({"UIApplicationLaunchOptionsURLKey":"app://x"})");
    return {
        [this] { numberedEvent(); },
        [this] { numberedEvent(); },
        [] { ZULSession::sendTransaction(); },
        [this] { clock->add(700); },
        [this] { initialize(); },
        [link] { ZULSession::initialization(link, Application{ApplicationState::background}); },
        [] {
          ZULSession::initializationWithWebViewConfiguration(std::nullopt, Application{},
                                                             std::make_shared<WebViewConfiguration>());
        },
        [] { ZULSession::setUser(member("m")); },
        [] { ZULSession::setUserLogout(); },
        [] { ZULSession::setDeepLink("app://x?_qzs=a&_qzc=b"); },
        [] {
          ZULSession::setInstallReferrer(Referrer{{}, "_qzs=&_qzc=a&_qzclkTime=5", {}});
        },
        [] { ZULSession::setFacebookReferrer("_qzs=a&_qzc=b&_qzckp=99999999999&_qzclkTime=5"); },
        [] { ZULSession::setFacebookreferrerData("app://x"); },
        [] { ZULSession::setPushToken("push"); },
        [] {
          InternalCampaign campaign;
          campaign.setInternalCampaign3("code", 1);
          ZULSession::setInternalCampaign(campaign);
        },
        [] {
          auto& tracker = Tracker::sharedInstance();
          tracker.checkToResetPushInfo();
          tracker.checkToResetInternalCampaign();
          tracker.setReceivedInAppMessageList({{{"mk", "a"}}});
          tracker.checkInAppMessageValidation();
          tracker.sessionController().updateUdRvnc();
          tracker.sessionController().updateLastOrderNoWithOrderNo("order");
        },
        [] { ZULSession::setIDFA("11111111-2222-3333-4444-555555555555"); },
        [] { ZULSession::denyATT(); },
        [] { ZULSession::setATTAuthorizationStatus(3); },
        [] { ZULSession::getSessionData(); },
        [] { Tracker::sharedInstance().sessionController().updatePiTraceWithPi("p"); },
        [] { ZULSession::checkNewSession(); },
        [] { ZULSession::checkDebugMode(true); },
        [] { ZULSession::parseAttributionLinkToGetDeeplinkUrl("https://x.example/?a=b"); },
        [] { ZULSession::setBlockingLogEventCallBeforeSdkInitComplete(false); },
        [] { ZULSession::getBlockingLogEventCallBeforeSdkInitComplete(); },
        [] { ZULSession::getDeferredUrl(); },
        [] { ZULDebugger::log("x"); },
        [] { CustomWKWebViewConfiguration::sharedObject().setClientUserAgent("agent"); },
        [this] {
          if (++asked <= 5) ZULSession::getAttributedInfo([this](const Dictionary&) { ++told; });
        },
    };
  }
  std::set<std::int64_t> missing() {
    auto left = reported;
    for (const auto& request : collector.requests(Endpoint::upload)) {
      const auto body = request->body();
      if (!body.is_array()) continue;
      for (const auto& payload : body.get_array()) {
        left.erase(json::integer(payload.at("SESSION").as_object(), "event"));
      }
    }
    return left;
  }

  TemporaryFolder folder;
  RunningCollector collector;
  std::shared_ptr<ShiftedClock> clock;
  std::shared_ptr<KeptLog> log = std::make_shared<KeptLog>();
  std::mutex numbering;
  int lastNumber = 0;
  std::set<std::int64_t> reported;
  std::atomic<int> deferred = 0, asked = 0, told = 0;
};

// Threads that come out of nowhere while the library is being made, starts up, works, and runs into a collector
// that is slow, refuses and hangs up.
TEST_F(ConcurrencyTest, AnyOperationOnAnyThreadAtAnyTime) {
  const Watchdog watchdog(kSanitized ? 150s : 50s);
  const auto all = operations();
  const auto work = [&](unsigned seed) {
    std::mt19937 random(seed);
    for (int n = 0; n < kCalls; ++n) {
      all[random() % all.size()]();
      std::this_thread::sleep_for(std::chrono::microseconds(random() % 3000));
    }
  };
  std::vector<std::thread> threads;
  for (unsigned n = 0; n < kThreads; ++n) threads.emplace_back(work, n);
  initialize();
  EXPECT_TRUE(eventually([] { return ZULSession::getZULSessionInitYN(); }));
  numberedEvent();
  for (auto& thread : threads) thread.join();

  collector.setAnswers("{}");
  numberedEvent();
  EXPECT_TRUE(eventually([&] { return missing().empty(); })) << testing::PrintToString(missing());
  EXPECT_TRUE(eventually([&] { return told == std::min(asked.load(), 5); }));
  EXPECT_TRUE(eventually([&] { return deferred == 1; }));
  EXPECT_EQ(collector.counts().bad, 0U);
  Runtime::process().tracker().sessionController().updatePiTraceWithPi("last");  // a session begun since then has none
  const auto stored = Runtime::process().db().documentWithID("Behavior").stringForKey("piTrace");
  EXPECT_EQ(Runtime::process().record().sharedInstance()->piTrace, stored);
  EXPECT_EQ(log->count("| QuorLog / E |"), log->count("did not reach the collector"));

  InternalCampaign campaign;
  campaign.setInternalCampaign5("five", 1);
  ZULSession::setInternalCampaign(campaign);
  ZULSession::setPushToken("last");
  ZULSession::setUser(member("last"));
  const auto session = ZULSession::getSessionData();
  for (const auto* key : {"pushtk", "mbid", "mbl", "ut1"}) EXPECT_EQ(session.string(key), "last") << key;
  EXPECT_EQ(session.string("inrc5"), "five");
  EXPECT_EQ(session.string("sx"), std::nullopt);
  ZULSession::setUserLogout();
  EXPECT_EQ(ZULSession::getSessionData().string("sx"), "");
  std::cout << reported.size() << " numbered events in " << collector.counts().total << " requests\n";
}

class RecordConcurrencyTest : public testing::Test {
 protected:
  RecordConcurrencyTest() {
    runtime.db().update("Identify", [](MutableDocument& identify) { identify.setInteger(1, "appId"); });
  }

  const TemporaryFolder folder;
  Runtime runtime{HostPlatform({.data = folder.path("store"),
                                .bundle = folder.path(),
                                .collector = "http://127.0.0.1:9",
                                .log = std::make_shared<KeptLog>()})
                      .platform};
};

// A record that is made while sessions begin shows one of them as a whole, and whoever finds a session begun gets its
// record, not that of the one before it.
TEST_F(RecordConcurrencyTest, ShowsTheSessionThatIsStored) {
  runtime.tracker().occurNewSessionWithType(2);  // before the first, a record counts as one without a session
  std::atomic<bool> done = false;
  std::thread sessions([&] {
    for (int visit = 0; visit < kCalls * 8; ++visit) runtime.tracker().occurNewSessionWithType(2);
    done = true;
  });
  std::map<std::int64_t, std::pair<std::optional<std::string>, std::int64_t>> seen;
  while (!done) {
    const auto stored = runtime.db().documentWithID("Behavior").integerForKey("lifeCriteriaVisit");
    const auto record = runtime.record().sharedInstance();
    EXPECT_GE(record->ltvt, stored);
    const std::pair session(record->sid, record->vtTz);
    EXPECT_EQ(seen.try_emplace(record->ltvt, session).first->second, session);
  }
  sessions.join();
}

// A record shows one member as a whole while others sign in and sessions begin, and in the end the one that is stored.
TEST_F(RecordConcurrencyTest, ShowsOneMemberWhileAnotherSignsIn) {
  std::atomic<int> working = 3;
  std::vector<std::thread> threads;
  for (int n = 0; n < 3; ++n) {
    threads.emplace_back([&, n] {
      for (int call = 0; call < kCalls; ++call) {
        runtime.tracker().setUser(member(std::to_string(n)));
        if (call % 16 == 0) runtime.record().clearInstance();
      }
      --working;
    });
  }
  while (working > 0) {
    const auto record = runtime.record().sharedInstance();
    for (const auto& value : {record->mbl, record->ut[0], record->signupTp}) EXPECT_EQ(value, record->mbid);
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(runtime.record().sharedInstance()->mbid, runtime.db().documentWithID("UserInfo").stringForKey("memberId"));
}

}  // namespace
}  // namespace zul::test
