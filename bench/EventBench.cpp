#include <fmt/format.h>

#include "Benches.h"
#include "Json.h"
#include "Seed.h"

namespace zul::bench {

namespace {

constexpr double kMedianGoal = 60;       // microseconds
constexpr double kPercentileGoal = 500;  // microseconds
constexpr int kBurst = 200;

struct Case {
  int queued;
  int paced;  // each waits for its upload, which takes long behind a long queue
};
constexpr Case kCases[] = {{0, 300}, {100, 200}, {1000, 60}, {10000, 20}};

constexpr const char* kRawWhat = "one SQLite commit, the log lines";

void tabulate(const std::string& what, const std::vector<double>& times, const std::vector<double>& raw, Table& table) {
  table.add({what + ", median", "us", median(times), kRawWhat, median(raw), Goal::atMost(kMedianGoal)});
  table.add({what + ", 99th percentile", "us", percentile(times, 0.99), kRawWhat, percentile(raw, 0.99),
             Goal::atMost(kPercentileGoal)});
}

void benchSink(const std::string& sink, bool file, const Collector& collector, Table& table) {
  double timeWithNone = 0;
  double slowestWithNone = 0;
  for (const auto& [queued, paced] : kCases) {
    const TemporaryFolder folder;
    Seed::writeBundle(folder.path());
    Seed::writeStore(folder.path() + "/data", queued);
    // The queue stays as long as nobody takes it.
    const auto figures = runHost("send",
                                 {{"data", folder.path() + "/data"},
                                  {"bundle", folder.path()},
                                  {"collector", queued == 0 ? collector.url() : kNoCollector},
                                  {"paced", std::to_string(paced)},
                                  {"burst", std::to_string(kBurst)},
                                  {"payload", std::to_string(Seed::payloads(1)[0].size())}},
                                 file ? folder.path() + "/log" : "/dev/null");
    const auto what = fmt::format("event, log {}, {} queued", sink, queued);
    tabulate(what, figures.at("paced"), figures.at("raw"), table);
    tabulate(what + ", in a burst", figures.at("burst"), figures.at("raw"), table);

    const double time = median(figures.at("paced"));
    const double slowest = percentile(figures.at("paced"), 0.99);
    if (queued == 0) {
      timeWithNone = time;
      slowestWithNone = slowest;
    } else {
      table.add({what + ", median to none queued", "us", time, "the same with none queued", timeWithNone,
                 Goal::ratioAtMost(2)});
      table.add({what + ", 99th percentile to none queued", "us", slowest, "the same with none queued", slowestWithNone,
                 Goal::ratioAtMost(3)});
    }
    table.add({.what = what + ", fsyncs on the caller's thread",
               .unit = "",
               .ours = figures.at("syncs")[0],
               .rawWhat = "",
               .raw = std::nullopt,
               .goal = Goal::atMost(0)});
  }
}

}  // namespace

void benchEvents(const Collector& collector, Table& table) {
  benchSink("nowhere", false, collector, table);
  benchSink("to a file", true, collector, table);

  const TemporaryFolder folder;
  Seed::writeBundle(folder.path());
  Seed::writeStore(folder.path() + "/data", 0);
  const auto figures = runHost(
      "commits", {{"data", folder.path() + "/data"}, {"bundle", folder.path()}, {"collector", collector.url()}});
  table.add({.what = "commits of an accepted event",
             .unit = "",
             .ours = figures.at("commits")[0],
             .rawWhat = "",
             .raw = std::nullopt,
             .goal = Goal::atMost(3)});
}

}  // namespace zul::bench
