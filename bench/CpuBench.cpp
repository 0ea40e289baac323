#include "Benches.h"
#include "Measurements.h"
#include "UsedFolder.h"

namespace zul::bench {

namespace {

constexpr int kRounds = 3;

}  // namespace

void benchCpu(const std::string& collector, Table& table) {
  const auto row = [&](const char* what, const std::vector<double>& times, double goal) {
    table.add({.what = what, .unit = "ms", .ours = median(times), .goal = Goal::atMost(goal)});
  };
  const UsedFolder thousand(1000, collector);
  row("CPU of an event offline, 1000 queued", thousand.run("spend", kNoCollector).at("milliseconds"), 5);

  const UsedFolder none(0, collector);
  std::vector<double> bursts;
  for (int round = 0; round < kRounds; ++round) {
    bursts.push_back(none.run("deliver", collector, {{"every", "0"}}).at("milliseconds")[0]);
  }
  row("CPU for 1000 events delivered, in a burst", bursts, 120);
  row("CPU for 1000 events delivered, one every 10 ms",
      none.run("deliver", collector, {{"every", "10"}}).at("milliseconds"), 400);
}

}  // namespace zul::bench
