// The same commands against a real collector.

#include <gtest/gtest.h>

#include <thread>

#include "Json.h"
#include "RunningCollector.h"
#include "Simulator.h"

namespace zul::simulator {
namespace {

class LiveTest : public testing::Test {
 protected:
  LiveTest() {
    simulator =
        std::make_unique<Simulator>(SimulatorOptions{.collectorUrl = collector.baseUrl() + "/", .printLog = false},
                                    [this](const auto& value) { shown = value; });
  }

  test::RunningCollector collector;
  std::unique_ptr<Simulator> simulator;
  boost::json::value shown;
};

TEST_F(LiveTest, AVisitArrivesInRealTime) {
  const auto begin = std::chrono::steady_clock::now();
  for (const auto* line : {"launch callback", "advance 5s"}) simulator->run(line);
  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
  for (int n = 0; n < 200 && shown.is_null(); ++n) simulator->run("advance 100ms");
  EXPECT_EQ(json::text(shown.at(0).at("callback")), "\"deferred\"");
  EXPECT_EQ(collector.counts().good, 4U);  // token, fingerprint, look-up, upload
  EXPECT_EQ(collector.counts().bad, 0U);
  EXPECT_THROW(simulator->run("collector upload {}"), CommandError);

  // Offline nothing leaves the device, and a process that ends takes its open requests along.
  for (const auto* line : {"network offline", "call sendTransaction", "advance 10ms", "network wifi",
                           "call sendTransaction", "restart", "show requests"}) {
    simulator->run(line);
  }
  EXPECT_GE(shown.as_array().size(), 3U);
  EXPECT_LE(collector.counts().total, 5U);
}

// Whoever gives the next command late finds what would have happened meanwhile: each answer in time for what needs it.
TEST_F(LiveTest, TimePassesBetweenCommands) {
  collector.setAnswers(R"({"token":[{"delay":300}]})");
  simulator->run("launch");
  std::this_thread::sleep_for(std::chrono::milliseconds(5500));
  simulator->run("call getZULSessionInitYN");
  EXPECT_EQ(shown, true);
  EXPECT_TRUE(collector.waitFor(zul::collector::Endpoint::upload, 1, std::chrono::seconds(5)));
  EXPECT_EQ(collector.requests(zul::collector::Endpoint::upload).at(0)->header("authToken"), "development-token");
}

TEST_F(LiveTest, AFleetsRequestsAllArrive) {
  simulator->run("fleet 25 43200");
  const auto& fleet = shown.as_object();
  EXPECT_GT(json::integer(fleet, "sessions"), 10);
  EXPECT_EQ(json::integer(fleet, "problems"), 0);
  // The last requests are not waited for on the way out of the fleet's processes, but each was sent.
  EXPECT_TRUE(collector.waitFor(static_cast<std::uint64_t>(json::integer(fleet, "requests")), std::chrono::seconds(20)))
      << collector.counts().total << " of " << json::integer(fleet, "requests");
  EXPECT_EQ(collector.counts().bad, 0U);
  EXPECT_EQ(collector.counts().total, static_cast<std::uint64_t>(json::integer(fleet, "requests")));
}

}  // namespace
}  // namespace zul::simulator
