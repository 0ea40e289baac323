#include "AsioDispatcher.h"

#include <algorithm>
#include <utility>

#include "AsioCore.h"

namespace zul::platform {

namespace {

using namespace std::chrono_literals;

constexpr auto kStopPatience = 300ms;
constexpr auto kReleasePatience = 2s;

AsioCore::Duration span(double seconds, double least) {
  constexpr double kMost = 3e8;  // ten years: longer than the process, and far from overflow
  const double held = seconds > least ? std::min(seconds, kMost) : least;  // not a number: the least
  return std::chrono::duration_cast<AsioCore::Duration>(std::chrono::duration<double>(held));
}

class AsioTimer final : public Timer {
 public:
  AsioTimer(std::weak_ptr<AsioCore> core, std::shared_ptr<AsioCore::Repeating> repeating)
      : core_(std::move(core)), repeating_(std::move(repeating)) {}

  ~AsioTimer() override {
    if (repeating_ == nullptr) return;
    repeating_->cancelled = true;
    if (const auto core = core_.lock()) core->cancel(repeating_);
  }
  AsioTimer(const AsioTimer&) = delete;
  AsioTimer& operator=(const AsioTimer&) = delete;

 private:
  const std::weak_ptr<AsioCore> core_;
  const std::shared_ptr<AsioCore::Repeating> repeating_;  // null when the dispatcher had stopped
};

class AsioSerialQueue final : public SerialQueue {
 public:
  explicit AsioSerialQueue(std::shared_ptr<AsioCore> core) : core_(std::move(core)), serial_(core_->makeSerial()) {}

  void async(Task task) override { core_->post(serial_, std::move(task)); }

 private:
  const std::shared_ptr<AsioCore> core_;
  const std::shared_ptr<AsioCore::Serial> serial_;
};

}  // namespace

AsioDispatcher::AsioDispatcher(HostLoop hostLoop, OnTrouble onTrouble)
    : core_(std::make_shared<AsioCore>(std::move(hostLoop))), onTrouble_(std::move(onTrouble)) {}

AsioDispatcher::~AsioDispatcher() {
  core_->release(kReleasePatience);
}

void AsioDispatcher::tell() const {
  const std::string why = core_->takeTrouble();
  if (!why.empty() && onTrouble_) onTrouble_(why);
}

void AsioDispatcher::async(Queue queue, Task task) {
  core_->post(queue, std::move(task));
  tell();
}

void AsioDispatcher::after(double seconds, Queue queue, Task task) {
  core_->after(span(seconds, 0), queue, std::move(task));
  tell();
}

std::unique_ptr<Timer> AsioDispatcher::repeat(double seconds, Task task) {
  auto timer = std::make_unique<AsioTimer>(core_, core_->repeat(span(seconds, 0.001), std::move(task)));
  tell();
  return timer;
}

std::shared_ptr<SerialQueue> AsioDispatcher::serialQueue() {
  return std::make_shared<AsioSerialQueue>(core_);
}

void AsioDispatcher::sleep(double seconds) {
  core_->sleep(span(seconds, 0));
}

void AsioDispatcher::stop() noexcept {
  core_->stop(kStopPatience);
}

}  // namespace zul::platform
