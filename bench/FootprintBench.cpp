#include <filesystem>

#include "Benches.h"
#include "Measurements.h"
#include "UsedFolder.h"

namespace zul::bench {

namespace {

constexpr int kRuns = 3;
constexpr double kThreads = 4;
constexpr double kLibraryKilobytes = 700;

// The median of each figure over a few fresh processes.
std::map<std::string, double> sample(int queued, const std::string& collector, const std::string& taker, int runs) {
  std::map<std::string, std::vector<double>> samples;
  const UsedFolder folder(queued, taker);
  for (int run = 0; run < runs; ++run) {
    for (const auto& [name, values] : folder.run("footprint", collector)) samples[name].push_back(values[0]);
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

void benchFootprint(const std::string& collector, Table& table) {
  const auto nothing = runHost("idle", {});
  const auto memory = [&](const char* what, double kilobytes, double goal) {
    table.add({what, "MB", kilobytes / 1024, "the process that never calls the library",
               nothing.at("idle-memory")[0] / 1024, Goal::atMost(goal)});
  };
  const auto threads = [&](const char* what, double count) {
    table.add({what, "", count, "the process that never calls the library", nothing.at("idle-threads")[0],
               Goal::atMost(kThreads)});
  };
  const auto fresh = sample(0, collector, collector, kRuns);
  memory("memory after the start", fresh.at("start-memory"), 16);
  memory("memory after an accepted upload", fresh.at("upload-memory"), 16);
  threads("threads after the start", fresh.at("start-threads"));
  threads("threads after an accepted upload", fresh.at("upload-threads"));

  const auto thousand = sample(1000, kNoCollector, collector, kRuns);
  memory("memory after the start, offline, 1000 queued", thousand.at("start-memory"), 16);
  memory("peak, after a failed upload, 1000 queued", thousand.at("upload-peak"), 20);
  const auto many = sample(50'000, kNoCollector, collector, 1);
  memory("memory after the start, offline, 50,000 queued", many.at("start-memory"), 20);
  memory("peak, after a failed upload, 50,000 queued", many.at("upload-peak"), 32);

  table.add({.what = "the library's file, stripped",
             .unit = "KB",
             .ours = strippedKilobytes(),
             .goal = Goal::atMost(kLibraryKilobytes)});
}

}  // namespace zul::bench
