#include "Roles.h"

#include <unistd.h>
#include <zul/Platform.h>
#include <zul/ZULSession.h>

#include <chrono>
#include <fstream>
#include <functional>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string_view>
#include <thread>
#include <vector>

#include "CountingStore.h"
#include "HurriedDispatcher.h"
#include "Patience.h"
#include "RawSqlite.h"
#include "SyncCounter.h"
#include "WatchedHttp.h"

namespace zul::bench {

namespace {

using namespace std::chrono_literals;
using SteadyClock = std::chrono::steady_clock;
using test::CountingStore;
using test::HurriedDispatcher;
using test::syncsOfThisThread;
using test::WatchedHttp;

constexpr auto kPatience = 30s;
constexpr auto kLongestBuild = 400ms;  // between an answer and the next upload, of which the body is being made

double microseconds(SteadyClock::duration duration) {
  return std::chrono::duration<double, std::micro>(duration).count();
}

double timed(const std::function<void()>& work) {
  const auto begin = SteadyClock::now();
  work();
  return microseconds(SteadyClock::now() - begin);
}

void report(std::string_view name, const std::vector<double>& numbers) {
  std::cout << name;
  for (const double number : numbers) std::cout << ' ' << number;
  std::cout << '\n';
}

void waitFor(const char* what, const std::function<bool()>& reached) {
  if (!test::eventually(reached, kPatience, 200us)) throw std::runtime_error(std::string("no ") + what);
}

std::string at(const Options& options, const std::string& name) {
  const auto found = options.find(name);
  if (found == options.end()) throw std::runtime_error("without " + name);
  return found->second;
}

Platform platformOf(const Options& options) {
  LinuxOptions linux;
  linux.applicationId = "com.example.bench";
  linux.bundleFolder = at(options, "bundle");
  linux.dataFolder = at(options, "data");
  auto platform = linuxPlatform(linux);
  const auto collector = at(options, "collector");
  platform.deployment.collectorBaseUrl = collector;
  platform.deployment.trackingHost = collector;
  platform.deployment.searchAdsBaseUrl = collector;
  platform.deployment.appStoreLookupHost = collector.substr(collector.find("//") + 2);
  platform.deployment.ntpHosts = {"127.0.0.1"};
  return platform;
}

// A start-up completes at once instead of after seconds; what else waits, the store for one, waits as ever.
double startAtOnce(double seconds) {
  return seconds == 5 ? 0.02 : seconds;
}

/// The library in this process, initialized and at rest.
struct Host {
  explicit Host(const Options& options) {
    auto platform = platformOf(options);
    platform.dispatcher = std::make_shared<HurriedDispatcher>(platform.dispatcher, startAtOnce);
    platform.http = http = std::make_shared<WatchedHttp>(platform.http);
    platform.store = store = std::make_shared<CountingStore>(platform.store);
    ZULSession::setPlatform(std::move(platform));
    ZULSession::initialization(std::nullopt, Application{});
    waitFor("initialization", [] { return ZULSession::getZULSessionInitYN(); });
    std::this_thread::sleep_for(100ms);
    settle();
  }

  /// An answer is worked on for a moment after it has come, which may lead to the next request.
  void settle(SteadyClock::duration moment = 10ms) const {
    waitFor("rest", [this] { return http->idle(); });
    std::this_thread::sleep_for(moment);
    waitFor("rest", [this] { return http->idle(); });
  }

  void waitForUpload(int before) const {
    waitFor("upload", [&] { return http->uploads() > before; });
  }

  std::shared_ptr<WatchedHttp> http;
  std::shared_ptr<CountingStore> store;
};

/// A host has something else to do before it reports an event: its processor does not just wake up.
void beAtWork() {
  const auto end = SteadyClock::now() + 1ms;
  while (SteadyClock::now() < end) {
  }
}

double statusValue(std::string_view name) {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with(name)) return std::stod(line.substr(name.size() + 1));
  }
  throw std::runtime_error("no process status");
}

