#include "SimulatedDispatcher.h"

#include <algorithm>

namespace zul::platform {

class SimulatedSerialQueue final : public SerialQueue {
 public:
  SimulatedSerialQueue(SimulatedDispatcher& dispatcher, int queue) : dispatcher_(dispatcher), queue_(queue) {}
  void async(Task task) override { dispatcher_.post(dispatcher_.now(), queue_, std::move(task)); }

 private:
  SimulatedDispatcher& dispatcher_;
  int queue_;
};

class SimulatedTimer final : public Timer {
 public:
  SimulatedTimer(SimulatedDispatcher& dispatcher, double seconds, Task task)
      : state_(std::make_shared<State>(State{dispatcher, seconds, std::move(task)})) {
    arm(state_);
  }
  ~SimulatedTimer() override { state_->cancelled = true; }

 private:
  struct State {
    SimulatedDispatcher& dispatcher;
    double seconds;
    Task task;
    bool cancelled = false;
  };

  static void arm(const std::shared_ptr<State>& state) {
    state->dispatcher.post(state->dispatcher.now() + state->seconds, SimulatedDispatcher::kMain, [state] {
      if (state->cancelled) return;
      state->task();
      if (!state->cancelled) arm(state);
    });
  }

  std::shared_ptr<State> state_;
};

SimulatedDispatcher::Key SimulatedDispatcher::post(double due, int queue, Task task) {
  const Key key{due, posted_++};
  events_.emplace(key, Event{queue, std::move(task)});
  return key;
}

void SimulatedDispatcher::async(Queue queue, Task task) {
  after(0, queue, std::move(task));
}

void SimulatedDispatcher::after(double seconds, Queue queue, Task task) {
  post(now_ + std::max(seconds, 0.0), queue == Queue::main ? kMain : kGlobal, std::move(task));
}

std::unique_ptr<Timer> SimulatedDispatcher::repeat(double seconds, Task task) {
  return std::make_unique<SimulatedTimer>(*this, seconds, std::move(task));
}

std::shared_ptr<SerialQueue> SimulatedDispatcher::serialQueue() {
  return std::make_shared<SimulatedSerialQueue>(*this, queues_++);
}

void SimulatedDispatcher::sleep(double seconds) {
  advance(seconds);
}

void SimulatedDispatcher::advance(double seconds) {
  const double until = now_ + std::max(seconds, 0.0);
  while (runNext(until)) {
  }
  now_ = std::max(now_, until);
}

bool SimulatedDispatcher::runNext(double until) {
  const auto next = std::find_if(events_.begin(), events_.end(),
                                 [&](const auto& event) { return busy_.count(event.second.queue) == 0; });
  if (next == events_.end() || next->first.first > until) return false;
  now_ = std::max(now_, next->first.first);
  const Event event = std::move(next->second);
  events_.erase(next);
  if (event.queue != kGlobal) busy_.insert(event.queue);
  try {
    event.task();
  } catch (...) {  // as on the real platform, a task's exception ends with the task
  }
  if (event.queue != kGlobal) busy_.erase(event.queue);
  return true;
}

void SimulatedDispatcher::stop() noexcept {
  events_.clear();
}

}  // namespace zul::platform
