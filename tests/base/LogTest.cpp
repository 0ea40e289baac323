#include <gmock/gmock.h>

#include <stdexcept>

#include "Log.h"
#include "SimulatedPlatform.h"

namespace zul {
namespace {

struct Speaker {
  const Log& log;
  void speak() const {
    [this] { log.info("hello %d", ZUL_HERE); }();
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

TEST(Log, LinesBelowTheLevelAreLeftOut) {
  platform::SimulatedPlatform sim;
  for (const auto& [level, lines] :
       {std::pair(LogLevel::debug, 3U), {LogLevel::info, 2U}, {LogLevel::error, 1U}, {LogLevel::none, 0U}}) {
    const Log log(sim.clock, sim.log, level);
    sim.log->lines.clear();
    log.debug("a", ZUL_HERE);
    log.info("b", ZUL_HERE);
    log.error("c", ZUL_HERE);
    EXPECT_EQ(sim.log->lines.size(), lines);
  }
}

TEST(Log, GuardTurnsExceptionsIntoLines) {
  platform::SimulatedPlatform sim;
  const Log log(sim.clock, sim.log);
  log.guard([] { throw std::runtime_error("broken"); }, ZUL_HERE);
  log.guard([] { throw 7; }, ZUL_HERE);
  EXPECT_EQ(sim.log->count("QuorLog / E"), 2U);
  EXPECT_EQ(sim.log->count("broken"), 1U);
}

TEST(Log, TheMethodIsTheOneThatAFunctionTextStandsIn) {
  const std::vector<std::pair<std::string_view, std::string_view>> cases = {
      {"void zul::Tracker::initEnd(int)", "zul::Tracker::initEnd"},
      {"zul::Tracker::initEnd(int)::<lambda(bool)>::<lambda()>", "zul::Tracker::initEnd"},
      {"auto zul::Tracker::initEnd(int)::(anonymous class)::operator()() const", "zul::Tracker::initEnd"},
      {"std::map<int, const char*>& zul::Box<T>::get(std::function<void(int)>) const [with T = int]",
       "zul::Box<T>::get"},
      {"const char *zul::(anonymous namespace)::name(int)", "zul::(anonymous namespace)::name"},
      {"void zul::{anonymous}::name(int)", "zul::{anonymous}::name"},
      {"bool zul::Order::operator()(int, int) const", "zul::Order::operator()"},
      {"bool zul::Order::operator<(const zul::Order&) const", "zul::Order::operator<"},
      {"zul::Order::operator bool() const", "zul::Order::operator bool"},
      {"zul::Tracker::~Tracker()", "zul::Tracker::~Tracker"},
      {"initEnd", "initEnd"},
      {"", ""}};
  for (const auto& [function, method] : cases) EXPECT_EQ(methodName(function), method) << function;
}

}  // namespace
}  // namespace zul
