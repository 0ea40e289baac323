#include "Host.h"

#include <sys/resource.h>
#include <zul/Platform.h>
#include <zul/ZULSession.h>

#include <iostream>
#include <stdexcept>
#include <thread>

#include "HurriedDispatcher.h"
#include "Patience.h"

namespace zul::bench {

namespace {

using namespace std::chrono_literals;

constexpr auto kPatience = 120s;
constexpr auto kGlance = 50ms;
constexpr int kQuietGlances = 3;
constexpr double kQuiet = 2;  // milliseconds of the processor's, a glance

void waitFor(const char* what, const std::function<bool()>& reached, std::chrono::microseconds pause = 2ms) {
  if (!test::eventually(reached, kPatience, pause)) throw std::runtime_error(std::string("no ") + what);
}

// A start-up completes at once instead of after seconds; what else waits, the store for one, waits as ever.
double startAtOnce(double seconds) {
  return seconds == 5 ? 0.02 : seconds;
}

double milliseconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_usec) / 1e3;
}

}  // namespace

std::string at(const Options& options, const std::string& name) {
  const auto found = options.find(name);
  if (found == options.end()) throw std::runtime_error("without " + name);
  return found->second;
}

int numberAt(const Options& options, const std::string& name) {
  return std::stoi(at(options, name));
}

void report(std::string_view name, const std::vector<double>& numbers) {
  std::cout << name;
  for (const double number : numbers) std::cout << ' ' << number;
  std::cout << '\n';
}

double timed(const std::function<void()>& work) {
  const auto begin = SteadyClock::now();
  work();
  return std::chrono::duration<double, std::micro>(SteadyClock::now() - begin).count();
}

double processorTime() {
  rusage usage{};
  ::getrusage(RUSAGE_SELF, &usage);
  return milliseconds(usage.ru_utime) + milliseconds(usage.ru_stime);
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

Host::Host(const Options& options) {
  auto platform = platformOf(options);
  platform.dispatcher = std::make_shared<test::HurriedDispatcher>(platform.dispatcher, startAtOnce);
  platform.http = http = std::make_shared<test::WatchedHttp>(platform.http);
  platform.store = store = std::make_shared<test::CountingStore>(platform.store);
  ZULSession::setPlatform(std::move(platform));
  ZULSession::initialization(std::nullopt, Application{});
  waitFor("initialization", [] { return ZULSession::getZULSessionInitYN(); });
}

void Host::settle() const {
  int quiet = 0;
  double last = 0;
  waitFor(
      "rest",
      [&] {
        const double now = processorTime();
        quiet = http->idle() && now - last < kQuiet ? quiet + 1 : 0;
        last = now;
        return quiet >= kQuietGlances;
      },
      kGlance);
}

void Host::waitForUpload(int before) const {
  waitFor("upload", [&] { return http->uploads() > before; });
}

}  // namespace zul::bench
