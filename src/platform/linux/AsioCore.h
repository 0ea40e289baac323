#pragma once

#include <atomic>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include "zul/platform/Dispatcher.h"

namespace zul::platform {

/// What AsioDispatcher and its threads share. Each thread holds it, so that a thread that is late, or left
/// behind when the process exits, never touches freed memory. Handlers do not: they live in its contexts.
///
/// One lock guards the accounts and is never held while a task runs or is destroyed.
class AsioCore : public std::enable_shared_from_this<AsioCore> {
 public:
  using Queue = Dispatcher::Queue;
  using Duration = std::chrono::steady_clock::duration;
  using Timed = boost::asio::steady_timer;

  /// A repeating timer on the main queue. Ticks that fall due while an earlier one waits are left out.
  struct Repeating {
    Repeating(boost::asio::io_context& context, Duration every, Task tick)
        : timer(std::in_place, context), period(every), task(std::move(tick)) {}
    std::optional<Timed> timer;  // goes with its context, which the handle may outlive
    const Duration period;
    const Task task;
    std::atomic<bool> cancelled = false;
    std::atomic<bool> queued = false;
  };

  /// The tasks of a serial queue. It stands in the global queue at most once at a time, with a turn that runs
  /// its next few tasks.
  struct Serial {
    std::deque<Task> tasks;
    bool scheduled = false;
  };

  explicit AsioCore(std::function<void(Task)> hostLoop);

  void post(Queue queue, Task task);
  void post(const std::shared_ptr<Serial>& serial, Task task);
  void after(Duration delay, Queue queue, Task task);
  std::shared_ptr<Repeating> repeat(Duration period, Task task);
  void cancel(const std::shared_ptr<Repeating>& repeating);
  std::shared_ptr<Serial> makeSerial();
  void sleep(Duration duration);

  /// No task starts after this. Waits for running ones, save the one it is called from, at most `patience`.
  void stop(Duration patience) noexcept;
  /// Stops, ends the threads and destroys the tasks that never started.
  void release(Duration patience) noexcept;

 private:
  using Lock = std::unique_lock<std::mutex>;
  using Context = boost::asio::io_context;
  using Guard = boost::asio::executor_work_guard<Context::executor_type>;

  void runMain();
  void runWorker();
  void park(Lock& lock);
  void abandon(Lock& lock) noexcept;
  bool startOwn(const char* name, void (AsioCore::*body)());
  void ensureThread(Queue queue);
  void enqueueGlobal(Task task);
  void runOnMain(Task task);
  void runOnWorker(Task task);
  void runTask(Task task);
  void runTurn(const std::shared_ptr<Serial>& serial);
  void armTick(const std::shared_ptr<Repeating>& repeating);
  void watchWorkers();
  void relieveWorkers();
  bool isHeldUp() const { return busy_ == workers_ && (waiting_ > 0 || timed_ > 0); }

  const std::function<void(Task)> hostLoop_;
  std::unique_ptr<Context> main_;
  std::unique_ptr<Context> global_;
  std::optional<Guard> mainGuard_;
  std::optional<Guard> globalGuard_;
  std::optional<Timed> watch_;  // on the main thread, while the workers may be held up

  std::mutex mutex_;  // guards the rest, and the timers
  bool stopped_ = false;
  bool released_ = false;
  bool late_ = false;  // released before the threads had ended
  bool hasMainThread_ = false;
  bool watching_ = false;
  int threads_ = 0;
  int running_ = 0;  // tasks, on any thread
  int workers_ = 0;
  int busy_ = 0;  // workers with a task
  int sleeping_ = 0;
  int waiting_ = 0;                  // global tasks that no worker has taken up
  int timed_ = 0;                    // global tasks whose time has not come
  bool begun_ = false;               // a worker took something up since the last look
  std::condition_variable changed_;  // stopped_, released_, fewer running or threads after a stop, workers held up
  std::vector<std::weak_ptr<Serial>> serials_;
  std::vector<std::weak_ptr<Repeating>> repeatings_;
};

}  // namespace zul::platform
