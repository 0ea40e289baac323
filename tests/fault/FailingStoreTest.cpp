#include <gtest/gtest.h>

#include <set>

#include "Json.h"
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
  void launchWithoutStore() {
    setFailing(true);
    phone.boot();
    phone.initialize();
    phone.sim.dispatcher->advance(6);
  }
  void event(const std::string& name) {
    phone.event(name);
    phone.sim.dispatcher->advance(1);
  }

  SimulatedPhone phone;
};

// For a while, as long as there are too many open files or the like, the store answers nothing. What it holds is
// still there afterwards, and so must be what was reported meanwhile.
TEST_F(FailingStoreTest, CostsNothingOfWhatIsStored) {
  phone.startUp();
  phone.refuseUploads({R"({"code":"ERR9"})"});
  event("a");
  const auto uuid = phone.document("Identify").at("uuid");
  const auto installTime = phone.document("Install").at("installTime");

  launchWithoutStore();
  event("b");
  setFailing(false);
  event("c");
  EXPECT_EQ(phone.document("Identify").at("uuid"), uuid);
  EXPECT_EQ(phone.document("Install").at("installTime"), installTime);

  phone.sim.http->clearRequests();
  phone.acceptUploads();
  phone.startUp();
  event("d");
  std::set<std::string> arrived;
  for (const auto& list : phone.uploads()) {
    for (const auto& payload : list) arrived.insert(json::string(session(payload), "event").value_or(""));
  }
  EXPECT_EQ(json::string(phone.document("Json"), "QueueJsonList"), "");
  for (const auto* name : {"a", "b", "c", "d"}) EXPECT_TRUE(arrived.count(name)) << name;
}

// A process can live long without a store. Payloads that the collector has leave nothing behind.
TEST_F(FailingStoreTest, WhatWasDeliveredMeanwhileIsForgotten) {
  launchWithoutStore();
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
