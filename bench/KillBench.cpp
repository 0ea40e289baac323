#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <random>
#include <set>
#include <sstream>
#include <stdexcept>

#include "Benches.h"
#include "DevCollector.h"
#include "Json.h"
#include "Mutex.h"
#include "Patience.h"
#include "Seed.h"
#include "UsedFolder.h"

namespace zul::bench {

namespace {

using namespace std::chrono_literals;
using Numbers = std::set<int>;

constexpr int kKills = 100;
constexpr int kMostBeforeKill = 30;
constexpr int kBurst = 100;  // the kill comes before its end, unless the machine is busy elsewhere
constexpr auto kPatience = 60s;

/// The development collector, which remembers the numbers of the events that came in.
class CountingCollector {
 public:
  CountingCollector() { collector_.start(); }

  std::string url() const { return collector_.baseUrl(); }
  void stop() { collector_.stop(); }
  void start() { collector_.start(); }

  Numbers missing(const Numbers& reported) {
    const MutexLock lock(mutex_);
    Numbers missing;
    std::set_difference(reported.begin(), reported.end(), arrived_.begin(), arrived_.end(),
                        std::inserter(missing, missing.end()));
    return missing;
  }

 private:
  void note(const collector::RecordedRequest& request) {
    if (!request.good() || request.endpoint != collector::Endpoint::upload) return;
    const auto body = request.body();
    const MutexLock lock(mutex_);
    for (const auto& payload : body.as_array()) {
      const auto number = json::string(payload.at("SESSION").as_object(), "clientUserAgent");
      if (number) arrived_.insert(std::stoi(*number));
    }
  }

  Mutex mutex_;
  Numbers arrived_ ZUL_GUARDED_BY(mutex_);
  collector::DevCollector collector_{{.onRecorded = [this](const auto& request) { note(request); }}};
};

test::Child report(const UsedFolder& folder, const std::string& collector, int first, int count) {
  return folder.start("report", collector, {{"first", std::to_string(first)}, {"count", std::to_string(count)}});
}

void addReported(const test::Child& host, Numbers& reported) {
  std::istringstream lines(host.output());
  reported.insert(std::istream_iterator<int>(lines), {});
}

struct Outcome {
  std::size_t reported = 0;
  std::size_t lost = 0;
};

Outcome killRepeatedly(bool online, const std::string& taker) {
  const UsedFolder folder(0, taker);
  CountingCollector collector;
  if (!online) collector.stop();
  std::mt19937 random(20240131);
  Numbers reported;
  for (int round = 0; round < kKills; ++round) {
    const int first = round * kBurst;
    const auto last = std::to_string(first + static_cast<int>(random() % kMostBeforeKill)) + "\n";
    auto host = report(folder, collector.url(), first, kBurst);
    host.readUpTo(last, kPatience);
    if (host.output().find(last) == std::string::npos) throw std::runtime_error("no events before the kill");
    host.kill();
    host.readUpTo({}, kPatience);
    addReported(host, reported);
  }
  // A last process, left in peace.
  if (!online) collector.start();
  auto host = report(folder, collector.url(), kKills * kBurst, 1);
  host.readUpTo("\n", kPatience);
  addReported(host, reported);
  test::eventually([&] { return collector.missing(reported).empty(); }, kPatience);
  return {reported.size(), collector.missing(reported).size()};
}

}  // namespace

void benchKills(const std::string& collector, Table& table) {
  for (const bool online : {true, false}) {
    const auto outcome = killRepeatedly(online, collector);
    table.add({fmt::format("lost at kill -9, {} kills within bursts, collector {}", kKills, online ? "up" : "down"), "",
               static_cast<double>(outcome.lost), "events reported", static_cast<double>(outcome.reported),
               Goal::atMost(0)});
  }
}

}  // namespace zul::bench
