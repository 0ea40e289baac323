#include "LinuxDispatcher.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "DispatcherCore.h"

namespace zul::platform {

namespace {

using namespace std::chrono_literals;

constexpr auto kStopPatience = 300ms;
constexpr auto kReleasePatience = 2s;

DispatcherCore::SteadyClock::duration span(double seconds, double least) {
  constexpr double kMost = 3e8;  // ten years: longer than the process, and far from overflow
  const double held = seconds > least ? std::min(seconds, kMost) : least;  // not a number: the least
  return std::chrono::duration_cast<DispatcherCore::SteadyClock::duration>(std::chrono::duration<double>(held));
}

DispatcherCore::Moment in(double seconds) {
  return DispatcherCore::SteadyClock::now() + span(seconds, 0);
}

class CoreTimer final : public Timer {
 public:
  CoreTimer(std::weak_ptr<DispatcherCore> core, std::shared_ptr<DispatcherCore::Repeating> repeating)
      : core_(std::move(core)), repeating_(std::move(repeating)) {}

  ~CoreTimer() override {
    repeating_->cancelled = true;
    if (const auto core = core_.lock()) core->cancel(repeating_);
  }
  CoreTimer(const CoreTimer&) = delete;
  CoreTimer& operator=(const CoreTimer&) = delete;

 private:
  const std::weak_ptr<DispatcherCore> core_;
  const std::shared_ptr<DispatcherCore::Repeating> repeating_;
};

class CoreSerialQueue final : public SerialQueue {
 public:
  explicit CoreSerialQueue(std::shared_ptr<DispatcherCore> core)
      : core_(std::move(core)), serial_(core_->makeSerial()) {}

  void async(Task task) override { core_->post(serial_, std::move(task)); }

 private:
  const std::shared_ptr<DispatcherCore> core_;
  const std::shared_ptr<DispatcherCore::Serial> serial_;
};

}  // namespace

LinuxDispatcher::LinuxDispatcher(HostLoop hostLoop) : core_(std::make_shared<DispatcherCore>(std::move(hostLoop))) {}

LinuxDispatcher::~LinuxDispatcher() {
  core_->release(kReleasePatience);
}

void LinuxDispatcher::async(Queue queue, Task task) {
  core_->post(queue, std::move(task));
}

void LinuxDispatcher::after(double seconds, Queue queue, Task task) {
  core_->postAt(in(seconds), queue, std::move(task));
}

std::unique_ptr<Timer> LinuxDispatcher::repeat(double seconds, Task task) {
  auto repeating = std::make_shared<DispatcherCore::Repeating>();
  repeating->period = span(seconds, 0.001);
  repeating->task = std::move(task);
  core_->start(repeating);
  return std::make_unique<CoreTimer>(core_, std::move(repeating));
}

std::shared_ptr<SerialQueue> LinuxDispatcher::serialQueue() {
  return std::make_shared<CoreSerialQueue>(core_);
}

void LinuxDispatcher::sleep(double seconds) {
  core_->sleepUntil(in(seconds));
}

void LinuxDispatcher::stop() noexcept {
  core_->stop(kStopPatience);
}

}  // namespace zul::platform
