#include <fmt/format.h>

#include <algorithm>

#include "Benches.h"
#include "Measurements.h"
#include "Seed.h"
#include "UsedFolder.h"

namespace zul::bench {

namespace {

using Log = UsedFolder::Log;

// Several processes a case, or what they report would soon outnumber what was queued.
constexpr int kProcesses = 5;
constexpr int kEvents = 200;  // a process, one after the other in a rhythm, and as many in a burst
constexpr int kSlowEvents = 20;
constexpr const char* kRawWhat = "one SQLite commit of the same bytes, as often";

/// All samples of one case.
class Samples {
 public:
  Samples(const UsedFolder& folder, const std::string& collector, Log log, int milliseconds, int paced, int burst) {
    for (int n = 0; n < kProcesses; ++n) {
      for (const auto& [name, values] : folder.run("send", collector,
                                                   {{"every", std::to_string(milliseconds)},
                                                    {"paced", std::to_string(paced)},
                                                    {"burst", std::to_string(burst)},
                                                    {"payload", std::to_string(Seed::payloads(1)[0].size())}},
                                                   log)) {
        auto& all = figures_[name];
        all.insert(all.end(), values.begin(), values.end());
      }
    }
  }

  const std::vector<double>& operator[](const std::string& name) const { return figures_.at(name); }

 private:
  Figures figures_;
};

void addRow(const std::string& what, const char* which, double share, const Samples& samples, const std::string& name,
            double goal, Table& table) {
  table.add({what + ", " + which, "us", percentile(samples[name], share), kRawWhat,
             percentile(samples[name + "-raw"], share), Goal::atMost(goal)});
}

void tabulatePaced(const std::string& what, const Samples& samples, Table& table) {
  addRow(what, "median", 0.5, samples, "paced", 40, table);
  addRow(what, "99th percentile", 0.99, samples, "paced", 120, table);
  addRow(what, "slowest", 1, samples, "paced", 5000, table);
}

void tabulateBurst(const std::string& what, const Samples& samples, Table& table) {
  addRow(what, "median", 0.5, samples, "burst", 8, table);
  addRow(what, "99th percentile", 0.99, samples, "burst", 40, table);
}

std::string withCommas(int queued) {
  return queued < 10'000 ? std::to_string(queued) : fmt::format("{},{:03}", queued / 1000, queued % 1000);
}

double loggedBytes(const UsedFolder& folder) {
  return folder.run("log", kNoCollector, {}, Log::file).at("bytes")[0];
}

}  // namespace

void benchEvents(const std::string& collector, Table& table) {
  double syncs = 0;
  const auto bench = [&](const std::string& state, const UsedFolder& folder, const std::string& url, Log log) {
    const Samples samples(folder, url, log, 2, kEvents, kEvents);
    tabulatePaced("event every 2 ms, " + state, samples, table);
    tabulateBurst("event in a burst, " + state, samples, table);
    syncs += *std::max_element(samples["syncs"].begin(), samples["syncs"].end());
    return median(samples["paced"]);
  };

  const UsedFolder none(0, collector);
  const UsedFolder thousand(1000, collector);
  bench("online, 0 queued", none, collector, Log::nowhere);
  bench("offline, 0 queued, log to a file", none, kNoCollector, Log::file);
  const double withNone = bench("offline, 0 queued", none, kNoCollector, Log::nowhere);
  const auto benchQueued = [&](int queued, const UsedFolder& folder) {
    const auto state = fmt::format("offline, {} queued", withCommas(queued));
    const double time = bench(state, folder, kNoCollector, Log::nowhere);
    table.add({fmt::format("event every 2 ms, {}, to none queued", state), "us", time, "the median with none queued",
               withNone, Goal::ratioAtMost(1.5)});
  };
  benchQueued(1000, thousand);
  benchQueued(10'000, UsedFolder(10'000, collector));

  const Samples slow(thousand, kNoCollector, Log::nowhere, 50, kSlowEvents, 0);
  tabulatePaced(fmt::format("event every 50 ms, offline, 1000 queued ({} samples)", kProcesses * kSlowEvents), slow,
                table);
  syncs += *std::max_element(slow["syncs"].begin(), slow["syncs"].end());
  table.add(
      {.what = "fsyncs on the caller's thread, all these events", .unit = "", .ours = syncs, .goal = Goal::atMost(0)});

  table.add({.what = "log of an event, offline, 0 queued", .unit = "bytes", .ours = loggedBytes(none)});
  table.add({.what = "log of an event, offline, 1000 queued", .unit = "bytes", .ours = loggedBytes(thousand)});
  table.add({.what = "commits of an accepted event",
             .unit = "",
             .ours = none.run("commits", collector).at("commits")[0],
             .goal = Goal::atMost(3)});
}

}  // namespace zul::bench
