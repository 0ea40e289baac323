#include "DispatcherCore.h"

#include <algorithm>
#include <exception>

#include "LinuxThread.h"

namespace zul::platform {

namespace {

using namespace std::chrono_literals;

constexpr unsigned kMaxWorkers = 8;

// How long a task waits for a worker before another one is started. Long enough that a burst of short tasks
// passes through one thread, short enough that nobody notices when a look-up blocks that thread for a minute.
constexpr auto kPatience = 20ms;

constexpr auto kIdleLife = 5s;

// A serial queue gives its worker up after so many tasks, for the others who wait.
constexpr int kTasksATurn = 16;

// Whose task the current thread is running.
thread_local const DispatcherCore* runningFor = nullptr;

/// Runs and destroys `task`. What it throws ends here, see Dispatcher.
void finish(Task& task) noexcept {
  try {
    const Task mine = std::move(task);
    mine();
  } catch (...) {
  }
}

}  // namespace

void DispatcherCore::post(Queue queue, Task task) {
  if (queue == Queue::main && hostLoop_) {
    {
      const Lock lock(mutex_);
      if (stopped_) return;
    }
    handToHost(std::move(task));
    return;
  }
  const Lock lock(mutex_);
  if (stopped_) return;
  if (queue == Queue::global) {
    enqueueGlobal(std::move(task));
    return;
  }
  main_.push_back(std::move(task));
  ensureMainThread();
  if (main_.size() == 1) mainWake_.notify_one();
}

void DispatcherCore::post(const std::shared_ptr<Serial>& serial, Task task) {
  const Lock lock(mutex_);
  if (stopped_) return;
  serial->tasks.push_back(std::move(task));
  if (!std::exchange(serial->scheduled, true)) enqueueTurn(serial);
}

void DispatcherCore::postAt(Moment moment, Queue queue, Task task) {
  const Lock lock(mutex_);
  if (!stopped_) addTimed(moment, {queue, std::move(task), nullptr});
}

void DispatcherCore::start(std::shared_ptr<Repeating> repeating) {
  const Lock lock(mutex_);
  if (stopped_) return;
  const Moment first = SteadyClock::now() + repeating->period;
  addTimed(first, {Queue::main, nullptr, std::move(repeating)});
}

void DispatcherCore::cancel(const std::shared_ptr<Repeating>& repeating) {
  repeating->cancelled = true;
  const Lock lock(mutex_);
  std::erase_if(timed_, [&](const auto& entry) { return entry.second.repeating == repeating; });
}

void DispatcherCore::sleepUntil(Moment moment) {
  Lock lock(mutex_);
  stopping_.wait_until(lock, moment, [this] { return stopped_; });
}

std::shared_ptr<DispatcherCore::Serial> DispatcherCore::makeSerial() {
  auto serial = std::make_shared<Serial>();
  const Lock lock(mutex_);
  std::erase_if(serials_, [](const auto& known) { return known.expired(); });
  serials_.push_back(serial);
  return serial;
}

void DispatcherCore::stop(SteadyClock::duration patience) noexcept {
  Lock lock(mutex_);
  stopped_ = true;
  stopping_.notify_all();
  mainWake_.notify_all();
  for (Worker* worker : idle_) worker->wake.notify_one();
  const int own = runningFor == this ? 1 : 0;
  quieter_.wait_for(lock, patience, [&] { return running_ <= own; });
}

void DispatcherCore::release(SteadyClock::duration patience) noexcept {
  stop(patience);
  std::deque<Task> main;
  std::map<std::pair<Moment, std::uint64_t>, Timed> timed;
  std::deque<Posted> global;
  std::vector<std::shared_ptr<Serial>> serials;
  std::vector<std::deque<Task>> serialTasks;
  Lock lock(mutex_);
  released_ = true;
  releasing_.notify_all();
  if (running_ == 0) {
    // Only for the sake of leak checkers, which see the memory of a thread that is still on its way out.
    quieter_.wait_for(lock, patience, [this] { return threads_ == 0; });
  }
  main.swap(main_);
  timed.swap(timed_);
  global.swap(global_);
  for (const auto& known : serials_) {
    if (auto serial = known.lock()) {
      serialTasks.push_back(std::move(serial->tasks));
      serial->tasks.clear();
      serials.push_back(std::move(serial));
    }
  }
  lock.unlock();
}

/// Called with the lock held; runs and destroys the task without it.
void DispatcherCore::run(Lock& lock, Task task) {
  ++running_;
  lock.unlock();
  const DispatcherCore* const outer = std::exchange(runningFor, this);
  finish(task);
  runningFor = outer;
  lock.lock();
  --running_;
  if (stopped_) quieter_.notify_all();
}

/// Ends a thread after stop(): it waits for the release, for a thread that ends while the process exits would run
/// the clean-up of libraries that are gone already.
void DispatcherCore::park(Lock& lock) {
  releasing_.wait(lock, [this] { return released_; });
  --threads_;
  quieter_.notify_all();
}

void DispatcherCore::handToHost(Task task) {
  try {
    hostLoop_([self = shared_from_this(), task = std::move(task)]() mutable {
      Lock lock(self->mutex_);
      if (!self->stopped_) self->run(lock, std::move(task));
    });
  } catch (...) {  // a host whose loop is gone takes no more tasks
  }
}

void DispatcherCore::runMain() {
  Lock lock(mutex_);
  while (!stopped_) {
    const Moment now = SteadyClock::now();
    fireDue(now);
    relieve(now);
    if (!main_.empty()) {
      Task task = std::move(main_.front());
      main_.pop_front();
      if (hostLoop_) {
        lock.unlock();
        handToHost(std::move(task));
        lock.lock();
      } else {
        run(lock, std::move(task));
      }
      continue;
    }
    std::optional<Moment> next = relief_;
    if (!timed_.empty()) next = std::min(next.value_or(Moment::max()), timed_.begin()->first.first);
    if (next) {
      mainWake_.wait_until(lock, *next);
    } else {
      mainWake_.wait(lock);
    }
  }
  park(lock);
}

void DispatcherCore::fireDue(Moment now) {
  while (!timed_.empty() && timed_.begin()->first.first <= now) {
    auto entry = timed_.extract(timed_.begin());
    Timed& timed = entry.mapped();
    if (timed.repeating != nullptr) {
      fireRepeating(std::move(timed.repeating), entry.key().first, now);
    } else if (timed.queue == Queue::global) {
      enqueueGlobal(std::move(timed.task));
    } else {
      main_.push_back(std::move(timed.task));
    }
  }
}

void DispatcherCore::fireRepeating(std::shared_ptr<Repeating> repeating, Moment due, Moment now) {
  // Ticks that were missed while the main queue was busy are left out, not made up for.
  const Moment next = due + repeating->period * ((now - due) / repeating->period + 1);
  if (!repeating->queued.exchange(true)) {
    main_.emplace_back([repeating] {
      repeating->queued = false;
      if (!repeating->cancelled) repeating->task();
    });
  }
  addTimed(next, {Queue::main, nullptr, std::move(repeating)});
}

void DispatcherCore::addTimed(Moment moment, Timed timed) {
  const auto place = timed_.emplace(std::pair(moment, timedCount_++), std::move(timed)).first;
  ensureMainThread();
  if (place == timed_.begin()) mainWake_.notify_one();
}

/// Starts a thread; when there is none to be had, whoever needs it next tries again.
bool DispatcherCore::startOwn(const char* name, void (DispatcherCore::*body)()) {
  try {
    startThread(name, [self = shared_from_this(), body] { ((*self).*body)(); });
  } catch (const std::exception&) {
    return false;
  }
  ++threads_;
  return true;
}

void DispatcherCore::ensureMainThread() {
  if (!hasMainThread_) hasMainThread_ = startOwn("zul-main", &DispatcherCore::runMain);
}

void DispatcherCore::startWorker() {
  if (startOwn("zul-work", &DispatcherCore::runWorker)) ++workers_;
}

void DispatcherCore::enqueueTurn(const std::shared_ptr<Serial>& serial) {
  enqueueGlobal([self = shared_from_this(), serial] { self->runTurn(serial); });
}

void DispatcherCore::runTurn(const std::shared_ptr<Serial>& serial) {
  Lock lock(mutex_);
  for (int count = 0; count < kTasksATurn && !stopped_; ++count) {
    if (serial->tasks.empty()) {
      serial->scheduled = false;
      return;
    }
    Task task = std::move(serial->tasks.front());
    serial->tasks.pop_front();
    lock.unlock();
    finish(task);
    lock.lock();
  }
  if (!stopped_) enqueueTurn(serial);
}

void DispatcherCore::enqueueGlobal(Task task) {
  const Moment now = SteadyClock::now();
  global_.push_back({std::move(task), now});
  if (!idle_.empty()) {
    idle_.back()->wake.notify_one();
    idle_.pop_back();
  } else if (workers_ == 0) {
    startWorker();
  } else if (!relief_ && workers_ < kMaxWorkers) {
    relief_ = global_.front().since + kPatience;
    ensureMainThread();
    mainWake_.notify_one();
  } else {
    relieve(now);  // the main thread itself may be blocked
  }
}

/// Starts another worker when the oldest task has waited long enough to show that the present ones are blocked.
void DispatcherCore::relieve(Moment now) {
  if (!relief_ || now < *relief_) return;
  if (global_.empty() || workers_ == kMaxWorkers) {
    relief_.reset();
    return;
  }
  relief_ = global_.front().since + kPatience;
  if (now < *relief_) return;
  relief_ = now + kPatience;
  startWorker();
}

void DispatcherCore::runWorker() {
  Worker worker;
  Lock lock(mutex_);
  while (waitForNextTask(lock, worker)) {
    Task task = std::move(global_.front().task);
    global_.pop_front();
    run(lock, std::move(task));
  }
  if (stopped_) {
    park(lock);
    return;
  }
  --workers_;
  --threads_;
}

/// False when the worker is to end.
bool DispatcherCore::waitForNextTask(Lock& lock, Worker& worker) {
  while (!stopped_ && global_.empty()) {
    idle_.push_back(&worker);
    if (workers_ == 1) {
      worker.wake.wait(lock);
    } else if (worker.wake.wait_for(lock, kIdleLife) == std::cv_status::timeout && workers_ > 1 &&
               std::erase(idle_, &worker) == 1) {
      return false;
    }
    std::erase(idle_, &worker);
  }
  return !stopped_;
}

}  // namespace zul::platform
