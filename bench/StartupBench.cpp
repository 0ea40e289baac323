#include <filesystem>

#include "Benches.h"
#include "Seed.h"

namespace zul::bench {

namespace {

constexpr int kRounds = 25;

struct Samples {
  std::vector<double> entry;
  std::vector<double> withPlatform;
  std::vector<double> syncs;
  std::vector<double> raw;
};

// One start with the library and one without, each in a process and on files of its own.
void sample(bool stored, Samples& samples) {
  const TemporaryFolder folder;
  const auto prepared = [&](const char* name) {
    const auto data = folder.path() + "/" + name;
    if (stored) {
      Seed::writeStore(data, 0);
    } else {
      std::filesystem::create_directory(data);
    }
    return data;
  };
  Seed::writeBundle(folder.path());
  const auto ours =
      runHost("start", {{"data", prepared("ours")}, {"bundle", folder.path()}, {"collector", kNoCollector}});
  std::map<std::string, std::string> rawOptions = {{"data", prepared("raw")}};
  if (stored) rawOptions["stored"] = "";
  const auto raw = runHost("start-raw", rawOptions);

  samples.entry.push_back(ours.at("entry")[0]);
  samples.withPlatform.push_back(ours.at("entry")[0] + ours.at("platform")[0]);
  samples.syncs.push_back(ours.at("syncs")[0]);
  samples.raw.push_back(raw.at("entry")[0]);
}

void tabulate(const std::string& state, const std::string& rawWhat, const Samples& samples, Table& table) {
  const double raw = median(samples.raw);
  table.add({"start-up, " + state, "us", median(samples.entry), rawWhat, raw, Goal::ratioAtMost(2)});
  table.add({"start-up, " + state + ", with the platform", "us", median(samples.withPlatform), rawWhat, raw});
  table.add({.what = "start-up, " + state + ", fsyncs on the caller's thread",
             .unit = "",
             .ours = percentile(samples.syncs, 1),
             .rawWhat = "",
             .raw = std::nullopt,
             .goal = Goal::atMost(0)});
}

}  // namespace

void benchStartup(Table& table) {
  Samples empty;
  Samples stored;
  for (int round = 0; round < kRounds; ++round) {
    sample(false, empty);
    sample(true, stored);
  }
  tabulate("empty store", "creating the file, one row", empty, table);
  tabulate("stored state", "opening the file, reading it", stored, table);
}

}  // namespace zul::bench