void reportFootprint(const std::string& prefix) {
  report(prefix + "Memory", {statusValue("VmRSS")});
  report(prefix + "Threads", {statusValue("Threads")});
}

void write(const std::string& text) {
  if (::write(STDERR_FILENO, text.data(), text.size()) < 0) throw std::runtime_error("cannot write the log");
}

}  // namespace

void idle(const Options&) {
  reportFootprint("idle");
}

void startLibrary(const Options& options) {
  const double whole = timed([&] { ZULSession::setPlatform(platformOf(options)); });
  const double entry = timed([] { ZULSession::initialization(std::nullopt, Application{}); });
  report("platform", {whole});
  report("entry", {entry});
  report("syncs", {static_cast<double>(syncsOfThisThread())});
}

void startRaw(const Options& options) {
  std::unique_ptr<RawSqlite> database;
  report("entry", {timed([&] {
           database = std::make_unique<RawSqlite>(at(options, "data") + "/ZULLocalDB.sqlite");
           if (options.contains("stored")) {
             database->read({"AppInfo", "Behavior", "DeeplinkReferrerInfo", "Identify", "Install",
                             "InstallReferrerInfo", "InternalCampaign", "Notification", "UserInfo"});
           } else {
             database->commit({{"Install", R"({"installTime":1700000000000.0})"}});
           }
         })});
}

void sendEvents(const Options& options) {
  const Host host(options);
  RawSqlite raw(at(options, "data") + "/raw.sqlite");
  const int pacedCount = std::stoi(at(options, "paced"));
  const int burstCount = std::stoi(at(options, "burst"));
  const std::string payload(std::stoul(at(options, "payload")), 'x');
  const std::string line = std::string(80, 'x') + '\n';
  const std::string payloadLine = std::string(130, 'x') + payload + '\n';

  int syncs = 0;
  const auto send = [&syncs](std::vector<double>& times) {
    const int before = syncsOfThisThread();
    times.push_back(timed([] { ZULSession::sendTransaction(); }));
    syncs += syncsOfThisThread() - before;
  };
  std::vector<double> paced;
  std::vector<double> alone;
  for (int n = 0; n < pacedCount; ++n) {
    const int before = host.http->uploads();
    beAtWork();
    send(paced);
    host.waitForUpload(before);
    host.settle(1ms);
    beAtWork();
    alone.push_back(timed([&] {
      write(line);
      write(payloadLine);
      raw.commit({{std::to_string(n), payload}});
    }));
  }
  std::vector<double> burst;
  for (int n = 0; n < burstCount; ++n) send(burst);
  report("paced", paced);
  report("burst", burst);
  report("raw", alone);
  report("syncs", {static_cast<double>(syncs)});
}

void deliverEvents(const Options& options) {
  const Host host(options);
  const int count = std::stoi(at(options, "count"));
  const auto begin = SteadyClock::now();
  for (int n = 0; n < count; ++n) ZULSession::sendTransaction();
  waitFor("end", [&] {
    return host.http->uploads() > 0 && host.http->idle() &&
           SteadyClock::now() - host.http->lastUpload() > kLongestBuild;
  });
  report("seconds", {microseconds(host.http->lastUpload() - begin) / 1e6});
  report("uploads", {static_cast<double>(host.http->uploads())});
}

void footprint(const Options& options) {
  const Host host(options);
  reportFootprint("start");
  const int before = host.http->uploads();
  ZULSession::sendTransaction();
  host.waitForUpload(before);
  host.settle();
  reportFootprint("upload");
}

void countCommits(const Options& options) {
  const Host host(options);
  const int uploads = host.http->uploads();
  const int commits = host.store->commits();
  const int syncs = syncsOfThisThread();
  ZULSession::sendTransaction();
  report("syncs", {static_cast<double>(syncsOfThisThread() - syncs)});
  host.waitForUpload(uploads);
  host.settle();
  report("commits", {static_cast<double>(host.store->commits() - commits)});
}

}  // namespace zul::bench
