#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "NHNetAssociation.h"
#include "NHNetworkClock.h"
#include "Runtime.h"
#include "SimulatedPhone.h"

namespace zul {
namespace {

using Event = platform::LifeCycle::Event;
using Path = platform::SimulatedNetwork::Path;
using test::TimeServer;

constexpr const char* kServer = "192.0.2.1";

// One server, and the clock that asks it.
class AssociationTest : public testing::Test {
 protected:
  void serve(double ahead, Path path = {}, TimeServer server = {}) {
    phone.setTimeServers({{.address = kServer, .ahead = ahead, .path = path, .server = server}});
  }
  void synchronize() {
    phone.sim.network->onSend = [this](const auto&, auto port, auto datagram) {
      EXPECT_EQ(port, 123);
      EXPECT_EQ(datagram.size(), ntp::kPacketSize);
      questions.push_back(phone.sim.dispatcher->now());
    };
    clock().synchronize();
    advance(1);  // the look-up is over
  }
  void advance(double seconds) { phone.sim.dispatcher->advance(seconds); }
  NHNetworkClock& clock() { return phone.process().networkClock(); }
  std::shared_ptr<NHNetAssociation> association() { return clock().timeAssociations().at(0); }
  NHNetAssociation::Fields fields() { return association()->fields(); }

