#pragma once

#include <functional>
#include <memory>

namespace zul::platform {

using Task = std::function<void()>;

/// Runs its tasks one after the other, in the order given, on some background thread.
class SerialQueue {
 public:
  virtual ~SerialQueue() = default;
  virtual void async(Task task) = 0;
};

/// A repeating timer; cancelled when destroyed. A tick that already runs is not waited for.
class Timer {
 public:
  virtual ~Timer() = default;
};

/// Where code runs later: the main queue, a global concurrent queue, serial queues, timers and sleep.
/// Any thread may call it. Tasks that throw are logged nowhere and end there: the library's own tasks
/// catch what they throw.
class Dispatcher {
 public:
  enum class Queue { main, global };

  virtual ~Dispatcher() = default;

  virtual void async(Queue queue, Task task) = 0;

  /// Runs `task` on `queue`, `seconds` from now by a clock that does not jump.
  virtual void after(double seconds, Queue queue, Task task) = 0;

  /// Runs `task` on the main queue every `seconds`, first after `seconds`.
  virtual std::unique_ptr<Timer> repeat(double seconds, Task task) = 0;

  virtual std::shared_ptr<SerialQueue> serialQueue() = 0;

  /// Blocks the calling thread for `seconds`; the other queues go on.
  virtual void sleep(double seconds) = 0;

  /// The process exits: no task starts any more, and running ones are given a short moment to end.
  /// What is posted afterwards is dropped.
  virtual void stop() noexcept = 0;
};

}  // namespace zul::platform
