#include <filesystem>

#include "Benches.h"
#include "Measurements.h"
#include "Seed.h"
#include "UsedFolder.h"

namespace zul::bench {

namespace {

constexpr int kRounds = 25;
constexpr int kRoundsOfMany = 7;
constexpr int kMany = 50'000;

struct Samples {
  std::vector<double> entry;
  std::vector<double> withPlatform;
  std::vector<double> syncs;
  std::vector<double> raw;

  // One start with the library and one without, each in a process and on files of its own.
  void add(const Figures& ours, const Figures& alone) {
    entry.push_back(ours.at("entry")[0]);
    withPlatform.push_back(ours.at("entry")[0] + ours.at("platform")[0]);
    syncs.push_back(ours.at("syncs")[0]);
    raw.push_back(alone.at("entry")[0]);
  }
};

Figures startEmpty(const std::string& role) {
  const TemporaryFolder folder;
  Seed::writeBundle(folder.path());
  std::filesystem::create_directory(folder.path("data"));
  return runHost(role, {{"data", folder.path("data")}, {"bundle", folder.path()}, {"collector", kNoCollector}});
}

void sampleUsed(const UsedFolder& folder, Samples& samples) {
  const auto ours = folder.run("start", kNoCollector);
  samples.add(ours, folder.run("start-raw", kNoCollector, {{"stored", ""}}));
}

void tabulate(const std::string& state, const std::string& rawWhat, const Samples& samples, double goal, Table& table) {
  const double raw = median(samples.raw);
  table.add({"start-up, " + state, "us", median(samples.entry), rawWhat, raw, Goal::ratioAtMost(goal)});
  table.add({"start-up, " + state + ", with the platform", "us", median(samples.withPlatform), rawWhat, raw});
  table.add({.what = "start-up, " + state + ", fsyncs on the caller's thread",
             .unit = "",
             .ours = percentile(samples.syncs, 1),
             .goal = Goal::atMost(0)});
}

}  // namespace

void benchStartup(const std::string& collector, Table& table) {
  Samples empty;
  Samples stored;
  const UsedFolder used(0, collector);
  for (int round = 0; round < kRounds; ++round) {
    const auto ours = startEmpty("start");
    empty.add(ours, startEmpty("start-raw"));
    sampleUsed(used, stored);
  }
  tabulate("empty store", "creating the file, one row", empty, 2, table);
  const char* const opening = "opening the file, reading it";
  tabulate("stored state", opening, stored, 1.5, table);

  Samples many;
  const UsedFolder full(kMany, collector);
  for (int round = 0; round < kRoundsOfMany; ++round) sampleUsed(full, many);
  table.add({"start-up, 50,000 queued", "us", median(many.entry), opening, median(many.raw), Goal::ratioAtMost(1.5)});
}

}  // namespace zul::bench
