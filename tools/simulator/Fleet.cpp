#include "Fleet.h"

#include <fmt/format.h>
#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <memory>
#include <queue>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "FleetDevice.h"
#include "LiveClient.h"

namespace zul::simulator {

namespace {

constexpr double kAnswersWithin = 1;  // virtual seconds
constexpr auto kLook = std::chrono::milliseconds(100);

// A line of the kernel's account of this process: "VmRSS" for the memory at present, "VmHWM" for the most so far.
std::int64_t residentBytes(std::string_view name) {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with(name)) return std::strtoll(line.c_str() + name.size() + 1, nullptr, 10) * 1024;
  }
  return 0;
}

// Has the kernel's "most so far" begin anew, and tells the memory at present.
std::int64_t forgetMostMemory() {
  malloc_trim(0);  // so that what an earlier fleet has freed counts again
  std::ofstream("/proc/self/clear_refs") << "5";
  return residentBytes("VmRSS");
}

/// A bar on standard error, while that is a terminal.
class Progress {
 public:
  ~Progress() {
    if (shown_) std::fputs("\r\033[K", stderr);
  }
  void show(double share) {
    using std::chrono::steady_clock;
    if (!terminal_ || steady_clock::now() < next_) return;
    next_ = steady_clock::now() + std::chrono::milliseconds(100);
    constexpr std::size_t kWidth = 50;
    const auto done = static_cast<std::size_t>(std::clamp(share, 0.0, 1.0) * kWidth);
    fmt::print(stderr, "\r[{}{}] {:3.0f} %", std::string(done, '#'), std::string(kWidth - done, ' '), share * 100);
    shown_ = true;
  }

 private:
  const bool terminal_ = isatty(STDERR_FILENO) != 0;
  bool shown_ = false;
  std::chrono::steady_clock::time_point next_{};
};

}  // namespace

boost::json::object runFleet(const FleetOptions& options) {
  const auto memoryBefore = forgetMostMemory();
  FleetCounts counts;
  std::vector<std::unique_ptr<FleetDevice>> devices;
  using Due = std::pair<double, std::size_t>;  // when, and which device
  std::priority_queue<Due, std::vector<Due>, std::greater<>> queue;
  for (std::size_t n = 0; n < options.devices; ++n) {
    options.goOn();
    devices.push_back(std::make_unique<FleetDevice>(static_cast<std::uint32_t>(n), options.model, counts));
    queue.emplace(devices.back()->due(), n);
  }

  Progress progress;
  double answersBy = 0;
  std::vector<std::size_t> stepped;  // since the answers were waited for
  const auto awaitAnswers = [&](double now) {
    while (options.live->open() > 0) {
      options.goOn();
      options.live->deliver(std::chrono::steady_clock::now() + kLook);
    }
    for (const auto n : stepped) queue.emplace(devices[n]->due(), n);
    stepped.clear();
    answersBy = now + kAnswersWithin;
  };
  while (!queue.empty()) {
    options.goOn();
    const auto [due, n] = queue.top();
    auto& device = *devices[n];
    if (options.live && (due >= answersBy || due > options.seconds) && !stepped.empty()) {
      awaitAnswers(due);
      continue;
    }
    if (due > options.seconds) break;
    queue.pop();
    if (device.due() < due || device.due() > due) continue;  // there is another entry with its present time
    device.step(due);
    if (options.live) stepped.push_back(n);
    queue.emplace(device.due(), n);
    progress.show(due / options.seconds);
  }

  std::int64_t sessions = 0;
  for (const auto& device : devices) sessions += device->sessions();
  const auto memory = residentBytes("VmHWM");
  return {{"devices", options.devices},
          {"seconds", options.seconds},
          {"launches", counts.launches},
          {"sessions", sessions},
          {"events", counts.events},
          {"requests", counts.requests},
          {"bytes", counts.bytes},
          {"problems", counts.problems},
          {"memory", memory},
          {"memoryPerDevice", (memory - memoryBefore) / static_cast<std::int64_t>(options.devices)}};
}

}  // namespace zul::simulator
