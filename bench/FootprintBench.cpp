#include <filesystem>

#include "Benches.h"
#include "Seed.h"

namespace zul::bench {

namespace {

constexpr int kRuns = 3;
constexpr double kMegabytes = 20;
constexpr double kThreads = 4;
constexpr double kLibraryKilobytes = 700;

// The median of each figure over a few fresh processes.
std::map<std::string, double> sample(int queued, const std::string& collector) {
  std::map<std::string, std::vector<double>> samples;
  for (int run = 0; run < kRuns; ++run) {
    const TemporaryFolder folder;
    Seed::writeBundle(folder.path());
    Seed::writeStore(folder.path() + "/data", queued);
    const auto figures =
        runHost("footprint", {{"data", folder.path() + "/data"}, {"bundle", folder.path()}, {"collector", collector}});
    for (const auto& [name, values] : figures) samples[name].push_back(values[0]);
  }
  std::map<std::string, double> medians;
  for (const auto& [name, values] : samples) medians[name] = median(values);
  return medians;
}

double strippedKilobytes() {
  const TemporaryFolder folder;
  const auto copy = folder.path() + "/stripped";
  run({"strip", "-o", copy, besideProgram("../lib/libzulsession.so")});
  return static_cast<double>(std::filesystem::file_size(copy)) / 1024;
}

}  // namespace

void benchFootprint(const Collector& collector, Table& table) {
  const auto nothing = runHost("idle", {});
  const auto memory = [&](const char* what, double kilobytes) {
    table.add({what, "MB", kilobytes / 1024, "the process that never calls the library",
               nothing.at("idleMemory")[0] / 1024, Goal::atMost(kMegabytes)});
  };
  const auto threads = [&](const char* what, double count) {
    table.add({what, "", count, "the process that never calls the library", nothing.at("idleThreads")[0],
               Goal::atMost(kThreads)});
  };
  const auto fresh = sample(0, collector.url());
  memory("memory after the start", fresh.at("startMemory"));
  memory("memory after an accepted upload", fresh.at("uploadMemory"));
  threads("threads after the start", fresh.at("startThreads"));
  threads("threads after an accepted upload", fresh.at("uploadThreads"));

  const auto queued = sample(1000, kNoCollector);
  memory("memory with 1000 queued", queued.at("startMemory"));
  memory("memory with 1000 queued, after their upload failed", queued.at("uploadMemory"));

  table.add({.what = "the library's file, stripped",
             .unit = "KB",
             .ours = strippedKilobytes(),
             .rawWhat = "",
             .raw = std::nullopt,
             .goal = Goal::atMost(kLibraryKilobytes)});
}

}  // namespace zul::bench
