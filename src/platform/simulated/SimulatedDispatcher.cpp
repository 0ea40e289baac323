#include "SimulatedDispatcher.h"

#include <algorithm>
#include <semaphore>
#include <thread>

namespace zul::platform {

/// Runs a task, and then whatever else is due at the same moment. Whoever hands it the first waits until that is done
/// or a task sleeps, so that of all these threads and the caller of `advance` exactly one is at work.
class SimulatedDispatcher::Worker {
 public:
  explicit Worker(SimulatedDispatcher& dispatcher) : dispatcher_(dispatcher), thread_([this] { serve(); }) {}
  ~Worker() {
    task_ = nullptr;
    go_.release();
    thread_.join();
  }

  /// The worker that the calling thread is; null for any other thread.
  static Worker* current() { return current_; }

  /// True when no task is on its way.
  bool idle() const { return !task_; }
  /// The task's.
  int queue() const { return queue_; }

  void begin(Event event) {
    take(std::move(event));
    resume();
  }
  void resume() {
    go_.release();
    back_.acquire();
  }
  /// Called by the task: returns when it is resumed.
  void pause() {
    back_.release();
    go_.acquire();
  }

 private:
  void serve() {
    current_ = this;
    for (go_.acquire(); task_; go_.acquire()) {
      while (task_) runOne();
      back_.release();
    }
  }

  void runOne() {
    try {
      task_();
    } catch (...) {  // as on the real platform, a task's exception ends with the task
    }
    task_ = nullptr;
    dispatcher_.setBusy(queue_, false);
    if (auto event = dispatcher_.takeDueTask()) take(std::move(*event));
  }

  void take(Event event) {
    task_ = std::move(event.task);
    queue_ = event.queue;
    dispatcher_.setBusy(queue_, true);
  }

  static thread_local Worker* current_;

  SimulatedDispatcher& dispatcher_;
  Task task_;
  int queue_ = kGlobal;
  std::binary_semaphore go_{0};
  std::binary_semaphore back_{0};
  std::thread thread_;
};

thread_local SimulatedDispatcher::Worker* SimulatedDispatcher::Worker::current_ = nullptr;

SimulatedDispatcher::SimulatedDispatcher() = default;

SimulatedDispatcher::~SimulatedDispatcher() {
  stop();
}

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
  auto* const worker = Worker::current();
  if (!worker) {
    advance(seconds);
  } else if (!stopping_) {
    post(now_ + std::max(seconds, 0.0), {.queue = kGlobal, .task = nullptr, .sleeper = worker});
    worker->pause();
  }
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
  if (event.repeat) {
    runRepeating(std::move(node));
  } else if (event.sleeper) {
    event.sleeper->resume();
  } else {
    idleWorker().begin(std::move(event));
  }
}

void SimulatedDispatcher::runRepeating(Events::node_type node) {
  const auto& event = node.mapped();
  setBusy(kMain, true);
  try {
    event.task();
  } catch (...) {
  }
  setBusy(kMain, false);
  if (event.repeat->cancelled) return;
  node.key() = event.repeat->next = {now_ + event.repeat->every, posted_++};
  events_.insert(std::move(node));
}

std::optional<SimulatedDispatcher::Event> SimulatedDispatcher::takeDueTask() {
  const auto next = nextRunnable();
  if (stopping_ || next == events_.end() || next->first.first > now_) return std::nullopt;
  if (next->second.repeat || next->second.sleeper) return std::nullopt;
  return std::move(events_.extract(next).mapped());
}

void SimulatedDispatcher::setBusy(int queue, bool busy) {
  if (queue != kGlobal) busy_[static_cast<std::size_t>(queue)] = busy;
}

SimulatedDispatcher::Worker& SimulatedDispatcher::idleWorker() {
  const auto idle = std::find_if(workers_.begin(), workers_.end(), [](const auto& worker) { return worker->idle(); });
  if (idle != workers_.end()) return **idle;
  return *workers_.emplace_back(std::make_unique<Worker>(*this));
}

std::vector<SimulatedDispatcher::Waiting> SimulatedDispatcher::waiting() const {
  const auto name = [](int queue) {
    if (queue == kMain) return "main";
    return queue == kGlobal ? "global" : "serial";
  };
  std::vector<Waiting> waiting;
  for (const auto& [key, event] : events_) {
    waiting.push_back({.due = key.first,
                       .queue = name(event.sleeper ? event.sleeper->queue() : event.queue),
                       .every = event.repeat ? event.repeat->every : 0,
                       .sleeping = event.sleeper != nullptr});
  }
  return waiting;
}

std::optional<double> SimulatedDispatcher::nextDue() const {
  if (events_.empty()) return std::nullopt;
  return events_.begin()->first.first;
}

void SimulatedDispatcher::stop() noexcept {
  stopping_ = true;
  for (const auto& worker : workers_) {
    if (!worker->idle()) worker->resume();
  }
  workers_.clear();
  events_.clear();
  busy_.assign(busy_.size(), false);
  stopping_ = false;
}

}  // namespace zul::platform
