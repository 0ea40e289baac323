#include <gmock/gmock.h>

#include <stdexcept>

#include "Log.h"
#include "SimulatedPlatform.h"

namespace zul {
namespace {

struct Speaker {
  const Log& log;
  void speak() const {
    [this] { log.info("hello %d"); }();
  }
};

TEST(Log, LineHasTimeTagMethodAndMessage) {
  platform::SimulatedPlatform sim;
  sim.clock->set(1706695200);
  sim.clock->setZone("+09:00");
  const Log log(sim.clock, sim.log);
  Speaker{log}.speak();
  ASSERT_EQ(sim.log->lines.size(), 1U);
  EXPECT_THAT(sim.log->lines[0], testing::MatchesRegex("2024-01-31 19:00:00 \\| QuorLog / I \\| .*Speaker::speak\\( "
                                                       "[0-9]+ \\) \\| hello %d\n"));
}

TEST(Log, GuardTurnsExceptionsIntoLines) {
  platform::SimulatedPlatform sim;
  const Log log(sim.clock, sim.log);
  log.guard([] { throw std::runtime_error("broken"); });
  log.guard([] { throw 7; });
  EXPECT_EQ(sim.log->count("QuorLog / E"), 2U);
  EXPECT_EQ(sim.log->count("broken"), 1U);
}

}  // namespace
}  // namespace zul
