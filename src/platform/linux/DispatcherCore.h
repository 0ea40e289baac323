#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include "zul/platform/Dispatcher.h"

namespace zul::platform {

/// What LinuxDispatcher and its threads share. Each thread holds it, so that a thread that is late, or left
/// behind when the process exits, never touches freed memory.
///
/// One lock guards everything and is never held while a task runs or is destroyed.
class DispatcherCore : public std::enable_shared_from_this<DispatcherCore> {
 public:
  using Queue = Dispatcher::Queue;
  using SteadyClock = std::chrono::steady_clock;
  using Moment = SteadyClock::time_point;

  /// A repeating timer. Its tick is not queued again while an earlier one still waits to run.
  struct Repeating {
    SteadyClock::duration period;
    Task task;
    std::atomic<bool> cancelled = false;
    std::atomic<bool> queued = false;
  };

  /// The tasks of a serial queue. It stands in the global queue at most once at a time, with a turn that runs its
  /// next few tasks.
  struct Serial {
    std::deque<Task> tasks;
    bool scheduled = false;
  };

  explicit DispatcherCore(std::function<void(Task)> hostLoop) : hostLoop_(std::move(hostLoop)) {}

  void post(Queue queue, Task task);
  void post(const std::shared_ptr<Serial>& serial, Task task);
  void postAt(Moment moment, Queue queue, Task task);
  void start(std::shared_ptr<Repeating> repeating);
  void cancel(const std::shared_ptr<Repeating>& repeating);
  std::shared_ptr<Serial> makeSerial();
  void sleepUntil(Moment moment);

  /// No task starts after this. Waits for running ones, save the one it is called from, at most `patience`.
  void stop(SteadyClock::duration patience) noexcept;

  /// Stops, ends the threads and destroys the tasks that never started.
  void release(SteadyClock::duration patience) noexcept;

 private:
  using Lock = std::unique_lock<std::mutex>;

  struct Timed {
    Queue queue;
    Task task;
    std::shared_ptr<Repeating> repeating;  // none for a single shot
  };

  struct Posted {
    Task task;
    Moment since;
  };

  struct Worker {
    std::condition_variable wake;
  };

  void runMain();
  void runWorker();
  void run(Lock& lock, Task task);
  void park(Lock& lock);
  void handToHost(Task task);
  void fireDue(Moment now);
  void fireRepeating(std::shared_ptr<Repeating> repeating, Moment due, Moment now);
  void relieve(Moment now);
  void enqueueGlobal(Task task);
  void enqueueTurn(const std::shared_ptr<Serial>& serial);
  void runTurn(const std::shared_ptr<Serial>& serial);
  void addTimed(Moment moment, Timed timed);
  bool startOwn(const char* name, void (DispatcherCore::*body)());
  void ensureMainThread();
  void startWorker();
  bool waitForNextTask(Lock& lock, Worker& worker);

  const std::function<void(Task)> hostLoop_;

  std::mutex mutex_;
  bool stopped_ = false;
  bool released_ = false;
  int threads_ = 0;
  int running_ = 0;                    // tasks, on any thread
  std::condition_variable quieter_;    // running_ or threads_ fell after the stop
  std::condition_variable stopping_;   // stopped_ was set
  std::condition_variable releasing_;  // released_ was set

  bool hasMainThread_ = false;
  std::condition_variable mainWake_;
  std::deque<Task> main_;
  std::map<std::pair<Moment, std::uint64_t>, Timed> timed_;  // by due time, then in the order given
  std::uint64_t timedCount_ = 0;

  std::vector<std::weak_ptr<Serial>> serials_;

  std::deque<Posted> global_;
  unsigned workers_ = 0;
  std::vector<Worker*> idle_;     // the last to fall idle is the first to work again, so that the others can end
  std::optional<Moment> relief_;  // when the main thread looks whether the workers are all blocked
};

}  // namespace zul::platform