  test::SimulatedPhone phone;
  std::vector<double> questions;  // when they were asked
};

// What the network and the server can do, and what it may lead to after ten minutes: an offset within `error` of the
// truth, which is 120 seconds behind, or none.
TEST_F(AssociationTest, WhateverTheNetworkDoesTheOffsetIsWithinItsBound) {
  struct Case {
    const char* what;
    Path path;
    TimeServer server;
    bool trusted;
    bool active;
    double error;
  };
  constexpr double kExact = 1e-5;
  const auto path = [](double there, double back, double jitter, double loss = 0, double duplicate = 0) {
    return Path{.there = there, .back = back, .jitter = jitter, .loss = loss, .duplicate = duplicate};
  };
  const auto server = [](auto change) {
    TimeServer server;
    change(server);
    return server;
  };
  const std::vector<Case> cases = {
      {"good", {}, {}, true, true, kExact},
      {"slow", path(5, 5, 0), {}, true, true, kExact},
      {"slower one way", path(0.3, 0.1, 0), {}, true, true, 0.1 + kExact},
      {"uneven", path(0.1, 0.1, 0.4), {}, true, true, 0.2},
      {"loses half", path(0.02, 0.02, 0, 0.5), {}, true, true, kExact},
      {"loses all", path(0.02, 0.02, 0, 1), {}, false, false, 0},
      {"brings everything twice", path(0.02, 0.02, 0.2, 0, 1), {}, true, true, 0.1},
      {"overtakes itself", path(0.02, 0.02, 15, 0, 0.5), {}, true, true, 7.5},
      {"answers after the next question", path(50, 50, 0), {}, false, false, 0},
      {"server that takes its time and says so",
       {},
       server([](auto& s) { s.processing = 1.5; }),
       true,
       true,
       0.75 + kExact},
      {"kiss of death", {}, server([](auto& s) { s.stratum = 0; }), false, false, 0},
      {"no server", {}, server([](auto& s) { s.mode = 1; }), false, false, 0},
      {"server that is not sure", {}, server([](auto& s) { s.dispersion = 50.1; }), false, false, 0},
      {"server that is too sure", {}, server([](auto& s) { s.dispersion = 0; }), false, false, 0},
      {"server that was set a minute ago", {}, server([](auto& s) { s.referenceAge = 60; }), false, false, 0},
      {"server that was set just now", {}, server([](auto& s) { s.referenceAge = 59.9; }), true, true, kExact},
      {"answers to older questions", {}, server([](auto& s) { s.answersOlderQuery = true; }), false, false, 0},
      {"short datagrams", {}, server([](auto& s) { s.length = 31; }), false, false, 0},
      {"empty ones", {}, server([](auto& s) { s.length = 0; }), false, false, 0},
      {"long ones", {}, server([](auto& s) { s.length = 1500; }), true, true, kExact},
      {"answers among strays", {}, server([](auto& s) { s.strays = 100; }), true, true, kExact},
      {"floods", {}, server([](auto& s) { s.answers = 500; }), true, true, kExact},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    serve(120, c.path, c.server);
    phone.sim.userDefaults = std::make_shared<platform::SimulatedUserDefaults>();
    phone.boot();
    synchronize();
    advance(600);
    EXPECT_EQ(clock().isSynchronized(), c.trusted);
    EXPECT_EQ(fields().trusty, c.trusted);
    EXPECT_EQ(fields().active, c.active);
    EXPECT_EQ(clock().timeAssociations().size(), 1U);
    EXPECT_NEAR(clock().networkOffset(), c.trusted ? -120 : 0, c.error);
    EXPECT_EQ(phone.sim.userDefaults->number("kTimeOffsetKey").has_value(), c.trusted);
  }
}

TEST_F(AssociationTest, QuestionsGoOutAsOftenAsTheStratumAsks) {
  struct Case {
    int stratum;
    double least, most;
  };
  for (const auto& [stratum, least, most] : {Case{1, 54, 90}, {2, 26.25, 43.75}, {3, 12, 20}, {0, 12, 20}}) {
    TimeServer server;
    server.stratum = stratum;
    serve(1, {}, server);
    phone.boot();
    questions.clear();
    synchronize();
    const double enabled = phone.sim.dispatcher->now() - 0.95;
    advance(2000);
    ASSERT_GT(questions.size(), 10U);
    EXPECT_GE(questions[0] - enabled, 1.5);
    EXPECT_LT(questions[0] - enabled, 2.5);
    EXPECT_GE(questions[1] - questions[0], 12);  // drawn before the first answer
    EXPECT_LT(questions[1] - questions[0], 20);
    for (std::size_t n = 2; n < questions.size(); ++n) {
      EXPECT_GE(questions[n] - questions[n - 1], least) << stratum;
      EXPECT_LT(questions[n] - questions[n - 1], most) << stratum;
    }
  }
}

// Neither a packet nor a wake-up nor a socket in between.
TEST_F(AssociationTest, InTheBackgroundThereIsNothing) {
  serve(120);
  synchronize();
  advance(60);
  EXPECT_TRUE(fields().active);
  phone.sim.lifeCycle->notify(Event::background);
  phone.sim.lifeCycle->notify(Event::background);
  advance(1);
  const auto asked = questions.size();
  EXPECT_TRUE(phone.sim.dispatcher->waiting().empty());
  EXPECT_EQ(phone.sim.network->sockets(), 0);
  advance(86400);
  EXPECT_EQ(questions.size(), asked);
  EXPECT_FALSE(fields().active);
  EXPECT_TRUE(std::isnan(fields().fifo[0]));
  EXPECT_TRUE(clock().isSynchronized());
  EXPECT_NEAR(clock().networkOffset(), -120, 1e-3);  // the saved one

  phone.sim.lifeCycle->notify(Event::foreground);
  EXPECT_EQ(phone.sim.dispatcher->waiting().size(), 1U);
  phone.sim.lifeCycle->notify(Event::foreground);
  advance(50);
  EXPECT_EQ(phone.sim.dispatcher->waiting().size(), 1U);
  EXPECT_EQ(phone.sim.network->sockets(), 1);
  EXPECT_TRUE(fields().active);

  association()->finish();
  phone.sim.lifeCycle->notify(Event::background);
  phone.sim.lifeCycle->notify(Event::foreground);
  EXPECT_TRUE(phone.sim.dispatcher->waiting().empty());
  association()->enable();
  EXPECT_EQ(phone.sim.dispatcher->waiting().size(), 1U);
}

TEST_F(AssociationTest, AServerThatStepsIsNotTrustedUntilItsNewTimeIsAllThereIs) {
  serve(1);
  synchronize();
  advance(400);
  serve(11);
  advance(100);
  EXPECT_TRUE(fields().active);
  EXPECT_FALSE(fields().trusty);
  EXPECT_NEAR(clock().networkOffset(), -1, 1e-3);  // the last one that was trusted
  advance(400);
  EXPECT_TRUE(fields().trusty);
  EXPECT_NEAR(clock().networkOffset(), -11, 1e-3);
  EXPECT_TRUE(clock().isSynchronized());
}

// A leap second is a step of one second: trusted throughout where the offset is large against it.
TEST_F(AssociationTest, ALeapSecondIsTakenOverWithinEightAnswers) {
  serve(120);
  synchronize();
  advance(400);
  serve(119);
  for (int n = 0; n < 40; ++n) {
    advance(10);
    EXPECT_TRUE(fields().trusty);
    EXPECT_GE(clock().networkOffset(), -120.001);
    EXPECT_LE(clock().networkOffset(), -118.999);
  }
  EXPECT_NEAR(clock().networkOffset(), -119, 1e-3);
}

TEST_F(AssociationTest, TheSecondsBeginAnewIn2036) {
  phone.sim.clock->set(2'085'978'496 - 30);
  serve(-7);  // the server crosses later than the device
  synchronize();
  for (int n = 0; n < 30; ++n) {
    advance(10);
    EXPECT_NEAR(clock().networkOffset(), 7, 1e-3);
  }
}

// The clock goes on while timers stand still. What was on its way counts with half the time that it seems to have
// taken.
TEST_F(AssociationTest, ASuspensionIsForgottenAfterEightAnswers) {
  serve(120, {.there = 0.5, .back = 0.5});
  synchronize();
  while (questions.empty()) advance(0.1);
  phone.sim.clock->set(phone.sim.clock->now() + 60);  // and the server's with it
  serve(120, {.there = 0.5, .back = 0.5});
  advance(5);
  EXPECT_NEAR(clock().networkOffset(), -120, 30.5);
  advance(400);
  EXPECT_NEAR(clock().networkOffset(), -120, 1e-3);
}

TEST_F(AssociationTest, ASignificantTimeChangeVoidsTheSamplesAlone) {
  serve(120);
  synchronize();
  clock().setIsAutoSynchronizedWhenUserChangeLocalTime(false);
  advance(100);
  const auto before = fields();
  phone.sim.lifeCycle->notify(Event::significantTimeChange);
  EXPECT_TRUE(std::isnan(fields().fifo[0]));
  EXPECT_EQ(fields().fifoIndex, 0);
  EXPECT_EQ(fields().offset, before.offset);
  EXPECT_TRUE(fields().active && fields().trusty);
  const auto asked = questions.size();
  advance(100);
  EXPECT_GT(questions.size(), asked);
  EXPECT_TRUE(clock().isSynchronized());
}

TEST_F(AssociationTest, TheDelegateHearsOfEachAnswerToTheLastQuestionOnTheMainQueue) {
  TimeServer server;
  server.stratum = 3;
  server.dispersion = 60;  // not fit, and told all the same
  serve(120, {}, server);
  synchronize();
  int told = 0;
  association()->setDelegate([&](NHNetAssociation& teller) {
    EXPECT_EQ(&teller, association().get());
    ++told;
  });
  advance(100);
  EXPECT_EQ(static_cast<std::size_t>(told), questions.size());
  EXPECT_TRUE(std::isinf(fields().fifo[0]));
  EXPECT_NEAR(fields().dispersion, 60, 0.1);
}

TEST_F(AssociationTest, ItDescribesItself) {
  serve(120);
  synchronize();
  EXPECT_EQ(association()->description(), "↓ [192.0.2.1] stratum=0; offset=inf±0.0mS");
  advance(3);
  EXPECT_EQ(association()->description(), "↑ [192.0.2.1] stratum=2; offset=-120.0±5.0mS");
  EXPECT_THAT(
      association()->prettyPrintTimers(),
      testing::MatchesRegex("prettyPrintTimers\n\ntime server addr: \\[192.0.2.1\\]\n round trip time:  "
                            "(40.00.|39.99.) \\(mS\\)\n    clock offset: -1(20000.00.|19999.99.) \\(mS\\)\n\n"));
}

}  // namespace
}  // namespace zul
