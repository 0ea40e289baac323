#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <vector>

#include "NHNetworkClock.h"
#include "NetworkClock.h"
#include "Runtime.h"
#include "SimulatedPhone.h"
#include "zul/platform/HostResolver.h"

namespace zul {
namespace {

using Event = platform::LifeCycle::Event;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kSetUp = "QuorLog NTP Time sync finished successfully.";
constexpr const char* kDone = "kNHNetworkTimeSyncCompleteNotification";

class NetworkClockTest : public testing::Test {
 protected:
  NetworkClockTest() {
    observation_ = phone.sim.notifications->observe(kDone, [this] {
      ++announced;
      EXPECT_FALSE(clock().isSynchronized());
    });
  }
  void advance(double seconds) { phone.sim.dispatcher->advance(seconds); }
  NHNetworkClock& clock() { return phone.process().networkClock(); }
  std::vector<std::string> servers() {
    std::vector<std::string> servers;
    for (const auto& association : clock().timeAssociations()) servers.push_back(association->server());
    return servers;
  }
  void notify(Event event) { phone.sim.lifeCycle->notify(event); }

  test::SimulatedPhone phone;
  int announced = 0;

 private:
  std::shared_ptr<void> observation_;
};

TEST_F(NetworkClockTest, TheFirstTrustworthyAnswerIsAnnouncedAndEachIsSaved) {
  phone.setTimeServers({{.address = "192.0.2.1", .ahead = 120}, {.address = "2001:db8::1", .ahead = 120}});
  EXPECT_EQ(NetworkClock(clock()).networkDate(), phone.sim.clock->now());
  clock().synchronize();
  EXPECT_THAT(servers(), IsEmpty());  // the caller does not wait
  advance(1);
  EXPECT_EQ(phone.sim.log->count(kSetUp), 1U);
  EXPECT_FALSE(clock().isSynchronized());
  advance(100);
  EXPECT_TRUE(clock().isSynchronized());
  EXPECT_EQ(announced, 1);
  const NetworkClock date(clock());
  EXPECT_NEAR(date.threadsafeNetworkDate(), phone.sim.clock->now() + 120, 1e-3);
  EXPECT_NEAR(date.timeIntervalSinceNetworkDate(), -120, 1e-3);
  EXPECT_NEAR(date.timeIntervalSinceNetworkDate(phone.sim.clock->now() + 121), 1, 1e-3);

  // The next process begins with it, before anything answers.
  phone.boot();
  EXPECT_NEAR(clock().networkOffset(), -120, 1e-3);
  EXPECT_FALSE(clock().isSynchronized());
  clock().setShouldUseSavedSynchronizedTime(false);
  EXPECT_EQ(clock().networkOffset(), 0);
}

TEST_F(NetworkClockTest, AnObserverThatThrowsChangesNothing) {
  phone.setTimeServers({{.address = "192.0.2.1", .ahead = 120}});
  const auto other = phone.sim.notifications->observe(kDone, [] { throw std::runtime_error("a host's"); });
  clock().synchronize();
  advance(10);
  EXPECT_TRUE(clock().isSynchronized());
  EXPECT_EQ(phone.sim.log->count("a host's"), 1U);
}

TEST_F(NetworkClockTest, TheApplicationsOwnListOfServersCounts) {
  phone.setTimeServers({{.address = "192.0.2.1"}});
  auto& network = *phone.sim.network;
  network.setHost("a.test", {"192.0.2.2", "2001:db8::2"});
  network.setHost("b.test", {"2001:db8::2", "192.0.2.3"});
  const auto with = [&](const std::string& resource) {
    phone.sim.bundle->resources["ntp.hosts"] = resource;
    clock().synchronize();
    advance(1);
    return servers();
  };
  EXPECT_THAT(with("# ours\r\n\r\na.test\r\n b.test\r\nnone.test\r\nb.test"),
              ElementsAre("192.0.2.2", "2001:db8::2", "192.0.2.3"));
  EXPECT_THAT(with(""), IsEmpty());
  EXPECT_THAT(with("a.test\xff"), ElementsAre("192.0.2.1"));  // no text: as if it were not there
}

TEST_F(NetworkClockTest, WithoutANetworkTheSavedOffsetServesAndTheLogTellsOnce) {
  phone.setTimeServers({{.address = "192.0.2.1", .ahead = 120}});
  phone.sim.network->setOnline(false);
  clock().synchronize();
  advance(10);
  EXPECT_THAT(servers(), IsEmpty());
  EXPECT_EQ(clock().networkTime(), phone.sim.clock->now());
  EXPECT_EQ(phone.sim.log->count("No time server has an address: time.test: the network cannot be reached"), 1U);
  clock().synchronize();
  advance(10);
  EXPECT_EQ(phone.sim.log->count("No time server has"), 1U);
  phone.sim.network->setOnline(true);
  clock().synchronize();
  advance(10);
  EXPECT_TRUE(clock().isSynchronized());
}

TEST_F(NetworkClockTest, SeveralStartsLeaveOneSetAndAResetNone) {
  phone.setTimeServers({{.address = "192.0.2.1", .ahead = 120}, {.address = "192.0.2.2", .ahead = 120}});
  clock().synchronize();
  clock().synchronize();
  advance(0.01);  // amid a look-up
  clock().synchronize();
  advance(10);
  EXPECT_THAT(servers(), ElementsAre("192.0.2.1", "192.0.2.2"));
  EXPECT_EQ(phone.sim.network->sockets(), 2);
  EXPECT_EQ(phone.sim.log->count(kSetUp), 1U);
  clock().synchronize();
  EXPECT_FALSE(clock().isSynchronized());
  advance(10);
  EXPECT_EQ(announced, 2);

  clock().synchronize();
  advance(0.01);
  clock().reset();
  advance(10);
  EXPECT_THAT(servers(), IsEmpty());
  EXPECT_TRUE(phone.sim.dispatcher->waiting().empty());
  EXPECT_EQ(phone.sim.network->sockets(), 0);
  EXPECT_EQ(announced, 2);
}

// The first of two names cannot even be looked up.
TEST_F(NetworkClockTest, AResolverThatThrowsCostsOneName) {
  struct Throwing final : platform::HostResolver {
    Found resolve(const std::string& host) override {
      if (host == "bad.test") throw std::runtime_error("no descriptor left");
      return {{"192.0.2.1"}, ""};
    }
  };
  auto platform = phone.sim.platform();
  platform.resolver = std::make_shared<Throwing>();
  platform.deployment.ntpHosts = {"bad.test", "good.test"};
  Runtime runtime(platform);
  runtime.networkClock().createAssociations();
  EXPECT_EQ(runtime.networkClock().timeAssociations().size(), 1U);
  EXPECT_EQ(phone.sim.log->count("Exception"), 0U);
}

// A look-up that never ends holds up later ones alone, and its process can end.
TEST_F(NetworkClockTest, ADeadResolverHoldsUpNobody) {
  phone.setTimeServers({{.address = "192.0.2.1", .ahead = 120}});
  phone.sim.network->setLookUpTime(1e9);
  phone.initialize();
  advance(3600);
  clock().synchronize();
  EXPECT_EQ(clock().networkOffset(), 0);
  advance(3600);
  EXPECT_EQ(phone.sim.network->lookUps(), 1U);
  EXPECT_EQ(phone.uploads().size(), 1U);
  phone.boot();
}

TEST_F(NetworkClockTest, AChangedClockStartsItOverUnlessTheAssociationsWereEnded) {
  phone.setTimeServers({{.address = "192.0.2.1", .ahead = 120}});
  phone.boot();
  notify(Event::significantTimeChange);  // before the first start: some applications never do
  advance(10);
  EXPECT_EQ(announced, 0);
  clock().synchronize();
  advance(10);
  EXPECT_EQ(announced, 1);
  phone.sim.clock->set(phone.sim.clock->now() - 3600);
  notify(Event::significantTimeChange);
  EXPECT_FALSE(clock().isSynchronized());
  advance(10);
  EXPECT_EQ(announced, 2);
  EXPECT_NEAR(clock().networkOffset(), -3720, 1e-3);

  clock().finishAssociations();
  EXPECT_EQ(servers().size(), 1U);
  EXPECT_TRUE(phone.sim.dispatcher->waiting().empty());
  notify(Event::significantTimeChange);
  notify(Event::foreground);
  advance(10);
  EXPECT_TRUE(phone.sim.dispatcher->waiting().empty());
  clock().synchronize();
  clock().setIsAutoSynchronizedWhenUserChangeLocalTime(false);
  advance(10);
  notify(Event::significantTimeChange);
  EXPECT_TRUE(clock().isSynchronized());
}

TEST_F(NetworkClockTest, AStartInTheBackgroundWaitsForTheForeground) {
  phone.setTimeServers({{.address = "192.0.2.1", .ahead = 120}});
  clock().synchronize();
  advance(0.01);
  notify(Event::background);  // amid the look-up
  advance(100);
  EXPECT_THAT(servers(), ElementsAre("192.0.2.1"));
  EXPECT_TRUE(phone.sim.dispatcher->waiting().empty());
  EXPECT_EQ(phone.sim.network->sent("192.0.2.1"), 0U);
  notify(Event::foreground);
  advance(3);
  EXPECT_TRUE(clock().isSynchronized());

  // Names are not looked up from there either.
  notify(Event::background);
  clock().synchronize();
  advance(100);
  EXPECT_THAT(servers(), ElementsAre());
  notify(Event::foreground);
  advance(3);
  EXPECT_TRUE(clock().isSynchronized());
}

// Twelve servers: four honest, four whose clocks are the device's own and cannot be trusted, four that do not answer.
TEST_F(NetworkClockTest, UntrustedServersAreGivenUpWhileThereAreMoreThanEight) {
  std::vector<test::SimulatedPhone::PlacedTimeServer> placed;
  for (int n = 0; n < 12; ++n) {
    auto& server = placed.emplace_back();
    server.address = "192.0.2." + std::to_string(n);
    server.ahead = n < 4 ? 120 : 0;
    server.server.dispersion = 20 - n;
    if (n >= 8) server.path.loss = 1;
  }
  phone.setTimeServers(placed);
  clock().synchronize();
  advance(30);
  EXPECT_EQ(servers().size(), 12U);
  const auto held = clock().timeAssociations();  // by others, too
  EXPECT_NEAR(clock().networkOffset(), -120, 1e-3);
  EXPECT_THAT(servers(), ElementsAre("192.0.2.0", "192.0.2.1", "192.0.2.2", "192.0.2.3", "192.0.2.8", "192.0.2.9",
                                     "192.0.2.10", "192.0.2.11"));
  EXPECT_EQ(phone.sim.network->sockets(), 8);
  const auto asked = phone.sim.network->sent("192.0.2.4");
  advance(300);
  EXPECT_EQ(phone.sim.network->sent("192.0.2.4"), asked);
  EXPECT_EQ(servers().size(), 8U);
}

// A liar who is consistent is trusted like the others, and counts for as much.
TEST_F(NetworkClockTest, ALiarMovesTheMeanByItsShare) {
  phone.setTimeServers({{.address = "192.0.2.1", .ahead = 120},
                        {.address = "192.0.2.2", .ahead = 120},
                        {.address = "192.0.2.3", .ahead = 420}});
  clock().synchronize();
  advance(100);
  EXPECT_NEAR(clock().networkOffset(), -220, 1e-3);
}

}  // namespace
}  // namespace zul
