#include "AsioCore.h"

#include <algorithm>
#include <boost/asio/post.hpp>
#include <exception>

#include "LinuxThread.h"

namespace zul::platform {

namespace {

using namespace std::chrono_literals;

constexpr int kMaxWorkers = 8;

// How long something waits for a worker before another one is started. Long enough that a burst of short tasks
// passes through one thread, short enough that nobody notices when a look-up blocks that thread for a minute.
constexpr auto kPatience = 20ms;

constexpr auto kIdleLife = 5s;

// A serial queue gives its worker up after so many tasks, for the others who wait.
constexpr int kTasksATurn = 16;

// Whose task the current thread is running.
thread_local const AsioCore* runningFor = nullptr;

/// Runs and destroys `task`. What it throws ends here, see Dispatcher.
void finish(Task& task) noexcept {
  try {
    const Task mine = std::move(task);
    mine();
  } catch (...) {
  }
}

}  // namespace

AsioCore::AsioCore(std::function<void(Task)> hostLoop)
    : hostLoop_(std::move(hostLoop)), main_(std::make_unique<Context>(1)), global_(std::make_unique<Context>()) {
  mainGuard_.emplace(main_->get_executor());
  globalGuard_.emplace(global_->get_executor());
  watch_.emplace(*main_);
}

// ---- tasks

void AsioCore::post(Queue queue, Task task) {
  const MutexLock lock(mutex_);
  if (stopped_) return;
  if (queue == Queue::global) {
    enqueueGlobal(std::move(task));
  } else {
    ensureThread(queue);
    boost::asio::post(*main_, [this, task = std::move(task)]() mutable { runOnMain(std::move(task)); });
  }
}

void AsioCore::post(const std::shared_ptr<Serial>& serial, Task task) {
  const MutexLock lock(mutex_);
  if (stopped_) return;
  serial->tasks.push_back(std::move(task));
  ensureThread(Queue::global);
  if (!std::exchange(serial->scheduled, true)) enqueueGlobal([this, serial] { runTurn(serial); });
}

void AsioCore::enqueueGlobal(Task task) {
  ++waiting_;
  ensureThread(Queue::global);
  boost::asio::post(*global_, [this, task = std::move(task)]() mutable {
    {
      const MutexLock lock(mutex_);
      --waiting_;
    }
    runOnWorker(std::move(task));
  });
  watchWorkers();
}

void AsioCore::after(Duration delay, Queue queue, Task task) {
  const MutexLock lock(mutex_);
  if (stopped_) return;
  ensureThread(queue);
  const bool global = queue == Queue::global;
  const auto timer = std::make_shared<Timed>(global ? *global_ : *main_, delay);
  if (global) ++timed_;
  timer->async_wait([this, timer, global, task = std::move(task)](boost::system::error_code) mutable {
    if (!global) return runOnMain(std::move(task));
    {
      const MutexLock lock(mutex_);
      --timed_;
    }
    runOnWorker(std::move(task));
  });
  if (global) watchWorkers();
}

void AsioCore::runOnMain(Task task) {
  if (!hostLoop_) return runTask(std::move(task));
  try {
    hostLoop_([self = shared_from_this(), task = std::move(task)]() mutable { self->runTask(std::move(task)); });
  } catch (...) {  // a host whose loop is gone takes no more tasks
  }
}

void AsioCore::runOnWorker(Task task) {
  {
    const MutexLock lock(mutex_);
    ++busy_;
    begun_ = true;
    watchWorkers();
  }
  runTask(std::move(task));
  const MutexLock lock(mutex_);
  --busy_;
}

void AsioCore::runTask(Task task) {
  {
    const MutexLock lock(mutex_);
    if (stopped_) return;
    ++running_;
  }
  const AsioCore* const outer = std::exchange(runningFor, this);
  finish(task);
  runningFor = outer;
  const MutexLock lock(mutex_);
  --running_;
  if (stopped_) changed_.notifyAll();
}

void AsioCore::runTurn(const std::shared_ptr<Serial>& serial) {
  for (int count = 0; count < kTasksATurn; ++count) {
    Task task;
    {
      const MutexLock lock(mutex_);
      if (stopped_) return;
      if (serial->tasks.empty()) {
        serial->scheduled = false;
        return;
      }
      task = std::move(serial->tasks.front());
      serial->tasks.pop_front();
    }
    finish(task);
  }
  const MutexLock lock(mutex_);
  if (!stopped_) enqueueGlobal([this, serial] { runTurn(serial); });
}

std::shared_ptr<AsioCore::Serial> AsioCore::makeSerial() {
  auto serial = std::make_shared<Serial>();
  const MutexLock lock(mutex_);
  std::erase_if(serials_, [](const auto& known) { return known.expired(); });
  serials_.push_back(serial);
  return serial;
}

// ---- repeating timers

std::shared_ptr<AsioCore::Repeating> AsioCore::repeat(Duration period, Task task) {
  const MutexLock lock(mutex_);
  if (stopped_) return nullptr;
  ensureThread(Queue::main);
  auto repeating = std::make_shared<Repeating>(*main_, period, std::move(task));
  std::erase_if(repeatings_, [](const auto& known) { return known.expired(); });
  repeatings_.push_back(repeating);
  repeating->timer->expires_after(period);
  armTick(repeating);
  return repeating;
}

void AsioCore::armTick(const std::shared_ptr<Repeating>& repeating) {
  repeating->timer->async_wait([this, repeating](boost::system::error_code) {
    if (repeating->cancelled) return;
    {
      const MutexLock lock(mutex_);
      if (stopped_) return;
      const auto due = repeating->timer->expiry();
      const auto missed = (Timed::clock_type::now() - due) / repeating->period;
      repeating->timer->expires_at(due + repeating->period * (missed + 1));
      armTick(repeating);
    }
    if (repeating->queued.exchange(true)) return;
    // Also a tick that the host's loop drops makes room for the next.
    const std::shared_ptr<void> queued(nullptr, [repeating](void*) { repeating->queued = false; });
    runOnMain([repeating, queued] {
      if (!repeating->cancelled) repeating->task();
    });
  });
}

void AsioCore::cancel(const std::shared_ptr<Repeating>& repeating) {
  repeating->cancelled = true;
  const MutexLock lock(mutex_);
  if (repeating->timer) repeating->timer->cancel();
}

void AsioCore::admit(const std::shared_ptr<Guest>& guest, const std::function<void(Context&)>& enter) {
  const MutexLock lock(mutex_);
  if (stopped_) return;
  ensureThread(Queue::main);
  std::erase_if(guests_, [](const auto& known) { return known.expired(); });
  guests_.push_back(guest);
  enter(*main_);
}

// ---- blocked workers

/// Called whenever something may have begun to wait.
void AsioCore::watchWorkers() {
  if (stopped_ || !isHeldUp() || workers_ == kMaxWorkers) return;
  if (sleeping_ > 0) changed_.notifyAll();
  if (watching_) return;
  watching_ = true;
  begun_ = false;
  ensureThread(Queue::main);
  watch_->expires_after(kPatience);
  watch_->async_wait([this](boost::system::error_code) {
    const MutexLock lock(mutex_);
    watching_ = false;
    relieveWorkers();
    watchWorkers();
  });
}

/// Starts another worker when nothing was taken up for a while.
void AsioCore::relieveWorkers() {
  if (stopped_ || !isHeldUp() || begun_ || workers_ == kMaxWorkers) return;
  if (startOwn("zul-work", &AsioCore::runWorker, *global_)) ++workers_;
}

// The main thread may be the one that sleeps, so a sleeper looks after the workers itself.
void AsioCore::sleep(Duration duration) {
  const auto until = std::chrono::steady_clock::now() + duration;
  const MutexLock lock(mutex_);
  ++sleeping_;
  while (!stopped_ && std::chrono::steady_clock::now() < until) {
    const bool heldUp = isHeldUp();
    begun_ = false;
    const auto next = heldUp ? std::min(until, std::chrono::steady_clock::now() + kPatience) : until;
    while (!stopped_ && (heldUp || !isHeldUp()) && changed_.waitUntil(mutex_, next)) {
    }
    if (heldUp) relieveWorkers();
  }
  --sleeping_;
}

// ---- threads

/// Also tries again for the other queue, whose tasks may have come when there was no thread to be had.
void AsioCore::ensureThread(Queue queue) {
  (queue == Queue::main ? wantsMain_ : wantsWorker_) = true;
  if (wantsWorker_ && workers_ == 0 && startOwn("zul-work", &AsioCore::runWorker, *global_)) {
    ++workers_;
    // A thread costs its maker some 50 us, so the worker makes the other one, which is always wanted sooner or later.
    if (!hasMainThread_) owesMainThread_ = hasMainThread_ = wantsMain_ = true;
  }
  if (wantsMain_ && !hasMainThread_) startMain();
}

void AsioCore::startMain() {
  hasMainThread_ = startOwn("zul-main", &AsioCore::runMain, *main_);
}

bool AsioCore::startOwn(const char* name, void (AsioCore::*body)(Context&), Context& context) {
  try {
    startThread(name, [self = shared_from_this(), body, &context] { ((*self).*body)(context); });
  } catch (const std::exception& error) {
    if (trouble_.empty()) {
      trouble_ = error.what();
      hasTrouble_ = true;
    }
    return false;
  }
  ++threads_;
  return true;
}

std::string AsioCore::takeTrouble() {
  if (!hasTrouble_ || !hasTrouble_.exchange(false)) return {};
  const MutexLock lock(mutex_);
  return trouble_;
}

void AsioCore::runMain(Context& main) {
  for (bool ended = false; !ended;) {
    try {
      main.run();
      ended = true;
    } catch (const std::exception&) {  // as in runWorker
    }
  }
  park();
}

void AsioCore::runWorker(Context& global) {
  while (true) {
    bool last = false;
    {
      const MutexLock lock(mutex_);
      if (stopped_) break;
      if (std::exchange(owesMainThread_, false)) startMain();
      last = workers_ == 1 && hasMainThread_ == wantsMain_;
    }
    try {
      if ((last ? global.run_one() : global.run_one_for(kIdleLife)) > 0) continue;
    } catch (const std::exception&) {  // out of memory for a handler of ours: the next one may fare better
      continue;
    }
    const MutexLock lock(mutex_);
    if (stopped_) continue;
    ensureThread(Queue::global);  // nobody else might come to try again for the main queue
    if (workers_ == 1) continue;
    --workers_;
    if (isHeldUp()) {  // what came meanwhile counts on this worker
      ++workers_;
      continue;
    }
    --threads_;
    return;
  }
  park();
}

/// Ends a thread after stop(): it waits for the release, for a thread that ends while the process exits would run
/// the clean-up of libraries that are gone already.
void AsioCore::park() {
  Remains remains;
  const MutexLock lock(mutex_);
  while (!released_) changed_.wait(mutex_);
  --threads_;
  changed_.notifyAll();
  if (late_ && threads_ == 0) remains = abandon();
}

void AsioCore::stop(Duration patience) noexcept {
  const MutexLock lock(mutex_);
  stopped_ = true;
  if (main_ != nullptr) main_->stop();
  if (global_ != nullptr) global_->stop();
  changed_.notifyAll();
  const int own = runningFor == this ? 1 : 0;
  const auto deadline = std::chrono::steady_clock::now() + patience;
  while (running_ > own && changed_.waitUntil(mutex_, deadline)) {
  }
}

void AsioCore::release(Duration patience) noexcept {
  stop(patience);
  Remains remains;
  const MutexLock lock(mutex_);
  released_ = true;
  changed_.notifyAll();
  const bool own = runningFor == this;
  const auto deadline = std::chrono::steady_clock::now() + patience;
  while (!own && threads_ > 0 && changed_.waitUntil(mutex_, deadline)) {
  }
  if (own || threads_ > 0) {
    late_ = true;  // the last thread clears up
    return;
  }
  remains = abandon();
}

/// Called once no thread is left to run anything. The timers and guests go here, before their contexts.
AsioCore::Remains AsioCore::abandon() noexcept {
  Remains remains;
  for (const auto& known : serials_) {
    if (auto serial = known.lock()) remains.serials.push_back(std::move(serial));
  }
  for (const auto& serial : remains.serials) remains.tasks.push_back(std::exchange(serial->tasks, {}));
  for (const auto& known : repeatings_) {
    if (auto repeating = known.lock()) remains.repeatings.push_back(std::move(repeating));
  }
  for (const auto& repeating : remains.repeatings) repeating->timer.reset();
  for (const auto& known : guests_) {
    if (const auto guest = known.lock()) guest->leave();
  }
  watch_.reset();
  mainGuard_.reset();
  globalGuard_.reset();
  remains.main = std::move(main_);
  remains.global = std::move(global_);
  return remains;
}

}  // namespace zul::platform
