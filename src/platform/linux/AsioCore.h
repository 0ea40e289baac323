#pragma once

#include <atomic>
#include <boost/asio/basic_waitable_timer.hpp>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <chrono>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Mutex.h"
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
  using Context = boost::asio::io_context;
  using Clock = std::chrono::steady_clock;
  /// Of the one kind of context that there is here, which takes far less code than a timer for any kind.
  using Timed = boost::asio::basic_waitable_timer<Clock, boost::asio::wait_traits<Clock>, Context::executor_type>;

  /// A repeating timer on the main queue. Ticks that fall due while an earlier one waits are left out.
  struct Repeating {
    Repeating(boost::asio::io_context& context, Duration every, Task tick)
        : timer(std::in_place, context), period(every), task(std::move(tick)) {}
    std::optional<Timed> timer;  // guarded by the core's lock; goes with its context, which the handle may outlive
    const Duration period;
    const Task task;
    std::atomic<bool> cancelled = false;
    std::atomic<bool> queued = false;
  };

  /// The tasks of a serial queue, guarded by the core's lock. It stands in the global queue at most once at a time,
  /// with a turn that runs its next few tasks.
  struct Serial {
    std::deque<Task> tasks;
    bool scheduled = false;
  };

  /// Something else that waits in the main queue's context, as a socket does. Its handlers run on that thread and must
  /// only hand on.
  class Guest {
   public:
    virtual ~Guest() = default;
    /// The context goes. Called with the core's lock held.
    virtual void leave() noexcept = 0;
  };

  explicit AsioCore(std::function<void(Task)> hostLoop);

  void post(Queue queue, Task task);
  void post(const std::shared_ptr<Serial>& serial, Task task);
  void after(Duration delay, Queue queue, Task task);
  std::shared_ptr<Repeating> repeat(Duration period, Task task);
  void cancel(const std::shared_ptr<Repeating>& repeating);
  std::shared_ptr<Serial> makeSerial();
  /// Calls `enter`, under the core's lock, with the context that the guest may use until it is told to leave. Does
  /// nothing once stopped.
  void admit(const std::shared_ptr<Guest>& guest, const std::function<void(boost::asio::io_context&)>& enter);
  void sleep(Duration duration);

  /// Why there was no thread to be had, the first time that this happened; empty when it has been given. To be asked
  /// after each of the above: the core itself tells nobody.
  std::string takeTrouble();

  /// No task starts after this. Waits for running ones, save the one it is called from, at most `patience`.
  void stop(Duration patience) noexcept;
  /// Stops, ends the threads and destroys the tasks that never started.
  void release(Duration patience) noexcept;

 private:
  using Guard = boost::asio::executor_work_guard<Context::executor_type>;

  /// What is left when no thread is. It is destroyed without the lock, the contexts first.
  struct Remains {
    std::vector<std::shared_ptr<Serial>> serials;
    std::vector<std::shared_ptr<Repeating>> repeatings;
    std::vector<std::deque<Task>> tasks;
    std::unique_ptr<Context> main;
    std::unique_ptr<Context> global;
  };

  void runMain(Context& main);
  void runWorker(Context& global);
  void park();
  Remains abandon() noexcept ZUL_REQUIRES(mutex_);
  bool startOwn(const char* name, void (AsioCore::*body)(Context&), Context& context) ZUL_REQUIRES(mutex_);
  void ensureThread(Queue queue) ZUL_REQUIRES(mutex_);
  void startMain() ZUL_REQUIRES(mutex_);
  void enqueueGlobal(Task task) ZUL_REQUIRES(mutex_);
  void runOnMain(Task task);
  void runOnWorker(Task task);
  void runTask(Task task);
  void runTurn(const std::shared_ptr<Serial>& serial);
  void armTick(const std::shared_ptr<Repeating>& repeating) ZUL_REQUIRES(mutex_);
  void watchWorkers() ZUL_REQUIRES(mutex_);
  void relieveWorkers() ZUL_REQUIRES(mutex_);
  bool isHeldUp() const ZUL_REQUIRES(mutex_) { return busy_ == workers_ && (waiting_ > 0 || timed_ > 0); }

  const std::function<void(Task)> hostLoop_;
  Mutex mutex_;        // also for what is in serials_ and repeatings_
  Condition changed_;  // stopped_, released_, fewer running or threads after a stop, workers held up
  // The threads that run these have references to them; they go when no thread is left.
  std::unique_ptr<Context> main_ ZUL_GUARDED_BY(mutex_);
  std::unique_ptr<Context> global_ ZUL_GUARDED_BY(mutex_);
  std::optional<Guard> mainGuard_ ZUL_GUARDED_BY(mutex_);
  std::optional<Guard> globalGuard_ ZUL_GUARDED_BY(mutex_);
  std::optional<Timed> watch_ ZUL_GUARDED_BY(mutex_);  // on the main thread, while the workers may be held up
  bool stopped_ ZUL_GUARDED_BY(mutex_) = false;
  bool released_ ZUL_GUARDED_BY(mutex_) = false;
  bool late_ ZUL_GUARDED_BY(mutex_) = false;  // released before the threads had ended
  bool wantsMain_ ZUL_GUARDED_BY(mutex_) = false;
  bool wantsWorker_ ZUL_GUARDED_BY(mutex_) = false;
  bool hasMainThread_ ZUL_GUARDED_BY(mutex_) = false;
  bool owesMainThread_ ZUL_GUARDED_BY(mutex_) = false;  // the first worker, which has yet to make it
  bool watching_ ZUL_GUARDED_BY(mutex_) = false;
  int threads_ ZUL_GUARDED_BY(mutex_) = 0;
  int running_ ZUL_GUARDED_BY(mutex_) = 0;  // tasks, on any thread
  int workers_ ZUL_GUARDED_BY(mutex_) = 0;
  int busy_ ZUL_GUARDED_BY(mutex_) = 0;  // workers with a task
  int sleeping_ ZUL_GUARDED_BY(mutex_) = 0;
  int waiting_ ZUL_GUARDED_BY(mutex_) = 0;     // global tasks that no worker has taken up
  int timed_ ZUL_GUARDED_BY(mutex_) = 0;       // global tasks whose time has not come
  bool begun_ ZUL_GUARDED_BY(mutex_) = false;  // a worker took something up since the last look
  std::string trouble_ ZUL_GUARDED_BY(mutex_);
  std::atomic<bool> hasTrouble_ = false;  // trouble_ waits to be taken
  std::vector<std::weak_ptr<Serial>> serials_ ZUL_GUARDED_BY(mutex_);
  std::vector<std::weak_ptr<Repeating>> repeatings_ ZUL_GUARDED_BY(mutex_);
  std::vector<std::weak_ptr<Guest>> guests_ ZUL_GUARDED_BY(mutex_);
};

}  // namespace zul::platform
