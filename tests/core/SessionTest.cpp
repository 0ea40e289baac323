#include <gtest/gtest.h>

#include <cmath>

#include "Runtime.h"
#include "SimulatedPhone.h"
#include "Tracker.h"

namespace zul {
namespace {

class SessionTest : public testing::Test {
 protected:
  void expireAt(const std::string& seconds) {
    phone.store("Behavior", seconds.empty() ? "{}" : "{\"sessionExpireSec\":" + seconds + "}");
    phone.boot();
  }
  test::SimulatedPhone phone;
};

TEST_F(SessionTest, ASessionIsNewOnlyAfterItsLastSecond) {
  const auto now = std::to_string(static_cast<std::int64_t>(test::SimulatedPhone::kStart));
  const std::vector<std::pair<std::string, bool>> cases = {{"", true},   {"0", true},         {"0.0", true},
                                                           {now, false}, {now + ".5", false}, {"\"soon\"", true}};
  for (const auto& [expiry, isNew] : cases) {
    expireAt(expiry);
    EXPECT_EQ(phone.tracker().checkNewSession(), isNew) << expiry;
    EXPECT_EQ(phone.tracker().newSessionYN(), isNew);
  }
  expireAt(now);
  phone.sim.clock->set(test::SimulatedPhone::kStart + 0.001);
  EXPECT_TRUE(phone.tracker().checkNewSession());
}

TEST_F(SessionTest, BeforeInitializationAnEventBuildsButNeitherBeginsNorSends) {
  phone.boot();
  EXPECT_TRUE(phone.tracker().sendTransaction());
  EXPECT_TRUE(phone.tracker().sendTransactionByPage());
  phone.sim.dispatcher->run();
  EXPECT_FALSE(phone.document("Behavior").contains("lifeCriteriaVisit"));
  EXPECT_TRUE(phone.uploads().empty());
  EXPECT_EQ(phone.queuedRows(), 0U);
}

TEST_F(SessionTest, APagePayloadCarriesItsPairs) {
  auto& tracker = phone.startUp();
  tracker.setTempPairingData(Dictionary::fromJson(R"({"page":"cart","mbid":"paired"})"));
  tracker.sendTransactionByPage();
  tracker.sendTransaction();
  phone.sim.dispatcher->run();
  const auto page = test::session(phone.uploads().at(1)[0]);
  EXPECT_EQ(page.at("page"), "cart");
  EXPECT_EQ(page.at("mbid"), "paired");
  EXPECT_FALSE(test::session(phone.uploads().at(2)[0]).contains("page"));
}

TEST_F(SessionTest, TheTimerRecordsTheOffsetOnceTheNetworkClockIsThere) {
  phone.setTimeServers({{.address = "192.0.2.1", .ahead = 120}});
  phone.boot();
  phone.initialize();
  phone.sim.dispatcher->advance(1.5);
  EXPECT_FALSE(phone.tracker().NTPtimeGetDone());
  phone.sim.dispatcher->advance(1.5);  // the first answer came, and the next second
  EXPECT_TRUE(phone.tracker().NTPtimeGetDone());
  const auto install = phone.document("Install");
  const double deviceTime = (install.at("installTime").as_double() - install.at("timeOffset").as_double()) / 1000;
  EXPECT_NEAR(install.at("timeOffset").as_double(), 120'000, 0.1);
  EXPECT_NEAR(deviceTime, std::round(deviceTime), 0.001);
  EXPECT_NEAR(deviceTime, test::SimulatedPhone::kStart + 2.5, 0.501);
  phone.sim.dispatcher->advance(10);
  EXPECT_EQ(phone.sim.log->count("time sync done"), 1U);
  EXPECT_NEAR(static_cast<double>(test::session(phone.uploads().at(0)[0]).at("vtTz").as_int64()),
              (test::SimulatedPhone::kStart + 5) * 1000 + 120'000, 1.1);

  // A later run with a synchronized clock changes the offset alone.
  phone.setTimeServers({{.address = "192.0.2.1", .ahead = -0.25}});
  phone.boot();
  phone.initialize();
  phone.sim.dispatcher->advance(4);
  EXPECT_EQ(phone.document("Install").at("installTime"), install.at("installTime"));
  EXPECT_NEAR(phone.document("Install").at("timeOffset").as_double(), -250, 0.1);
}

}  // namespace
}  // namespace zul
