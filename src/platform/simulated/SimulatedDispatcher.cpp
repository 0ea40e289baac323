#include "SimulatedDispatcher.h"

#include <algorithm>

namespace zul::platform {

class SimulatedSerialQueue final : public SerialQueue {
 public:
  SimulatedSerialQueue(SimulatedDispatcher& dispatcher, int queue) : dispatcher_(dispatcher), queue_(queue) {}
  void async(Task task) override { dispatcher_.post(dispatcher_.now(), {queue_, std::move(task)}); }

 private:
  SimulatedDispatcher& dispatcher_;
  int queue_;
};

class SimulatedTimer final : public Timer {
 public:
  SimulatedTimer(SimulatedDispatcher& dispatcher, double seconds, Task task)
      : dispatcher_(dispatcher), repeat_(std::make_shared<SimulatedDispatcher::Repeat>()) {
    repeat_->every = seconds;
    repeat_->next = dispatcher.post(dispatcher.now() + seconds, {SimulatedDispatcher::kMain, std::move(task), repeat_});
  }
  ~SimulatedTimer() override {
    repeat_->cancelled = true;  // also when it is this timer's own task that destroys it
    dispatcher_.events_.erase(repeat_->next);
  }

 private:
  SimulatedDispatcher& dispatcher_;
  std::shared_ptr<SimulatedDispatcher::Repeat> repeat_;
};

SimulatedDispatcher::Key SimulatedDispatcher::post(double due, Event event) {
  const Key key{due, posted_++};
  events_.emplace(key, std::move(event));
  return key;
}

void SimulatedDispatcher::async(Queue queue, Task task) {
  after(0, queue, std::move(task));
}

void SimulatedDispatcher::after(double seconds, Queue queue, Task task) {
  post(now_ + std::max(seconds, 0.0), {queue == Queue::main ? kMain : kGlobal, std::move(task)});
}

std::unique_ptr<Timer> SimulatedDispatcher::repeat(double seconds, Task task) {
  return std::make_unique<SimulatedTimer>(*this, seconds, std::move(task));
}

std::shared_ptr<SerialQueue> SimulatedDispatcher::serialQueue() {
  busy_.push_back(false);
  return std::make_shared<SimulatedSerialQueue>(*this, static_cast<int>(busy_.size()) - 1);
}

void SimulatedDispatcher::sleep(double seconds) {
  advance(seconds);
}

void SimulatedDispatcher::advance(double seconds) {
  const double until = now_ + std::max(seconds, 0.0);
  for (;;) {
    const auto next = nextRunnable();
    const bool due = next != events_.end() && next->first.first <= until;
    const double moment = due ? next->first.first : until;
    if (pace_ && moment > now_) {
      now_ = std::max(now_, pace_(now_, moment));
      if (now_ < moment) continue;
    }
    now_ = std::max(now_, moment);
    if (!due) return;
    run(next);
  }
}

SimulatedDispatcher::Events::iterator SimulatedDispatcher::nextRunnable() {
  return std::find_if(events_.begin(), events_.end(),
                      [&](const auto& event) { return !busy_[static_cast<std::size_t>(event.second.queue)]; });
}

void SimulatedDispatcher::run(Events::iterator next) {
  auto node = events_.extract(next);
  auto& event = node.mapped();
  const auto queue = static_cast<std::size_t>(event.queue);
  busy_[queue] = event.queue != kGlobal;
  try {
    event.task();
  } catch (...) {  // as on the real platform, a task's exception ends with the task
  }
  busy_[queue] = false;
  if (!event.repeat || event.repeat->cancelled) return;
  node.key() = event.repeat->next = {now_ + event.repeat->every, posted_++};
  events_.insert(std::move(node));
}

std::vector<SimulatedDispatcher::Waiting> SimulatedDispatcher::waiting() const {
  std::vector<Waiting> waiting;
  for (const auto& [key, event] : events_) {
    waiting.push_back({.due = key.first,
                       .queue = event.queue == kMain     ? "main"
                                : event.queue == kGlobal ? "global"
                                                         : "serial",
                       .every = event.repeat ? event.repeat->every : 0});
  }
  return waiting;
}

std::optional<double> SimulatedDispatcher::nextDue() const {
  if (events_.empty()) return std::nullopt;
  return events_.begin()->first.first;
}

void SimulatedDispatcher::stop() noexcept {
  events_.clear();
}

}  // namespace zul::platform
