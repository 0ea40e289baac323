#include <gtest/gtest.h>

#include "Events.h"
#include "SimulatedPhone.h"
#include "Tracker.h"

namespace zul::test {
namespace {

class FailingStoreTest : public testing::Test {
 protected:
  void setFailing(bool failing) {
    phone.sim.store->setFailing(failing);
    phone.sim.store->setUnreadable(failing);
  }
  void event(const std::string& name) {
    phone.event(name);
    phone.sim.dispatcher->advance(1);
  }

  SimulatedPhone phone;
};

// For a while, as long as there are too many open files or the like, the store answers nothing. What it holds is
// still there afterwards; until then nobody knows who this is and since when, and nothing is told of it.
TEST_F(FailingStoreTest, AStartThatCannotReadWaits) {
  phone.startUp();
  phone.refuseUploads({R"({"code":"ERR9"})"});
  event("a");
  const auto before = phone.documents();
  phone.acceptUploads();
  phone.sim.http->clearRequests();

  setFailing(true);
  phone.boot();
  phone.tracker().checkDebugMode(true);
  phone.initialize();
  phone.initialize();
  phone.sim.dispatcher->advance(6);
  event("b");
  event("c");
  EXPECT_TRUE(phone.tracker().getSessionData().empty());
  EXPECT_EQ(phone.sim.http->requests().size(), 0U);
  setFailing(false);
  EXPECT_EQ(phone.documents(), before);
  phone.sim.dispatcher->advance(7);
  event("d");

  const auto after = phone.documents();
  EXPECT_EQ(after.at("Identify").at("uuid"), before.at("Identify").at("uuid"));
  EXPECT_EQ(after.at("Install").at("installTime"), before.at("Install").at("installTime"));
  EXPECT_EQ(after.at("Behavior").at("lifeCriteriaVisit"), 1) << "the session before goes on";
  EXPECT_EQ(after.at("Identify").at("buildMode"), true);
  std::string arrived;
  for (const auto& list : phone.uploads()) arrived += eventNames(list);
  EXPECT_EQ(arrived, "abcd");
}

// Where the start-up that was waited for reports nothing, neither does what waited; the log says how much that is.
TEST_F(FailingStoreTest, WhatWaitedInVainIsTold) {
  const auto waitInVain = [&](const std::string& why) {
    setFailing(true);
    phone.boot();
    phone.initialize();
    event("a");
    event("b");
    setFailing(false);
    phone.sim.dispatcher->advance(7);
    event("c");
    EXPECT_EQ(phone.sim.log->count("2 events are lost that waited for the start-up: " + why), 1U) << why;
  };
  phone.sim.http->setOnline(false);
  waitInVain("it has no access token");
  phone.sim.http->setOnline(true);
  phone.configure(R"({"useMode":3,"serviceNumber":1001})");
  waitInVain("\"useMode\" 3");
  phone.configure(R"({"useMode":1,"serviceNumber":1001})");
  phone.boot();
  EXPECT_EQ(phone.sim.log->count("events are lost"), 2U) << "and no others";
}

// A process can live long without a store. Payloads that the collector has leave nothing behind.
TEST_F(FailingStoreTest, WhatWasDeliveredMeanwhileIsForgotten) {
  phone.startUp();
  setFailing(true);
  for (int n = 0; n < 100; ++n) event("a");
  EXPECT_LT(phone.sim.store->latestWrites(), 30U);
  phone.refuseUploads({R"({"code":"ERR9"})"});
  event("b");
  event("c");
  setFailing(false);
  event("d");
  EXPECT_EQ(phone.queuedRows(), 3U);
  phone.sim.http->clearRequests();
  phone.acceptUploads();
  phone.startUp();
  event("e");
  EXPECT_EQ(phone.uploads().back().size(), 4U);
}

}  // namespace
}  // namespace zul::test
