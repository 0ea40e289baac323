#pragma once

#include <functional>
#include <memory>
#include <string>

#include "zul/platform/Dispatcher.h"

namespace zul::platform {

/// The queues on Boost.Asio, on threads of the library's own, none of which exists before the first task.
///
/// - The main queue and its timers have one thread. When the host hands its own loop over, main-queue tasks go
///   there and the thread is left with the timers.
/// - The global queue and its timers have one worker thread in ordinary use. A further one, up to eight, starts
///   only when something waits while every worker is blocked, and ends when it stays idle.
/// - Serial queues run on the global queue's workers.
///
/// Where the system has no thread left, tasks wait until one can be had, which is tried again with each that is
/// posted; `onTrouble` is told once.
///
/// Any thread may call it. stop() may also be called while the process exits: the threads then stay where they
/// are, touching nothing, until the process is gone. The destructor ends them, waiting for running tasks at most
/// two seconds; tasks that were never started are destroyed with it.
class AsioDispatcher final : public Dispatcher {
 public:
  using HostLoop = std::function<void(Task)>;

  using OnTrouble = std::function<void(const std::string& why)>;

  explicit AsioDispatcher(HostLoop hostLoop = {}, OnTrouble onTrouble = {});
  ~AsioDispatcher() override;
  AsioDispatcher(const AsioDispatcher&) = delete;
  AsioDispatcher& operator=(const AsioDispatcher&) = delete;

  void async(Queue queue, Task task) override;
  void after(double seconds, Queue queue, Task task) override;
  std::unique_ptr<Timer> repeat(double seconds, Task task) override;
  std::shared_ptr<SerialQueue> serialQueue() override;
  void sleep(double seconds) override;
  void stop() noexcept override;

  /// For what else waits on the main queue's thread.
  const std::shared_ptr<class AsioCore>& core() const { return core_; }

 private:
  void tell() const;

  std::shared_ptr<class AsioCore> core_;
  const OnTrouble onTrouble_;
};

}  // namespace zul::platform
