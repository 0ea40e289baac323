// Roles that report events.

#include <sys/stat.h>
#include <unistd.h>
#include <zul/CustomWKWebViewConfiguration.h>
#include <zul/ZULSession.h>

#include <algorithm>
#include <chrono>
#include <stdexcept>
#include <string>
#include <thread>

#include "RawSqlite.h"
#include "Roles.h"
#include "SyncCounter.h"

namespace zul::bench {

namespace {

using namespace std::chrono_literals;
using Milliseconds = std::chrono::milliseconds;

/// Moments that follow each other evenly. One that was missed is not made up for.
class Rhythm {
 public:
  explicit Rhythm(Milliseconds period) : period_(period), next_(SteadyClock::now()) {}

  void sleep() {
    advance();
    std::this_thread::sleep_until(next_);
  }

  /// A host has something else to do before it reports an event: its processor does not just wake up.
  void work() {
    advance();
    std::this_thread::sleep_until(next_ - 1ms);
    while (SteadyClock::now() < next_) {
    }
  }

 private:
  void advance() { next_ = std::max(next_ + period_, SteadyClock::now()); }

  const Milliseconds period_;
  SteadyClock::time_point next_;
};

std::vector<double> times(int count, Milliseconds every, const std::function<void()>& work) {
  std::vector<double> times;
  times.reserve(static_cast<std::size_t>(count));
  Rhythm rhythm(every);
  for (int n = 0; n < count; ++n) {
    if (every > 0ms) rhythm.work();
    times.push_back(timed(work));
  }
  return times;
}

/// What a piece of work took.
struct Spent {
  double seconds = 0;
  double processor = 0;  // milliseconds of all threads
};

template <typename Work>
Spent spent(Work work) {
  const double before = processorTime();
  const double microseconds = timed(work);
  return {microseconds / 1e6, processorTime() - before};
}

void sendEvent() {
  ZULSession::sendTransaction();
}

void pacedEvents(int count, Milliseconds every) {
  Rhythm rhythm(every);
  for (int n = 0; n < count; ++n) {
    if (every > 0ms) rhythm.sleep();
    sendEvent();
  }
}

double logSize() {
  struct stat log {};
  if (::fstat(STDERR_FILENO, &log) != 0) throw std::runtime_error("no log");
  return static_cast<double>(log.st_size);
}

}  // namespace

void sendEvents(const Options& options) {
  const Host host(options);
  RawSqlite raw(at(options, "data") + "/raw.sqlite");
  const std::string payload(static_cast<std::size_t>(numberAt(options, "payload")), 'x');
  int syncs = 0;
  const auto event = [&syncs] {
    const int before = test::syncsOfThisThread();
    sendEvent();
    syncs += test::syncsOfThisThread() - before;
  };
  int commits = 0;
  const auto commit = [&] { raw.commit({{std::to_string(++commits), payload}}); };
  const auto compare = [&](const std::string& name, Milliseconds every) {
    host.settle();
    report(name, times(numberAt(options, name), every, event));
    report(name + "-raw", times(numberAt(options, name), every, commit));
  };
  compare("paced", Milliseconds(numberAt(options, "every")));
  compare("burst", 0ms);
  report("syncs", {static_cast<double>(syncs)});
}

void spendOffline(const Options& options) {
  constexpr int kEvents = 100;
  constexpr auto kEvery = 20ms;
  const Host host(options);
  host.settle();
  const auto resting = spent([&] {
    Rhythm rhythm(kEvery);
    for (int n = 0; n < kEvents; ++n) rhythm.sleep();
  });
  const auto working = spent([&] {
    pacedEvents(kEvents, kEvery);
    host.settle();
  });
  const double rest = resting.processor * working.seconds / resting.seconds;
  report("milliseconds", {(working.processor - rest) / kEvents});
}

void deliverEvents(const Options& options) {
  constexpr int kEvents = 1000;
  const Host host(options);
  host.settle();
  const auto begin = SteadyClock::now();
  const auto delivery = spent([&] {
    const int before = host.http->uploads();
    pacedEvents(kEvents, Milliseconds(numberAt(options, "every")));
    host.waitForUpload(before);
    host.settle();
  });
  const std::chrono::duration<double> taken = host.http->lastUpload() - begin;
  report("events", {kEvents / taken.count()});
  report("milliseconds", {delivery.processor});
}

void logEvents(const Options& options) {
  constexpr int kEvents = 20;
  const Host host(options);
  host.settle();
  const double before = logSize();
  pacedEvents(kEvents, 50ms);
  host.settle();
  report("bytes", {(logSize() - before) / kEvents});
}

// The number travels as the browser's user agent, which nothing but the payloads keeps.
void reportEvents(const Options& options) {
  const Host host(options);
  const int first = numberAt(options, "first");
  for (int number = first; number < first + numberAt(options, "count"); ++number) {
    const auto text = std::to_string(number);
    CustomWKWebViewConfiguration::sharedObject().setClientUserAgent(text);
    sendEvent();
    const auto line = text + "\n";
    if (::write(STDOUT_FILENO, line.data(), line.size()) < 0) return;
  }
  char byte = 0;
  while (::read(STDIN_FILENO, &byte, 1) > 0) {
  }
}

}  // namespace zul::bench
